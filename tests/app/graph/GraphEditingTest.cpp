#include "app/canvas/CanvasState.h"
#include "tests/app/graph/SessionTestSupport.h"

#include <gtest/gtest.h>

using namespace corvantis;
using namespace corvantis::test;

TEST(GraphEditing, NodesAreAddedChangedAndDeletedWithUndoAndRedo) {
    Reading r;
    const QString ada = r.add(r.person, "Ada");
    // The type's default is filled in; the title comes from the name.
    EXPECT_EQ(r.session->nodes().value(ada).properties.value("born"), GraphValue::number(1900));
    EXPECT_EQ(r.stored(ada, "born"), GraphValue::number(1900));
    EXPECT_EQ(r.stored(ada, "name"), GraphValue::string("Ada"));
    EXPECT_EQ(r.world.undo.undoActionName(), "Add Node");

    r.session->updateNode(ada, {{"born", GraphValue::number(1815)}, {"status", GraphValue::string("Dead")}});
    EXPECT_EQ(r.stored(ada, "born"), GraphValue::number(1815));
    EXPECT_EQ(r.world.undo.undoActionName(), "Edit Node");
    r.world.undo.undo();
    EXPECT_EQ(r.stored(ada, "born"), GraphValue::number(1900));
    EXPECT_TRUE(r.stored(ada, "status").isNull());
    EXPECT_FALSE(r.session->nodes().value(ada).properties.contains("status"));
    r.world.undo.redo();
    EXPECT_EQ(r.session->nodes().value(ada).properties.value("status"), GraphValue::string("Dead"));
    EXPECT_FALSE(r.world.undo.canRedo());
    // The value already held registers nothing: the next Undo takes back the edit before it.
    r.session->updateNode(ada, {{"born", GraphValue::number(1815)}});
    r.world.undo.undo();
    EXPECT_TRUE(r.stored(ada, "status").isNull());
    r.world.undo.redo();

    // Typed text goes through the property's kind.
    EXPECT_TRUE(r.session->setValueFromText(ada, r.person.properties[1].id, "1,815"));
    EXPECT_FALSE(r.session->setValueFromText(ada, r.person.properties[1].id, "soon"));
    EXPECT_EQ(r.session->notice(), "“soon” isn't a number.");
    EXPECT_TRUE(r.session->setValueFromText(ada, r.person.properties[2].id, " alive "));
    EXPECT_EQ(r.stored(ada, "status"), GraphValue::string("Alive"));
    EXPECT_FALSE(r.session->setValueFromText(ada, r.person.properties[2].id, "Unknown"));
    EXPECT_EQ(r.session->notice(), "“Unknown” isn't one of the options of “status”: Alive, Dead.");

    r.session->deleteNode(ada);
    EXPECT_FALSE(r.session->nodes().contains(ada));
    EXPECT_EQ(countIn(*r.session, "Person"), 0);
    EXPECT_EQ(r.world.undo.undoActionName(), "Delete Node");
    r.world.undo.undo();
    EXPECT_EQ(countIn(*r.session, "Person"), 1);
    EXPECT_EQ(r.session->nodes().value(ada).properties.value("status"), GraphValue::string("Alive"));
    r.world.undo.redo();
    EXPECT_EQ(countIn(*r.session, "Person"), 0);

    // Back through every step to the empty graph, then forward again to the same records.
    while (r.world.undo.canUndo())
        r.world.undo.undo();
    EXPECT_TRUE(r.session->nodes().isEmpty());
    EXPECT_EQ(countIn(*r.session, "Person"), 0);
    while (r.world.undo.canRedo())
        r.world.undo.redo();
    EXPECT_TRUE(r.session->nodes().isEmpty()); // the last step was the deletion
    r.world.undo.undo();
    EXPECT_EQ(r.stored(ada, "born"), GraphValue::number(1815));
}

