// Our transports and connections against the real tools, installed from their vendors' packages in the
// folder named by CORVANTIS_REAL_CLI_DIR. They run with a home of our own, so they are signed out, and
// they are asked only what never reaches a model: versions, account status, and a print run that a
// signed-out tool answers with "Not logged in".
#include "app/ai/AIConnection.h"
#include "kit/ai/AIClient.h"
#include "kit/ai/ClaudeCodeTransport.h"
#include "tests/support/AwaitTask.h"
#include "tests/support/QtPrinters.h"
#include "tests/support/ToolHome.h"

#include <QFileInfo>
#include <QRegularExpression>
#include <gtest/gtest.h>

using namespace corvantis;
using corvantis::test::await;
using corvantis::test::ToolHome;

TEST(RealCli, SignedOut) {
    const QString folder = qEnvironmentVariable("CORVANTIS_REAL_CLI_DIR");
    if (folder.isEmpty())
        GTEST_SKIP() << "CORVANTIS_REAL_CLI_DIR names no folder of real tools";
    ASSERT_TRUE(QFileInfo(folder + "/claude").isExecutable()) << folder.toStdString();
    ASSERT_TRUE(QFileInfo(folder + "/codex").isExecutable()) << folder.toStdString();
    ToolHome home(false);
    home.link("claude", folder + "/claude");
    home.link("codex", folder + "/codex");
    qputenv("CLAUDE_CODE_DISABLE_NONESSENTIAL_TRAFFIC", "1");
    qputenv("DISABLE_AUTOUPDATER", "1");
    const QRegularExpression version("^\\d+(\\.\\d+)+$");

    for (AIProvider provider : AIProvider::allCases()) {
        AIConnection connection(provider);
        await(connection.refresh());
        EXPECT_TRUE(connection.installed()) << provider.id().toStdString();
        EXPECT_EQ(connection.account(), AIAccount::signedOut()) << provider.id().toStdString();
        ASSERT_TRUE(connection.version()) << provider.id().toStdString();
        EXPECT_TRUE(version.match(*connection.version()).hasMatch()) << connection.version()->toStdString();
        EXPECT_TRUE(connection.needsAttention());
    }

    // Every argument of a translation is accepted, and the signed-out answer ends in our sentence.
    auto transport = std::make_shared<ClaudeCodeTransport>();
    AIConnection claude(AIProvider::claude);
    try {
        await(AIClient(transport, AIEffort::low)
                  .translate("Which books?", GraphSchema(), AIModel::resolve("claude-sonnet-5-5")));
        ADD_FAILURE() << "a signed-out tool answered";
    } catch (const AICommandError& error) {
        EXPECT_EQ(error.message(), "Claude Code isn't signed in.");
        EXPECT_TRUE(claude.note(error));
    }
}
