#include "tests/kit/build/BuildFixtures.h"
#include "tests/support/QtPrinters.h"

#include <gtest/gtest.h>

using namespace corvantis;
using namespace corvantis::test;

namespace {

GraphDraft::Property p(const QString& name, const QString& value) {
    return {name, value};
}

QHash<QString, RelRecord> relMap(const QList<RelRecord>& rels) {
    QHash<QString, RelRecord> map;
    for (const RelRecord& rel : rels)
        map.insert(rel.id, rel);
    return map;
}

} // namespace

TEST(Plan, RemovalsComeFirstFillsNeverOverwriteAndEditsMerge) {
    Library lib;
    const QString ann = lib.add("Person", "name", "Ann", {{"born", GraphValue::number(1950)}});
    const QString bob = lib.add("Person", "name", "Bob");
    const QString cy = lib.add("Person", "name", "Cy");
    const QString dune = lib.add("Book", "title", "Dune");
    const QString annDune = lib.link("WROTE", ann, dune);
    const QString bobDune = lib.link("WROTE", bob, dune);
    const QString annBob = lib.link("KNOWS", ann, bob);
    lib.link("KNOWS", cy, bob);

    GraphDraft draft;
    draft.nodes = {draftNode("n1", "Person", {p("name", "ann"), p("born", "1999"), p("status", "Alive")}),
                   draftNode("n2", "Book", {p("title", "Emma")})};
    draft.relationships = {{"wrote", "n1", "n2", {p("year", "1815")}},
                           {"wrote", ann, dune, {}}, // already in the graph: not added twice
                           {"knows", "n1", cy, {}}};
    draft.changes = {
        {"remove", "Remove Bob", "q1", {}},
        {"remove", "Cut Ann and Bob", "q2", {}},
        {"update", "Ann is dead", "q3", {p("status", "dead"), p("born", "1950")}},
        {"update", "Name Ann again", "q4", {p("name", "Anna"), p("status", "alive"), p("born", "")}}};
    GraphReview review = GraphBuilder::review(draft, lib.schema, lib.nodes);
    ASSERT_EQ(review.changes.size(), 4);
    review.changes[0].nodes = {bob};
    review.changes[1].relationships = {annBob};
    review.changes[2].nodes = {ann, bob}; // Bob is being removed: he takes no edit
    review.changes[3].nodes = {ann};

    EXPECT_EQ(review.removing(), QSet<QString>{bob});
    EXPECT_EQ(review.removingRelationships(lib.rels).size(), 3); // Bob's three and Ann–Bob (counted once)
    EXPECT_EQ(review.includedCount(), 2 + 3 + 1 + 1 + 2 + 1);

    const GraphPlan plan = review.plan(lib.schema, lib.nodes, lib.rels);
    EXPECT_EQ(plan.removedNodes, QStringList{bob});
    EXPECT_TRUE(plan.removedRelationships.isEmpty()); // Ann–Bob goes with Bob
    EXPECT_EQ(plan.detached, 3);
    ASSERT_EQ(plan.nodes.size(), 1);
    EXPECT_EQ(plan.nodes[0].label, "Book");
    EXPECT_EQ(plan.merged, QStringList{ann});
    // Ann has a birth year: only what she lacks is filled.
    ASSERT_EQ(plan.updates.size(), 1);
    EXPECT_EQ(plan.updates[0].properties, (PropertyMap{{"status", GraphValue::string("Alive")}}));
    ASSERT_EQ(plan.relationships.size(), 2);
    EXPECT_EQ(plan.relationships[0].from, ann);
    EXPECT_EQ(plan.relationships[0].to, plan.nodes[0].id);
    EXPECT_EQ(plan.relationships[0].properties.value("year"), GraphValue::number(1815));
    EXPECT_EQ(plan.relationships[1].label, "KNOWS");
    // Both edits of Ann merge, the later one winning; the unchanged birth year drops out of the first,
    // and the empty one of the second clears it.
    ASSERT_EQ(plan.nodeEdits.size(), 1);
    EXPECT_EQ(plan.nodeEdits[0].id, ann);
    EXPECT_EQ(plan.nodeEdits[0].properties.keys(), (QStringList{"born", "name", "status"}));
    EXPECT_EQ(plan.nodeEdits[0].properties.value("status"), GraphValue::string("Alive"));
    EXPECT_EQ(plan.nodeEdits[0].properties.value("name"), GraphValue::string("Anna"));
    EXPECT_TRUE(plan.nodeEdits[0].properties.value("born", GraphValue::string("kept")).isNull());
    EXPECT_TRUE(plan.changesGraph());
    EXPECT_FALSE(plan.isEmpty());
    (void)annDune;
    (void)bobDune;
}

TEST(Plan, AGraphThatMovedOnIsPlannedAsItNowStands) {
    Library lib;
    const QString ann = lib.add("Person", "name", "Ann");
    const QString bob = lib.add("Person", "name", "Bob");
    GraphDraft draft;
    draft.nodes = {draftNode("n1", "Person", {p("name", "Ann")}),
                   draftNode("n2", "Person", {p("name", "Bob")}),
                   draftNode("n3", "Person", {p("name", "Dee")})};
    draft.relationships = {{"knows", "n3", "n1", {}}, {"knows", "n3", "n2", {}}};
    draft.changes = {{"remove", "Remove Bob", "q", {}}};
    GraphReview review = GraphBuilder::review(draft, lib.schema, lib.nodes);
    review.changes[0].nodes = {bob};

    // Ann is deleted between drafting and applying.
    QHash<QString, NodeRecord> now = lib.nodes;
    now.remove(ann);
    const GraphPlan plan = review.plan(lib.schema, now, lib.rels);
    EXPECT_EQ(plan.skipped,
              (QStringList{"A node it was matched to is no longer in the graph.",
                           "A drafted node was matched to a node you're removing, so it's left out."}));
    ASSERT_EQ(plan.nodes.size(), 1);
    EXPECT_TRUE(plan.relationships.isEmpty()); // both ends gone: dropped without a word
    EXPECT_TRUE(plan.merged.isEmpty());

    // A plan that only carries sentences is empty.
    GraphReview onlyMatched = GraphBuilder::review(draft, lib.schema, lib.nodes);
    onlyMatched.nodes[2].include = false;
    EXPECT_TRUE(onlyMatched.plan(lib.schema, {}, {}).isEmpty());
}

