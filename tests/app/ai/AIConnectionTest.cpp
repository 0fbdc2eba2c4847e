#include "app/ai/AIConnection.h"

#include "kit/ai/AIError.h"
#include "tests/support/AwaitTask.h"
#include "tests/support/QtPrinters.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ToolHome.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace corvantis;
using corvantis::test::await;
using corvantis::test::ToolHome;

TEST(AIConnection, RefreshReadsInstallAccountAndVersion) {
    ToolHome home;
    AIConnection claude(AIProvider::claude);
    EXPECT_TRUE(claude.installed());
    EXPECT_TRUE(claude.signedOut()); // nothing known before the first refresh
    EXPECT_TRUE(claude.needsAttention());

    QList<bool> refreshing;
    QObject::connect(&claude, &AIConnection::refreshingChanged,
                     [&] { refreshing.append(claude.refreshing()); });
    ToolHome::account("signed-in");
    await(claude.refresh());
    EXPECT_EQ(refreshing, (QList<bool>{true, false}));
    EXPECT_EQ(claude.account(), (AIAccount{true, QString("ann@example.com")}));
    EXPECT_EQ(claude.version(), QString("2.1.197"));
    EXPECT_FALSE(claude.needsAttention());

    AIConnection codex(AIProvider::chatGPT);
    await(codex.refresh());
    EXPECT_EQ(codex.account(), (AIAccount{true, std::nullopt}));
    EXPECT_EQ(codex.version(), QString("0.169.0"));

    // The tool went away: the next refresh says so.
    ToolHome::account("signed-out");
    QFile::remove(home.path() + "/.local/bin/claude");
    await(claude.refresh());
    EXPECT_FALSE(claude.installed());
    EXPECT_EQ(claude.account(), AIAccount::signedOut());
    EXPECT_FALSE(claude.version());
}

TEST(AIConnection, NotesItsOwnErrors) {
    ToolHome home;
    ToolHome::account("signed-in");
    AIConnection claude(AIProvider::claude);
    await(claude.refresh());
    ASSERT_FALSE(claude.signedOut());

    EXPECT_FALSE(claude.note(AICommandError::notSignedIn(AIProvider::chatGPT)));
    EXPECT_FALSE(claude.signedOut());
    EXPECT_FALSE(claude.note(AICommandError::failed("Claude Code stopped.")));
    EXPECT_FALSE(claude.note(AIError::truncated()));
    EXPECT_FALSE(claude.note(std::runtime_error("other")));

    int accountChanges = 0;
    QObject::connect(&claude, &AIConnection::accountChanged, [&] { ++accountChanges; });
    EXPECT_TRUE(claude.note(AICommandError::notSignedIn(AIProvider::claude)));
    EXPECT_TRUE(claude.signedOut());
    EXPECT_EQ(accountChanges, 1);

    EXPECT_TRUE(claude.note(
        *AICommandError::outdatedIn("Claude Code 2.0.1 does not support this model (version 2.1.0)")));
    ASSERT_TRUE(claude.outdated());
    EXPECT_EQ(*claude.outdated(), (AIConnection::Outdated{QString("2.0.1"), QString("2.1.0")}));
    EXPECT_TRUE(claude.needsAttention());
}

TEST(AIConnection, UpdateInstallAndSignIn) {
    ToolHome home;
    AIConnection claude(AIProvider::claude);
    QStringList shown;
    QObject::connect(&claude, &AIConnection::updatingChanged,
                     [&] { shown.append(claude.updating().value_or("<none>")); });
    claude.note(AICommandError::outdated(AIProvider::claude));
    await(claude.update());
    EXPECT_EQ(shown, (QStringList{"", "Current version: 2.1.197", "Checking for updates...",
                                  "Successfully updated from 2.1.197 to 2.1.200", "<none>"}));
    EXPECT_FALSE(claude.updateError());
    EXPECT_FALSE(claude.outdated());

    // A failed update shows what the tool said last under the sentence.
    ToolHome::scenario("update-fail");
    await(claude.update());
    EXPECT_EQ(claude.updateError(),
              QString("Claude Code couldn't update.\nError: could not reach the update server"));
    EXPECT_FALSE(claude.updating());

    // Codex and installs go to a terminal.
    QStringList opened;
    AIConnection codex(AIProvider::chatGPT);
    codex.setTerminalOpener([&](const QString& title, const QString& command) {
        opened.append(title + ": " + command);
        return true;
    });
    await(codex.update());
    codex.install();
    EXPECT_EQ(opened,
              (QStringList{"Update Codex: '" +
                               QFileInfo(home.path() + "/.local/bin/codex").canonicalFilePath() + "' update",
                           "Install Codex: " + AIProvider(AIProvider::chatGPT).installCommand()}));
    codex.setTerminalOpener([](const QString&, const QString&) { return false; });
    codex.install();
    EXPECT_TRUE(codex.updateError()->contains(AIProvider(AIProvider::chatGPT).installCommand()));

    // A sign-in opens its link, takes a code, and refreshes the account when it ends.
    ToolHome::scenario("");
    QStringList links;
    claude.setLinkOpener([&](const QUrl& url) {
        links.append(url.toString());
        EXPECT_TRUE(claude.signingIn());
        EXPECT_EQ(claude.signInLink(), url.toString());
        ToolHome::account("signed-in");
        claude.sendSignInCode("CODE123");
    });
    await(claude.signIn());
    EXPECT_EQ(links, QStringList{"https://claude.ai/oauth/authorize?code=true&state=abc"});
    EXPECT_FALSE(claude.signingIn());
    EXPECT_FALSE(claude.signInError());
    EXPECT_FALSE(claude.signedOut());

    ToolHome::scenario("login-fail");
    claude.setLinkOpener([](const QUrl&) {});
    await(claude.signIn());
    EXPECT_EQ(claude.signInError(), QString("Signing in didn't finish."));
}

