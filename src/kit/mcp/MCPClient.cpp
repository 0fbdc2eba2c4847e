#include "kit/mcp/MCPClient.h"

namespace corvantis {

MCPClient::MCPClient(const std::optional<QJsonObject>& info) {
    const QJsonObject object = info.value_or(QJsonObject());
    const QJsonValue nameValue = object.value(QStringLiteral("name"));
    const QJsonValue titleValue = object.value(QStringLiteral("title"));
    const QString given = nameValue.isString() ? nameValue.toString() : QString();
    const QString title = titleValue.isString() ? titleValue.toString() : QString();
    const QString lowerName = given.toLower();
    const QString lowerTitle = title.toLower();
    auto either = [&](const QString& part) {
        return lowerName.contains(part) || lowerTitle.contains(part);
    };

    if (lowerName == QLatin1String("claude-ai") || lowerTitle == QLatin1String("claude-ai") ||
        either(QStringLiteral("claude desktop")))
        name = QStringLiteral("Claude Desktop");
    else if (either(QStringLiteral("claude-code")) || either(QStringLiteral("claude code")))
        name = QStringLiteral("Claude Code");
    else if (either(QStringLiteral("chatgpt")))
        name = QStringLiteral("ChatGPT");
    else if (either(QStringLiteral("codex")))
        name = QStringLiteral("Codex");
    else if (!title.isEmpty())
        name = title;
    else if (!given.isEmpty())
        name = given;
    else
        name = QStringLiteral("An AI app");

    const QJsonValue versionValue = object.value(QStringLiteral("version"));
    version = versionValue.isString() ? versionValue.toString() : QString();
}

size_t qHash(const MCPClient& client, size_t seed) {
    return qHashMulti(seed, client.name, client.version);
}

} // namespace corvantis
