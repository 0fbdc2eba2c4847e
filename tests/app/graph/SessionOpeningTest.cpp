#include "app/canvas/CanvasState.h"
#include "app/graph/ProjectPreferences.h"
#include "kit/support/AtomicFile.h"
#include "tests/app/graph/SessionTestSupport.h"
#include "tests/support/AwaitTask.h"
#include "tests/support/TestSupport.h"

#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>
#include <gtest/gtest.h>

using namespace corvantis;
using namespace corvantis::test;

namespace {

// Person (name, born) and Book (title), with "wrote" from Person to Book and "knows" from Person to Person.
GraphSchema readingShape() {
    GraphSchema shape;
    shape.nodeTypes = {nodeType("Person", {property("name"), property("born", PropertyKind::Number)}),
                       nodeType("Book", {property("title")}, "peach")};
    const QUuid person = shape.nodeTypes[0].id;
    const QUuid book = shape.nodeTypes[1].id;
    shape.relTypes = {relType("wrote", {{person, book}}), relType("knows", {{person, person}})};
    return shape;
}

QString layoutFile(const SessionWorld& world, const QUuid& id) {
    return world.library.folder(id) + "/layout.json";
}

} // namespace

TEST(SessionOpening, FirstOpeningFinalizesTheProjectAndBuildsItsTables) {
    SessionWorld world;
    Project project = world.create(readingShape());
    ASSERT_FALSE(project.isFinalized());

    auto session = world.openFailable(project);
    EXPECT_FALSE(session->graphUnavailable());
    EXPECT_FALSE(session->notice()) << session->notice()->toStdString();
    ASSERT_TRUE(session->project().appliedSchema);
    EXPECT_EQ(*session->project().appliedSchema, project.schema);
    EXPECT_FALSE(session->hasPendingChanges());
    // One migration created the four tables; the file says so too.
    ASSERT_EQ(world.store->executed.size(), 1);
    EXPECT_EQ(world.store->executed.first().size(), 4);
    Project stored = world.stored(project.id);
    ASSERT_TRUE(stored.appliedSchema);
    EXPECT_EQ(*stored.appliedSchema, project.schema);
    // The tables are there: a node goes in.
    const NodeType& person = session->project().schema.nodeTypes[0];
    ASSERT_TRUE(session->createNode(person, "Ada Lovelace"));
    EXPECT_EQ(countIn(*session, "Person"), 1);

    // A project with an empty shape is finalized too, and runs no statement at all.
    Project empty = world.create(GraphSchema(), "Empty");
    auto second = world.openFailable(empty);
    ASSERT_TRUE(second->project().appliedSchema);
    EXPECT_EQ(*second->project().appliedSchema, GraphSchema());
    EXPECT_TRUE(world.store->executed.isEmpty());
    EXPECT_TRUE(world.stored(empty.id).isFinalized());
}

TEST(SessionOpening, ReopeningLoadsRecordsDerivedMapsAndLayout) {
    SessionWorld world;
    Project project = world.create(readingShape());
    QString ada, book, knowsSelf;
    {
        auto session = world.open(project);
        const GraphSchema shape = session->project().schema;
        ada = *session->createNode(shape.nodeTypes[0], "Ada", {}, QPointF(10, 20));
        book = *session->createNode(shape.nodeTypes[1], "Notes");
        RelRecord wrote{json::uuidText(QUuid::createUuid()), "WROTE", ada, book, {}};
        RelRecord self{json::uuidText(QUuid::createUuid()), "KNOWS", ada, ada, {}};
        knowsSelf = self.id;
        ASSERT_TRUE(session->insert(wrote));
        ASSERT_TRUE(session->insert(self));
        test::await(session->close());
    }
    // A layout naming a node that no longer exists keeps only what still does.
    GraphLayout layout = world.library.layout(project.id);
    EXPECT_TRUE(layout.pinned.contains(ada));
    layout.positions.insert("GONE", {1, 1});
    layout.pinned.insert("GONE");
    world.library.saveLayout(layout, project.id);

    auto session = world.open(world.stored(project.id));
    ASSERT_EQ(session->nodes().size(), 2);
    ASSERT_EQ(session->rels().size(), 2);
    EXPECT_EQ(session->nodes().value(ada).properties.value("name"), GraphValue::string("Ada"));
    EXPECT_EQ(session->rels().value(knowsSelf).from, ada);
    // A self-loop counts twice towards its node's degree and stands twice in its adjacency.
    EXPECT_EQ(session->nodeIndex().degree(ada), 3);
    EXPECT_EQ(session->nodeIndex().degree(book), 1);
    EXPECT_EQ(session->nodeIndex().neighbourIds(ada).count(ada), 2);
    EXPECT_EQ(session->typeCounts().value("Person"), 1);
    EXPECT_EQ(session->relCounts().value("KNOWS"), 1);
    EXPECT_EQ(session->graphCanvas().positions().value(ada), QPointF(10, 20));
    EXPECT_TRUE(session->graphCanvas().pinned().contains(ada));
    EXPECT_FALSE(session->graphCanvas().pinned().contains("GONE"));
    EXPECT_FALSE(session->graphCanvas().positions().contains("GONE"));
}

