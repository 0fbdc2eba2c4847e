#include "kit/ai/CodexTransport.h"

#include "kit/ai/AICommandLine.h"
#include "kit/ai/CodexStream.h"
#include "kit/ai/CommandRun.h"
#include "kit/support/AtomicFile.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QUuid>

namespace corvantis {

namespace {

QString codexHome() {
    return qEnvironmentVariableIsSet("CODEX_HOME") ? qEnvironmentVariable("CODEX_HOME")
                                                   : AICommandLine::home() + QStringLiteral("/.codex");
}

// Removes the run's folder however the run ends.
struct RunFolder {
    QString path;
    ~RunFolder() { QDir(path).removeRecursively(); }
};

} // namespace

QStringList CodexTransport::candidates() {
    const QString home = AICommandLine::home();
    return {home + QStringLiteral("/.local/bin/codex"), QStringLiteral("/opt/homebrew/bin/codex"),
            QStringLiteral("/usr/local/bin/codex"),     home + QStringLiteral("/.npm-global/bin/codex"),
            home + QStringLiteral("/.bun/bin/codex"),   QStringLiteral("/usr/bin/codex")};
}

std::optional<QString> CodexTransport::locate() {
    return AICommandLine::first(candidates());
}

QString CodexTransport::toml(const QString& text) {
    const QByteArray array = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
    if (array.size() < 2)
        return QString();
    return QString::fromUtf8(array.mid(1, array.size() - 2));
}

CodexTransport::Invocation CodexTransport::invocation(const QJsonObject& body, const QString& folder) {
    Invocation invocation;
    invocation.arguments = {QStringLiteral("exec"),
                            QStringLiteral("--json"),
                            QStringLiteral("--ephemeral"),
                            QStringLiteral("--skip-git-repo-check"),
                            QStringLiteral("--ignore-user-config"),
                            QStringLiteral("--ignore-rules"),
                            QStringLiteral("--sandbox"),
                            QStringLiteral("read-only"),
                            QStringLiteral("--cd"),
                            folder,
                            QStringLiteral("-c"),
                            QStringLiteral("approval_policy=\"never\""),
                            QStringLiteral("-c"),
                            QStringLiteral("web_search=\"disabled\""),
                            QStringLiteral("-c"),
                            QStringLiteral("model_reasoning_summary=\"auto\"")};
    for (const char* feature : {"shell_tool", "unified_exec", "view_image", "apps", "plugins", "multi_agent"})
        invocation.arguments << QStringLiteral("-c")
                             << QStringLiteral("features.%1=false").arg(QLatin1String(feature));

    const QJsonObject config = body.value(QStringLiteral("output_config")).toObject();
    if (const QJsonValue model = body.value(QStringLiteral("model")); model.isString())
        invocation.arguments << QStringLiteral("--model") << model.toString();
    if (const QJsonValue effort = config.value(QStringLiteral("effort")); effort.isString())
        invocation.arguments << QStringLiteral("-c")
                             << QStringLiteral("model_reasoning_effort=") + toml(effort.toString());
    if (const QJsonValue system = body.value(QStringLiteral("system")); system.isString())
        invocation.arguments << QStringLiteral("-c")
                             << QStringLiteral("developer_instructions=") + toml(system.toString());
    const QJsonValue schema =
        config.value(QStringLiteral("format")).toObject().value(QStringLiteral("schema"));
    if (schema.isObject()) {
        const QString path = QDir(folder).filePath(QStringLiteral("schema.json"));
        writeFileAtomically(path, QJsonDocument(schema.toObject()).toJson(QJsonDocument::Compact));
        invocation.arguments << QStringLiteral("--output-schema") << path;
    }

    QJsonValue content = QString();
    const QJsonArray messages = body.value(QStringLiteral("messages")).toArray();
    for (qsizetype i = messages.size() - 1; i >= 0; --i) {
        const QJsonObject message = messages.at(i).toObject();
        if (message.value(QStringLiteral("role")).toString() == QLatin1String("user")) {
            content = message.value(QStringLiteral("content"));
            break;
        }
    }
    QString prompt;
    if (content.isString()) {
        prompt = content.toString();
    } else {
        QStringList texts;
        QStringList pictures;
        for (const QJsonValue& value : content.toArray()) {
            const QJsonObject block = value.toObject();
            const QString type = block.value(QStringLiteral("type")).toString();
            if (type == QLatin1String("text")) {
                texts.append(block.value(QStringLiteral("text")).toString());
            } else if (type == QLatin1String("image")) {
                const QJsonObject source = block.value(QStringLiteral("source")).toObject();
                const QString mediaType = source.value(QStringLiteral("media_type")).toString();
                const QString extension = mediaType == QLatin1String("image/jpeg")
                                              ? QStringLiteral("jpeg")
                                              : mediaType.section(QLatin1Char('/'), 1);
                const QString path = QDir(folder).filePath(
                    QStringLiteral("picture-%1.%2").arg(pictures.size() + 1).arg(extension));
                writeFileAtomically(
                    path, QByteArray::fromBase64(source.value(QStringLiteral("data")).toString().toLatin1()));
                pictures.append(path);
            }
        }
        prompt = texts.join(QStringLiteral("\n\n"));
        if (!pictures.isEmpty())
            invocation.arguments << QStringLiteral("--image") << pictures.join(QLatin1Char(','));
    }
    invocation.input = prompt.toUtf8();
    return invocation;
}

QCoro::Task<QJsonObject> CodexTransport::send(QJsonObject body, double timeout,
                                              CancellationToken cancellation) {
    const ThinkingThrottle::Callback onThinking = m_onThinking;
    const std::optional<QString> cli = locate();
    if (!cli)
        throw AICommandError::notInstalled(AIProvider::chatGPT);
    const RunFolder folder{QDir(QDir::tempPath())
                               .filePath(QStringLiteral("codex-") +
                                         QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper())};
    // The folder holds the person's pictures: it is theirs alone from the moment it exists.
    if (!QDir().mkdir(folder.path, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner))
        throw AICommandError::failed(
            QStringLiteral("Couldn't start Codex: its working folder couldn't be made."));
    const Invocation call = invocation(body, folder.path);
    const QString model = body.value(QStringLiteral("model")).toString();
    auto run = CommandRun::make(*cli, call.arguments, call.input, AIProvider(AIProvider::chatGPT).tool(),
                                cancellation);
    CodexStream stream;
    const CommandRun::Outcome outcome = co_await run->streamThinking(timeout, stream, onThinking);
    co_return stream.response(model, outcome.standardError, outcome.exitCode);
}

QCoro::Task<std::optional<AIAccount>> CodexTransport::account() {
    const std::optional<QString> cli = locate();
    if (!cli)
        co_return std::nullopt;
    std::optional<AICommandLine::Captured> captured;
    try {
        const QStringList arguments{QStringLiteral("login"), QStringLiteral("status")};
        captured = co_await AICommandLine::capture(*cli, arguments);
    } catch (const AICommandError&) {
        co_return std::nullopt;
    }
    const QString output = (QString::fromUtf8(captured->standardOutput) + QLatin1Char('\n') +
                            QString::fromUtf8(captured->standardError))
                               .toLower();
    AIAccount account;
    if (output.contains(QLatin1String("not logged in")) || captured->exitCode != 0)
        co_return account;
    account.signedIn = true;
    if (output.contains(QLatin1String("api key")))
        account.name = QStringLiteral("an API key");
    else
        account.name = signedInEmail();
    co_return account;
}

std::optional<QString> CodexTransport::signedInEmail() {
    QByteArray data;
    try {
        data = readFile(QDir(codexHome()).filePath(QStringLiteral("auth.json")));
    } catch (const FileError&) {
        return std::nullopt;
    }
    const QString token = QJsonDocument::fromJson(data)
                              .object()
                              .value(QStringLiteral("tokens"))
                              .toObject()
                              .value(QStringLiteral("id_token"))
                              .toString();
    const QStringList parts = token.split(QLatin1Char('.'));
    if (parts.size() < 2)
        return std::nullopt;
    const auto decoded = QByteArray::fromBase64Encoding(
        parts[1].toLatin1(), QByteArray::Base64UrlEncoding | QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
        return std::nullopt;
    const QString email =
        QJsonDocument::fromJson(*decoded).object().value(QStringLiteral("email")).toString();
    if (email.isEmpty())
        return std::nullopt;
    return email;
}

QString CodexTransport::updateCommand() {
    return updateCommand(locate());
}

QString CodexTransport::updateCommand(const std::optional<QString>& located) {
    if (!located)
        return AIProvider(AIProvider::chatGPT).installCommand();
    const QFileInfo info(*located);
    const QString path = info.canonicalFilePath().isEmpty() ? *located : info.canonicalFilePath();
    if (path.contains(QLatin1String("/Caskroom/")))
        return QStringLiteral("brew upgrade --cask codex");
    if (path.contains(QLatin1String("/Cellar/")))
        return QStringLiteral("brew upgrade codex");
    if (path.contains(QLatin1String("node_modules")) || path.contains(QLatin1String("/.npm-global/")))
        return QStringLiteral("npm install -g @openai/codex@latest");
    if (path.contains(QLatin1String("/.bun/")))
        return QStringLiteral("bun install -g @openai/codex@latest");
    if (path.startsWith(QLatin1String("/Applications/")))
        return QStringLiteral("echo 'This Codex comes with the ChatGPT app: update the app to update it.'");
    return QLatin1Char('\'') + path + QStringLiteral("' update");
}

} // namespace corvantis
