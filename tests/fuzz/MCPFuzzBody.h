#pragma once

// One input through the connector's line engine, its id scanner, the lenient argument readers and the
// client configuration writers, with what must hold whatever the input. Shared by the libFuzzer target
// and the short deterministic pass in the tests. Returns what broke, or an empty text.
#include "kit/mcp/CorvantisMCP.h"
#include "kit/mcp/JsonText.h"
#include "kit/mcp/MCPClientConfig.h"
#include "kit/mcp/MCPDraftReading.h"
#include "kit/mcp/MCPSession.h"
#include "tests/support/AwaitTask.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>
#include <string>

namespace corvantis::fuzz {

inline std::string checkLine(const QByteArray& input) {
    static MCPSession session(CorvantisMCP::tools(), CorvantisMCP::instructions(), QStringLiteral("0"));
    MCPToolCall call = [](QString, QJsonObject arguments, MCPClient) -> QCoro::Task<MCPToolResult> {
        // Every argument through the lenient readers.
        QString seen;
        for (auto it = arguments.constBegin(); it != arguments.constEnd(); ++it) {
            seen += CorvantisMCP::text(it.value()).value_or(QString());
            seen += QString::number(CorvantisMCP::limit(arguments, it.key(), 25, 1, 200));
        }
        co_return MCPToolResult(seen);
    };
    const std::optional<QByteArray> reply = test::await(session.handle(input, call));

    QJsonParseError error;
    const QJsonDocument asked = QJsonDocument::fromJson(input, &error);
    const bool isMessage = error.error == QJsonParseError::NoError && asked.isObject();
    const bool isRequest =
        isMessage && asked.object().value("method").isString() && asked.object().contains("id");
    if (!isMessage) {
        if (!reply || !reply->contains("-32700"))
            return "a line that isn't an object wasn't answered with a parse error";
        return {};
    }
    if (!isRequest) {
        if (reply)
            return "a notification or a line without a method was answered";
        return {};
    }
    if (!reply)
        return "a request went unanswered";
    if (reply->contains('\n'))
        return "a reply spans more than one line";
    const QJsonDocument answered = QJsonDocument::fromJson(*reply, &error);
    if (error.error != QJsonParseError::NoError || !answered.isObject())
        return "a reply isn't a JSON object";
    const QJsonObject answer = answered.object();
    if (answer.value("jsonrpc").toString() != QLatin1String("2.0"))
        return "a reply lacks \"jsonrpc\": \"2.0\"";
    if (answer.value("id") != asked.object().value("id"))
        return "a reply's id isn't the request's";
    if (answer.contains("result") == answer.contains("error"))
        return "a reply has neither or both of result and error";
    return {};
}

inline std::string checkConfig(const QByteArray& input) {
    const QString command = QStringLiteral("/opt/c \"q\"/corvantis-mcp");
    try {
        const QByteArray written = MCPClientConfig::claudeDesktop(input, command);
        if (MCPClientConfig::claudeDesktopCommand(written) != command)
            return "Claude's configuration doesn't read back our command";
        if (MCPClientConfig::claudeDesktopCommand(MCPClientConfig::claudeDesktop(written, std::nullopt)))
            return "Claude's configuration keeps our command after removal";
    } catch (const MCPClientConfig::UnreadableConfig&) {
        const QJsonDocument document = QJsonDocument::fromJson(input);
        if (document.isObject())
            return "an object was called unreadable";
    }
    const QString text = QString::fromUtf8(input);
    const QString once = MCPClientConfig::codex(text, command);
    if (MCPClientConfig::codexCommand(once) != command)
        return "Codex's configuration doesn't read back our command";
    if (MCPClientConfig::codex(once, command) != once)
        return "a second Codex write changed the file";
    if (MCPClientConfig::codexCommand(MCPClientConfig::codex(once, std::nullopt)))
        return "Codex's configuration keeps our command after removal";
    return {};
}

// The draft readers take any object, and what they give is always in the one form.
inline std::string checkDrafts(const QByteArray& input) {
    const QJsonDocument document = QJsonDocument::fromJson(input);
    if (!document.isObject())
        return {};
    // A request's arguments are where a client puts a draft; the whole object is tried as well.
    QList<QJsonObject> tries{document.object()};
    const QJsonValue arguments = document.object().value("params").toObject().value("arguments");
    if (arguments.isObject())
        tries << arguments.toObject();
    for (const QJsonObject& given : tries) {
        try {
            const QJsonObject draft = CorvantisMCP::graphDraft(given);
            for (const char* key : {"nodes", "relationships", "changes"})
                for (const QJsonValue& item : draft.value(key).toArray())
                    for (const QJsonValue& property : item.toObject().value("properties").toArray())
                        if (!property.toObject().value("value").isString())
                            return "a draft's value isn't text";
            if (!draft.value("summary").isString())
                return "a draft's summary isn't text";
        } catch (const CorvantisMCP::DraftFormatError&) {
        }
        try {
            const QJsonObject shape = CorvantisMCP::shapeDraft(given);
            for (const char* key : {"types", "relationships"})
                for (const QJsonValue& item : shape.value(key).toArray())
                    for (const QJsonValue& property : item.toObject().value("properties").toArray())
                        if (!QStringList{"text", "number", "link", "boolean"}.contains(
                                property.toObject().value("kind").toString()))
                            return "a shape property has a kind outside the four";
        } catch (const CorvantisMCP::DraftFormatError&) {
        }
    }
    return {};
}

inline std::string check(const QByteArray& input) {
    std::string broke = checkLine(input);
    if (broke.empty())
        broke = checkDrafts(input);
    if (broke.empty())
        broke = checkConfig(input);
    // The scanner must never read out of bounds, and what it finds must be a JSON value.
    if (broke.empty()) {
        if (auto raw = JsonText::rawMember(input, u"id"); raw && !raw->isEmpty()) {
            if (!QJsonDocument::fromJson("[" + *raw + "]").isArray() &&
                QJsonDocument::fromJson(input).isObject())
                broke = "the id scanner cut a member out of a valid object wrongly";
        }
    }
    return broke;
}

} // namespace corvantis::fuzz
