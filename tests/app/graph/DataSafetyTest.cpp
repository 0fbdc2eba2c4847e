// Faults injected into the session's store and files: whatever fails, nothing is lost, memory and the
// database agree, and "project.json" names what the database holds.
#include "app/canvas/CanvasState.h"
#include "tests/app/graph/SessionTestSupport.h"
#include "tests/support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <gtest/gtest.h>

using namespace corvantis;
using namespace corvantis::test;

namespace {

GraphPlan twoNewPeople(const QString& label) {
    GraphPlan plan;
    plan.nodes = {
        NodeRecord{json::uuidText(QUuid::createUuid()), label, {{"name", GraphValue::string("Ada")}}},
        NodeRecord{json::uuidText(QUuid::createUuid()), label, {{"name", GraphValue::string("Grace")}}}};
    return plan;
}

// A copy of the project's shape with one more text property on its first node type.
GraphSchema withNote(const GraphSchema& shape) {
    GraphSchema after = shape;
    after.nodeTypes[0].properties.append(property("note"));
    return after;
}

QString firstTypeName(const Project& project) {
    return project.schema.nodeTypes.isEmpty() ? QString() : project.schema.nodeTypes.first().name;
}

} // namespace

TEST(DataSafety, AStepThatPartlyFailsToUndoIsTakenBackWholeAndStaysUndoable) {
    Reading r(true);
    const GraphAdded added = r.session->applyGraphPlan(twoNewPeople(r.person.table()));
    ASSERT_EQ(added.nodes, 2);
    ASSERT_EQ(countIn(*r.session, "Person"), 2);
    const QString name = r.world.undo.undoActionName();

    // Undo removes the second node, then fails on the first.
    r.world.store->failWriteNumber(2);
    r.world.undo.undo();
    r.world.store->failingWrite.reset();
    EXPECT_EQ(r.session->notice(), FailingStore::sentence);
    EXPECT_EQ(countIn(*r.session, "Person"), 2);
    EXPECT_EQ(r.session->nodes().size(), 2);
    EXPECT_TRUE(r.world.undo.canUndo());
    EXPECT_FALSE(r.world.undo.canRedo());
    EXPECT_EQ(r.world.undo.undoActionName(), name);

    // Tried again, it goes through whole, and Redo brings both back.
    r.world.undo.undo();
    EXPECT_EQ(countIn(*r.session, "Person"), 0);
    EXPECT_TRUE(r.session->nodes().isEmpty());
    r.world.undo.redo();
    EXPECT_EQ(countIn(*r.session, "Person"), 2);
    EXPECT_EQ(r.session->nodes().size(), 2);
}

TEST(DataSafety, NodesDeletedTogetherComeBackTogetherOrNotAtAll) {
    Reading r(true);
    const QString ada = r.add(r.person, "Ada");
    const QString grace = r.add(r.person, "Grace");
    r.link("KNOWS", ada, grace);
    r.session->setSelection(GraphSelection::nodes({ada, grace}));
    r.session->deleteSelection();
    ASSERT_TRUE(r.session->confirmation());
    r.session->confirm();
    ASSERT_EQ(countIn(*r.session, "Person"), 0);

    r.world.store->failing = true;
    r.world.undo.undo();
    r.world.store->failing = false;
    EXPECT_EQ(countIn(*r.session, "Person"), 0);
    EXPECT_EQ(r.world.undo.undoActionName(), "Delete Nodes");
    r.world.undo.undo();
    EXPECT_EQ(countIn(*r.session, "Person"), 2);
    EXPECT_EQ(countRelsIn(*r.session, "KNOWS"), 1);
    EXPECT_EQ(r.session->rels().size(), 1);
}

TEST(DataSafety, UndoingADeletionPutsEachNodeBackAsItStood) {
    Reading r;
    const QString shown = r.add(r.person, "Ada", QPointF(10, 20));
    const QString hidden = r.add(r.person, "Grace");
    r.session->graphCanvas().forget({hidden});
    ASSERT_FALSE(r.session->graphCanvas().shown().contains(hidden));

    r.session->removeRecords({shown, hidden}, {});
    r.world.undo.undo();
    EXPECT_TRUE(r.session->graphCanvas().shown().contains(shown));
    EXPECT_TRUE(r.session->graphCanvas().pinned().contains(shown));
    EXPECT_EQ(r.session->graphCanvas().positions().value(shown), QPointF(10, 20));
    // A node that wasn't on the canvas doesn't appear on it by being undeleted.
    EXPECT_FALSE(r.session->graphCanvas().shown().contains(hidden));
}

