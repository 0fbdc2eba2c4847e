#include "kit/graph/AppliedGraph.h"

#include "tests/kit/graph/GraphFixture.h"
#include "tests/support/QtPrinters.h"

#include <gtest/gtest.h>

using namespace corvantis;
using corvantis::test::ShapeGraph;

namespace {

const ShapeGraph g;
const std::optional<GraphSchema> applied = g.schema;
const std::optional<GraphSchema> none;
const AppliedGraph graph(applied, g.nodes, g.rels);
const AppliedGraph unapplied(none, g.nodes, g.rels);
const PropertyOwner person = PropertyOwner::node(g.person);
const PropertyOwner cites = PropertyOwner::rel(g.cites);

} // namespace

TEST(AppliedGraph, LockedPropertiesAndConnections) {
    struct PropertyCase {
        const char* name;
        const AppliedGraph* graph;
        QUuid property;
        PropertyOwner owner;
        bool locked;
    };
    for (const PropertyCase& c : {
             PropertyCase("a number held by one row", &graph, g.born.id, person, true),
             PropertyCase("a text held as blanks", &graph, g.nick.id, person, true),
             PropertyCase("a boolean held by one row", &graph, g.alive.id, person, true),
             PropertyCase("a column only nulls or nothing", &graph, g.homepage.id, person, false),
             PropertyCase("a relationship's property", &graph, g.page.id, cites, true),
             PropertyCase("a property of another type", &graph, g.page.id, person, false),
             PropertyCase("a property the database doesn't have", &graph, QUuid::createUuid(), person, false),
             PropertyCase("no applied shape", &unapplied, g.born.id, person, false),
         }) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.graph->isLocked(c.property, c.owner), c.locked);
    }

    struct EndpointCase {
        const char* name;
        const AppliedGraph* graph;
        RelEndpoint endpoint;
        QUuid rel;
        bool locked;
    };
    const QUuid &P = g.person, &B = g.book, &L = g.place;
    for (const EndpointCase& c : {
             EndpointCase("one direction of a pair", &graph, {P, B}, g.wrote, true),
             EndpointCase("the other direction", &graph, {B, P}, g.wrote, true),
             EndpointCase("a loop nothing runs along", &graph, {B, B}, g.wrote, false),
             EndpointCase("a loop with a relationship", &graph, {P, P}, g.knows, true),
             EndpointCase("against the way it runs", &graph, {L, P}, g.visited, false),
             EndpointCase("a type the database doesn't have", &graph, {P, B}, QUuid::createUuid(), false),
             EndpointCase("no applied shape", &unapplied, {P, B}, g.wrote, false),
         }) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.graph->isLocked(c.endpoint, c.rel), c.locked);
    }

    RelType fresh;
    fresh.id = QUuid::createUuid();
    EXPECT_TRUE(graph.isApplied(*g.schema.relType(g.wrote)));
    EXPECT_FALSE(graph.isApplied(fresh));
    EXPECT_FALSE(unapplied.isApplied(*g.schema.relType(g.wrote)));
}

TEST(AppliedGraph, AllowedKinds) {
    using K = PropertyKind;
    const QList<PropertyKind> all{K::Text, K::Number, K::Link, K::Boolean, K::Choice};
    // The current shape may run ahead of the applied one: the kind is the current one's.
    const GraphSchema current = g.withKind(g.person, g.nick.id, K::Choice);
    struct Case {
        const char* name;
        QUuid property;
        QList<PropertyKind> kinds;
    };
    for (const Case& c : {
             Case("a free property may become anything", g.homepage.id, all),
             Case("a number with values stays a number", g.born.id, {K::Number}),
             Case("a boolean with values stays a boolean", g.alive.id, {K::Boolean}),
             Case("an enum with values trades with text", g.nick.id, {K::Text, K::Choice}),
             Case("a link with values may become text or enum", g.site.id, {K::Link, K::Text, K::Choice}),
             Case("a property the shape doesn't have", QUuid::createUuid(), {}),
         }) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(graph.allowedKinds(current, c.property, person), c.kinds);
    }
}

