#include "kit/ai/ClaudeCodeStream.h"

#include "kit/ai/AICommandError.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace corvantis {

bool ClaudeCodeStream::consume(const QByteArray& line) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(line, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return false;
    const QJsonObject object = document.object();
    // A sub-agent's events never count as the main answer.
    if (object.value(QStringLiteral("parent_tool_use_id")).isString())
        return false;
    const QString type = object.value(QStringLiteral("type")).toString();
    if (type == QLatin1String("stream_event")) {
        const QJsonObject event = object.value(QStringLiteral("event")).toObject();
        const QString eventType = event.value(QStringLiteral("type")).toString();
        if (eventType == QLatin1String("content_block_start") &&
            event.value(QStringLiteral("content_block"))
                    .toObject()
                    .value(QStringLiteral("type"))
                    .toString() == QLatin1String("thinking")) {
            // Separate thinking blocks stay apart by an empty line.
            if (m_thinking.isEmpty())
                return false;
            m_thinking += QStringLiteral("\n\n");
            return true;
        }
        if (eventType == QLatin1String("content_block_delta")) {
            const QJsonObject delta = event.value(QStringLiteral("delta")).toObject();
            if (delta.value(QStringLiteral("type")).toString() != QLatin1String("thinking_delta"))
                return false;
            const QString more = delta.value(QStringLiteral("thinking")).toString();
            if (more.isEmpty())
                return false;
            m_thinking += more;
            return true;
        }
        return false;
    }
    if (type == QLatin1String("assistant")) {
        const QString model =
            object.value(QStringLiteral("message")).toObject().value(QStringLiteral("model")).toString();
        if (!model.isEmpty())
            m_model = model;
        return false;
    }
    if (type == QLatin1String("result"))
        m_result = object;
    return false;
}

bool ClaudeCodeStream::isAuthFailure(const QString& text) {
    const QString lower = text.toLower();
    for (const char* phrase :
         {"failed to authenticate", "not logged in", "please run /login", "invalid api key", "oauth token"}) {
        if (lower.contains(QLatin1String(phrase)))
            return true;
    }
    return false;
}

QJsonObject ClaudeCodeStream::response(const QString& standardError, int exitCode) const {
    if (!m_result) {
        const QString trimmed = standardError.trimmed();
        const QString lastLine = trimmed.split(QLatin1Char('\n')).last().trimmed();
        if (isAuthFailure(standardError))
            throw AICommandError::notSignedIn(AIProvider::claude);
        if (auto outdated = AICommandError::outdatedIn(standardError))
            throw *outdated;
        if (lastLine.isEmpty())
            throw AICommandError::failed(QStringLiteral("Claude Code stopped (exit %1).").arg(exitCode));
        throw AICommandError::failed(lastLine);
    }
    const QJsonObject& result = *m_result;
    QString text = result.value(QStringLiteral("result")).toString();
    if (result.value(QStringLiteral("is_error")).toBool()) {
        QStringList errors;
        for (const QJsonValue& error : result.value(QStringLiteral("errors")).toArray()) {
            if (error.isString())
                errors.append(error.toString());
        }
        const QString message = text.isEmpty() ? errors.join(QLatin1Char('\n')) : text;
        if (isAuthFailure(message) || isAuthFailure(standardError))
            throw AICommandError::notSignedIn(AIProvider::claude);
        if (auto outdated = AICommandError::outdatedIn(message))
            throw *outdated;
        throw AICommandError::failed(message.isEmpty() ? QStringLiteral("Claude Code stopped.") : message);
    }
    // The schema-held answer travels as structured_output; it becomes the text that the client parses.
    if (result.contains(QStringLiteral("structured_output"))) {
        const QJsonValue structured = result.value(QStringLiteral("structured_output"));
        if (structured.isObject())
            text = QString::fromUtf8(QJsonDocument(structured.toObject()).toJson(QJsonDocument::Compact));
        else if (structured.isArray())
            text = QString::fromUtf8(QJsonDocument(structured.toArray()).toJson(QJsonDocument::Compact));
        else if (!structured.isUndefined()) // a bare value: written inside an array, brackets taken off
            text = QString::fromUtf8(QJsonDocument(QJsonArray{structured}).toJson(QJsonDocument::Compact))
                       .mid(1)
                       .chopped(1);
    }
    const QString stop = result.value(QStringLiteral("stop_reason")).toString();
    const QString stopReason = stop == QLatin1String("refusal") || stop == QLatin1String("max_tokens")
                                   ? stop
                                   : QStringLiteral("end_turn");
    return QJsonObject{
        {QStringLiteral("type"), QStringLiteral("message")},
        {QStringLiteral("model"), m_model},
        {QStringLiteral("stop_reason"), stopReason},
        {QStringLiteral("content"), QJsonArray{QJsonObject{{QStringLiteral("type"), QStringLiteral("text")},
                                                           {QStringLiteral("text"), text}}}}};
}

} // namespace corvantis