TEST(AIConnection, CancelledUpdateEndsQuietly) {
    ToolHome home;
    AIConnection claude(AIProvider::claude);

    // An update that hangs is stopped by a cancel, without an error.
    ToolHome::scenario("update-hang");
    auto updating = claude.update();
    ASSERT_TRUE(test::waitUntil([&] { return claude.updating() == QString("Downloading 2.1.200..."); }));
    claude.cancelUpdate();
    await(std::move(updating), 30000);
    EXPECT_FALSE(claude.updating());
    EXPECT_FALSE(claude.updateError());
    // The next update runs again.
    ToolHome::scenario("");
    await(claude.update());
    EXPECT_FALSE(claude.updateError());
}

TEST(AIConnection, CancelledSignInEndsQuietly) {
    ToolHome home;
    AIConnection claude(AIProvider::claude);
    // A sign-in stopped while it waits for the person shows no error.
    claude.setLinkOpener([](const QUrl&) {});
    auto signingIn = claude.signIn();
    ASSERT_TRUE(test::waitUntil([&] { return claude.signInLink().has_value(); }));
    claude.cancelSignIn();
    await(std::move(signingIn), 30000);
    EXPECT_FALSE(claude.signingIn());
    EXPECT_FALSE(claude.signInError());
}

TEST(AIConnection, TerminalScript) {
    QTemporaryDir dir;
    // The script echoes what it runs, runs it, and ends with the line that sends the user back.
    const QString script = dir.filePath("script.sh");
    QFile file(script);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(AIConnection::terminalScript("Install it's tool", "echo hello 'world'").toUtf8());
    file.close();
    QProcess shell;
    shell.start("/bin/sh", {script});
    shell.closeWriteChannel();
    ASSERT_TRUE(shell.waitForFinished(10000));
    const QString output = QString::fromUtf8(shell.readAllStandardOutput());
    EXPECT_TRUE(
        output.contains("$ echo hello 'world'\nhello world\n\nDone. You can close this window and go back to "
                        "Corvantis.\n"))
        << output.toStdString();

    // The default opener hands the script to $TERMINAL with -e. The fake terminal copies it slowly, as
    // a loaded machine may, and shows it whole only once it has all of it.
    const QString fake = dir.filePath("terminal.sh");
    QFile terminal(fake);
    ASSERT_TRUE(terminal.open(QIODevice::WriteOnly));
    terminal.write(QString("#!/bin/sh\n"
                           "[ \"$1\" = -e ] || exit 1\n"
                           "{ head -c 16 \"$2\"; sleep 0.3; tail -c +17 \"$2\"; } > '%1.part'\n"
                           "mv '%1.part' '%1'\n")
                       .arg(dir.filePath("handed.sh"))
                       .toUtf8());
    terminal.close();
    terminal.setPermissions(terminal.permissions() | QFileDevice::ExeOwner);
    qputenv("TERMINAL", fake.toUtf8());
    EXPECT_TRUE(AIConnection::openInTerminal("Update Codex", "npm install -g @openai/codex@latest"));
    qunsetenv("TERMINAL");
    ASSERT_TRUE(test::waitUntil([&] { return QFile::exists(dir.filePath("handed.sh")); }));
    QFile handed(dir.filePath("handed.sh"));
    ASSERT_TRUE(handed.open(QIODevice::ReadOnly));
    EXPECT_EQ(QString::fromUtf8(handed.readAll()),
              AIConnection::terminalScript("Update Codex", "npm install -g @openai/codex@latest"));
}
