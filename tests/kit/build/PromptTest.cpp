#include "kit/ai/PromptBuilder.h"
#include "kit/build/BuildPrompt.h"
#include "tests/kit/build/BuildFixtures.h"
#include "tests/support/QtPrinters.h"

#include <QJsonArray>
#include <gtest/gtest.h>

using namespace corvantis;
using namespace corvantis::test;

namespace {

BuildSource source(const QString& title, const QString& location, const QString& text,
                   bool truncated = false) {
    return BuildSource{QUuid::createUuid(), title, location, text, truncated};
}

} // namespace

TEST(BuildPromptText, TheShapeAndTheNodesAreToldAsWritten) {
    Library lib;
    lib.schema.nodeTypes[0].properties[1].defaultValue = GraphValue::number(1900);
    lib.schema.nodeTypes.append(nodeType("Empty"));
    EXPECT_EQ(
        GraphBuilder::describe(lib.schema),
        "Node types (property: kind; the first is the title):\n"
        "- Person: name (text), born (number, default “1900” if unknown), status (one of: “Alive”, “Dead”)\n"
        "- Book: title (text), read (boolean)\n"
        "- Tag: label (text)\n"
        "- Empty: no properties\n"
        "\n"
        "Relationship types, with the pairs each is allowed between (from → to):\n"
        "- WROTE: Person → Book — properties: year (number)\n"
        "- KNOWS: Person → Person");
    GraphSchema bare;
    bare.nodeTypes = {nodeType("Idea", {property("name")})};
    EXPECT_TRUE(GraphBuilder::describe(bare).endsWith(
        "(from → to):\n(none: this graph has no relationships, so return none)"));

    EXPECT_EQ(GraphBuilder::describe(QList<ExistingNode>{}), "");
    EXPECT_EQ(
        GraphBuilder::describe(QList<ExistingNode>{{"A1", "Book", "Dune"}}),
        "\nNodes already in the graph (id · type · title). Point a relationship at one by its id; do not "
        "create it again:\n- A1 · Book · Dune");
}

TEST(BuildPromptText, MessagesHistoryAndSourcesAreAssembledInOrder) {
    BuildMessage message;
    message.text = "  \n ";
    message.images = {ShapeImage{"jpeg", "image/jpeg"}};
    EXPECT_EQ(BuildPrompt::message(message, "(No words: build from what they shared.)"),
              "(A picture is attached above.)\n(No words: build from what they shared.)");
    message.keptPictures = 2;
    message.text = "Read this";
    message.sources = {source("A \"quoted\"\ntitle", "https://x.org/a", "Body", true)};
    EXPECT_EQ(BuildPrompt::message(message, "-"),
              "(3 pictures are attached above.)\nRead this\n\nWhat they shared:\n\n"
              "<source title=\"A 'quoted' title\" from=\"https://x.org/a\" note=\"only the first part; the "
              "rest was "
              "too long to send\">\nBody\n</source>");

    BuildMessage first;
    first.text = "Books I read";
    BuildMessage second;
    second.keptPictures = 1;
    EXPECT_EQ(BuildPrompt::history({{first, "Added two books."}, {second, ""}}),
              "The conversation so far:\n\n"
              "<person>\nBooks I read\n</person>\n<you>\nAdded two books.\n</you>\n\n"
              "<person>\n(A picture is attached above.)\n(No words: only what they shared.)\n</person>\n"
              "(The pictures from that turn aren't sent again.)\n<you>\n(You answered.)\n</you>\n");

    const QJsonValue content = BuildPrompt::content("the text", {ShapeImage{"\x01\x02", "image/jpeg"}});
    ASSERT_TRUE(content.isArray());
    EXPECT_EQ(content.toArray().last().toObject(), (QJsonObject{{"type", "text"}, {"text", "the text"}}));
    EXPECT_EQ(content.toArray().first().toObject()["source"].toObject(),
              (QJsonObject{{"type", "base64"}, {"media_type", "image/jpeg"}, {"data", "AQI="}}));
    EXPECT_EQ(BuildPrompt::content("plain", {}), QJsonValue("plain"));
}

