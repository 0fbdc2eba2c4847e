#include "kit/build/ShapeDesigner.h"

#include "tests/support/QtPrinters.h"
#include "tests/support/ShapeBuilders.h"

#include <gtest/gtest.h>

using namespace corvantis;
using namespace corvantis::test;

namespace {

ShapeDraft::Property prop(const QString& name, PropertyKind kind = PropertyKind::Text) {
    return {name, kind};
}

} // namespace

TEST(ShapeDesign, MergeOnlyAddsAndComparesByDatabaseNames) {
    GraphSchema schema;
    schema.nodeTypes = {nodeType("Person", {property("name")})};
    schema.nodeTypes[0].x = 100;
    schema.nodeTypes[0].y = 50;
    schema.relTypes = {relType("KNOWS", {{schema.nodeTypes[0].id, schema.nodeTypes[0].id}})};
    const GraphSchema before = schema;

    ShapeDraft draft;
    draft.types = {{"person", "", {prop("Name"), prop("born", PropertyKind::Number)}},
                   {"Book", "read", {prop("read", PropertyKind::Boolean), prop("title"), prop("title")}},
                   {"Book", "", {prop("pages", PropertyKind::Number)}}};
    draft.relationships = {{"knows", "Person", "Book", {}},
                           {"wrote", "person", "book", {prop("year", PropertyKind::Number)}},
                           {"likes", "Person", "Planet", {}}};
    const ShapeMergeResult result = ShapeDesigner::merge(schema, draft);
    EXPECT_EQ(result, (ShapeMergeResult{1, 4, 2}));
    ASSERT_EQ(schema.nodeTypes.size(), 2);
    EXPECT_EQ(schema.nodeTypes[0].properties.size(), 2); // "Name" was there already as "name"
    const NodeType& book = schema.nodeTypes[1];
    EXPECT_EQ(book.properties.size(), 3); // read, title, pages
    ASSERT_TRUE(book.title());
    EXPECT_EQ(book.title()->name, "title"); // a boolean is never a title
    EXPECT_EQ(schema.relTypes.size(), 2);
    EXPECT_EQ(schema.relTypes[0].endpoints.size(), 2); // KNOWS gained Person → Book
    EXPECT_EQ(schema.relTypes[1].table(), "WROTE");
    EXPECT_EQ(book.x, 100 + 220 + 140);
    EXPECT_EQ(book.y, 50);
    EXPECT_EQ(schema.nodeTypes[0].id, before.nodeTypes[0].id);

    GraphSchema again = schema;
    // The same draft again adds nothing.
    EXPECT_EQ(ShapeDesigner::merge(again, draft), ShapeMergeResult{});
    EXPECT_EQ(ShapeDesigner::merge(again, ShapeDraft{{{"Person", "", {prop("name")}}}, {}, ""}),
              ShapeMergeResult{});
    EXPECT_EQ(again, schema);
}

TEST(ShapeDesign, NewTypesAreLaidOutInRowsOfAtMostFourColumns) {
    GraphSchema nine;
    ShapeDraft draft;
    for (int i = 0; i < 9; ++i)
        draft.types.append({QString("Type %1").arg(QChar('A' + i)), "name", {prop("name")}});
    ShapeDesigner::merge(nine, draft);
    QSet<double> xs;
    for (const NodeType& type : nine.nodeTypes)
        xs.insert(type.x);
    EXPECT_EQ(xs.size(), 3);
    EXPECT_EQ(nine.nodeTypes[0].x, 3 * -300 * 0.5 + 40);
    EXPECT_EQ(nine.nodeTypes[0].y, -200);
    EXPECT_EQ(nine.nodeTypes[1].y, -200 + 40);        // odd columns sit lower
    EXPECT_EQ(nine.nodeTypes[3].y, -200 + 120 + 120); // a card of one property is at least 120 high

    GraphSchema twenty;
    draft.types.clear();
    for (int i = 0; i < 20; ++i)
        draft.types.append({QString("Kind %1").arg(QChar('A' + i)), "", {}});
    ShapeDesigner::merge(twenty, draft);
    xs.clear();
    for (const NodeType& type : twenty.nodeTypes)
        xs.insert(type.x);
    EXPECT_EQ(xs.size(), 4);
}

TEST(ShapeDesign, ThePromptTellsTheShapeAndTheRequest) {
    EXPECT_EQ(ShapeDesigner::describe(GraphSchema{}), "The graph is empty: design the whole shape.");
    GraphSchema schema;
    PropertyDef mood = property("mood", PropertyKind::Choice);
    mood.options = QStringList{"a"};
    schema.nodeTypes = {nodeType("Person", {property("name"), mood}), nodeType("Empty")};
    EXPECT_TRUE(ShapeDesigner::describe(schema).endsWith(
        "\n\nTypes:\n- Person: name (text), mood (enum)\n- Empty: no "
        "properties\n\nRelationships:\n(none)"));
    BuildMessage message;
    EXPECT_EQ(
        ShapeDesigner::userText(message, {}, GraphSchema{}),
        "The graph is empty: design the whole shape.\n\nWhat the person wants:\n(No description. Design the "
        "shape from the picture.)");
    BuildMessage earlier;
    earlier.text = "Books";
    EXPECT_TRUE(
        ShapeDesigner::userText(message, {{earlier, "Added Book."}}, GraphSchema{})
            .endsWith("</you>\n\nWhat earlier turns added is in the shape above already.\n\nThe person now "
                      "says:\n(No words: design from what they shared.)"));
    const QString system = ShapeDesigner::systemPrompt();
    EXPECT_TRUE(
        system.contains("addressed to the person.\n\n- Text from links and files the person shared comes "
                        "between <source> tags, read on their computer."));
    EXPECT_EQ(ShapeDesigner::requestBody(AIModel{}, "x", std::nullopt, schema)["output_config"]
                  .toObject()["effort"],
              "medium");
}