TEST(DataSafety, AMigrationThatCommittedBeforeItsCleanupFailedCountsAsApplied) {
    Reading r(true);
    const QString ada = r.add(r.person, "Ada");
    r.world.store->failingCleanup = true;
    r.session->shape().editShape("Add Property", [](GraphSchema& shape) { shape = withNote(shape); });
    r.world.store->failingCleanup = false;

    EXPECT_EQ(r.session->notice(), FailingStore::sentence);
    EXPECT_FALSE(r.session->hasPendingChanges());
    ASSERT_TRUE(r.session->project().appliedSchema);
    EXPECT_EQ(*r.session->project().appliedSchema, r.session->project().schema);
    EXPECT_EQ(r.world.stored(r.project.id).appliedSchema, r.session->project().schema);
    // The step can be undone like any other.
    EXPECT_EQ(r.world.undo.undoActionName(), "Add Property");
    // Memory follows the database: the new column takes values at once.
    r.session->updateNode(ada, {{"note", GraphValue::string("first")}});
    EXPECT_EQ(r.stored(ada, "note"), GraphValue::string("first"));
}

TEST(DataSafety, AFailedMigrationBeforeTheCommitLeavesTheShapePending) {
    Reading r(true);
    r.world.store->failingExecute = true;
    r.session->shape().editShape("Add Property", [](GraphSchema& shape) { shape = withNote(shape); });
    r.world.store->failingExecute = false;
    EXPECT_TRUE(r.session->hasPendingChanges());
    EXPECT_NE(r.world.stored(r.project.id).appliedSchema, r.session->project().schema);
    EXPECT_EQ(r.world.stored(r.project.id).schema, r.session->project().schema);
}

TEST(DataSafety, AFailedSaveIsTriedAgainWithTheNextChangeAndAtClose) {
    Reading r;
    const QString file = r.world.library.folder(r.project.id) + "/project.json";
    // A folder where the file should be makes every save fail.
    ASSERT_TRUE(QFile::rename(file, file + ".kept"));
    ASSERT_TRUE(QDir().mkpath(file));
    r.session->shape().renameNodeType(r.person.id, "Author");
    ASSERT_TRUE(r.session->notice());
    const QString failure = *r.session->notice();

    // Still failing: the notice stays.
    auto person = [&] {
        return r.session->project().schema.nodeTypes[0];
    };
    r.add(person(), "Ada");
    EXPECT_EQ(r.session->notice(), failure);

    ASSERT_TRUE(QDir(file).removeRecursively());
    r.add(person(), "Grace");
    EXPECT_EQ(firstTypeName(r.world.stored(r.project.id)), "Author");
    EXPECT_FALSE(r.session->notice());

    // At close too.
    ASSERT_TRUE(QFile::rename(file, file + ".kept2"));
    ASSERT_TRUE(QDir().mkpath(file));
    r.session->shape().renameNodeType(r.person.id, "Writer");
    ASSERT_TRUE(QDir(file).removeRecursively());
    r.session->close();
    EXPECT_EQ(firstTypeName(r.world.stored(r.project.id)), "Writer");
}

TEST(DataSafety, AReloadThatFailsAfterAMigrationHoldsNoRecordsAndWritesNothing) {
    Reading r(true);
    r.add(r.person, "Ada");
    r.world.store->failingLoad = true;
    r.session->shape().editShape("Add Property", [](GraphSchema& shape) { shape = withNote(shape); });
    EXPECT_TRUE(r.session->nodes().isEmpty());
    ASSERT_TRUE(r.session->notice());
    const QString notice = *r.session->notice();

    EXPECT_FALSE(r.session->createNode(r.person, "Grace"));
    EXPECT_EQ(countIn(*r.session, "Person"), 1);
    EXPECT_EQ(r.session->notice(), notice);

    // Once the records can be read again, writing goes on.
    r.world.store->failingLoad = false;
    EXPECT_TRUE(r.session->createNode(r.person, "Grace"));
    EXPECT_EQ(r.session->nodes().size(), 2);
    EXPECT_EQ(countIn(*r.session, "Person"), 2);
}

TEST(DataSafety, ACopyThatCouldNotOpenTheGraphRefusesARename) {
    SessionWorld world;
    Project project = world.create(GraphSchema(), "Reading");
    {
        auto first = world.open(project);
        first->close();
    }
    project = world.stored(project.id);
    SessionStoreOpener locked = [](const QString&) -> std::shared_ptr<SessionStore> {
        throw GraphStoreError(GraphStoreError::Kind::Locked, "The database is locked.");
    };
    ProjectSession second(project, world.library, &world.settings, locked);
    ASSERT_TRUE(second.graphUnavailable());
    EXPECT_EQ(second.notice(), "“Reading” is open in another copy of Corvantis, so it can't be opened here. "
                               "Quit the other copy, then open it again. Nothing is saved here meanwhile.");
    EXPECT_FALSE(second.rename("Elsewhere"));
    EXPECT_EQ(world.stored(project.id).name, "Reading");
    EXPECT_TRUE(second.notice()->contains("can't be renamed here"));
}