TEST(BuildPromptText, AFirstTurnIsTheTextAndALaterOneWhatThePersonNowSays) {
    Library lib;
    BuildMessage message;
    message.text = "Ann wrote Dune.";
    const QString shape = "The shape of the graph:\n\n" + GraphBuilder::describe(lib.schema);
    const QString queries =
        "\n\nFor queries in changes, the database's names (labels, relationship types and "
        "property columns):\n\n" +
        PromptBuilder::renderSchema(lib.schema) + "\n\n" + PromptBuilder::dialectNotes() + "\n\n";
    EXPECT_TRUE(PromptBuilder::dialectNotes().startsWith("Dialect notes: label(n) gives"));

    EXPECT_EQ(GraphBuilder::userText(message, {}, std::nullopt, lib.schema, {}),
              shape + queries + "The text:\n\nAnn wrote Dune.");
    const QList<ExistingNode> existing{{"ID1", "Person", "Ann"}};
    EXPECT_EQ(GraphBuilder::userText(message, {}, std::nullopt, lib.schema, existing),
              shape + GraphBuilder::describe(existing) + queries + "The text:\n\nAnn wrote Dune.");
    // An empty draft still makes it a later turn.
    EXPECT_EQ(GraphBuilder::userText(message, {}, QString(), lib.schema, {}),
              shape + queries + "The person now says:\n\nAnn wrote Dune.");
    BuildMessage earlier;
    earlier.text = "Start";
    const QList<BuildExchange> history{{earlier, "Made it."}};
    EXPECT_EQ(
        GraphBuilder::userText(message, history, QString("DRAFT"), lib.schema, {}),
        shape + queries + BuildPrompt::history(history) + "\n" +
            "\n\nRevise this draft as the person now asks, and return all of it, not only what changed.\n\n"
            "DRAFT" +
            "The person now says:\n\nAnn wrote Dune.");

    const QJsonObject body = GraphBuilder::requestBody(AIModel{}, "x", lib.schema, {});
    const QJsonObject config = body["output_config"].toObject();
    EXPECT_EQ(config["effort"].toString(), "medium");
    EXPECT_EQ(config["format"].toObject()["schema"].toObject(), GraphBuilder::outputSchema());
    const QString system = body["system"].toString();
    EXPECT_TRUE(system.contains("read on their computer. It is material"));
    EXPECT_TRUE(system.contains("runs it on the person's computer and shows"));
    EXPECT_FALSE(system.contains("Mac"));
    EXPECT_FALSE(system.endsWith("\n"));
}

TEST(BuildPromptText, TheOpenDraftIsDescribedWithThePersonsEdits) {
    Library lib;
    const QString ann = lib.add("Person", "name", "Ann");
    GraphDraft draft;
    draft.nodes = {draftNode("n1", "Person", {{"name", "Ann"}, {"born", "1950"}}),
                   draftNode("n2", "Book", {{"title", "Dune"}})};
    draft.relationships = {{"wrote", "n1", "n2", {}}};
    draft.changes = {{"remove", "Remove old", "MATCH (n) RETURN n", {}},
                     {"update", "Fix", "bad", {{"name", "x"}}}};
    GraphReview review = GraphBuilder::review(draft, lib.schema, lib.nodes);
    review.changes[0].nodes = {"A", "B"};
    review.changes[0].relationships = {"R"};
    review.changes[0].truncated = true;
    review.changes[0].excluded = {"B"};
    review.changes[1].problem = "Parser exception";
    review.nodes[1].include = false;

    const QString text = review.describe(lib.schema, lib.nodes);
    EXPECT_TRUE(
        text.startsWith("The draft as it stands, after the person's own edits (nothing of it has been done "
                        "to the graph yet):\n\n{"));
    EXPECT_TRUE(
        text.contains(R"("properties":[{"name":"name","value":"Ann"},{"name":"born","value":"1950"}])"));
    EXPECT_FALSE(text.contains(R"("ref":"n2")"));
    EXPECT_TRUE(text.contains("\n\nWhat each change found when its query ran on the graph:\n"
                              "- the change “Remove old”: its query found 2 nodes and 1 relationship, and "
                              "more beyond those. The person "
                              "left out 1 of them by hand.\n"
                              "- the change “Fix”: its query couldn't run (Parser exception), so it does "
                              "nothing yet. Fix the query."));
    EXPECT_TRUE(
        text.contains("\n\nThe person matched these drafted nodes to nodes already in the graph:\n- n1 is " +
                      ann + " (Ann)"));
    EXPECT_TRUE(text.endsWith(
        "\n\nThe person left these out. Don't return them unless they ask for them again:\n- Dune"));
}
