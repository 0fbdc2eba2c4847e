#include "kit/ai/ClaudeCodeTransport.h"

#include "kit/ai/AICommandLine.h"
#include "kit/ai/ClaudeCodeStream.h"
#include "kit/ai/CommandRun.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace corvantis {

QStringList ClaudeCodeTransport::candidates() {
    const QString home = AICommandLine::home();
    return {home + QStringLiteral("/.local/bin/claude"),
            home + QStringLiteral("/.claude/local/claude"),
            QStringLiteral("/opt/homebrew/bin/claude"),
            QStringLiteral("/usr/local/bin/claude"),
            home + QStringLiteral("/.npm-global/bin/claude"),
            home + QStringLiteral("/.bun/bin/claude"),
            QStringLiteral("/usr/bin/claude")};
}

std::optional<QString> ClaudeCodeTransport::locate() {
    return AICommandLine::first(candidates());
}

ClaudeCodeTransport::Invocation ClaudeCodeTransport::invocation(const QJsonObject& body) {
    Invocation invocation;
    invocation.arguments = {QStringLiteral("-p"),
                            QStringLiteral("--input-format"),
                            QStringLiteral("stream-json"),
                            QStringLiteral("--output-format"),
                            QStringLiteral("stream-json"),
                            QStringLiteral("--verbose"),
                            QStringLiteral("--include-partial-messages"),
                            QStringLiteral("--thinking-display"),
                            QStringLiteral("summarized"),
                            QStringLiteral("--tools"),
                            QString(), // an empty list takes every tool away
                            QStringLiteral("--strict-mcp-config"),
                            QStringLiteral("--no-session-persistence")};
    const QJsonObject config = body.value(QStringLiteral("output_config")).toObject();
    if (const QJsonValue model = body.value(QStringLiteral("model")); model.isString())
        invocation.arguments << QStringLiteral("--model") << model.toString();
    if (const QJsonValue effort = config.value(QStringLiteral("effort")); effort.isString())
        invocation.arguments << QStringLiteral("--effort") << effort.toString();
    if (const QJsonValue system = body.value(QStringLiteral("system")); system.isString())
        invocation.arguments << QStringLiteral("--system-prompt") << system.toString();
    const QJsonValue schema =
        config.value(QStringLiteral("format")).toObject().value(QStringLiteral("schema"));
    if (schema.isObject())
        invocation.arguments << QStringLiteral("--json-schema")
                             << QString::fromUtf8(
                                    QJsonDocument(schema.toObject()).toJson(QJsonDocument::Compact));

    // The last user message goes in as it stands: a string, or blocks when a build turn carries pictures.
    QJsonValue content = QString();
    const QJsonArray messages = body.value(QStringLiteral("messages")).toArray();
    for (qsizetype i = messages.size() - 1; i >= 0; --i) {
        const QJsonObject message = messages.at(i).toObject();
        if (message.value(QStringLiteral("role")).toString() == QLatin1String("user")) {
            content = message.value(QStringLiteral("content"));
            break;
        }
    }
    const QJsonObject line{
        {QStringLiteral("type"), QStringLiteral("user")},
        {QStringLiteral("message"), QJsonObject{{QStringLiteral("role"), QStringLiteral("user")},
                                                {QStringLiteral("content"), content}}}};
    invocation.input = QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n';
    return invocation;
}

QCoro::Task<QJsonObject> ClaudeCodeTransport::send(QJsonObject body, double timeout,
                                                   CancellationToken cancellation) {
    const ThinkingThrottle::Callback onThinking = m_onThinking;
    const std::optional<QString> cli = locate();
    if (!cli)
        throw AICommandError::notInstalled(AIProvider::claude);
    const Invocation call = invocation(body);
    auto run = CommandRun::make(*cli, call.arguments, call.input, AIProvider(AIProvider::claude).tool(),
                                cancellation);
    ClaudeCodeStream stream;
    const CommandRun::Outcome outcome = co_await run->streamThinking(timeout, stream, onThinking);
    co_return stream.response(outcome.standardError, outcome.exitCode);
}

QCoro::Task<std::optional<AIAccount>> ClaudeCodeTransport::account() {
    const std::optional<QString> cli = locate();
    if (!cli)
        co_return std::nullopt;
    std::optional<AICommandLine::Captured> captured;
    try {
        const QStringList arguments{QStringLiteral("auth"), QStringLiteral("status"),
                                    QStringLiteral("--json")};
        captured = co_await AICommandLine::capture(*cli, arguments);
    } catch (const AICommandError&) {
        co_return std::nullopt;
    }
    const QJsonObject status = QJsonDocument::fromJson(captured->standardOutput).object();
    AIAccount account;
    account.signedIn = status.value(QStringLiteral("loggedIn")).toBool(false);
    const QString email = status.value(QStringLiteral("email")).toString();
    if (!email.isEmpty())
        account.name = email;
    co_return account;
}

} // namespace corvantis