TEST(AppliedGraph, MissingAndDistinctValues) {
    struct MissingCase {
        const char* name;
        const AppliedGraph* graph;
        QUuid property;
        PropertyOwner owner;
        int missing;
    };
    for (const MissingCase& c : {
             MissingCase("an absent value and a null are missing", &graph, g.born.id, person, 2),
             MissingCase("blanks are a value", &graph, g.nick.id, person, 1),
             MissingCase("every row holds one", &graph, g.name.id, person, 0),
             MissingCase("a column the database doesn't have yet", &graph, QUuid::createUuid(), person, 3),
             MissingCase("a relationship's property", &graph, g.page.id, cites, 1),
             MissingCase("a type without rows", &graph, QUuid::createUuid(), PropertyOwner::node(g.topic), 0),
             MissingCase("a type the database doesn't have", &graph, g.born.id,
                         PropertyOwner::node(QUuid::createUuid()), 0),
             MissingCase("no applied shape", &unapplied, g.born.id, person, 0),
         }) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.graph->missingCount(c.property, c.owner), c.missing);
    }

    struct DistinctCase {
        const char* name;
        const AppliedGraph* graph;
        QUuid property;
        PropertyOwner owner;
        int limit;
        QStringList texts;
    };
    for (const DistinctCase& c : {
             DistinctCase("most frequent first", &graph, g.status.id, person, 10, {"Alive"}),
             DistinctCase("ties in the locale's order", &graph, g.name.id, person, 10,
                          {"Ada", "Alan", "Grace"}),
             DistinctCase("at most the limit", &graph, g.name.id, person, 2, {"Ada", "Alan"}),
             DistinctCase("no limit, no texts", &graph, g.name.id, person, 0, {}),
             DistinctCase("blanks are no text", &graph, g.nick.id, person, 10, {"Countess"}),
             DistinctCase("numbers as they show", &graph, g.page.id, cites, 10, {"12"}),
             DistinctCase("no applied shape", &unapplied, g.name.id, person, 10, {}),
         }) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.graph->distinctValues(c.property, c.owner, c.limit), c.texts);
    }
    // Frequency goes before the order of the texts.
    QHash<QString, NodeRecord> nodes = g.nodes;
    nodes["zed"] = NodeRecord{"zed", "Person", {{"name", GraphValue::string("Zed")}}};
    nodes["zed2"] = NodeRecord{"zed2", "Person", {{"name", GraphValue::string("Zed")}}};
    EXPECT_EQ(AppliedGraph(applied, nodes, g.rels).distinctValues(g.name.id, person, 2),
              (QStringList{"Zed", "Ada"}));
}

TEST(AppliedGraph, RowsMovedByADefault) {
    auto def = [](const PropertyDef& base, std::optional<GraphValue> value,
                  std::optional<PropertyKind> kind = std::nullopt) {
        PropertyDef p = base;
        p.defaultValue = value;
        if (kind)
            p.kind = *kind;
        return p;
    };
    const GraphValue alive = GraphValue::string("Alive"), dead = GraphValue::string("Dead");
    PropertyDef unappliedProperty = g.status;
    unappliedProperty.id = QUuid::createUuid();
    struct Case {
        const char* name;
        PropertyOwner owner;
        PropertyDef before, after;
        QHash<QString, GraphValue> moved;
    };
    for (const Case& c : {
             Case("a first default fills the rows without a value", person, g.status, def(g.status, alive),
                  {{"grace", GraphValue()}}),
             Case("a changed default also moves the rows that hold the old one", person, def(g.status, alive),
                  def(g.status, dead), {{"grace", GraphValue()}, {"ada", alive}, {"alan", alive}}),
             Case("an old default the kind refused replaces nothing", person,
                  def(g.status, GraphValue::string("")), def(g.status, dead), {{"grace", GraphValue()}}),
             Case("the same default moves nothing", person, def(g.status, alive), def(g.status, alive), {}),
             Case("a cleared default moves nothing", person, def(g.status, alive), g.status, {}),
             Case("a refused new default moves nothing", person, g.born, def(g.born, alive), {}),
             Case("a column re-created with another type is filled in every row", person, g.born,
                  def(g.born, alive, PropertyKind::Text),
                  {{"ada", GraphValue::number(1815)}, {"grace", GraphValue()}, {"alan", GraphValue()}}),
             Case("a column the database doesn't have yet", person, unappliedProperty,
                  def(unappliedProperty, dead),
                  {{"ada", GraphValue()}, {"grace", GraphValue()}, {"alan", GraphValue()}}),
             Case("a relationship's property", cites, g.page, def(g.page, GraphValue::number(1)),
                  {{"r6", GraphValue()}}),
             Case("a type the database doesn't have", PropertyOwner::node(QUuid::createUuid()), g.status,
                  def(g.status, alive), {}),
         }) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(graph.movedByDefault(c.owner, c.before, c.after), c.moved);
    }
    // A row that holds the refused old default is not the old default's: the fill passes it by.
    QHash<QString, NodeRecord> nodes = g.nodes;
    nodes["eve"] = NodeRecord{"eve", "Person", {{"status", GraphValue::string("")}}};
    EXPECT_EQ(AppliedGraph(applied, nodes, g.rels)
                  .movedByDefault(person, def(g.status, GraphValue::string("")), def(g.status, dead)),
              (QHash<QString, GraphValue>{{"grace", GraphValue()}}));
}
