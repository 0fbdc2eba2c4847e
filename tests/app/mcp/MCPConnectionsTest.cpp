#include "app/mcp/MCPConnections.h"

#include "kit/mcp/MCPClientConfig.h"
#include "tests/support/AwaitTask.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ToolHome.h"

#include <QFile>
#include <QJsonArray>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace corvantis;
using namespace corvantis::test;
using State = MCPConnections::State;

namespace {

// A home with the stand-in tools, a relay path of our own, a folder of desktop entries, and process
// names no other program on this machine uses.
struct Places {
    ToolHome home;
    QTemporaryDir apps;
    QString helper = home.path() + "/Corvantis/corvantis-mcp";
    QString processName = QStringLiteral("cvt-%1").arg(QCoreApplication::applicationPid());

    Places() {
        QDir().mkpath(home.path() + "/Corvantis");
        write(helper, "#!/bin/sh\n");
    }
    MCPConnections::Places places() const {
        const QString name = processName;
        return MCPConnections::Places{home.path(), helper, {apps.path()}, [name](MCPClientApp app) {
                                          return app == MCPClientApp::codex ? QStringList{name}
                                                                            : QStringList();
                                      }};
    }
    QString config(MCPClientApp app) const { return MCPClientApps::configPath(app, home.path()); }
    static void write(const QString& path, const QByteArray& data) {
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(data);
    }
    static QByteArray read(const QString& path) {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
};

} // namespace

TEST(MCPConnections, StatesFollowWhatTheFilesSay) {
    Places p;
    MCPConnections connections(p.places());
    // No desktop app installed and no file: missing. The stand-ins are the command-line tools.
    EXPECT_EQ(connections.state(MCPClientApp::claudeDesktop), State::missing);
    EXPECT_EQ(connections.state(MCPClientApp::claudeCode), State::off);
    EXPECT_EQ(connections.state(MCPClientApp::codex), State::off);

    Places::write(p.config(MCPClientApp::claudeDesktop),
                  MCPClientConfig::claudeDesktop(std::nullopt, QString("/elsewhere/corvantis-mcp")));
    // The helper reached through a link is the same file.
    QFile::link(p.helper, p.home.path() + "/linked-mcp");
    Places::write(p.config(MCPClientApp::codex),
                  MCPClientConfig::codex({}, p.home.path() + "/linked-mcp").toUtf8());
    connections.refresh();
    EXPECT_EQ(connections.state(MCPClientApp::claudeDesktop), State::moved);
    EXPECT_EQ(connections.state(MCPClientApp::codex), State::on);
}

TEST(MCPConnections, SwitchingClaudeOnAndOffKeepsOtherServers) {
    Places p;
    const QString path = p.config(MCPClientApp::claudeDesktop);
    Places::write(path,
                  R"({"mcpServers":{"files":{"command":"/usr/bin/fs","args":["/home"]}},"theme":"dark"})");
    MCPConnections connections(p.places());
    EXPECT_EQ(connections.state(MCPClientApp::claudeDesktop), State::off);

    await(connections.set(MCPClientApp::claudeDesktop, true));
    EXPECT_FALSE(connections.error(MCPClientApp::claudeDesktop).has_value());
    EXPECT_EQ(connections.state(MCPClientApp::claudeDesktop), State::on);
    QJsonObject root = QJsonDocument::fromJson(Places::read(path)).object();
    EXPECT_EQ(root.value("theme").toString(), "dark");
    EXPECT_EQ(root.value("mcpServers").toObject().value("files").toObject().value("args").toArray(),
              QJsonArray{"/home"});

    await(connections.set(MCPClientApp::claudeDesktop, false));
    EXPECT_EQ(connections.state(MCPClientApp::claudeDesktop), State::off);
    root = QJsonDocument::fromJson(Places::read(path)).object();
    EXPECT_EQ(root.value("mcpServers").toObject().keys(), QStringList{"files"});
}

TEST(MCPConnections, AnUnreadableFileIsNeverOverwritten) {
    Places p;
    const QString path = p.config(MCPClientApp::claudeDesktop);
    const QByteArray broken = "{\"mcpServers\": {\"files\": ";
    Places::write(path, broken);
    MCPConnections connections(p.places());
    await(connections.set(MCPClientApp::claudeDesktop, true));
    EXPECT_EQ(connections.error(MCPClientApp::claudeDesktop),
              QStringLiteral("The configuration file isn't valid JSON, so Corvantis left it as it is."));
    EXPECT_EQ(Places::read(path), broken);
    EXPECT_FALSE(connections.isWorking(MCPClientApp::claudeDesktop));
}

TEST(MCPConnections, CodexTableIsWrittenOnceAndMovedCopiesAreRepointed) {
    Places p;
    const QString path = p.config(MCPClientApp::codex);
    Places::write(path, "# keep me\n[mcp_servers.corvantis]\ncommand = \"/old/place/corvantis-mcp\"\n");
    MCPConnections connections(p.places());
    EXPECT_EQ(connections.state(MCPClientApp::codex), State::moved);
    await(connections.set(MCPClientApp::codex, true));
    await(connections.set(MCPClientApp::codex, true));
    const QString text = QString::fromUtf8(Places::read(path));
    EXPECT_TRUE(text.startsWith("# keep me\n"));
    EXPECT_EQ(text.count("[mcp_servers.corvantis]"), 1);
    EXPECT_EQ(MCPClientConfig::codexCommand(text), p.helper);
    EXPECT_EQ(connections.state(MCPClientApp::codex), State::on);
}

TEST(MCPConnections, ClaudeCodeIsChangedThroughItsOwnCommand) {
    Places p;
    MCPConnections connections(p.places());
    await(connections.set(MCPClientApp::claudeCode, true));
    EXPECT_FALSE(connections.error(MCPClientApp::claudeCode).has_value())
        << connections.error(MCPClientApp::claudeCode)->toStdString();
    EXPECT_EQ(connections.state(MCPClientApp::claudeCode), State::on);
    QList<QStringList> calls;
    for (const QJsonObject& run : p.home.runs())
        calls << run.value("arguments").toVariant().toStringList();
    ASSERT_EQ(calls.size(), 2);
    EXPECT_EQ(calls[0],
              (QStringList{"mcp", "remove", "--scope", "user", "corvantis"})); // failed: nothing there
    EXPECT_EQ(calls[1], (QStringList{"mcp", "add", "--scope", "user", "corvantis", "--", p.helper}));

    await(connections.set(MCPClientApp::claudeCode, false));
    EXPECT_EQ(connections.state(MCPClientApp::claudeCode), State::off);
    EXPECT_FALSE(connections.error(MCPClientApp::claudeCode).has_value());
}

TEST(MCPConnections, ARunningAppNeedsARestartAndIsRelaunchedFromItsDesktopEntry) {
    Places p;
    // A Codex desktop app: an entry that starts a copy of `sleep` under the name we look for.
    const QString app = p.apps.filePath(p.processName);
    ASSERT_TRUE(QFile::copy("/bin/sleep", app));
    const QString marker = p.apps.filePath("relaunched");
    Places::write(
        p.apps.filePath("com.openai.codex.desktop"),
        QStringLiteral("[Desktop Entry]\nType=Application\nName=Codex\nExec=/bin/sh -c \"touch %1\" %U\n")
            .arg(marker)
            .toUtf8());
    QProcess running;
    running.start(app, {"600"});
    ASSERT_TRUE(running.waitForStarted());
    MCPConnections connections(p.places());
    ASSERT_TRUE(waitUntil([&] { return !connections.running(MCPClientApp::codex).isEmpty(); }));

    await(connections.set(MCPClientApp::codex, true));
    EXPECT_TRUE(connections.needsRestart(MCPClientApp::codex));
    await(connections.restart(MCPClientApp::codex));
    EXPECT_TRUE(waitUntil([&] { return running.state() == QProcess::NotRunning; }, 10000));
    EXPECT_EQ(running.exitStatus(), QProcess::CrashExit); // ended by SIGTERM
    EXPECT_FALSE(connections.needsRestart(MCPClientApp::codex));
    EXPECT_FALSE(connections.error(MCPClientApp::codex).has_value());
    EXPECT_TRUE(waitUntil([&] { return QFileInfo::exists(marker); }));
}
