#include "kit/graph/DataLoss.h"

#include "tests/kit/graph/GraphFixture.h"
#include "tests/support/QtPrinters.h"

#include <gtest/gtest.h>
#include <ostream>

using namespace corvantis;
using corvantis::test::ShapeGraph;

namespace corvantis {
void PrintTo(const DataLoss& loss, std::ostream* out) {
    *out << "{nodes " << loss.nodes << ", relationships " << loss.relationships << ", values " << loss.values
         << ", connections";
    for (const LostConnection& c : loss.connections)
        *out << " [" << c.relType.toString().toStdString() << " " << c.endpoint.from.toString().toStdString()
             << "->" << c.endpoint.to.toString().toStdString() << ": " << c.relationships << "]";
    *out << ", draft records " << loss.draftRecords << ", draft values " << loss.draftValues << "}";
}
} // namespace corvantis

namespace {

DataLoss loss(qint64 nodes, qint64 relationships, qint64 values, QList<LostConnection> connections = {}) {
    DataLoss expected;
    expected.nodes = nodes;
    expected.relationships = relationships;
    expected.values = values;
    expected.connections = connections;
    return expected;
}

} // namespace

TEST(DataLoss, BetweenTwoShapes) {
    const ShapeGraph g;
    const std::optional<GraphSchema> applied = g.schema;
    const AppliedGraph graph(applied, g.nodes, g.rels);
    struct Case {
        const char* name;
        GraphSchema from, to;
        DataLoss expected;
    };
    auto withoutType = [&](const QUuid& type) {
        return g.with([&](GraphSchema& s) { s.removeNodeType(type); });
    };
    auto withEndpoints = [&](const QUuid& rel, QList<RelEndpoint> endpoints) {
        return g.with([&](GraphSchema& s) { s.relType(rel)->endpoints = endpoints; });
    };
    auto withoutRel = [&](const QUuid& rel) {
        return g.with(
            [&](GraphSchema& s) { s.relTypes.removeIf([&](const RelType& t) { return t.id == rel; }); });
    };
    const QUuid &P = g.person, &B = g.book, &L = g.place;
    // The shape the person sees, ahead of the applied one: Person renamed, with a property the database
    // doesn't have yet.
    const GraphSchema ahead = g.with([&](GraphSchema& s) {
        s.nodeType(P)->name = "Human";
        PropertyDef fresh;
        fresh.id = QUuid::createUuid();
        fresh.name = "fresh";
        s.nodeType(P)->properties << fresh;
    });

    const GraphSchema oneWay = withEndpoints(g.wrote, {{P, B}, {B, B}});

    for (const Case& c : {
             Case("the same shape", g.schema, g.schema, loss(0, 0, 0)),
             Case("renames of types and properties keep everything", g.schema, g.with([&](GraphSchema& s) {
                 s.nodeType(P)->name = "Human";
                 s.nodeType(P)->properties[1].name = "year of birth";
                 s.relType(g.wrote)->name = "authored";
             }),
                  loss(0, 0, 0)),
             Case("an empty node type, and the relationship type that only it ended", g.schema,
                  withoutType(g.topic), loss(0, 0, 0)),
             Case("a node type with its nodes and every relationship at them", g.schema, withoutType(P),
                  loss(3, 4, 0, {{g.wrote, {P, B}, 1}, {g.wrote, {B, P}, 1}})),
             Case("a node type that kept relationship types end at", g.schema, withoutType(L), loss(1, 1, 0)),
             Case("a relationship type with its relationships", g.schema, withoutRel(g.wrote), loss(0, 2, 0)),
             Case("merging relationship types loses the folded type's relationships", g.schema,
                  g.with([&](GraphSchema& s) {
                      s.relType(g.knows)->name = "wrote";
                      s.mergeDuplicateRelTypes();
                  }),
                  loss(0, 1, 0)),
             Case("a connection taken away with what ran along it", g.schema,
                  withEndpoints(g.wrote, {{P, B}, {B, B}}), loss(0, 1, 0, {{g.wrote, {B, P}, 1}})),
             Case("a direction swapped: the way that goes is named", g.schema,
                  withEndpoints(g.wrote, {{B, P}, {B, B}}), loss(0, 1, 0, {{g.wrote, {P, B}, 1}})),
             Case("a connection nothing ran along", g.schema, withEndpoints(g.wrote, {{P, B}, {B, P}}),
                  loss(0, 0, 0)),
             Case("a two-way loop made one way keeps its relationships", g.schema,
                  g.with([&](GraphSchema& s) { s.relType(g.knows)->twoWayLoops.reset(); }), loss(0, 0, 0)),
             Case("a property with values on some rows", g.schema, g.withoutProperty(P, g.born.id),
                  loss(0, 0, 1)),
             Case("a property without values", g.schema, g.withoutProperty(P, g.homepage.id), loss(0, 0, 0)),
             Case("a property of a relationship type", g.schema, g.withoutProperty(g.cites, g.page.id),
                  loss(0, 0, 1)),
             Case("a kind change between text and enum keeps the column", g.schema,
                  g.withKind(P, g.nick.id, PropertyKind::Choice), loss(0, 0, 0)),
             Case("a kind change that re-creates the column", g.schema,
                  g.withKind(P, g.born.id, PropertyKind::Text), loss(0, 0, 1)),
             Case("a kind change of a column without values", g.schema,
                  g.withKind(P, g.homepage.id, PropertyKind::Number), loss(0, 0, 0)),
             Case("values on relationships that go anyway aren't counted again", g.schema,
                  g.with([&](GraphSchema& s) {
                      s.relType(g.wrote)->endpoints = {{P, B}, {B, B}};
                      s.relType(g.wrote)->properties.clear();
                  }),
                  loss(0, 1, 1, {{g.wrote, {B, P}, 1}})),
             Case("going back from a shape ahead finds the rows under the applied tables", ahead,
                  g.with([&](GraphSchema& s) { s.removeNodeType(P); }),
                  loss(3, 4, 0, {{g.wrote, {P, B}, 1}, {g.wrote, {B, P}, 1}})),
             Case("a property the database doesn't have holds nothing", ahead, g.schema, loss(0, 0, 0)),
             // A relationship that no connection of `from` covers still goes with the node at its end.
             Case("relationships go with the node at either end", oneWay, g.with([&](GraphSchema& s) {
                 s.relType(g.wrote)->endpoints = {{P, B}, {B, B}};
                 s.removeNodeType(P);
             }),
                  loss(3, 4, 0, {{g.wrote, {P, B}, 1}})),
         }) {
        SCOPED_TRACE(c.name);
        const DataLoss found = DataLoss::between(graph, c.from, c.to);
        EXPECT_EQ(found, c.expected);
        EXPECT_EQ(found.any(), c.expected.inGraph());
        EXPECT_EQ(DataLoss::losesData(graph, c.from, c.to), c.expected.inGraph());
    }

    // Without an applied shape the database holds nothing to lose.
    const std::optional<GraphSchema> none;
    const AppliedGraph unapplied(none, g.nodes, g.rels);
    EXPECT_EQ(DataLoss::between(unapplied, g.schema, withoutType(P)), loss(0, 0, 0));
}