TEST(SessionOpening, WithoutASavedShownSetUpTo300NodesAreShown) {
    for (int count : {300, 301}) {
        SessionWorld world;
        Project project = world.create(readingShape());
        {
            auto session = world.open(project);
            QList<NodeRecord> nodes;
            for (int i = 0; i < count; ++i)
                nodes.append({json::uuidText(QUuid::createUuid()),
                              "Person",
                              {{"name", GraphValue::string(QString::number(i))}}});
            // Straight into the database, as an import would.
            std::static_pointer_cast<SessionStore>(session->store())->insertRecords(nodes, {});
            test::await(session->close());
        }
        QFile::remove(layoutFile(world, project.id));
        auto session = world.open(world.stored(project.id));
        EXPECT_EQ(session->nodes().size(), count);
        EXPECT_EQ(session->graphCanvas().shown().size(), count == 300 ? 300 : 0) << count;
    }
}

TEST(SessionOpening, ASecondCopyShowsTheLockNoticeAndWritesNothing) {
    SessionWorld world;
    Project project = world.create(readingShape());
    auto first = world.open(project);
    ASSERT_TRUE(first->createNode(first->project().schema.nodeTypes[0], "Ada"));
    QFile::remove(layoutFile(world, project.id));
    const QByteArray projectFile = readFile(world.library.folder(project.id) + "/project.json");

    UndoStack otherWindow;
    ProjectSession second(world.stored(project.id), world.library, &world.settings);
    second.setUndoStack(&otherWindow);
    EXPECT_TRUE(second.graphUnavailable());
    EXPECT_EQ(second.store(), nullptr);
    EXPECT_TRUE(second.nodes().isEmpty());
    ASSERT_TRUE(second.notice());
    EXPECT_EQ(*second.notice(),
              "“Reading” is open in another copy of Corvantis, so it can't be opened here. Quit "
              "the other copy, then open it again. Nothing is saved here meanwhile.");

    // Shape edits are refused with their sentence; graph edits do nothing.
    EXPECT_FALSE(second.addNodeType({0, 0}));
    EXPECT_EQ(*second.notice(),
              "The graph isn't open, so its shape can't change. Quit the other copy of Corvantis "
              "and open the project again.");
    EXPECT_FALSE(second.createNode(second.project().schema.nodeTypes[0], "Grace"));
    EXPECT_FALSE(otherWindow.canUndo());

    second.graphCanvas().put("X", QPointF(1, 1));
    test::await(second.close());
    EXPECT_FALSE(QFile::exists(layoutFile(world, project.id)));
    EXPECT_EQ(readFile(world.library.folder(project.id) + "/project.json"), projectFile);
    // The first copy goes on undisturbed.
    EXPECT_EQ(countIn(*first, "Person"), 1);
}

TEST(SessionOpening, AnInvalidShapeIsSavedButNotMigratedUntilMended) {
    SessionWorld world;
    Project project = world.create(readingShape());
    auto session = world.openFailable(project);
    const QUuid person = session->project().schema.nodeTypes[0].id;
    const int migrations = world.store->executed.size();

    // Two properties that resolve to one column.
    ASSERT_TRUE(session->shape().editShape("Add Property", [&](GraphSchema& shape) {
        shape.nodeType(person)->properties.append(property("Nick Name"));
        shape.nodeType(person)->properties.append(property("nick name"));
    }));
    EXPECT_TRUE(session->hasPendingChanges());
    EXPECT_EQ(world.store->executed.size(), migrations);
    Project stored = world.stored(project.id);
    EXPECT_EQ(stored.schema.nodeType(person)->properties.size(), 4);
    EXPECT_EQ(stored.appliedSchema->nodeType(person)->properties.size(), 2);

    // Mended, the whole difference goes through in one migration.
    ASSERT_TRUE(session->shape().editShape("Rename Property", [&](GraphSchema& shape) {
        shape.nodeType(person)->properties[3].name = "alias";
    }));
    EXPECT_FALSE(session->hasPendingChanges());
    ASSERT_EQ(world.store->executed.size(), migrations + 1);
    EXPECT_EQ(world.store->executed.last(), QStringList({"ALTER TABLE Person ADD nick_name STRING",
                                                         "ALTER TABLE Person ADD alias STRING"}));
}