TEST(GraphEditing, UndoingADeletionBringsBackRelationshipsPositionAndPin) {
    Reading r;
    const QString ada = r.add(r.person, "Ada", QPointF(40, 50));
    const QString grace = r.add(r.person, "Grace");
    const QString notes = r.add(r.book, "Notes");
    const QString self = r.link("KNOWS", ada, ada);
    const QString friends = r.link("KNOWS", ada, grace);
    const QString wrote = r.link("WROTE", ada, notes);
    ASSERT_TRUE(r.session->graphCanvas().pinned().contains(ada));
    r.session->setSelection(GraphSelection::node(ada));
    const int topology = r.session->topology();

    r.session->deleteNode(ada);
    EXPECT_EQ(r.session->rels().size(), 0);
    EXPECT_EQ(countRelsIn(*r.session, "KNOWS"), 0);
    EXPECT_FALSE(r.session->graphCanvas().positions().contains(ada));
    EXPECT_TRUE(r.session->selection().isEmpty());
    EXPECT_GT(r.session->topology(), topology);
    EXPECT_EQ(r.session->nodeIndex().degree(grace), 0);

    r.world.undo.undo();
    EXPECT_EQ(r.session->rels().size(), 3);
    for (const QString& id : {self, friends, wrote})
        EXPECT_TRUE(r.session->rels().contains(id));
    // The self-loop came back once, and counts twice.
    EXPECT_EQ(countRelsIn(*r.session, "KNOWS"), 2);
    EXPECT_EQ(r.session->nodeIndex().degree(ada), 4);
    EXPECT_EQ(r.session->graphCanvas().positions().value(ada), QPointF(40, 50));
    EXPECT_TRUE(r.session->graphCanvas().pinned().contains(ada));

    // A relationship by itself, and its undo.
    r.session->deleteRel(wrote);
    EXPECT_EQ(countRelsIn(*r.session, "WROTE"), 0);
    EXPECT_EQ(r.world.undo.undoActionName(), "Delete Relationship");
    r.world.undo.undo();
    EXPECT_EQ(countRelsIn(*r.session, "WROTE"), 1);
    EXPECT_EQ(r.world.undo.redoActionName(), "Delete Relationship");
}

TEST(GraphEditing, RemovingRecordsAlternatesWithRestoringThem) {
    Reading r;
    const QString ada = r.add(r.person, "Ada");
    const QString grace = r.add(r.person, "Grace");
    const QString notes = r.add(r.book, "Notes");
    r.link("KNOWS", ada, grace);
    const QString wrote = r.link("WROTE", grace, notes);

    auto removed = r.session->removeRecords({ada}, {wrote});
    EXPECT_EQ(removed.nodes, 1);
    EXPECT_EQ(removed.relationships, 2);
    EXPECT_EQ(r.world.undo.undoActionName(), "Delete");
    auto afterRemoval = r.session->nodes();
    r.world.undo.undo();
    EXPECT_EQ(r.session->nodes().size(), 3);
    EXPECT_EQ(r.session->rels().size(), 2);
    EXPECT_EQ(countRelsIn(*r.session, "WROTE") + countRelsIn(*r.session, "KNOWS"), 2);
    r.world.undo.redo();
    EXPECT_EQ(r.session->nodes(), afterRemoval);
    EXPECT_TRUE(r.session->rels().isEmpty());
    EXPECT_EQ(countIn(*r.session, "Person"), 1);
    EXPECT_EQ(countRelsIn(*r.session, "WROTE") + countRelsIn(*r.session, "KNOWS"), 0);
    r.world.undo.undo();
    EXPECT_EQ(countIn(*r.session, "Person"), 2);
}

TEST(GraphEditing, SeveralNodesAreDeletedAfterAConfirmationAsOneStep) {
    Reading r;
    const QString ada = r.add(r.person, "Ada");
    const QString grace = r.add(r.person, "Grace");
    const QString notes = r.add(r.book, "Notes");

    r.session->setSelection(GraphSelection::nodes({ada, notes}));
    r.session->deleteSelection();
    ASSERT_TRUE(r.session->confirmation());
    EXPECT_EQ(r.session->confirmation()->title, "Delete 2 nodes?");
    EXPECT_EQ(r.session->confirmation()->message,
              "They're deleted from your graph, not just hidden. Undo brings them back.");
    r.session->dismissConfirmation();
    EXPECT_EQ(r.session->nodes().size(), 3);

    r.link("KNOWS", ada, grace);
    r.link("WROTE", grace, notes);
    r.session->setSelection(GraphSelection::nodes({ada, grace}));
    r.session->deleteSelection();
    ASSERT_TRUE(r.session->confirmation());
    EXPECT_EQ(
        r.session->confirmation()->message,
        "They and their 2 connections are deleted from your graph, not just hidden. Undo brings them back.");
    EXPECT_EQ(r.session->confirmation()->actionTitle, "Delete");
    r.session->confirm();
    EXPECT_FALSE(r.session->confirmation());
    EXPECT_EQ(r.session->nodes().keys(), QList<QString>{notes});
    EXPECT_EQ(r.world.undo.undoActionName(), "Delete Nodes");
    r.world.undo.undo();
    EXPECT_EQ(r.session->nodes().size(), 3);
    EXPECT_EQ(r.session->rels().size(), 2);
    EXPECT_EQ(countRelsIn(*r.session, "KNOWS"), 1);
    EXPECT_EQ(r.world.undo.redoActionName(), "Delete Nodes");
}

