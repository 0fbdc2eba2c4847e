#pragma once

#include <QObject>

namespace corvantis {

class AppModel;

// Handles the program's termination: the first request starts the orderly close and answers "later";
// a second request while that runs answers "now".
class AppDelegate : public QObject {
    Q_OBJECT
public:
    enum class Reply { TerminateNow, TerminateLater };

    explicit AppDelegate(AppModel& app, QObject* parent = nullptr);

    bool isQuitting() const { return m_isQuitting; }
    // Called for every request to quit (the Quit command, closing the window, SIGTERM, SIGINT).
    Reply shouldTerminate();

signals:
    // The orderly close has finished: the program may end now.
    void readyToTerminate();

private:
    AppModel& m_app;
    bool m_isQuitting = false;
};

} // namespace corvantis
