#include "tests/app/build/BuildTestSupport.h"

#include <QProcess>
#include <gtest/gtest.h>

using namespace corvantis;
using namespace corvantis::test;

// The program dies (SIGKILL) while a turn runs; the next start finds the turn stopped, its working step
// failed, and nothing of it in the graph. A lost index is rebuilt from the files.
TEST(BuildCrash, ATurnLeftRunningByAKilledProgramReadsStoppedWhenReopened) {
    BuildWorld world;
    world.reading.add(world.reading.person, "Bob");
    const QUuid projectID = world.reading.project.id;
    world.reading.session.reset(); // the helper is the one program with the project open
    world.reading.world.settings.sync();

    ToolHome::scenario("slow"); // the stand-in thinks, then never answers
    QProcess helper;
    helper.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    helper.start(QStringLiteral(CORVANTIS_BIN_DIR "/build-crash-helper"),
                 {world.reading.world.library.root(), json::uuidText(projectID),
                  world.reading.world.dir.filePath("settings.ini"), world.tools.path()});
    ASSERT_TRUE(helper.waitForStarted(30000));
    QByteArray said;
    ASSERT_TRUE(waitUntil(
        [&] {
            said += helper.readAllStandardOutput();
            return said.contains("RUNNING") || helper.state() == QProcess::NotRunning;
        },
        60000));
    ASSERT_TRUE(said.contains("RUNNING")) << said.toStdString();
    helper.kill(); // SIGKILL
    ASSERT_TRUE(helper.waitForFinished(30000));
    EXPECT_EQ(helper.exitStatus(), QProcess::CrashExit);

    world.reading.world.settings.sync();
    auto session = world.reading.world.open(world.reading.world.stored(projectID));
    BuildChat& chat = session->builds().graph();
    ASSERT_EQ(chat.turns().size(), 1);
    const BuildTurn* turn = chat.turns().first();
    EXPECT_EQ(turn->text, "Ann wrote Dune.");
    EXPECT_EQ(turn->status, BuildTurnRecord::Status::Stopped);
    ASSERT_FALSE(turn->steps.isEmpty());
    EXPECT_EQ(turn->steps.last().title, "Drafting nodes and relationships");
    EXPECT_EQ(turn->steps.last().status, BuildStep::Status::Failed);
    EXPECT_TRUE(turn->finished);
    EXPECT_FALSE(chat.review());
    EXPECT_FALSE(chat.isRunning());
    EXPECT_EQ(countIn(*session, "Person"), 1);
    EXPECT_EQ(countIn(*session, "Book"), 0);
    EXPECT_TRUE(chat.exchanges().isEmpty()); // a stopped turn never reaches a later prompt

    // The index is lost: the listing rebuilds it from the files.
    const QString folder = world.reading.world.library.folder(projectID) + "/conversations";
    ASSERT_TRUE(QFile::remove(folder + "/index.json"));
    chat.refreshHistory();
    ASSERT_EQ(chat.history().size(), 1);
    EXPECT_EQ(chat.history().first().title, "Ann wrote Dune.");
    EXPECT_TRUE(QFile::exists(folder + "/index.json"));
}
