#include "kit/graph/GraphAdded.h"
#include "kit/graph/GraphPlan.h"
#include "kit/support/Json.h"

#include <gtest/gtest.h>

using namespace corvantis;

TEST(GraphPlan, OnlyWhatChangesTheGraphCounts) {
    GraphPlan plan;
    EXPECT_TRUE(plan.isEmpty());
    // Sentences, matches and the detached count alone do nothing.
    plan.skipped = {"A relationship to a missing node was left out."};
    plan.merged = {"A"};
    plan.detached = 3;
    EXPECT_TRUE(plan.isEmpty());
    EXPECT_FALSE(plan.changesGraph());

    GraphPlan adding;
    adding.nodes = {{"N", "Person", {}}};
    EXPECT_FALSE(adding.isEmpty());
    EXPECT_FALSE(adding.changesGraph());
    GraphPlan filling;
    filling.updates = {{"N", {{"born", GraphValue::number(1815)}}}};
    EXPECT_FALSE(filling.isEmpty());
    EXPECT_FALSE(filling.changesGraph());

    auto changes = [](auto edit) {
        GraphPlan p;
        edit(p);
        return !p.isEmpty() && p.changesGraph();
    };
    EXPECT_TRUE(changes([](GraphPlan& p) { p.removedNodes = {"N"}; }));
    EXPECT_TRUE(changes([](GraphPlan& p) { p.removedRelationships = {"R"}; }));
    EXPECT_TRUE(changes([](GraphPlan& p) { p.nodeEdits = {{"N", {}}}; }));
    EXPECT_TRUE(changes([](GraphPlan& p) { p.relEdits = {{"R", {}}}; }));
}

TEST(GraphAdded, ReadsOlderTurnsWithoutTheLaterCounts) {
    GraphAdded added{4, 3, 2, 1, 5, 6, 7};
    EXPECT_EQ(GraphAdded::fromJson(added.toJson()), added);
    EXPECT_EQ(added.toJson().value("removedRelationships").toInteger(), 6);

    // A turn saved before removals and changes existed.
    GraphAdded old = GraphAdded::fromJson(
        json::decodeObject(R"({"nodes": 2, "relationships": 1, "matched": 0, "filled": 3})"));
    EXPECT_EQ(old, (GraphAdded{2, 1, 0, 3, 0, 0, 0}));

    // The first four are required, and every count is a whole number.
    EXPECT_THROW(
        GraphAdded::fromJson(json::decodeObject(R"({"nodes": 2, "relationships": 1, "matched": 0})")),
        json::DecodeError);
    EXPECT_THROW(GraphAdded::fromJson(
                     json::decodeObject(R"({"nodes": 1.5, "relationships": 1, "matched": 0, "filled": 0})")),
                 json::DecodeError);
    EXPECT_THROW(GraphAdded::fromJson(
                     json::decodeObject(R"({"nodes": "2", "relationships": 1, "matched": 0, "filled": 0})")),
                 json::DecodeError);
}
