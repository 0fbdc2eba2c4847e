#pragma once

#include <QObject>
#include <QProcess>

namespace corvantis {

// One signal for whatever a coroutine waiting on a tool's process cares about: it started, it failed to,
// it wrote, it finished. Awaiting `changed` spares awaiting QProcess's own signals one by one, some of
// which (stateChanged) carry a private tag that coroutine wrappers can't pass on safely.
class ProcessWaker : public QObject {
    Q_OBJECT
public:
    explicit ProcessWaker(QProcess* process) {
        connect(process, &QProcess::readyReadStandardOutput, this, &ProcessWaker::changed);
        connect(process, &QProcess::finished, this, &ProcessWaker::changed);
        connect(process, &QProcess::errorOccurred, this, &ProcessWaker::changed);
        connect(process, &QProcess::started, this, &ProcessWaker::changed);
    }

signals:
    void changed();
};

} // namespace corvantis
