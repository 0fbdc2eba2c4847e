#include "app/ai/AIConnection.h"

#include "kit/ai/AICommandLine.h"
#include "kit/ai/CodexTransport.h"
#include "kit/support/AtomicFile.h"
#include "kit/support/Cancellation.h"

#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QPointer>
#include <QProcess>
#include <QStandardPaths>
#include <QUuid>

namespace corvantis {

namespace {

// A text as one single-quoted shell word.
QString shellQuoted(const QString& text) {
    QString quoted = text;
    quoted.replace(QLatin1Char('\''), QStringLiteral("'\\''"));
    return QLatin1Char('\'') + quoted + QLatin1Char('\'');
}

} // namespace

AIConnection::AIConnection(AIProvider provider, QObject* parent)
    : QObject(parent)
    , m_provider(provider)
    , m_installed(AICommandLine::isInstalled(provider))
    , m_openLink([](const QUrl& url) { QDesktopServices::openUrl(url); })
    , m_openTerminal(&AIConnection::openInTerminal) {
}

AIConnection::~AIConnection() {
    if (m_login)
        m_login->cancel();
    if (m_updateCancellation)
        m_updateCancellation->cancel();
}

void AIConnection::setInstalled(bool installed) {
    if (m_installed == installed)
        return;
    m_installed = installed;
    emit installedChanged();
}

void AIConnection::setAccount(const AIAccount& account) {
    if (m_account == account)
        return;
    m_account = account;
    emit accountChanged();
}

void AIConnection::setVersion(const std::optional<QString>& version) {
    if (m_version == version)
        return;
    m_version = version;
    emit versionChanged();
}

void AIConnection::setOutdated(const std::optional<Outdated>& outdated) {
    if (m_outdated == outdated)
        return;
    m_outdated = outdated;
    emit outdatedChanged();
}

void AIConnection::setUpdating(const std::optional<QString>& line) {
    if (m_updating == line)
        return;
    m_updating = line;
    emit updatingChanged();
}

void AIConnection::setUpdateError(const std::optional<QString>& error) {
    if (m_updateError == error)
        return;
    m_updateError = error;
    emit updateErrorChanged();
}

void AIConnection::setSignInError(const std::optional<QString>& error) {
    if (m_signInError == error)
        return;
    m_signInError = error;
    emit signInErrorChanged();
}

void AIConnection::setRefreshing(bool refreshing) {
    if (m_refreshing == refreshing)
        return;
    m_refreshing = refreshing;
    emit refreshingChanged();
}

QCoro::Task<void> AIConnection::refresh() {
    QPointer<AIConnection> self = this;
    const AIProvider provider = m_provider;
    // A later refresh supersedes an earlier one that is still asking.
    const int generation = ++m_refreshGeneration;
    setRefreshing(true);
    setInstalled(AICommandLine::isInstalled(provider));
    const std::optional<AIAccount> account = co_await AICommandLine::account(provider);
    if (!self || generation != m_refreshGeneration)
        co_return;
    setAccount(account.value_or(AIAccount::signedOut()));
    const std::optional<QString> version = co_await AICommandLine::version(provider);
    if (!self || generation != m_refreshGeneration)
        co_return;
    setVersion(version);
    setRefreshing(false);
}

bool AIConnection::note(const std::exception& error) {
    const auto* command = dynamic_cast<const AICommandError*>(&error);
    if (!command || (command->provider() && *command->provider() != m_provider))
        return false;
    switch (command->kind()) {
    case AICommandError::Kind::notSignedIn:
        setAccount(AIAccount::signedOut());
        return true;
    case AICommandError::Kind::outdated:
        setOutdated(Outdated{command->installed(), command->required()});
        return true;
    case AICommandError::Kind::notInstalled:
        setInstalled(false);
        return true;
    case AICommandError::Kind::failed:
        return false;
    }
    return false;
}

QCoro::Task<void> AIConnection::update() {
    QPointer<AIConnection> self = this;
    setUpdateError(std::nullopt);
    if (m_provider == AIProvider::chatGPT) {
        if (!m_openTerminal(QStringLiteral("Update Codex"), CodexTransport::updateCommand()))
            setUpdateError(QStringLiteral("No terminal could be opened. Run this to update Codex: %1")
                               .arg(CodexTransport::updateCommand()));
        co_return;
    }
    if (m_updating)
        co_return;
    setUpdating(QString());
    const CancellationToken cancellation;
    m_updateCancellation = cancellation;
    std::optional<QString> failure;
    bool cancelled = false;
    try {
        // Arguments of a co_await are named first: GCC 12 may destroy temporaries there twice.
        const std::function<void(const QString&)> onLine = [self](const QString& line) {
            if (self)
                self->setUpdating(line);
        };
        co_await AICommandLine::update(m_provider, onLine, cancellation);
    } catch (const AICommandError& error) {
        failure = error.detail() ? error.message() + QLatin1Char('\n') + *error.detail() : error.message();
    } catch (const UserFacingError& error) {
        failure = error.message();
    } catch (const Cancelled&) {
        cancelled = true;
    }
    if (!self)
        co_return;
    m_updateCancellation.reset();
    setUpdating(std::nullopt);
    setUpdateError(failure);
    if (!failure && !cancelled) {
        setOutdated(std::nullopt);
        co_await refresh();
    }
}

void AIConnection::cancelUpdate() {
    if (m_updateCancellation)
        m_updateCancellation->cancel();
}

void AIConnection::install() {
    const QString title = QStringLiteral("Install ") + m_provider.tool();
    if (!m_openTerminal(title, m_provider.installCommand()))
        setUpdateError(QStringLiteral("No terminal could be opened. Run this to install %1: %2")
                           .arg(m_provider.tool(), m_provider.installCommand()));
}

QCoro::Task<void> AIConnection::signIn() {
    if (m_login)
        co_return;
    QPointer<AIConnection> self = this;
    auto login = std::make_shared<AILogin>(m_provider);
    m_login = login;
    m_signInLink.reset();
    setSignInError(std::nullopt);
    emit signInChanged();
    std::optional<QString> failure;
    try {
        const std::function<void(const QString&)> onLink = [self](const QString& link) {
            if (!self)
                return;
            self->m_signInLink = link;
            emit self->signInChanged();
            self->m_openLink(QUrl(link));
        };
        co_await login->run(onLink);
    } catch (const UserFacingError& error) {
        failure = error.message();
    } catch (const Cancelled&) {
        // The person stopped it: nothing went wrong.
    }
    if (!self)
        co_return;
    m_login.reset();
    m_signInLink.reset();
    emit signInChanged();
    setSignInError(failure);
    co_await refresh();
}

void AIConnection::sendSignInCode(const QString& code) {
    if (m_login)
        m_login->send(code);
}

void AIConnection::cancelSignIn() {
    if (m_login)
        m_login->cancel();
}

QString AIConnection::terminalScript(const QString& title, const QString& command) {
    return QStringLiteral("#!/bin/sh\n"
                          "printf '\\033]0;%s\\007' %1\n"
                          "echo %2\n"
                          "%3\n"
                          "echo\n"
                          "echo 'Done. You can close this window and go back to Corvantis.'\n"
                          "read -r _\n")
        .arg(shellQuoted(title), shellQuoted(QStringLiteral("$ ") + command), command);
}

bool AIConnection::openInTerminal(const QString& title, const QString& command) {
    QString terminal = qEnvironmentVariable("TERMINAL");
    if (terminal.isEmpty())
        terminal = QStandardPaths::findExecutable(QStringLiteral("x-terminal-emulator"));
    if (terminal.isEmpty())
        return false;
    const QString path =
        QDir(QDir::tempPath())
            .filePath(QStringLiteral("corvantis-%1.sh")
                          .arg(QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper()));
    try {
        writeFileAtomically(path, terminalScript(title, command).toUtf8());
    } catch (const FileError&) {
        return false;
    }
    QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    return QProcess::startDetached(terminal, {QStringLiteral("-e"), path});
}

} // namespace corvantis
