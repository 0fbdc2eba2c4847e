#include "kit/build/BuildConversation.h"
#include "kit/support/Json.h"
#include "tests/support/QtPrinters.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace corvantis;

namespace {

QDateTime at(int minute) {
    return QDateTime(QDate(2026, 3, 1), QTime(10, minute), Qt::UTC);
}

BuildStep step(const QString& title, BuildStep::Status status, std::optional<QDateTime> finished) {
    return BuildStep{QUuid::createUuid(), title, "", status, at(0), finished, false};
}

BuildTurnRecord turn(const QString& text, BuildTurnRecord::Status status = BuildTurnRecord::Status::Done) {
    BuildTurnRecord record;
    record.id = QUuid::createUuid();
    record.text = text;
    record.model = "claude-sonnet";
    record.started = at(0);
    record.status = status;
    return record;
}

BuildConversation conversation(int updatedMinute, QList<BuildTurnRecord> turns) {
    return BuildConversation{QUuid::createUuid(), BuildKind::Graph, at(0), at(updatedMinute), turns,
                             std::nullopt};
}

} // namespace

TEST(Conversations, ARunningTurnSettlesAsStopped) {
    BuildTurnRecord record = turn("Books", BuildTurnRecord::Status::Running);
    record.steps = {step("Read example.org", BuildStep::Status::Done, at(3)),
                    step("Drafting nodes and relationships", BuildStep::Status::Working, std::nullopt)};
    record.thinkingStarted = at(2);
    record.settle();
    EXPECT_EQ(record.status, BuildTurnRecord::Status::Stopped);
    EXPECT_EQ(record.finished, at(3));
    EXPECT_EQ(record.steps[1].status, BuildStep::Status::Failed);
    EXPECT_EQ(record.steps[1].finished, at(3));
    EXPECT_EQ(record.thinkingFinished, at(3));
    EXPECT_EQ(record.steps[0].status, BuildStep::Status::Done);

    BuildTurnRecord bare = turn("x", BuildTurnRecord::Status::Running);
    bare.settle();
    EXPECT_EQ(bare.finished, at(0));
    BuildTurnRecord done = turn("x");
    done.settle();
    EXPECT_FALSE(done.finished); // not running: untouched
}

TEST(Conversations, TitlesAndSummariesCountWhatStands) {
    EXPECT_EQ(BuildConversation::title(nullptr), "New conversation");
    BuildTurnRecord first = turn(QString(120, 'a') + "\nsecond line");
    EXPECT_EQ(BuildConversation::title(&first), QString(120, 'a'));
    first.text = QString(121, 'b');
    EXPECT_EQ(BuildConversation::title(&first), QString(119, 'b') + "…");
    first.text = "  ";
    first.attachments = {BuildAttachmentRecord{"notes.pdf", std::nullopt, std::nullopt}};
    EXPECT_EQ(BuildConversation::title(&first), "notes.pdf");
    first.attachments.clear();
    EXPECT_EQ(BuildConversation::title(&first), "Untitled");

    BuildTurnRecord applied = turn("a");
    applied.added = GraphAdded{3, 2, 0, 0, 0, 0, 0};
    BuildTurnRecord undone = turn("b");
    undone.added = GraphAdded{10, 10, 0, 0, 0, 0, 0};
    undone.undone = true;
    BuildTurnRecord shaped = turn("c");
    shaped.shape = ShapeMergeResult{2, 5, 1};
    BuildConversation c = conversation(5, {applied, undone, shaped});
    c.review = GraphReview{};
    const auto summary = c.summary();
    EXPECT_EQ(summary.messages, 3);
    EXPECT_EQ(summary.nodesAdded, 3);
    EXPECT_EQ(summary.relationshipsAdded, 3);
    EXPECT_EQ(summary.typesAdded, 2);
    EXPECT_EQ(summary.propertiesAdded, 5);
    EXPECT_FALSE(summary.hasDraft); // an empty review is no draft
}

TEST(Conversations, FilesHealTheirIndexAndLeaveDamagedOnesAlone) {
    QTemporaryDir dir;
    const QString project = dir.path();
    EXPECT_TRUE(BuildHistory::conversations(project).isEmpty());

    BuildTurnRecord running = turn("Still drafting", BuildTurnRecord::Status::Running);
    running.steps = {step("Drafting nodes and relationships", BuildStep::Status::Working, std::nullopt)};
    const BuildConversation older = conversation(1, {turn("Older")});
    const BuildConversation newer = conversation(9, {running});
    BuildHistory::save(older, project);
    BuildHistory::save(newer, project);
    auto list = BuildHistory::conversations(project);
    ASSERT_EQ(list.size(), 2);
    EXPECT_EQ(list[0].id, newer.id);
    EXPECT_EQ(list[0].title, "Still drafting");

    // A damaged file is skipped and never overwritten; a lost index is rebuilt from the files.
    const QString damaged =
        BuildHistory::folder(project) + "/" + json::uuidText(QUuid::createUuid()) + ".json";
    QFile file(damaged);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("{ not json");
    file.close();
    ASSERT_TRUE(QFile::remove(BuildHistory::folder(project) + "/index.json"));
    list = BuildHistory::conversations(project);
    ASSERT_EQ(list.size(), 2);
    EXPECT_EQ(list[1].id, older.id);
    EXPECT_TRUE(QFile::exists(BuildHistory::folder(project) + "/index.json"));
    QFile again(damaged);
    ASSERT_TRUE(again.open(QIODevice::ReadOnly));
    EXPECT_EQ(again.readAll(), "{ not json");

    // Loading settles the running turn.
    const auto loaded = BuildHistory::conversation(newer.id, project);
    ASSERT_TRUE(loaded);
    EXPECT_EQ(loaded->turns[0].status, BuildTurnRecord::Status::Stopped);
    EXPECT_EQ(loaded->turns[0].steps[0].status, BuildStep::Status::Failed);
    EXPECT_FALSE(BuildHistory::conversation(QUuid::createUuid(), project));

    BuildHistory::remove(older.id, project);
    BuildHistory::remove(QUuid::createUuid(), project); // missing: no failure
    list = BuildHistory::conversations(project);
    ASSERT_EQ(list.size(), 1);
    EXPECT_EQ(list[0].id, newer.id);
}

TEST(Conversations, ATurnRecordRoundTripsAndOmitsWhatIsAbsent) {
    BuildTurnRecord record = turn("x");
    record.message = BuildMessage{"x", {}, {}, 2};
    record.added = GraphAdded{1, 0, 0, 0, 0, 0, 0};
    record.source = "Claude";
    record.steps = {step("Read a", BuildStep::Status::Done, at(1))};
    const QJsonObject json = record.toJson();
    EXPECT_FALSE(json.contains("finished"));
    EXPECT_FALSE(json.contains("error"));
    EXPECT_FALSE(json.contains("shape"));
    EXPECT_EQ(json["status"], "done");
    EXPECT_EQ(json["started"], "2026-03-01T10:00:00Z");
    EXPECT_EQ(BuildTurnRecord::fromJson(json), record);
}
