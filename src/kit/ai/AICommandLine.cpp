#include "kit/ai/AICommandLine.h"

#include "kit/ai/ClaudeCodeTransport.h"
#include "kit/ai/CodexTransport.h"
#include "kit/ai/CommandRun.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <mutex>
#include <pwd.h>
#include <unistd.h>

namespace corvantis::AICommandLine {

namespace {

std::mutex homeLock;
std::optional<QString> homeOverride;

} // namespace

std::optional<QString> first(const QStringList& paths) {
    for (const QString& path : paths) {
        const QFileInfo info(path);
        if (info.isFile() && info.isExecutable())
            return path;
    }
    return std::nullopt;
}

QString home() {
    {
        std::lock_guard guard(homeLock);
        if (homeOverride)
            return *homeOverride;
    }
    if (const passwd* entry = getpwuid(getuid()); entry && entry->pw_dir && *entry->pw_dir)
        return QString::fromLocal8Bit(entry->pw_dir);
    return QDir::homePath();
}

void setHomeOverride(const std::optional<QString>& folder) {
    std::lock_guard guard(homeLock);
    homeOverride = folder;
}

QProcessEnvironment environment(const QString& cli) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), home());
    const QString temporary = QDir::tempPath();
    environment.insert(QStringLiteral("TMPDIR"), temporary);
    environment.insert(QStringLiteral("CLAUDE_CODE_TMPDIR"), temporary);
    const QStringList path{QFileInfo(cli).absolutePath(),    QStringLiteral("/opt/homebrew/bin"),
                           QStringLiteral("/usr/local/bin"), QStringLiteral("/usr/bin"),
                           QStringLiteral("/bin"),           QStringLiteral("/usr/sbin"),
                           QStringLiteral("/sbin")};
    environment.insert(QStringLiteral("PATH"), path.join(QLatin1Char(':')));
    return environment;
}

bool isInstalled(AIProvider provider) {
    return provider == AIProvider::claude ? ClaudeCodeTransport::locate().has_value()
                                          : CodexTransport::locate().has_value();
}

QCoro::Task<Captured> capture(QString program, QStringList arguments, double timeout) {
    auto run = CommandRun::make(program, arguments, QByteArray(), QFileInfo(program).fileName());
    QList<QByteArray> lines;
    // Arguments of a co_await are named first: GCC 12 may destroy temporaries there twice.
    const std::function<void(const QByteArray&)> onLine = [&](const QByteArray& line) {
        lines.append(line);
    };
    const std::function<QCoro::Task<CommandRun::Outcome>()> operation = [&]() {
        return run->start(onLine);
    };
    const CommandRun::Outcome outcome = co_await run->guarded<CommandRun::Outcome>(timeout, operation);
    co_return Captured{outcome.exitCode, lines.join('\n'), outcome.standardError.toUtf8()};
}

QCoro::Task<std::optional<AIAccount>> account(AIProvider provider) {
    if (provider == AIProvider::claude)
        co_return co_await ClaudeCodeTransport::account();
    co_return co_await CodexTransport::account();
}

std::optional<QString> versionIn(const QString& text) {
    static const QRegularExpression pattern(QStringLiteral("\\d+(?:\\.\\d+)+"));
    const QRegularExpressionMatch match = pattern.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    return match.captured(0);
}

QCoro::Task<std::optional<QString>> version(AIProvider provider) {
    const std::optional<QString> cli =
        provider == AIProvider::claude ? ClaudeCodeTransport::locate() : CodexTransport::locate();
    if (!cli)
        co_return std::nullopt;
    std::optional<Captured> captured;
    try {
        const QStringList arguments{QStringLiteral("--version")};
        captured = co_await capture(*cli, arguments);
    } catch (const AICommandError&) {
        co_return std::nullopt;
    }
    if (auto found = versionIn(QString::fromUtf8(captured->standardOutput)))
        co_return found;
    co_return versionIn(QString::fromUtf8(captured->standardError));
}

QString cleanLine(const QByteArray& line) {
    static const QRegularExpression codes(QStringLiteral("\\x1B\\[[0-9;?]*[A-Za-z]"));
    return QString::fromUtf8(line).remove(codes).trimmed();
}

QCoro::Task<void> update(AIProvider provider, std::function<void(const QString&)> onLine,
                         CancellationToken cancellation, double timeout) {
    if (provider == AIProvider::chatGPT)
        throw AICommandError::failed(QStringLiteral("Update Codex in a terminal."));
    const std::optional<QString> cli = ClaudeCodeTransport::locate();
    if (!cli)
        throw AICommandError::notInstalled(provider);
    const QStringList arguments{QStringLiteral("update")};
    auto run = CommandRun::make(*cli, arguments, QByteArray(), provider.tool(), cancellation);
    QString lastOutput;
    // Arguments of a co_await are named first: GCC 12 may destroy temporaries there twice.
    const std::function<void(const QByteArray&)> cleaned = [&](const QByteArray& line) {
        const QString text = cleanLine(line);
        if (text.isEmpty())
            return;
        lastOutput = text;
        onLine(text);
    };
    const std::function<QCoro::Task<CommandRun::Outcome>()> operation = [&]() {
        return run->start(cleaned);
    };
    // What the update said last: its last word on standard error, else its last line of output.
    const auto lastLine = [&] {
        const QStringList errors = run->standardError().trimmed().split(QLatin1Char('\n'));
        const QString error = cleanLine(errors.last().toUtf8());
        return error.isEmpty() ? lastOutput : error;
    };
    std::optional<CommandRun::Outcome> outcome;
    try {
        outcome = co_await run->guarded<CommandRun::Outcome>(timeout, operation);
    } catch (const AICommandError&) {
        // Only the time limit is told in the update's own words; any other failure stands.
        if (!run->timedOut())
            throw;
    }
    if (!outcome)
        throw AICommandError::failed(provider.tool() +
                                     QStringLiteral("'s update took too long and was stopped."))
            .withDetail(lastLine());
    if (outcome->exitCode != 0)
        throw AICommandError::failed(provider.tool() + QStringLiteral(" couldn't update."))
            .withDetail(lastLine());
}

} // namespace corvantis::AICommandLine
