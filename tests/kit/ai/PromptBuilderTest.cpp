#include "kit/ai/PromptBuilder.h"

#include "tests/support/QtPrinters.h"
#include "tests/support/ShapeBuilders.h"

#include <gtest/gtest.h>

using namespace corvantis;

namespace {

PropertyDef property(const QString& name, PropertyKind kind, QStringList options = {}) {
    return test::property(name, kind, std::nullopt,
                          options.isEmpty() ? std::nullopt : std::optional<QStringList>(options));
}

// A node type whose title is the property at `title`, if any.
NodeType nodeType(const QString& name, QList<PropertyDef> properties, int title = -1) {
    NodeType type = test::nodeType(name, properties, "iris", false);
    if (title >= 0)
        type.titleProperty = properties[title].id;
    return type;
}

} // namespace

TEST(PromptBuilder, RendersTheShape) {
    GraphSchema schema;
    schema.nodeTypes = {
        nodeType("Book",
                 {property("Title", PropertyKind::Text), property("Pages", PropertyKind::Number),
                  property("Web page", PropertyKind::Link), property("Read", PropertyKind::Boolean),
                  property("Genre", PropertyKind::Choice, {"a", "b"}), property("!!", PropertyKind::Text)},
                 0),
        nodeType("Person", {property("Name", PropertyKind::Text)}, 0)};
    EXPECT_EQ(PromptBuilder::renderSchema(schema),
              "Node types:\n"
              "- Book: id STRING (unique key), title STRING (the node's title), pages DOUBLE, web_page "
              "STRING (a URL), "
              "read BOOLEAN (true or false), genre STRING (one of: 'a', 'b'), property STRING\n"
              "- Person: id STRING (unique key), name STRING (the node's title)\n"
              "\n"
              "Relationship types:\n"
              "(none)");

    const QUuid book = schema.nodeTypes[0].id;
    const QUuid person = schema.nodeTypes[1].id;
    RelType wrote;
    wrote.id = QUuid::createUuid();
    wrote.name = "wrote";
    wrote.properties = {property("Year", PropertyKind::Number)};
    wrote.titleProperty = wrote.properties[0].id;
    wrote.endpoints = {{person, book}, {person, QUuid::createUuid()}}; // the second type is gone
    RelType knows;
    knows.id = QUuid::createUuid();
    knows.name = "knows";
    knows.endpoints = {{person, person}, {book, person}, {person, book}};
    knows.twoWayLoops = QList<RelEndpoint>{{person, person}};
    schema.relTypes = {wrote, knows};
    const QStringList lines = PromptBuilder::renderSchema(schema).split('\n');
    ASSERT_EQ(lines.size(), 7);
    EXPECT_EQ(lines[5],
              "- WROTE: (:Person)-[:WROTE]->(:Book) \u2014 properties: id STRING (unique key), year DOUBLE "
              "(the relationship's title)");
    EXPECT_EQ(lines[6],
              "- KNOWS: (:Person)-[:KNOWS]->(:Person), (:Book)-[:KNOWS]->(:Person), "
              "(:Person)-[:KNOWS]->(:Book) \u2014 properties: id STRING (unique key) \u2014 two-way, so "
              "match it without direction: (:Person)-[:KNOWS]-(:Person), (:Book)-[:KNOWS]-(:Person)");
}

TEST(PromptBuilder, SystemAndUserTexts) {
    GraphSchema schema;
    schema.nodeTypes = {nodeType("Book", {property("Title", PropertyKind::Text)}, 0)};
    const QString system = PromptBuilder::system(schema);
    EXPECT_TRUE(
        system.startsWith("You translate questions about a personal knowledge graph into a single Cypher "
                          "query. The query runs on LadybugDB"));
    EXPECT_TRUE(
        system.contains("spelled exactly as written:\n\nNode types:\n- Book: id STRING (unique key)"));
    EXPECT_TRUE(
        system.contains("Relationship types:\n(none)\n\nHow to write the query:\n- It must only read."));
    // The dialect notes continue the last bullet of the rules, and the id rule follows on its own line.
    EXPECT_TRUE(
        system.contains("using whichever property is marked as the title.\n- Dialect notes: label(n) gives"));
    EXPECT_TRUE(system.contains("by the other returned columns.\n- Every node and relationship has an id"));
    EXPECT_TRUE(system.contains("MATCH (n {id: upper('\u2026')}), or WHERE r.id = upper('\u2026')"));
    EXPECT_TRUE(
        system.contains("- Add a LIMIT only when the question asks for one (\"top five\", \"a few\").\n"
                        "- When the question implies an order (\"most cited\", \"latest\", \"biggest\"), "
                        "ORDER BY it."));
    EXPECT_TRUE(
        system.endsWith("should come first.\n\nThe explanation is one plain sentence, written for the person "
                        "who asked, saying what the query looks for. Do not mention Cypher syntax in it."));

    EXPECT_EQ(PromptBuilder::user("Who wrote Dune?"), "Who wrote Dune?");
    EXPECT_EQ(PromptBuilder::user("Who wrote Dune?", {{"Q1", "E1"}, {"Q2", "E2"}}),
              "Question: Who wrote Dune?\n"
              "\nAttempt 1 was:\nQ1\nThe database rejected it with:\nE1\n"
              "\nAttempt 2 was:\nQ2\nThe database rejected it with:\nE2\n"
              "\nWrite a corrected query that answers the question and avoids these errors.");
    EXPECT_EQ(
        PromptBuilder::narrowing("All books?", "MATCH (b:Book) RETURN b", 1200),
        "All books?\n\nThis query answered it:\nMATCH (b:Book) RETURN b\nIt returned 1200 rows, too many to "
        "read. Write a narrower query that still answers the question with the results that matter most: "
        "filter more specifically where the question allows it, and ORDER BY what makes a result more "
        "relevant (how connected it is, a date, a count) with a LIMIT of 25 or so. Say in the explanation "
        "what it now leaves out.");
}