TEST(DataSafety, AConfirmationCountsAgainWhatChangedWhileItStoodOpen) {
    Reading r;
    const QString ada = r.add(r.person, "Ada");
    const QString grace = r.add(r.person, "Grace");
    r.session->setSelection(GraphSelection::nodes({ada, grace}));
    r.session->deleteSelection();
    ASSERT_TRUE(r.session->confirmation());
    EXPECT_EQ(r.session->confirmation()->message,
              "They're deleted from your graph, not just hidden. Undo brings them back.");
    r.link("KNOWS", ada, grace);

    // The answer meets a changed graph: the question is asked again with what is now lost.
    r.session->confirm();
    ASSERT_TRUE(r.session->confirmation());
    EXPECT_EQ(r.session->nodes().size(), 2);
    EXPECT_EQ(
        r.session->confirmation()->message,
        "They and their 1 connection are deleted from your graph, not just hidden. Undo brings them back.");
    r.session->confirm();
    EXPECT_TRUE(r.session->nodes().isEmpty());
    EXPECT_EQ(countRelsIn(*r.session, "KNOWS"), 0);
}

TEST(DataSafety, ADatabaseThatMatchesNeitherShapeOpensForReadingOnly) {
    SessionWorld world;
    GraphSchema shape;
    shape.nodeTypes = {nodeType("Person", {property("name")})};
    Project project = world.create(shape);
    {
        auto session = world.open(project);
        ASSERT_TRUE(session->createNode(session->project().schema.nodeTypes[0], "Ada"));
        session->close();
    }
    // The file claims a shape the database never had.
    project = world.stored(project.id);
    GraphSchema claimed = shape;
    claimed.nodeTypes.append(nodeType("Place", {property("title")}));
    project.appliedSchema = claimed;
    project.schema = claimed;
    world.library.save(project);
    const QByteArray before = [&] {
        QFile file(world.library.folder(project.id) + "/project.json");
        file.open(QIODevice::ReadOnly);
        return file.readAll();
    }();

    auto session = world.open(world.stored(project.id));
    EXPECT_TRUE(session->graphUnavailable());
    EXPECT_EQ(session->notice(),
              "The database of “Reading” doesn't match the shape in its project file, so the "
              "project is open for reading only and nothing is saved.");
    EXPECT_FALSE(session->createNode(session->project().schema.nodeTypes[0], "Grace"));
    EXPECT_FALSE(session->rename("Elsewhere"));
    session->close();
    QFile file(world.library.folder(project.id) + "/project.json");
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), before);
}

// A process migrates the project's database and is killed before it saves "project.json": the next
// opening finds the tables of the new shape and takes that shape as applied.
TEST(DataSafety, ACrashBetweenTheCommitAndTheSaveIsRecoveredAtTheNextOpening) {
    SessionWorld world;
    GraphSchema shape;
    shape.nodeTypes = {nodeType("Person", {property("name")})};
    Project project = world.create(shape);
    QString ada;
    {
        auto session = world.open(project);
        ada = *session->createNode(session->project().schema.nodeTypes[0], "Ada");
        session->close();
    }
    // The person's change of shape, as a session would write it before migrating.
    project = world.stored(project.id);
    project.schema = withNote(project.schema);
    world.library.save(project);

    QProcess helper;
    helper.start(QStringLiteral(CORVANTIS_BIN_DIR "/corvantis-store-helper"),
                 {"migrate-project", world.library.root(), json::uuidText(project.id)});
    ASSERT_TRUE(helper.waitForStarted(10000));
    ASSERT_TRUE(
        waitUntil([&] { return helper.canReadLine() || helper.state() == QProcess::NotRunning; }, 60000));
    ASSERT_EQ(QString::fromUtf8(helper.readLine()).trimmed(), "committed")
        << helper.readAllStandardError().toStdString();
    helper.kill();
    ASSERT_TRUE(helper.waitForFinished(10000));
    ASSERT_NE(world.stored(project.id).appliedSchema, world.stored(project.id).schema);

    auto session = world.open(world.stored(project.id));
    EXPECT_FALSE(session->graphUnavailable()) << session->notice().value_or("").toStdString();
    EXPECT_FALSE(session->hasPendingChanges());
    EXPECT_EQ(world.stored(project.id).appliedSchema, world.stored(project.id).schema);
    EXPECT_EQ(session->nodes().size(), 1);
    session->updateNode(ada, {{"note", GraphValue::string("kept")}});
    EXPECT_EQ(countRows(*session, "MATCH (n:Person) WHERE n.note = 'kept' RETURN n.id"), 1);
}
