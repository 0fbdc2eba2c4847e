#pragma once

#include "kit/ai/ThinkingStream.h"
#include "kit/ai/ThinkingThrottle.h"
#include "kit/support/Cancellation.h"

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <functional>
#include <memory>
#include <mutex>
#include <qcoro/qcorotask.h>

namespace corvantis {

// One run of a command-line tool: its program, arguments, standard input and name for messages. It runs
// in the system's temporary folder with the environment of AICommandLine, hands each line of standard
// output to the caller, and keeps the tail of standard error for the error message. The tool runs in a
// process group of its own; a time limit and the flow's cancellation both end it by ending that group.
class CommandRun : public std::enable_shared_from_this<CommandRun> {
public:
    struct Outcome {
        int exitCode = 0;
        QString standardError;
    };

    static std::shared_ptr<CommandRun> make(const QString& cli, const QStringList& arguments,
                                            const QByteArray& input, const QString& tool,
                                            CancellationToken cancellation = CancellationToken());

    // Runs the process to its end. Fails with AICommandError::failed when it can't start or when the time
    // limit ended it, and with Cancelled when the flow was cancelled. A non-zero status is returned, not
    // failed: reading it is the transport's business.
    QCoro::Task<Outcome> start(std::function<void(const QByteArray& line)> onLine);

    // Runs `operation` (which awaits start()) under a time limit of `timeout` seconds and the flow's
    // cancellation.
    template <typename T> QCoro::Task<T> guarded(double timeout, std::function<QCoro::Task<T>()> operation);

    // Runs to the end as `guarded` does, handing each line of output to `stream`. Whenever the model's
    // thinking grows, it goes to `onThinking` at the throttle's pace, and the whole of it once more at
    // the end. The arguments are used until the run ends: await it at once.
    QCoro::Task<Outcome> streamThinking(double timeout, ThinkingStream& stream,
                                        const ThinkingThrottle::Callback& onThinking);

    bool timedOut() const;
    // What standard error held when the run ended (or so far).
    QString standardError() const;
    // Ends the process and everything it started, if it runs: politely first, then for good after a
    // grace period. Safe from any thread.
    void terminate();

    const QString& cli() const { return m_cli; }
    const QStringList& arguments() const { return m_arguments; }
    const QString& tool() const { return m_tool; }

    // Standard error keeps at most this much: when it reaches `stderrLimit` bytes, only the last
    // `stderrKeep` stay.
    static constexpr qsizetype stderrLimit = 8001;
    static constexpr qsizetype stderrKeep = 4000;

private:
    CommandRun(QString cli, QStringList arguments, QByteArray input, QString tool,
               CancellationToken cancellation);
    void startSleeper(double timeout);
    void stopSleeper();

    QString m_cli;
    QStringList m_arguments;
    QByteArray m_input;
    QString m_tool;
    CancellationToken m_cancellation;
    // The running tool's process id, which also names its process group; 0 when none runs.
    qint64 m_leader = 0;
    // terminate() was called: a run that launches after it is ended at once.
    bool m_ending = false;
    QPointer<QObject> m_sleeper;
    mutable std::mutex m_lock;
    QByteArray m_stderr;
    bool m_timedOut = false;
};

template <typename T>
QCoro::Task<T> CommandRun::guarded(double timeout, std::function<QCoro::Task<T>()> operation) {
    const auto self = shared_from_this();
    startSleeper(timeout);
    const std::weak_ptr<CommandRun> weak = self;
    const CancellationHandler handler(m_cancellation, [weak] {
        if (auto run = weak.lock())
            run->terminate();
    });
    std::exception_ptr failure;
    std::optional<T> result;
    try {
        result = co_await operation();
    } catch (...) {
        failure = std::current_exception();
    }
    stopSleeper();
    if (failure)
        std::rethrow_exception(failure);
    m_cancellation.check();
    co_return std::move(*result);
}

} // namespace corvantis
