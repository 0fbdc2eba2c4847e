#pragma once

#include <QObject>

class QSocketNotifier;

namespace corvantis {

// Turns SIGTERM and SIGINT into a Qt signal on the main thread (through a socket pair, the only safe
// way out of a signal handler), so that they quit the program the same orderly way as the Quit command.
class UnixSignals : public QObject {
    Q_OBJECT
public:
    explicit UnixSignals(QObject* parent = nullptr);
    ~UnixSignals() override;

signals:
    void terminationRequested();

private:
    QSocketNotifier* m_notifier = nullptr;
};

} // namespace corvantis
