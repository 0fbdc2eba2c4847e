#include "kit/mcp/CorvantisMCP.h"

#include "kit/build/GraphBuilder.h"
#include "kit/build/ShapeDesigner.h"
#include "kit/mcp/JsonText.h"
#include "kit/mcp/MCPRecords.h"
#include "kit/mcp/MCPShapeText.h"
#include "kit/mcp/MCPWordSearch.h"
#include "tests/support/ShapeBuilders.h"

#include <QJsonArray>
#include <gtest/gtest.h>

using namespace corvantis;
using corvantis::test::nodeType;
using corvantis::test::property;
using corvantis::test::relType;

namespace {

struct People {
    GraphSchema schema;
    QHash<QString, NodeRecord> nodes;
    QHash<QString, RelRecord> rels;

    People() {
        NodeType person =
            nodeType("Person", {property("Name"), property("Notes"), property("Age", PropertyKind::Number)});
        NodeType city = nodeType("City", {property("Name")});
        RelType lives = relType("lives in", {{person.id, city.id}}, {property("Since")});
        schema.nodeTypes = {person, city};
        schema.relTypes = {lives};
        add("P1", "Person", {{"name", GraphValue::string("Ada Lovelace")}, {"age", GraphValue::number(36)}});
        add("P2", "Person", {{"name", GraphValue::string("Ada")}});
        add("P3", "Person",
            {{"name", GraphValue::string("Charles")}, {"notes", GraphValue::string("friend of ADA")}});
        add("C1", "City", {{"name", GraphValue::string("London")}});
        rels.insert("R1", RelRecord{"R1", "LIVES_IN", "P1", "C1",
                                    PropertyMap{{"since", GraphValue::string("1835")}}});
    }
    void add(const QString& id, const QString& label, PropertyMap values) {
        nodes.insert(id, NodeRecord{id, label, std::move(values)});
    }
};

QStringList ids(const QJsonObject& found) {
    QStringList out;
    for (const QJsonValue& hit : found.value("results").toArray())
        out << hit.toObject().value("id").toString();
    return out;
}

} // namespace

TEST(CorvantisMCP, TextReadsScalarsLeniently) {
    EXPECT_EQ(CorvantisMCP::text(QJsonValue("x")), "x");
    EXPECT_EQ(CorvantisMCP::text(QJsonValue(3.0)), "3");
    EXPECT_EQ(CorvantisMCP::text(QJsonValue(-0.0)), "0");
    EXPECT_EQ(CorvantisMCP::text(QJsonValue(2.5)), "2.5");
    EXPECT_EQ(CorvantisMCP::text(QJsonValue(1e20)), "100000000000000000000");
    EXPECT_EQ(CorvantisMCP::text(QJsonValue(true)), "true");
    EXPECT_FALSE(CorvantisMCP::text(QJsonValue(QJsonArray{1})).has_value());
    EXPECT_FALSE(CorvantisMCP::text(QJsonValue()).has_value());
    EXPECT_FALSE(CorvantisMCP::text(QJsonValue(QJsonObject())).has_value());
}

TEST(CorvantisMCP, LimitsAreClampedOrFallBack) {
    auto limit = [](const QJsonValue& value) {
        return CorvantisMCP::limit(QJsonObject{{"limit", value}}, "limit", 100, 1, 1000);
    };
    EXPECT_EQ(limit(5000), 1000);
    EXPECT_EQ(limit(0), 1);
    EXPECT_EQ(limit(-3), 1);
    EXPECT_EQ(limit(7.9), 7);
    EXPECT_EQ(limit(" 12 "), 12);
    EXPECT_EQ(limit("many"), 100);
    EXPECT_EQ(limit(QJsonArray{3}), 100);
    EXPECT_EQ(CorvantisMCP::limit(QJsonObject(), "limit", 25, 1, 200), 25);
}

TEST(CorvantisMCP, InstructionsSayDesktopAppAndKeepTheirLines) {
    const QStringList lines = CorvantisMCP::instructions().split('\n');
    EXPECT_TRUE(lines.first().startsWith("Corvantis is a desktop app for personal knowledge graphs."));
    EXPECT_EQ(lines.at(1), "");
    EXPECT_EQ(lines.at(2), "How to work:");
    EXPECT_EQ(lines.at(8), "");
    EXPECT_EQ(lines.at(9), "Building well:");
    EXPECT_EQ(lines.size(), 16);
    EXPECT_FALSE(CorvantisMCP::instructions().contains("Mac"));
    for (const MCPTool& tool : CorvantisMCP::tools())
        EXPECT_FALSE(tool.description.contains("Mac")) << tool.name.toStdString();
}

TEST(CorvantisMCP, SchemasRefuseOtherKeysAndNameTheRequest) {
    const QJsonObject proposal = CorvantisMCP::proposalSchema();
    EXPECT_FALSE(proposal.value("additionalProperties").toBool(true));
    const QJsonObject properties = proposal.value("properties").toObject();
    EXPECT_EQ(properties.value("request").toObject().value("description").toString(),
              "What the person asked for, in their words.");
    const QJsonObject change = properties.value("changes").toObject().value("items").toObject();
    EXPECT_EQ(change.value("properties").toObject().value("action").toObject().value("enum").toArray(),
              (QJsonArray{"remove", "update"}));
    const QJsonObject shape = CorvantisMCP::shapeSchema().value("properties").toObject();
    EXPECT_EQ(shape.value("summary").toObject().value("description").toString(),
              "One or two sentences, to the person, on what this adds.");
    EXPECT_EQ(properties.value("summary").toObject().value("description").toString(),
              "One or two sentences, to the person, on what this draft does.");

    // Apart from the summary's words and the request, they are the Build panel's own draft schemas.
    for (const auto& [received, own] :
         {std::pair{proposal, GraphBuilder::outputSchema()},
          std::pair{CorvantisMCP::shapeSchema(), ShapeDesigner::outputSchema()}}) {
        QJsonObject theirs = received.value("properties").toObject();
        QJsonObject ours = own.value("properties").toObject();
        EXPECT_TRUE(theirs.contains("request"));
        for (const char* told : {"summary", "request"}) {
            theirs.remove(told);
            ours.remove(told);
        }
        EXPECT_EQ(theirs, ours);
        EXPECT_EQ(received.value("required"), own.value("required"));
    }
}