TEST(Plan, UntitledNodesAndBlockersAreShownNotApplied) {
    Library lib;
    const QString ann = lib.add("Person", "name", "Ann");
    const QString dune = lib.add("Book", "title", "Dune");
    lib.link("WROTE", ann, dune);
    GraphDraft draft;
    draft.nodes = {draftNode("n1", "Person", {p("name", "Zed")}),
                   draftNode("n2", "Book", {p("title", "Emma")})};
    draft.relationships = {{"wrote", "n1", "n2", {}}, {"wrote", ann, dune, {}}, {"wrote", ann, "n2", {}}};
    draft.changes = {{"remove", "Remove Ann", "q", {}}};
    GraphReview review = GraphBuilder::review(draft, lib.schema, lib.nodes);
    review.changes[0].nodes = {ann};

    // The person clears the name: untitled, and left out of the plan.
    review.nodes[0].properties.insert("name", GraphValue::string("  "));
    EXPECT_TRUE(review.isUntitled(review.nodes[0], lib.schema));
    EXPECT_TRUE(review.hasUntitled(lib.schema));
    review.nodes[1].include = false;

    const QSet<QString> keys = GraphReview::keys(lib.rels);
    EXPECT_EQ(review.blocker(review.relationships[0], lib.schema, keys)->kind,
              GraphReview::Blocker::Kind::NodeLeftOut);
    EXPECT_EQ(review.blocker(review.relationships[0], lib.schema, keys)->name, "Emma");
    EXPECT_EQ(review.blocker(review.relationships[1], lib.schema, keys)->kind,
              GraphReview::Blocker::Kind::NodeRemoved);
    review.changes[0].include = false;
    EXPECT_EQ(review.blocker(review.relationships[1], lib.schema, keys)->text(), "already in your graph");
    // Removing the relationship in the same review lets it be added again.
    review.changes[0].include = true;
    review.changes[0].nodes = {};
    review.changes[0].relationships = {lib.rels[0].id};
    EXPECT_FALSE(review.blocker(review.relationships[1], lib.schema, review.keysAfterRemoving(lib.rels)));
    EXPECT_FALSE(review.key(review.relationships[2].to)); // its node was unticked: no identity

    const GraphPlan plan = review.plan(lib.schema, lib.nodes, lib.rels);
    EXPECT_TRUE(plan.nodes.isEmpty());
    EXPECT_EQ(plan.removedRelationships, QStringList{lib.rels[0].id});
    ASSERT_EQ(plan.relationships.size(), 1); // the same WROTE again, after its removal
    EXPECT_EQ(plan.relationships[0].from, ann);
}

TEST(Plan, ChangesTakeWhatTheQueryFoundAndForgetWhatIsGone) {
    Library lib;
    const QString ann = lib.add("Person", "name", "Ann");
    const QString dune = lib.add("Book", "title", "Dune");
    const QString wrote = lib.link("WROTE", ann, dune);
    GraphReview::Change change;
    change.excluded = {ann, "GONE"};
    change.problem = "old";
    QueryOutput output;
    output.columns = {"p"};
    GraphPath path{{lib.nodes.value(ann), lib.nodes.value(dune)}, {lib.rels[0]}};
    output.rows = {{GraphValue::path(path)},
                   {GraphValue::list({GraphValue::node(lib.nodes.value(dune)), GraphValue::string("x")})},
                   {GraphValue::node(NodeRecord{"GONE", "Person", {}})}};
    output.totalRows = 5;
    change.take(output, lib.nodes, relMap(lib.rels));
    EXPECT_EQ(change.nodes, (QStringList{ann, dune}));
    EXPECT_EQ(change.relationships, QStringList{wrote});
    EXPECT_EQ(change.excluded, QSet<QString>{ann});
    EXPECT_FALSE(change.problem);
    EXPECT_TRUE(change.truncated);
    EXPECT_EQ(change.kept(), (QStringList{dune, wrote}));
    change.include = false;
    EXPECT_TRUE(change.kept().isEmpty());
    EXPECT_TRUE(change.keptNodes().isEmpty());

    GraphReview review;
    review.nodes = {
        GraphReview::Node{"n1", lib.person().id, {}, true, "GONE", {{"GONE", std::nullopt}, {ann, 0.9f}}}};
    review.relationships = {{0,
                             lib.schema.relTypes[0].id,
                             GraphReview::End::draft("n1"),
                             GraphReview::End::existing("GONE"),
                             {},
                             true}};
    change.include = true;
    review.changes = {change};
    review.forgetMissing({ann, dune}, QSet<QString>{});
    EXPECT_FALSE(review.nodes[0].target);
    EXPECT_EQ(review.nodes[0].matches, (QList<GraphReview::Match>{{ann, 0.9f}}));
    EXPECT_TRUE(review.relationships.isEmpty());
    EXPECT_TRUE(review.changes[0].relationships.isEmpty());
}
