#include "kit/mcp/MCPDraftReading.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <gtest/gtest.h>

using namespace corvantis;

namespace {

QJsonObject object(const char* json) {
    return QJsonDocument::fromJson(json).object();
}

} // namespace

TEST(MCPDraftReading, PropertiesAsAnObjectOrAListReadAsText) {
    const QJsonObject draft = CorvantisMCP::graphDraft(object(R"({
        "nodes": [{"ref": "n1", "type": "Person", "properties": {"Name": "Ada", "Age": 36, "Alive": false,
                                                                "Tags": ["x"], "Note": null}},
                  {"ref": 2, "type": "City", "properties": [{"name": "Name", "value": "London"},
                                                            {"name": "Size", "value": 8.5},
                                                            {"name": "Odd", "value": {"a": 1}}]}],
        "relationships": [{"type": "LIVES_IN", "from": "n1", "to": "2"}],
        "summary": 12})"));
    const QJsonArray nodes = draft.value("nodes").toArray();
    ASSERT_EQ(nodes.size(), 2);
    EXPECT_EQ(nodes[0].toObject().value("properties").toArray(),
              (QJsonArray{QJsonObject{{"name", "Age"}, {"value", "36"}},
                          QJsonObject{{"name", "Alive"}, {"value", "false"}},
                          QJsonObject{{"name", "Name"}, {"value", "Ada"}}}));
    EXPECT_EQ(nodes[1].toObject().value("ref").toString(), "2");
    EXPECT_EQ(nodes[1].toObject().value("properties").toArray().size(), 2); // the object value is dropped
    EXPECT_EQ(draft.value("relationships").toArray().first().toObject().value("properties").toArray(),
              QJsonArray());
    EXPECT_EQ(draft.value("changes").toArray(), QJsonArray());
    EXPECT_EQ(draft.value("summary").toString(), "12");
    EXPECT_FALSE(CorvantisMCP::isEmptyGraphDraft(draft));
    EXPECT_TRUE(
        CorvantisMCP::isEmptyGraphDraft(CorvantisMCP::graphDraft(QJsonObject{{"summary", "nothing"}})));
}

TEST(MCPDraftReading, WhatIsNotADraftFails) {
    for (const char* wrong :
         {R"({"nodes": {"ref": "n1"}})", R"({"nodes": ["n1"]})", R"({"relationships": 3})",
          R"({"changes": [{"properties": "name=x"}]})", R"({"nodes": [{"properties": [1]}]})"}) {
        try {
            CorvantisMCP::graphDraft(object(wrong));
            ADD_FAILURE() << wrong;
        } catch (const CorvantisMCP::DraftFormatError& error) {
            EXPECT_EQ(error.message(), "the draft didn't match propose_changes's format");
        }
    }
}

TEST(MCPDraftReading, ShapeKindsAreChecked) {
    const QJsonObject shape = CorvantisMCP::shapeDraft(object(R"({
        "types": [{"name": "Book", "title": "Title", "properties": [{"name": "Title", "kind": "Text"},
                                                                    {"name": "Pages", "kind": "number"}]}],
        "relationships": [{"name": "wrote", "from": "Person", "to": "Book", "properties": {"Year": "number"}}]})"));
    EXPECT_EQ(
        shape.value("types").toArray().first().toObject().value("properties").toArray().first().toObject(),
        (QJsonObject{{"name", "Title"}, {"kind", "text"}}));
    EXPECT_EQ(shape.value("relationships").toArray().first().toObject().value("properties").toArray(),
              (QJsonArray{QJsonObject{{"name", "Year"}, {"kind", "number"}}}));
    try {
        CorvantisMCP::shapeDraft(
            object(R"({"types": [{"name": "A", "properties": [{"name": "p", "kind": "date"}]}]})"));
        ADD_FAILURE() << "a date kind was taken";
    } catch (const CorvantisMCP::DraftFormatError& error) {
        EXPECT_TRUE(
            error.message().startsWith("a property's kind must be one of text, number, link or boolean"));
    }
    EXPECT_THROW(CorvantisMCP::shapeDraft(object(R"({"types": "Book"})")), CorvantisMCP::DraftFormatError);
    EXPECT_TRUE(CorvantisMCP::isEmptyShapeDraft(CorvantisMCP::shapeDraft(QJsonObject())));
}