TEST(DataLoss, WhatADraftLoses) {
    const ShapeGraph g;
    const std::optional<GraphSchema> applied = g.schema;
    const QHash<QString, NodeRecord> noNodes;
    const QHash<QString, RelRecord> noRels;
    const AppliedGraph empty(applied, noNodes, noRels);
    const PropertyOwner person = PropertyOwner::node(g.person);
    const QList<DraftRecord> drafts{
        {person, {{"name", GraphValue::string("Mary")}, {"born", GraphValue::number(1797)}}},
        {person,
         {{"name", GraphValue::string("Percy")},
          {"born", GraphValue::null()},
          {"unknown", GraphValue::string("x")}}},
        {PropertyOwner::rel(g.cites), {{"page", GraphValue::number(3)}}},
        {PropertyOwner::node(QUuid::createUuid()), {{"name", GraphValue::string("Nobody")}}},
    };
    struct Case {
        const char* name;
        GraphSchema to;
        qint64 records, values;
    };
    for (const Case& c : {
             Case("nothing changes", g.schema, 0, 0),
             Case("their node type goes", g.with([&](GraphSchema& s) { s.removeNodeType(g.person); }), 2, 3),
             Case("a property they hold goes", g.withoutProperty(g.person, g.born.id), 0, 1),
             Case("a property re-created with another column type",
                  g.withKind(g.cites, g.page.id, PropertyKind::Text), 0, 1),
             Case("a relationship type goes", g.with([&](GraphSchema& s) {
                 s.relTypes.removeIf([&](const RelType& t) { return t.id == g.cites; });
             }),
                  1, 1),
             Case("a renamed property keeps them",
                  g.with([&](GraphSchema& s) { s.nodeType(g.person)->properties[0].name = "full name"; }), 0,
                  0),
         }) {
        SCOPED_TRACE(c.name);
        const DataLoss found = DataLoss::between(empty, g.schema, c.to, drafts);
        EXPECT_EQ(found.draftRecords, c.records);
        EXPECT_EQ(found.draftValues, c.values);
        EXPECT_FALSE(found.inGraph());
        EXPECT_EQ(found.any(), c.records + c.values > 0);
    }

    // The graph's own loss is counted as before, beside the draft's.
    const AppliedGraph graph(applied, g.nodes, g.rels);
    const DataLoss both = DataLoss::between(
        graph, g.schema, g.with([&](GraphSchema& s) { s.removeNodeType(g.person); }), drafts);
    EXPECT_EQ(both.nodes, 3);
    EXPECT_EQ(both.relationships, 4);
    EXPECT_EQ(both.draftRecords, 2);
}
