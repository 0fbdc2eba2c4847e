#include "kit/build/BuildConversation.h"
#include "kit/build/GraphBuilder.h"
#include "kit/build/ShapeDesigner.h"
#include "kit/support/Json.h"
#include "tests/support/QtPrinters.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <gtest/gtest.h>

using namespace corvantis;

namespace {

// Every object in a JSON schema, wherever it stands.
void objectsOf(const QJsonValue& value, QList<QJsonObject>& out) {
    if (value.isObject()) {
        const QJsonObject object = value.toObject();
        if (object.value("type") == "object")
            out.append(object);
        for (const QJsonValue& child : object)
            objectsOf(child, out);
    } else if (value.isArray()) {
        for (const QJsonValue& child : value.toArray())
            objectsOf(child, out);
    }
}

QJsonObject parse(const char* text) {
    return QJsonDocument::fromJson(text).object();
}

} // namespace

TEST(DraftJson, DraftReadsWithoutChangesAndRefusesWhatIsMissingOrNotAString) {
    const GraphDraft draft = GraphDraft::fromJson(parse(
        R"({"nodes":[{"ref":"n1","type":"Book","properties":[{"name":"title","value":"Dune"}]}],
            "relationships":[],"summary":"One book."})"));
    EXPECT_TRUE(draft.changes.isEmpty());
    ASSERT_EQ(draft.nodes.size(), 1);
    EXPECT_EQ(draft.nodes[0].properties[0].value, "Dune");
    EXPECT_EQ(GraphDraft::fromJson(draft.toJson()), draft);

    EXPECT_THROW(GraphDraft::fromJson(parse(R"({"relationships":[],"summary":""})")), json::DecodeError);
    // A number where a string belongs is a decoding failure: the prompt says values are strings.
    EXPECT_THROW(GraphDraft::fromJson(parse(
                     R"({"nodes":[{"ref":"n1","type":"Book","properties":[{"name":"year","value":1965}]}],
                         "relationships":[],"summary":""})")),
                 json::DecodeError);
}

TEST(DraftJson, ReviewKeepsItsFormOmittingAbsentKeysAndTheEndAsAPayloadEnum) {
    GraphReview review;
    GraphReview::Node node;
    node.id = "n1";
    node.type = QUuid::createUuid();
    node.properties.insert("title", GraphValue::string("Dune"));
    node.matches = {{"A", std::nullopt}, {"B", 0.955f}};
    review.nodes = {node};
    review.relationships = {
        {0, QUuid::createUuid(), GraphReview::End::draft("n1"), GraphReview::End::existing("X"), {}, true}};
    GraphReview::Change change;
    change.query = "MATCH (n) RETURN n";
    change.nodes = {"A"};
    review.changes = {change};
    review.summary = "s";

    const QJsonObject json = review.toJson();
    const QJsonObject first = json["nodes"].toArray()[0].toObject();
    EXPECT_FALSE(first.contains("target")); // omitted, never null
    EXPECT_FALSE(json["changes"].toArray()[0].toObject().contains("problem"));
    EXPECT_FALSE(first["matches"].toArray()[0].toObject().contains("score"));
    // A 32-bit score is written as its own shortest decimal.
    EXPECT_NE(QJsonDocument(first).toJson(QJsonDocument::Compact).indexOf("\"score\":0.955}"), -1);
    const QJsonObject rel = json["relationships"].toArray()[0].toObject();
    EXPECT_EQ(rel["from"].toObject(), parse(R"({"draft":{"_0":"n1"}})"));
    EXPECT_EQ(rel["to"].toObject(), parse(R"({"existing":{"_0":"X"}})"));

    const GraphReview back = GraphReview::fromJson(json);
    EXPECT_EQ(back, review);
    EXPECT_TRUE(back.nodes[0].matches[0].isSameName());
    EXPECT_FALSE(back.nodes[0].matches[1].isSameName());

    // Saved before changes existed: loads with none.
    QJsonObject old = json;
    old.remove("changes");
    EXPECT_TRUE(GraphReview::fromJson(old).changes.isEmpty());

    try {
        GraphReview::End::fromJson(parse(R"({"draft":{"_0":"a"},"existing":{"_0":"b"}})"));
        FAIL() << "two keys were read";
    } catch (const json::DecodeError& error) {
        EXPECT_STREQ(error.what(), "Invalid number of keys found, expected one.");
    }
}

TEST(DraftJson, EverySchemaObjectIsClosedAndRequiresAllItsProperties) {
    for (const QJsonObject& schema : {GraphBuilder::outputSchema(), ShapeDesigner::outputSchema()}) {
        QList<QJsonObject> objects;
        objectsOf(schema, objects);
        EXPECT_GE(objects.size(), 4);
        for (const QJsonObject& object : objects) {
            EXPECT_EQ(object.value("additionalProperties"), QJsonValue(false));
            QStringList required;
            for (const QJsonValue& key : object["required"].toArray())
                required.append(key.toString());
            QStringList keys = object["properties"].toObject().keys();
            required.sort();
            keys.sort();
            EXPECT_EQ(required, keys);
        }
    }
    const QJsonObject change =
        GraphBuilder::outputSchema()["properties"].toObject()["changes"].toObject()["items"].toObject();
    EXPECT_EQ(change["properties"].toObject()["action"].toObject()["enum"].toArray(),
              (QJsonArray{"remove", "update"}));
}

TEST(DraftJson, AddedCountsReadOldTurnsAndMessagesKeepOnlyHowManyPictures) {
    const GraphAdded added =
        GraphAdded::fromJson(parse(R"({"nodes":2,"relationships":1,"matched":0,"filled":1})"));
    EXPECT_EQ(added, (GraphAdded{2, 1, 0, 1, 0, 0, 0}));

    BuildMessage message;
    message.text = "look";
    message.images = {ShapeImage{"a", "image/jpeg"}, ShapeImage{"b", "image/jpeg"}};
    BuildMessage again = BuildMessage::fromJson(message.toJson());
    EXPECT_TRUE(again.images.isEmpty());
    EXPECT_EQ(again.keptPictures, 2);
    EXPECT_EQ(BuildMessage::fromJson(again.toJson()).toJson()["pictures"].toInt(), 2);
}