TEST(GraphEditing, APlanThatAddsAndRemovesIsUndoneByOneUndo) {
    Reading r;
    const QString ada = r.add(r.person, "Ada");
    const QString grace = r.add(r.person, "Grace");
    const QString old = r.add(r.book, "Old");
    const QString friends = r.link("KNOWS", ada, grace);
    r.link("WROTE", grace, old);
    const auto nodesBefore = r.session->nodes();
    const auto relsBefore = r.session->rels();

    GraphPlan plan;
    plan.removedNodes = {old};
    plan.detached = 1;
    plan.removedRelationships = {friends};
    NodeRecord fresh{
        json::uuidText(QUuid::createUuid()), "Book", {{"title", GraphValue::string("Sketches")}}};
    NodeRecord other{
        json::uuidText(QUuid::createUuid()), "Person", {{"name", GraphValue::string("Charles")}}};
    plan.nodes = {fresh, other};
    plan.updates = {{ada, {{"status", GraphValue::string("Dead")}}},
                    {"MISSING", {{"name", GraphValue::string("x")}}}};
    plan.nodeEdits = {{grace, {{"name", GraphValue::string("Grace Hopper")}}}};
    plan.relationships = {{json::uuidText(QUuid::createUuid()), "WROTE", ada, fresh.id, {}}};
    plan.merged = {ada};
    ASSERT_TRUE(plan.changesGraph());

    GraphAdded added = r.session->applyGraphPlan(plan);
    EXPECT_EQ(added, (GraphAdded{2, 1, 1, 1, 1, 1, 1}));
    EXPECT_EQ(r.world.undo.undoActionName(), "Change Graph with AI");
    EXPECT_EQ(r.session->nodes().size(), 4);
    EXPECT_EQ(r.session->nodes().value(other.id).properties.value("born"), GraphValue::number(1900));
    // New nodes are scattered round the middle of the view, within R = √2 × 36 + 40 of it.
    for (const QString& id : {fresh.id, other.id}) {
        const QPointF at = r.session->graphCanvas().positions().value(id);
        EXPECT_LE(std::hypot(at.x(), at.y()), std::sqrt(2.0) * 36 + 40 + 1e-9);
        EXPECT_GE(std::hypot(at.x(), at.y()), (std::sqrt(2.0) * 36 + 40) * 0.4 - 1e-9);
        EXPECT_TRUE(r.session->graphCanvas().shown().contains(id));
        EXPECT_FALSE(r.session->graphCanvas().pinned().contains(id));
    }
    EXPECT_EQ(r.stored(grace, "name"), GraphValue::string("Grace Hopper"));

    r.world.undo.undo();
    EXPECT_EQ(r.session->nodes(), nodesBefore);
    EXPECT_EQ(r.session->rels(), relsBefore);
    EXPECT_EQ(countIn(*r.session, "Person"), 2);
    EXPECT_EQ(countIn(*r.session, "Book"), 1);
    EXPECT_EQ(r.stored(grace, "name"), GraphValue::string("Grace"));
    EXPECT_TRUE(r.stored(ada, "status").isNull());
    EXPECT_EQ(r.world.undo.redoActionName(), "Change Graph with AI");

    r.world.undo.redo();
    EXPECT_EQ(r.session->nodes().size(), 4);
    EXPECT_FALSE(r.session->nodes().contains(old));
    EXPECT_EQ(countIn(*r.session, "Book"), 1);
    EXPECT_EQ(r.world.undo.undoActionName(), "Change Graph with AI");

    // A plan that only adds is named for building.
    GraphPlan adding;
    adding.nodes = {{json::uuidText(QUuid::createUuid()), "Book", {}}};
    r.session->applyGraphPlan(adding);
    EXPECT_EQ(r.world.undo.undoActionName(), "Build Graph with AI");
    EXPECT_EQ(r.session->applyGraphPlan(GraphPlan()), GraphAdded());
}

