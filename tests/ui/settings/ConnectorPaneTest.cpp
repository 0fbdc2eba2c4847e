#include "ui/settings/ConnectorPane.h"

#include "app/app/AppModel.h"
#include "app/app/Settings.h"
#include "app/mcp/MCPConnections.h"
#include "app/mcp/MCPService.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ToolHome.h"

#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QTcpServer>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace corvantis;
using corvantis::test::ToolHome;
using corvantis::test::waitUntil;

namespace {

// A free port for the service, so that the test keeps away from 47820.
quint16 freePort() {
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

} // namespace

TEST(ConnectorPane, SwitchesTheServiceAndConnectsApps) {
    ToolHome home;
    const quint16 port = freePort();
    qputenv("CORVANTIS_MCP_PORT", QByteArray::number(port));
    QTemporaryDir dir;
    AppModel app(std::make_unique<Settings>(dir.filePath("s.ini")), dir.filePath("Projects"));
    ConnectorPane pane(app);

    EXPECT_TRUE(pane.enabled()->isChecked());
    EXPECT_EQ(pane.status()->text(), QStringLiteral("Listening on 127.0.0.1, port %1.").arg(port));
    pane.enabled()->click();
    EXPECT_FALSE(app.allowsMCP());
    EXPECT_FALSE(app.mcpService().port().has_value());
    EXPECT_EQ(pane.status()->text(), "Off: no other app can reach Corvantis.");
    pane.enabled()->click();
    EXPECT_EQ(app.mcpService().port(), port);

    // No Claude desktop app here: nothing to connect. The stand-in Claude Code is there.
    EXPECT_EQ(pane.state(MCPClientApp::claudeDesktop)->text(), "Not installed");
    EXPECT_FALSE(pane.toggle(MCPClientApp::claudeDesktop)->isEnabled());
    EXPECT_EQ(pane.state(MCPClientApp::claudeCode)->text(), "Not connected");
    pane.toggle(MCPClientApp::claudeCode)->click();
    ASSERT_TRUE(waitUntil([&] { return pane.state(MCPClientApp::claudeCode)->text() == "Connected"; }));
    EXPECT_EQ(pane.toggle(MCPClientApp::claudeCode)->text(), "Disconnect");
    EXPECT_TRUE(pane.error(MCPClientApp::claudeCode)->isHidden());

    // A Claude settings file that can't be read: the failure is shown, the file is left alone.
    const QString claude = home.path() + "/.config/Claude/claude_desktop_config.json";
    QDir().mkpath(QFileInfo(claude).absolutePath());
    QFile file(claude);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("{oops");
    file.close();
    app.mcpConnections().refresh();
    EXPECT_EQ(pane.state(MCPClientApp::claudeDesktop)->text(), "Not connected");
    pane.toggle(MCPClientApp::claudeDesktop)->click();
    ASSERT_TRUE(waitUntil([&] { return !pane.error(MCPClientApp::claudeDesktop)->isHidden(); }));
    EXPECT_EQ(pane.error(MCPClientApp::claudeDesktop)->text(),
              "The configuration file isn't valid JSON, so Corvantis left it as it is.");
    qunsetenv("CORVANTIS_MCP_PORT");
}
