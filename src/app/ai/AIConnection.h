#pragma once

#include "kit/ai/AICommandError.h"
#include "kit/ai/AILogin.h"
#include "kit/ai/AIProvider.h"
#include "kit/support/Cancellation.h"

#include <QObject>
#include <QString>
#include <QUrl>
#include <functional>
#include <memory>
#include <optional>
#include <qcoro/qcorotask.h>

namespace corvantis {

// What the program knows of one provider's command-line tool: whether it is installed, who is signed
// in, its version, and the sign-in and update the user may run from Settings. Lives on the main thread;
// every field has a getter and a change signal. Errors that the transports raise pass through note(),
// so that Settings and the Ask bar show the same state.
class AIConnection : public QObject {
    Q_OBJECT
public:
    // A tool too old for a model, with the versions it named.
    struct Outdated {
        std::optional<QString> installed;
        std::optional<QString> required;
        friend bool operator==(const Outdated&, const Outdated&) = default;
    };

    // Opens a command in a terminal window titled `title`; returns false when no terminal could be opened.
    using TerminalOpener = std::function<bool(const QString& title, const QString& command)>;

    explicit AIConnection(AIProvider provider, QObject* parent = nullptr);
    ~AIConnection() override;

    AIProvider provider() const { return m_provider; }
    bool installed() const { return m_installed; }
    const AIAccount& account() const { return m_account; }
    const std::optional<QString>& version() const { return m_version; }
    const std::optional<Outdated>& outdated() const { return m_outdated; }
    // The last line the running update printed; absent when no update runs.
    const std::optional<QString>& updating() const { return m_updating; }
    // Why the last update failed: the sentence, and on a line of its own what the tool said last.
    const std::optional<QString>& updateError() const { return m_updateError; }
    // True from the start of a sign-in to its end; the link is there once the tool has printed it.
    bool signingIn() const { return m_login != nullptr; }
    const std::optional<QString>& signInLink() const { return m_signInLink; }
    const std::optional<QString>& signInError() const { return m_signInError; }
    bool refreshing() const { return m_refreshing; }

    // Nobody is signed in (or the tool hasn't said yet).
    bool signedOut() const { return !m_account.signedIn; }
    // Something stands between the user and this provider's models.
    bool needsAttention() const { return !m_installed || signedOut() || m_outdated.has_value(); }

    // Asks the tool, in order, whether it is installed, who is signed in and which version it is.
    QCoro::Task<void> refresh();
    // Looks at an error a transport raised: a sign-out or a tool too old changes this connection's state.
    // Returns whether the error was about this connection's tool.
    bool note(const std::exception& error);
    // Claude Code updates itself here, line by line, within AICommandLine::updateTimeLimit; Codex is
    // updated in a terminal.
    QCoro::Task<void> update();
    // Stops a running update; it ends without an error.
    void cancelUpdate();
    // Opens the vendor's install command in a terminal.
    void install();
    // Starts the tool's own sign-in; its link is opened for the user and kept in signInLink. Refreshes
    // the account when it ends. A cancelled sign-in ends without an error.
    QCoro::Task<void> signIn();
    // Types a code the tool asked for into the running sign-in.
    void sendSignInCode(const QString& code);
    void cancelSignIn();

    // How links and terminal commands are opened: the desktop's browser and terminal by default.
    void setLinkOpener(std::function<void(const QUrl&)> opener) { m_openLink = std::move(opener); }
    void setTerminalOpener(TerminalOpener opener) { m_openTerminal = std::move(opener); }
    // The default terminal opener: a temporary shell script run by $TERMINAL or x-terminal-emulator.
    static bool openInTerminal(const QString& title, const QString& command);
    // The text of that script.
    static QString terminalScript(const QString& title, const QString& command);

signals:
    void installedChanged();
    void accountChanged();
    void versionChanged();
    void outdatedChanged();
    void updatingChanged();
    void updateErrorChanged();
    void signInChanged();
    void signInErrorChanged();
    void refreshingChanged();

private:
    void setInstalled(bool installed);
    void setAccount(const AIAccount& account);
    void setVersion(const std::optional<QString>& version);
    void setOutdated(const std::optional<Outdated>& outdated);
    void setUpdating(const std::optional<QString>& line);
    void setUpdateError(const std::optional<QString>& error);
    void setSignInError(const std::optional<QString>& error);
    void setRefreshing(bool refreshing);

    AIProvider m_provider;
    bool m_installed = false;
    AIAccount m_account;
    std::optional<QString> m_version;
    std::optional<Outdated> m_outdated;
    std::optional<QString> m_updating;
    std::optional<QString> m_updateError;
    // The running update's cancellation; absent when none runs.
    std::optional<CancellationToken> m_updateCancellation;
    std::shared_ptr<AILogin> m_login;
    std::optional<QString> m_signInLink;
    std::optional<QString> m_signInError;
    bool m_refreshing = false;
    int m_refreshGeneration = 0;
    std::function<void(const QUrl&)> m_openLink;
    TerminalOpener m_openTerminal;
};

} // namespace corvantis
