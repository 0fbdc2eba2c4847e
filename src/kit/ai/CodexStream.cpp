#include "kit/ai/CodexStream.h"

#include "kit/ai/AICommandError.h"
#include "kit/ai/AIModel.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>

namespace corvantis {

namespace {

bool containsAny(const QString& text, std::initializer_list<const char*> phrases) {
    const QString lower = text.toLower();
    for (const char* phrase : phrases) {
        if (lower.contains(QLatin1String(phrase)))
            return true;
    }
    return false;
}

} // namespace

bool CodexStream::consume(const QByteArray& line) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(line, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return false;
    const QJsonObject object = document.object();
    const QJsonValue typeValue = object.value(QStringLiteral("type"));
    if (!typeValue.isString())
        return false;
    const QString type = typeValue.toString();
    if (type == QLatin1String("item.completed") || type == QLatin1String("item.updated")) {
        const QJsonObject item = object.value(QStringLiteral("item")).toObject();
        const QString itemType = item.value(QStringLiteral("type")).toString();
        const QJsonValue textValue = item.value(QStringLiteral("text"));
        const QString text = textValue.toString();
        const bool completed = type == QLatin1String("item.completed");
        if (itemType == QLatin1String("reasoning") && completed && !text.isEmpty()) {
            if (!m_thinking.isEmpty())
                m_thinking += QStringLiteral("\n\n");
            m_thinking += text;
            return true;
        }
        if (itemType == QLatin1String("agent_message") && completed && textValue.isString())
            m_answer = text;
        else if (itemType == QLatin1String("error") && textValue.isString())
            m_failure = text;
        return false;
    }
    if (type == QLatin1String("turn.completed")) {
        m_completed = true;
    } else if (type == QLatin1String("turn.failed")) {
        const QJsonValue message =
            object.value(QStringLiteral("error")).toObject().value(QStringLiteral("message"));
        if (message.isString())
            m_failure = message.toString();
        else if (!m_failure)
            m_failure = QStringLiteral("Codex stopped.");
    } else if (type == QLatin1String("error")) {
        const QJsonValue message = object.value(QStringLiteral("message"));
        if (message.isString())
            m_failure = message.toString();
    }
    return false;
}

bool CodexStream::isAuthFailure(const QString& text) {
    return containsAny(text, {"not logged in", "log out and sign in again", "refresh token",
                              "401 unauthorized", "status 401", "please run codex login", "codex login"});
}

bool CodexStream::isOutdated(const QString& text) {
    return containsAny(
        text, {"unexpected argument", "unrecognized subcommand", "please update codex", "upgrade codex"});
}

std::optional<QString> CodexStream::unavailableModel(const QString& text) {
    if (!text.toLower().contains(QLatin1String("is not supported when using codex")))
        return std::nullopt;
    static const QRegularExpression quoted(QStringLiteral("'[^']+'"));
    const QRegularExpressionMatch match = quoted.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    return match.captured(0).mid(1).chopped(1);
}

QJsonObject CodexStream::response(const QString& model, const QString& standardError, int exitCode) const {
    if (m_answer && !m_answer->isEmpty())
        return QJsonObject{{QStringLiteral("type"), QStringLiteral("message")},
                           {QStringLiteral("model"), model},
                           {QStringLiteral("stop_reason"), QStringLiteral("end_turn")},
                           {QStringLiteral("content"),
                            QJsonArray{QJsonObject{{QStringLiteral("type"), QStringLiteral("text")},
                                                   {QStringLiteral("text"), *m_answer}}}}};
    const QString trimmed = standardError.trimmed();
    const QString lastLine = trimmed.split(QLatin1Char('\n')).last().trimmed();
    QStringList reasons;
    if (m_failure && !m_failure->isEmpty())
        reasons.append(*m_failure);
    if (!lastLine.isEmpty())
        reasons.append(lastLine);
    // The tool's own words are read in all of standard error: an argument parser puts its "unexpected
    // argument" above a usage block, so the last line alone would hide it.
    const QString text = m_failure.value_or(QString()) + QLatin1Char('\n') + trimmed;
    if (isAuthFailure(text))
        throw AICommandError::notSignedIn(AIProvider::chatGPT);
    if (isOutdated(text))
        throw AICommandError::outdated(AIProvider::chatGPT);
    if (auto id = unavailableModel(text))
        throw AICommandError::failed(
            QStringLiteral(
                "%1 isn't available with your ChatGPT plan in Codex. Pick another model in Settings.")
                .arg(AIModel::titleForID(*id)));
    if (!reasons.isEmpty())
        throw AICommandError::failed(reasons.first());
    throw AICommandError::failed(QStringLiteral("Codex stopped (exit %1).").arg(exitCode));
}

} // namespace corvantis
