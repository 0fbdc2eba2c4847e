#include "kit/mcp/MCPClientConfig.h"

#include "kit/support/Json.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QStringList>

namespace corvantis::MCPClientConfig {

namespace {

const QString server = QStringLiteral("corvantis");
const QString servers = QStringLiteral("mcpServers");
const QString tablePrefix = QStringLiteral("[mcp_servers.corvantis");

QJsonObject entry(const QString& command) {
    return QJsonObject{{QStringLiteral("command"), command}, {QStringLiteral("args"), QJsonArray()}};
}

QString quotedToml(const QString& text) {
    QString out = QStringLiteral("\"");
    for (const QChar c : text) {
        if (c == QLatin1Char('"') || c == QLatin1Char('\\'))
            out += QLatin1Char('\\');
        out += c;
    }
    return out + QLatin1Char('"');
}

QString unquotedToml(QString value) {
    if (value.size() >= 2 && ((value.startsWith(QLatin1Char('"')) && value.endsWith(QLatin1Char('"'))) ||
                              (value.startsWith(QLatin1Char('\'')) && value.endsWith(QLatin1Char('\''))))) {
        const bool literal = value.startsWith(QLatin1Char('\''));
        value = value.mid(1, value.size() - 2);
        if (literal)
            return value;
    }
    QString out;
    for (qsizetype i = 0; i < value.size(); ++i) {
        if (value[i] == QLatin1Char('\\') && i + 1 < value.size())
            ++i;
        out += value[i];
    }
    return out;
}

} // namespace

QByteArray claudeDesktop(const std::optional<QByteArray>& data, const std::optional<QString>& command) {
    QJsonObject root;
    if (data && !data->trimmed().isEmpty()) {
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(*data, &error);
        if (error.error != QJsonParseError::NoError || !document.isObject())
            throw UnreadableConfig(
                QStringLiteral("The configuration file isn't valid JSON, so Corvantis left "
                               "it as it is."));
        root = document.object();
    }
    QJsonObject entries = root.value(servers).toObject();
    if (command) {
        entries.insert(server, entry(*command));
        root.insert(servers, entries);
    } else {
        entries.remove(server);
        if (entries.isEmpty())
            root.remove(servers);
        else
            root.insert(servers, entries);
    }
    return json::encode(root);
}

std::optional<QString> claudeDesktopCommand(const QByteArray& data) {
    const QJsonDocument document = QJsonDocument::fromJson(data);
    if (!document.isObject())
        return std::nullopt;
    const QJsonValue entries = document.object().value(servers);
    if (!entries.isObject())
        return std::nullopt;
    const QJsonValue ours = entries.toObject().value(server);
    if (!ours.isObject())
        return std::nullopt;
    const QJsonValue command = ours.toObject().value(QStringLiteral("command"));
    if (!command.isString())
        return std::nullopt;
    return command.toString();
}

std::optional<QString> claudeCodeCommand(const QByteArray& data) {
    return claudeDesktopCommand(data);
}

QString codex(const QString& text, const std::optional<QString>& command) {
    const QStringList lines = text.split(QLatin1Char('\n'));
    QStringList kept;
    bool inOurs = false;
    for (const QString& line : lines) {
        const QString trimmed = line.trimmed();
        if (trimmed.startsWith(tablePrefix)) {
            inOurs = true;
            continue;
        }
        if (inOurs && trimmed.startsWith(QLatin1Char('[')))
            inOurs = false;
        if (!inOurs)
            kept << line;
    }
    while (!kept.isEmpty() && kept.last().trimmed().isEmpty())
        kept.removeLast();
    if (command) {
        if (!kept.isEmpty())
            kept << QString();
        kept << QStringLiteral("[mcp_servers.corvantis]")
             << QStringLiteral("command = ") + quotedToml(*command) << QStringLiteral("args = []")
             << QStringLiteral(
                    "# Drafts are checked against the graph before they're handed back; that can take a "
                    "moment.")
             << QStringLiteral("tool_timeout_sec = 300");
    }
    if (kept.isEmpty())
        return QString();
    return kept.join(QLatin1Char('\n')) + QLatin1Char('\n');
}

std::optional<QString> codexCommand(const QString& text) {
    const QStringList lines = text.split(QLatin1Char('\n'));
    bool inOurs = false;
    for (const QString& line : lines) {
        const QString trimmed = line.trimmed();
        if (trimmed == QLatin1String("[mcp_servers.corvantis]")) {
            inOurs = true;
            continue;
        }
        if (!inOurs)
            continue;
        if (trimmed.startsWith(QLatin1Char('[')))
            return std::nullopt;
        if (trimmed.startsWith(QLatin1String("command"))) {
            const qsizetype equals = trimmed.indexOf(QLatin1Char('='));
            if (equals < 0)
                return std::nullopt;
            return unquotedToml(trimmed.mid(equals + 1).trimmed());
        }
    }
    return std::nullopt;
}

QString snippet(const QString& command) {
    return QString::fromUtf8(json::encode(QJsonObject{{servers, QJsonObject{{server, entry(command)}}}}));
}

} // namespace corvantis::MCPClientConfig
