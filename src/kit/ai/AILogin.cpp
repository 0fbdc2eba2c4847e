#include "kit/ai/AILogin.h"

#include "kit/ai/AICommandError.h"
#include "kit/ai/AICommandLine.h"
#include "kit/ai/ClaudeCodeTransport.h"
#include "kit/ai/CodexTransport.h"
#include "kit/ai/ProcessGroup.h"
#include "kit/ai/ProcessWaker.h"

#include <QDir>
#include <QUrl>
#include <qcoro/qcorosignal.h>

namespace corvantis {

AILogin::~AILogin() {
    cancel();
}

std::optional<QString> AILogin::linkIn(const QString& line) {
    const qsizetype start = line.indexOf(QLatin1String("https://"));
    if (start < 0)
        return std::nullopt;
    qsizetype end = start;
    while (end < line.size() && !line.at(end).isSpace())
        ++end;
    const QString text = line.mid(start, end - start);
    if (!QUrl(text, QUrl::StrictMode).isValid())
        return std::nullopt;
    return text;
}

QCoro::Task<void> AILogin::run(std::function<void(const QString& link)> onLink) {
    const AIProvider provider = m_provider;
    const std::optional<QString> cli =
        provider == AIProvider::claude ? ClaudeCodeTransport::locate() : CodexTransport::locate();
    if (!cli)
        throw AICommandError::notInstalled(provider);
    QProcess process;
    process.setProgram(*cli);
    process.setArguments(provider == AIProvider::claude
                             ? QStringList{QStringLiteral("auth"), QStringLiteral("login")}
                             : QStringList{QStringLiteral("login")});
    process.setProcessEnvironment(AICommandLine::environment(*cli));
    process.setWorkingDirectory(QDir::tempPath());
    bool linked = false;
    auto readLines = [&](QProcess::ProcessChannel channel) {
        process.setReadChannel(channel);
        while (process.canReadLine() ||
               (process.state() == QProcess::NotRunning && process.bytesAvailable() > 0)) {
            const QString line = AICommandLine::cleanLine(process.readLine());
            if (linked)
                continue;
            if (auto link = linkIn(line)) {
                linked = true;
                onLink(*link);
            }
        }
    };
    QObject::connect(&process, &QProcess::readyReadStandardOutput,
                     [&] { readLines(QProcess::StandardOutput); });
    QObject::connect(&process, &QProcess::readyReadStandardError,
                     [&] { readLines(QProcess::StandardError); });
    ProcessGroup::isolate(process);
    m_process = &process;
    // cancel() may come from the destructor: from here on only locals, and the token's shared state.
    const CancellationToken cancellation = m_cancellation;
    // Whatever ends the sign-in early, nothing of the tool outlives it.
    struct Cleanup {
        QProcess& process;
        ~Cleanup() {
            if (process.state() != QProcess::NotRunning)
                ProcessGroup::kill(process.processId());
        }
    } cleanup{process};
    ProcessWaker waker(&process);
    process.start();
    // A program that can't be started is told by errorOccurred alone, so wait for either.
    while (process.state() == QProcess::Starting)
        co_await qCoro(&waker, &ProcessWaker::changed);
    if (process.error() == QProcess::FailedToStart)
        throw AICommandError::failed(
            QStringLiteral("Couldn't start %1: %2").arg(provider.tool(), process.errorString()));
    {
        const qint64 leader = process.processId();
        const CancellationHandler ending(cancellation, [leader] { ProcessGroup::end(leader); });
        if (process.state() != QProcess::NotRunning)
            co_await qCoro(&process, &QProcess::finished);
    }
    readLines(QProcess::StandardOutput);
    readLines(QProcess::StandardError);
    process.disconnect();
    // A cancelled sign-in isn't a failure: whoever cancelled it knows.
    cancellation.check();
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        throw AICommandError::failed(QStringLiteral("Signing in didn't finish."));
}

void AILogin::send(const QString& line) {
    if (m_process && m_process->state() == QProcess::Running)
        m_process->write(line.toUtf8() + '\n');
}

void AILogin::cancel() {
    m_cancellation.cancel();
}

bool AILogin::isRunning() const {
    return m_process && m_process->state() != QProcess::NotRunning;
}

} // namespace corvantis