TEST(CorvantisMCPShape, TellsTypesTitleFirstPairsDatabaseNamesAndSize) {
    People p;
    NodeType& person = p.schema.nodeTypes[0];
    person.titleProperty = person.properties[1].id; // Notes is the title: it is told first
    person.properties[2].defaultValue = GraphValue::number(30);
    person.properties.append(
        property("Mood", PropertyKind::Choice, std::nullopt, QStringList{"calm", "busy"}));
    const QString text = CorvantisMCP::shape("Friends", p.schema, 4, 1);
    EXPECT_TRUE(
        text.startsWith("Project: Friends\n\nNode types (property: kind; the first is the title):\n"
                        "- Person: Notes (text), Name (text), Age (number, default “30” if unknown), "
                        "Mood (one of: “calm”, “busy”)\n- City: Name (text)\n\n"
                        "Relationship types, with the pairs each is allowed between (from → to):\n"
                        "- LIVES_IN: Person → City — properties: Since (text)\n\n"
                        "The database's names, for run_cypher and for the queries in propose_changes:\n\n"))
        << text.toStdString();
    EXPECT_TRUE(text.contains("Dialect notes: label(n)"));
    EXPECT_TRUE(text.endsWith("\n\nThe graph holds 4 nodes and 1 relationship."));

    GraphSchema lone;
    lone.nodeTypes = {nodeType("Thing")};
    EXPECT_TRUE(
        GraphBuilder::describe(lone).endsWith("(none: this graph has no relationships, so return none)"));
    EXPECT_TRUE(GraphBuilder::describe(lone).contains("- Thing: no properties"));
    EXPECT_EQ(
        CorvantisMCP::shape("Empty", GraphSchema(), 0, 0),
        "This project's shape is empty: it has no node types yet, so it can't hold nodes. Add types with "
        "design_shape.");
}

TEST(CorvantisMCPRecords, ShownNamesAndValues) {
    People p;
    const QJsonObject ada = CorvantisMCP::json(p.nodes.value("P1"), p.schema);
    EXPECT_EQ(ada, (QJsonObject{{"id", "P1"},
                                {"type", "Person"},
                                {"title", "Ada Lovelace"},
                                {"properties", QJsonObject{{"Name", "Ada Lovelace"}, {"Age", 36}}}}));
    const QJsonObject lives = CorvantisMCP::json(p.rels.value("R1"), p.schema);
    EXPECT_EQ(lives.value("relationship").toString(), "lives in");
    EXPECT_EQ(lives.value("from").toString(), "P1");
    EXPECT_EQ(lives.value("properties").toObject(), (QJsonObject{{"Since", "1835"}}));
    // Scalars keep their kinds; an integer stays whole on the way out.
    const GraphValue row =
        GraphValue::list({GraphValue::integer(3), GraphValue::null(), GraphValue::boolean(true)});
    EXPECT_EQ(JsonText::compact(CorvantisMCP::json(row, p.schema)), "[3,null,true]");
    const GraphValue map = GraphValue::map({{"who", GraphValue::node(p.nodes.value("P2"))}});
    EXPECT_EQ(CorvantisMCP::json(map, p.schema).toObject().value("who").toObject().value("title").toString(),
              "Ada");
}

TEST(CorvantisMCPSearch, ExactTitlesFirstThenTitlesThenTextThenRelationships) {
    People p;
    const QJsonObject found = CorvantisMCP::searchWords(LooseQuery("ada"), 25, p.schema, p.nodes, p.rels);
    EXPECT_EQ(ids(found), (QStringList{"P2", "P1", "P3"}));
    EXPECT_EQ(found.value("total").toInt(), 3);
    const QJsonObject first = found.value("results").toArray().first().toObject();
    EXPECT_EQ(first.value("type").toString(), "Person");
    EXPECT_EQ(first.value("title").toString(), "Ada");

    const QJsonObject capped = CorvantisMCP::searchWords(LooseQuery("ADA"), 2, p.schema, p.nodes, p.rels);
    EXPECT_EQ(ids(capped), (QStringList{"P2", "P1"}));
    EXPECT_EQ(capped.value("total").toInt(), 3); // the number found, not the number shown

    const QJsonObject rel = CorvantisMCP::searchWords(LooseQuery("Lives-In"), 25, p.schema, p.nodes, p.rels);
    EXPECT_EQ(ids(rel), QStringList{"R1"});
    EXPECT_EQ(rel.value("results").toArray().first().toObject().value("to").toString(), "C1");
    const QJsonObject byValue = CorvantisMCP::searchWords(LooseQuery("1835"), 25, p.schema, p.nodes, p.rels);
    EXPECT_EQ(ids(byValue), QStringList{"R1"});
    EXPECT_EQ(
        CorvantisMCP::searchWords(LooseQuery("nobody"), 25, p.schema, p.nodes, p.rels).value("total").toInt(),
        0);
}