TEST(SessionOpening, AFailedMigrationLeavesTheChangePendingAndUndoable) {
    SessionWorld world;
    Project project = world.create(readingShape());
    auto session = world.openFailable(project);
    const QUuid person = session->project().schema.nodeTypes[0].id;
    const GraphSchema applied = *session->project().appliedSchema;

    world.store->failingExecute = true;
    session->shape().renameNodeType(person, "Author");
    EXPECT_EQ(session->notice(), FailingStore::sentence);
    EXPECT_TRUE(session->hasPendingChanges());
    EXPECT_EQ(*session->project().appliedSchema, applied);
    EXPECT_EQ(session->project().schema.nodeType(person)->name, "Author");
    EXPECT_EQ(world.undo.undoActionName(), "Rename Node Type");

    // The next change tries the whole difference again.
    world.store->failingExecute = false;
    session->shape().renameNodeType(person, "Writer");
    EXPECT_FALSE(session->hasPendingChanges());
    EXPECT_EQ(world.store->executed.last(), QStringList({"ALTER TABLE Person RENAME TO Writer"}));
    world.undo.undo();
    world.undo.undo();
    EXPECT_EQ(session->project().schema, applied);
    EXPECT_EQ(*session->project().appliedSchema, applied);
}

TEST(SessionLayout, SavesOnceAfterTheLastChangeAndAtClose) {
    SessionWorld world;
    Project project = world.create(readingShape());
    auto session = world.open(project);
    const QString file = layoutFile(world, project.id);
    QFile::remove(file);

    const NodeType person = session->project().schema.nodeTypes[0];
    QString id = *session->createNode(person, "Ada");
    ASSERT_TRUE(test::waitUntil([&] { return QFile::exists(file); }));
    QFile::remove(file);
    QSignalSpy saves(&session->graphCanvas(), &CanvasState::saveDue);
    // Each move restarts the wait, so that a burst of moves is saved once, with the last position.
    for (int step = 0; step < 5; ++step) {
        session->graphCanvas().put(id, QPointF(step, step));
        QCoreApplication::processEvents();
        EXPECT_TRUE(session->graphCanvas().isSavePending());
    }
    EXPECT_FALSE(QFile::exists(file));
    ASSERT_TRUE(test::waitUntil([&] { return QFile::exists(file); }, 3000));
    EXPECT_EQ(saves.count(), 1);
    EXPECT_EQ(world.library.layout(project.id).positions.value(id), LayoutPoint({4, 4}));

    // A save pending at close happens at once, and only then.
    session->graphCanvas().put(id, QPointF(7, 7));
    ASSERT_TRUE(session->graphCanvas().isSavePending());
    test::await(session->close());
    EXPECT_FALSE(session->graphCanvas().isSavePending());
    EXPECT_EQ(world.library.layout(project.id).positions.value(id), LayoutPoint({7, 7}));
    // After closing, nothing is saved any more.
    QFile::remove(file);
    session->graphCanvas().put(id, QPointF(8, 8));
    EXPECT_FALSE(session->graphCanvas().isSavePending());
    QCoreApplication::processEvents();
    EXPECT_FALSE(QFile::exists(file));
}

TEST(SessionSettings, ScopesAndTheBuildDefaultAreKeptPerProject) {
    SessionWorld world;
    Project project = world.create(readingShape());
    const QUuid excluded = QUuid::createUuid();
    world.settings.setValue("searchScope." + json::uuidText(project.id),
                            QStringList{json::uuidText(excluded), "not a uuid"});
    world.settings.setAddsByHand(true);
    {
        auto session = world.open(project);
        EXPECT_EQ(session->preferences().excludedFromSearch(), QSet<QUuid>{excluded});
        EXPECT_TRUE(session->preferences().excludedFromTextSearch().isEmpty());
        EXPECT_TRUE(session->preferences().addsByHand());
        session->preferences().setExcludedFromTextSearch({excluded});
        session->preferences().setAddsByHand(false);
    }
    EXPECT_EQ(world.settings.textScope(project.id), QSet<QUuid>{excluded});
    EXPECT_FALSE(world.settings.addsByHand());
    EXPECT_TRUE(world.settings.searchScope(QUuid::createUuid()).isEmpty());
}

TEST(SessionOpening, ADatabaseThatWontOpenLeavesTheProjectAsItWas) {
    SessionWorld world;
    Project project = world.create(readingShape());
    SessionStoreOpener broken = [](const QString&) -> std::shared_ptr<SessionStore> {
        throw GraphStoreError(GraphStoreError::Kind::InputOutput, "The database file is damaged.");
    };
    const QByteArray before = readFile(world.library.folder(project.id) + "/project.json");
    ProjectSession session(project, world.library, &world.settings, broken);
    EXPECT_TRUE(session.graphUnavailable());
    EXPECT_EQ(session.notice(),
              "“Reading” couldn't be opened: The database file is damaged. Nothing is saved here meanwhile.");
    // A first opening that failed doesn't finalize the project.
    EXPECT_FALSE(session.project().isFinalized());
    test::await(session.close());
    EXPECT_EQ(readFile(world.library.folder(project.id) + "/project.json"), before);
    EXPECT_FALSE(QFile::exists(layoutFile(world, project.id)));
}
