#include "ui/shell/UnixSignals.h"

#include <QSocketNotifier>
#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace corvantis {

namespace {

int signalPipe[2] = {-1, -1};

void onSignal(int) {
    char byte = 1;
    // Nothing else is safe in a signal handler; a full pipe means a quit is already on its way.
    [[maybe_unused]] auto written = ::write(signalPipe[0], &byte, 1);
}

} // namespace

UnixSignals::UnixSignals(QObject* parent)
    : QObject(parent) {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, signalPipe) != 0) {
        qWarning("UnixSignals: no socket pair; SIGTERM and SIGINT will end the program at once");
        return;
    }
    m_notifier = new QSocketNotifier(signalPipe[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, [this] {
        char byte;
        [[maybe_unused]] auto got = ::read(signalPipe[1], &byte, 1);
        emit terminationRequested();
    });
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
}

UnixSignals::~UnixSignals() {
    signal(SIGTERM, SIG_DFL);
    signal(SIGINT, SIG_DFL);
}

} // namespace corvantis
