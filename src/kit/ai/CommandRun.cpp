#include "kit/ai/CommandRun.h"

#include "kit/ai/AICommandError.h"
#include "kit/ai/AICommandLine.h"
#include "kit/ai/ProcessGroup.h"
#include "kit/ai/ProcessWaker.h"

#include <QDir>
#include <QTimer>
#include <qcoro/qcorosignal.h>

namespace corvantis {

std::shared_ptr<CommandRun> CommandRun::make(const QString& cli, const QStringList& arguments,
                                             const QByteArray& input, const QString& tool,
                                             CancellationToken cancellation) {
    return std::shared_ptr<CommandRun>(new CommandRun(cli, arguments, input, tool, std::move(cancellation)));
}

CommandRun::CommandRun(QString cli, QStringList arguments, QByteArray input, QString tool,
                       CancellationToken cancellation)
    : m_cli(std::move(cli))
    , m_arguments(std::move(arguments))
    , m_input(std::move(input))
    , m_tool(std::move(tool))
    , m_cancellation(std::move(cancellation)) {
}

bool CommandRun::timedOut() const {
    std::lock_guard guard(m_lock);
    return m_timedOut;
}

QString CommandRun::standardError() const {
    std::lock_guard guard(m_lock);
    return QString::fromUtf8(m_stderr);
}

void CommandRun::terminate() {
    qint64 leader;
    {
        std::lock_guard guard(m_lock);
        m_ending = true;
        leader = m_leader;
    }
    // A run that hasn't launched yet is ended as soon as it has.
    if (leader > 0)
        ProcessGroup::end(leader);
}

void CommandRun::startSleeper(double timeout) {
    auto* timer = new QTimer();
    timer->setSingleShot(true);
    timer->setTimerType(Qt::PreciseTimer);
    const std::weak_ptr<CommandRun> weak = shared_from_this();
    QObject::connect(timer, &QTimer::timeout, [weak] {
        auto run = weak.lock();
        if (!run)
            return;
        {
            std::lock_guard guard(run->m_lock);
            run->m_timedOut = true;
        }
        run->terminate();
    });
    timer->start(static_cast<int>(timeout * 1000));
    m_sleeper = timer;
}

void CommandRun::stopSleeper() {
    delete m_sleeper.data();
}

QCoro::Task<CommandRun::Outcome> CommandRun::streamThinking(double timeout, ThinkingStream& stream,
                                                            const ThinkingThrottle::Callback& onThinking) {
    const auto self = shared_from_this();
    ThinkingThrottle throttle(onThinking);
    // Arguments of a co_await are named first: GCC 12 may destroy temporaries there twice.
    const std::function<void(const QByteArray&)> onLine = [&](const QByteArray& line) {
        if (stream.consume(line))
            throttle.changed(stream.thinking());
    };
    const std::function<QCoro::Task<Outcome>()> operation = [&]() {
        return start(onLine);
    };
    const Outcome outcome = co_await guarded<Outcome>(timeout, operation);
    throttle.finish(stream.thinking());
    co_return outcome;
}

QCoro::Task<CommandRun::Outcome> CommandRun::start(std::function<void(const QByteArray& line)> onLine) {
    const auto self = shared_from_this();
    QProcess process;
    process.setProgram(m_cli);
    process.setArguments(m_arguments);
    process.setProcessEnvironment(AICommandLine::environment(m_cli));
    process.setWorkingDirectory(QDir::tempPath());
    QObject::connect(&process, &QProcess::readyReadStandardError, [this, &process] {
        const QByteArray more = process.readAllStandardError();
        std::lock_guard guard(m_lock);
        m_stderr += more;
        if (m_stderr.size() >= stderrLimit)
            m_stderr = m_stderr.right(stderrKeep);
    });
    ProcessGroup::isolate(process);
    ProcessWaker waker(&process);
    // However the run ends, nothing of the tool outlives it.
    struct Forget {
        CommandRun* run;
        QProcess& process;
        ~Forget() {
            std::lock_guard guard(run->m_lock);
            if (process.state() != QProcess::NotRunning)
                ProcessGroup::kill(run->m_leader);
            run->m_leader = 0;
        }
    } forget{this, process};

    process.start();
    // A program that can't be started is told by errorOccurred alone, so wait for either.
    while (process.state() == QProcess::Starting)
        co_await qCoro(&waker, &ProcessWaker::changed);
    if (process.error() == QProcess::FailedToStart)
        throw AICommandError::failed(
            QStringLiteral("Couldn't start %1: %2").arg(m_tool, process.errorString()));
    bool endNow;
    {
        std::lock_guard guard(m_lock);
        m_leader = process.processId();
        endNow = m_ending;
    }
    if (endNow)
        ProcessGroup::end(process.processId());
    process.write(m_input);
    process.closeWriteChannel();
    if (m_cancellation.isCancelled())
        terminate();

    QByteArray pending;
    auto handLines = [&] {
        qsizetype end;
        while ((end = pending.indexOf('\n')) >= 0) {
            QByteArray line = pending.left(end);
            pending.remove(0, end + 1);
            if (line.endsWith('\r'))
                line.chop(1);
            onLine(line);
        }
    };
    while (true) {
        pending += process.readAllStandardOutput();
        handLines();
        if (process.state() == QProcess::NotRunning)
            break;
        co_await qCoro(&waker, &ProcessWaker::changed);
    }
    pending += process.readAllStandardOutput();
    handLines();
    if (!pending.isEmpty())
        onLine(pending);
    process.disconnect();

    m_cancellation.check();
    QString standardError;
    bool timedOut;
    {
        std::lock_guard guard(m_lock);
        m_stderr += process.readAllStandardError();
        if (m_stderr.size() >= stderrLimit)
            m_stderr = m_stderr.right(stderrKeep);
        standardError = QString::fromUtf8(m_stderr);
        timedOut = m_timedOut;
    }
    if (timedOut)
        throw AICommandError::failed(
            QStringLiteral("The answer took too long. Try again, or a lower effort."));
    co_return Outcome{process.exitCode(), standardError};
}

} // namespace corvantis
