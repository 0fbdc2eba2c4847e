#include "kit/ai/ProcessGroup.h"

#include <QCoreApplication>
#include <QTimer>
#include <csignal>
#include <sys/types.h>
#include <unistd.h>

namespace corvantis::ProcessGroup {

void isolate(QProcess& process) {
    // Runs in the child between fork and exec: only async-signal-safe calls belong here.
    process.setChildProcessModifier([] { ::setsid(); });
}

void end(qint64 leader) {
    if (leader <= 0)
        return;
    const pid_t group = static_cast<pid_t>(leader);
    ::kill(-group, SIGTERM);
    QCoreApplication* application = QCoreApplication::instance();
    if (!application)
        return;
    // Not tied to the QProcess: the leader may be gone long before what it started.
    QMetaObject::invokeMethod(
        application,
        [group, application] {
            QTimer::singleShot(graceMs, application, [group] {
                if (::kill(-group, 0) == 0)
                    ::kill(-group, SIGKILL);
            });
        },
        Qt::QueuedConnection);
}

void kill(qint64 leader) {
    if (leader > 0)
        ::kill(-static_cast<pid_t>(leader), SIGKILL);
}

} // namespace corvantis::ProcessGroup
