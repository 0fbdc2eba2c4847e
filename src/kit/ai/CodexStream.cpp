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

// The tool's last word on standard error: its last line. An argument parser that refuses the call
// ends with a usage block and "For more information, try '--help'."; its word is the "error:" line above.
QString lastLine(const QString& standardError) {
    const QStringList lines = standardError.trimmed().split(QLatin1Char('\n'));
    const QString last = lines.last().trimmed();
    if (!last.startsWith(QLatin1String("For more information, try")))
        return last;
    for (qsizetype i = lines.size() - 1; i >= 0; --i) {
        const QString line = lines[i].trimmed();
        if (line.startsWith(QLatin1String("error:")))
            return line;
    }
    return last;
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
    // Only the failure event and the last line of standard error are read: the lines above it are the
    // tool's log, where a word about signing in or upgrading needn't be about this failure. The whole of
    // standard error stays with the error as its detail.
    const QString line = lastLine(standardError);
    QStringList reasons;
    if (m_failure && !m_failure->isEmpty())
        reasons.append(*m_failure);
    if (!line.isEmpty())
        reasons.append(line);
    const QString text = reasons.join(QLatin1Char('\n'));
    const QString detail = standardError.trimmed();
    if (isAuthFailure(text))
        throw AICommandError::notSignedIn(AIProvider::chatGPT).withDetail(detail);
    if (isOutdated(text))
        throw AICommandError::outdated(AIProvider::chatGPT).withDetail(detail);
    if (auto id = unavailableModel(text))
        throw AICommandError::failed(
            QStringLiteral(
                "%1 isn't available with your ChatGPT plan in Codex. Pick another model in Settings.")
                .arg(AIModel::titleForID(*id)))
            .withDetail(detail);
    if (!reasons.isEmpty())
        throw AICommandError::failed(reasons.first()).withDetail(detail);
    throw AICommandError::failed(QStringLiteral("Codex stopped (exit %1).").arg(exitCode)).withDetail(detail);
}

} // namespace corvantis