TEST(GraphEditing, AFailingWriteLeavesMemoryAndTheUndoStackAlone) {
    Reading r(true);
    const QString ada = r.add(r.person, "Ada");
    const QString notes = r.add(r.book, "Notes");
    const QString wrote = r.link("WROTE", ada, notes);
    const auto nodes = r.session->nodes();
    const auto rels = r.session->rels();
    const QString undoName = r.world.undo.undoActionName();
    const int topology = r.session->topology();
    r.session->setNotice(std::nullopt);

    r.world.store->failing = true;
    auto expectUntouched = [&](const char* what) {
        EXPECT_EQ(r.session->notice(), FailingStore::sentence) << what;
        EXPECT_EQ(r.session->nodes(), nodes) << what;
        EXPECT_EQ(r.session->rels(), rels) << what;
        EXPECT_EQ(r.world.undo.undoActionName(), undoName) << what;
        EXPECT_FALSE(r.world.undo.canRedo()) << what;
        EXPECT_EQ(r.session->topology(), topology) << what;
        r.session->setNotice(std::nullopt);
    };
    EXPECT_FALSE(r.session->createNode(r.person, "Grace"));
    expectUntouched("createNode");
    EXPECT_FALSE(r.session->insert(RelRecord{json::uuidText(QUuid::createUuid()), "KNOWS", ada, ada, {}}));
    expectUntouched("insert rel");
    r.session->updateNode(ada, {{"name", GraphValue::string("Countess")}});
    expectUntouched("updateNode");
    r.session->updateRel(wrote, {{"x", GraphValue::string("y")}});
    expectUntouched("updateRel");
    r.session->deleteNode(ada);
    expectUntouched("deleteNode");
    r.session->deleteRel(wrote);
    expectUntouched("deleteRel");
    EXPECT_EQ(r.session->removeRecords({ada}, {}), ProjectSession::RemovedCounts());
    expectUntouched("removeRecords");
    GraphPlan plan;
    plan.nodes = {{json::uuidText(QUuid::createUuid()), "Book", {}}};
    plan.removedNodes = {notes};
    EXPECT_EQ(r.session->applyGraphPlan(plan), GraphAdded());
    expectUntouched("applyGraphPlan");

    // An undo whose write fails changes nothing either, and stays to be tried again.
    r.world.store->failing = false;
    r.session->deleteRel(wrote);
    r.world.store->failing = true;
    r.world.undo.undo();
    EXPECT_EQ(r.session->notice(), FailingStore::sentence);
    EXPECT_FALSE(r.session->rels().contains(wrote));
    EXPECT_EQ(r.world.undo.undoActionName(), "Delete Relationship");
    EXPECT_FALSE(r.world.undo.canRedo());
    r.world.store->failing = false;
    EXPECT_EQ(countRelsIn(*r.session, "WROTE"), 0);
    r.world.undo.undo();
    EXPECT_TRUE(r.session->rels().contains(wrote));
    EXPECT_EQ(countRelsIn(*r.session, "WROTE"), 1);
    // The database holds exactly what memory holds.
    EXPECT_EQ(countIn(*r.session, "Person"), 1);
    EXPECT_EQ(r.stored(ada, "name"), GraphValue::string("Ada"));
}

TEST(GraphEditing, TheDerivedMapsFollowEveryEditAsIfMadeAnew) {
    // The session brings its maps up to date in place after an edit; each time they must say what
    // maps made from its records say.
    Reading r;
    auto expectCurrent = [&](const char* step) {
        const GraphDerived::Maps made = GraphDerived::of(r.session->nodes(), r.session->rels());
        const GraphDerived::NodeIndex& held = r.session->nodeIndex();
        ASSERT_EQ(held.size(), made.index.size()) << step;
        ASSERT_EQ(held.nodeCount(), made.index.nodeCount()) << step;
        for (const QString& id : r.session->nodes().keys()) {
            QStringList mine = held.neighbourIds(id);
            QStringList theirs = made.index.neighbourIds(id);
            mine.sort();
            theirs.sort();
            EXPECT_EQ(mine, theirs) << step << " " << id.toStdString();
        }
        EXPECT_EQ(r.session->typeCounts(), made.typeCounts) << step;
        EXPECT_EQ(r.session->relCounts(), made.relCounts) << step;
    };
    const QString ada = r.add(r.person, "Ada");
    const QString grace = r.add(r.person, "Grace");
    const QString notes = r.add(r.book, "Notes");
    r.link("KNOWS", ada, ada);
    r.link("KNOWS", ada, grace);
    const QString wrote = r.link("WROTE", grace, notes);
    expectCurrent("added");
    r.session->deleteNode(ada);
    expectCurrent("node deleted");
    EXPECT_FALSE(r.session->typeCounts().isEmpty());
    r.session->deleteRel(wrote);
    expectCurrent("relationship deleted");
    EXPECT_FALSE(r.session->relCounts().contains("WROTE"));
    r.world.undo.undo();
    expectCurrent("relationship back");
    r.world.undo.undo();
    expectCurrent("node back");
    EXPECT_EQ(r.session->nodeIndex().degree(ada), 3);
    r.world.undo.redo();
    expectCurrent("node deleted again");
    r.session->deleteNode(grace);
    r.session->deleteNode(notes);
    expectCurrent("the rest deleted");
    EXPECT_EQ(r.session->nodeIndex().size(), 0);
    r.world.undo.undo();
    expectCurrent("one back");
}
