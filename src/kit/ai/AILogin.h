#pragma once

#include "kit/ai/AIProvider.h"
#include "kit/support/Cancellation.h"

#include <QByteArray>
#include <QPointer>
#include <QProcess>
#include <QString>
#include <functional>
#include <qcoro/qcorotask.h>

namespace corvantis {

// One sign-in through a tool's own login command. The tool prints an address for the user to open; the
// first one is handed over, later ones are ignored. Standard input stays open for the whole sign-in, so
// that a code the tool asks for can be typed through send().
class AILogin {
public:
    explicit AILogin(AIProvider provider)
        : m_provider(provider) {}
    ~AILogin();
    AILogin(const AILogin&) = delete;
    AILogin& operator=(const AILogin&) = delete;

    AIProvider provider() const { return m_provider; }

    // Runs the sign-in to its end. Fails with AICommandError: not installed, couldn't start, or
    // "Signing in didn't finish." for a status other than zero; with Cancelled after cancel().
    QCoro::Task<void> run(std::function<void(const QString& link)> onLink);
    // Types a line (a code the tool asked for) into the sign-in.
    void send(const QString& line);
    // Ends the sign-in, and everything the tool started, without a failure.
    void cancel();
    bool isRunning() const;

    // The address in a line of output: from the first "https://" to the next blank.
    static std::optional<QString> linkIn(const QString& line);

private:
    AIProvider m_provider;
    QPointer<QProcess> m_process;
    CancellationToken m_cancellation;
};

} // namespace corvantis
