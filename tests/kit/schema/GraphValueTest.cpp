#include "kit/schema/GraphValue.h"

#include "kit/schema/NodeType.h"
#include "kit/schema/QueryOutput.h"
#include "kit/schema/RelType.h"
#include "kit/support/Json.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QSet>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>

using namespace corvantis;

namespace {

NodeRecord person(const QString& id, const QString& name) {
    return NodeRecord{id, QStringLiteral("Person"), {{QStringLiteral("name"), GraphValue::string(name)}}};
}

PropertyDef textProperty(const QString& name, PropertyKind kind = PropertyKind::Text) {
    PropertyDef property;
    property.id = QUuid::createUuid();
    property.name = name;
    property.kind = kind;
    return property;
}

} // namespace

TEST(GraphValue, CasesAreDistinctAndEqualityIsStructural) {
    EXPECT_NE(GraphValue::number(1), GraphValue::integer(1));
    EXPECT_NE(GraphValue::string(QStringLiteral("1")), GraphValue::integer(1));
    EXPECT_NE(GraphValue::boolean(false), GraphValue::null());
    EXPECT_NE(GraphValue::string(QString()), GraphValue::null());
    EXPECT_EQ(GraphValue(), GraphValue::null());
    EXPECT_EQ(GraphValue().kind(), GraphValue::Kind::Null);
    EXPECT_EQ(GraphValue::string(QString()).kind(), GraphValue::Kind::String);

    // Composite values built apart compare and hash by what they hold.
    auto a = GraphValue::list({GraphValue::integer(1), GraphValue::node(person("A", "Ada"))});
    auto b = GraphValue::list({GraphValue::integer(1), GraphValue::node(person("A", "Ada"))});
    auto c = GraphValue::list({GraphValue::integer(1), GraphValue::node(person("A", "Ida"))});
    EXPECT_EQ(a, b);
    EXPECT_EQ(qHash(a), qHash(b));
    EXPECT_NE(a, c);
    EXPECT_NE(GraphValue::map({{"k", GraphValue::number(2)}}),
              GraphValue::map({{"k", GraphValue::integer(2)}}));

    QSet<GraphValue> set{GraphValue::number(1), GraphValue::integer(1), GraphValue::number(1), a, b};
    EXPECT_EQ(set.size(), 3);

    // Copies share the payload but a changed copy of the record makes a different value.
    NodeRecord changed = *GraphValue::node(person("A", "Ada")).asNode();
    changed.properties[QStringLiteral("name")] = GraphValue::string(QStringLiteral("Grace"));
    EXPECT_NE(GraphValue::node(changed), GraphValue::node(person("A", "Ada")));

    EXPECT_EQ(GraphValue::integer(7).asNumber(), nullptr);
    ASSERT_NE(GraphValue::integer(7).asInteger(), nullptr);
    EXPECT_EQ(*GraphValue::integer(7).asInteger(), 7);
}

TEST(GraphValue, AccessorsForStringsAndNumbers) {
    EXPECT_FALSE(GraphValue::string(QString()).stringValue());
    EXPECT_EQ(GraphValue::string(QStringLiteral(" x ")).stringValue(), QStringLiteral(" x "));
    EXPECT_FALSE(GraphValue::integer(3).stringValue());

    EXPECT_EQ(GraphValue::integer(3).doubleValue(), 3.0);
    EXPECT_EQ(GraphValue::number(2.5).doubleValue(), 2.5);
    EXPECT_FALSE(GraphValue::string(QStringLiteral("3")).doubleValue());
    EXPECT_FALSE(GraphValue::boolean(true).doubleValue());
}

TEST(GraphValue, FormatAndDisplayText) {
    EXPECT_EQ(GraphValue::format(1948.0), "1948");
    EXPECT_EQ(GraphValue::format(0.123456789), "0.123457");
    EXPECT_EQ(GraphValue::format(1e15), "1e+15");
    EXPECT_EQ(GraphValue::format(999999999999999.0), "999999999999999");
    EXPECT_EQ(GraphValue::format(-3), "-3");
    EXPECT_EQ(GraphValue::format(2.5), "2.5");
    EXPECT_EQ(GraphValue::format(-1e20), "-1e+20");

    EXPECT_EQ(GraphValue::string(QStringLiteral("plain")).displayText(), "plain");
    EXPECT_EQ(GraphValue::number(1948).displayText(), "1948");
    EXPECT_EQ(GraphValue::integer(-42).displayText(), "-42");
    EXPECT_EQ(GraphValue::integer(std::numeric_limits<qint64>::max()).displayText(), "9223372036854775807");
    EXPECT_EQ(GraphValue::boolean(true).displayText(), "true");
    EXPECT_EQ(GraphValue::boolean(false).displayText(), "false");
    EXPECT_EQ(GraphValue::null().displayText(), "—");
    EXPECT_EQ(
        GraphValue::list({GraphValue::integer(1), GraphValue::string("a"), GraphValue::null()}).displayText(),
        "1, a, —");
    // Maps are shown sorted by key, whatever order they were built in.
    GraphValue::Map entries;
    entries.insert(QStringLiteral("zeta"), GraphValue::integer(1));
    entries.insert(QStringLiteral("alpha"), GraphValue::boolean(true));
    EXPECT_EQ(GraphValue::map(entries).displayText(), "alpha: true, zeta: 1");

    // Without a shape a node shows its name-like text, else its table.
    EXPECT_EQ(GraphValue::node(person("A", "Ada")).displayText(), "Ada");
    EXPECT_EQ(GraphValue::node(NodeRecord{"B", "Book", {}}).displayText(), "Book");
    RelRecord knows{"R", "KNOWS", "A", "C", {}};
    EXPECT_EQ(GraphValue::relationship(knows).displayText(), "KNOWS");
    GraphPath path{{person("A", "Ada"), person("C", "Charles")}, {knows}};
    EXPECT_EQ(GraphValue::path(path).displayText(), "Ada → KNOWS → Charles");
}

TEST(GraphValue, TitleTextIsTrimmedAndAbsentForBlanksAndNull) {
    EXPECT_FALSE(GraphValue::string(QStringLiteral("  \n\t ")).titleText());
    EXPECT_FALSE(GraphValue::string(QString()).titleText());
    EXPECT_FALSE(GraphValue::null().titleText());
    EXPECT_EQ(GraphValue::string(QStringLiteral("  Ada\n")).titleText(), QStringLiteral("Ada"));
    EXPECT_EQ(GraphValue::number(3).titleText(), QStringLiteral("3"));
    EXPECT_EQ(GraphValue::boolean(false).titleText(), QStringLiteral("false"));
}

TEST(GraphValue, RecordTitlesFollowTheTypesTitleProperty) {
    NodeType type;
    type.id = QUuid::createUuid();
    type.name = QStringLiteral("Human");
    PropertyDef fullName = textProperty(QStringLiteral("Full Name"));
    PropertyDef active = textProperty(QStringLiteral("active"), PropertyKind::Boolean);
    type.properties = {fullName, active};

    NodeRecord node{"A", "Person", {{"full_name", GraphValue::string(QStringLiteral(" Ada Lovelace "))}}};
    EXPECT_EQ(node.title(nullptr), "Person"); // no type: the label
    EXPECT_EQ(node.title(&type), "Human");    // no title property: the type's name
    type.titleProperty = fullName.id;
    EXPECT_EQ(node.title(&type), "Ada Lovelace");
    node.properties["full_name"] = GraphValue::string(QStringLiteral("   "));
    EXPECT_EQ(node.title(&type), "Human");
    node.properties.remove("full_name");
    EXPECT_EQ(node.title(&type), "Human");
    // A boolean can't title a node.
    node.properties["active"] = GraphValue::boolean(true);
    type.titleProperty = active.id;
    EXPECT_EQ(node.title(&type), "Human");

    RelType rel;
    rel.id = QUuid::createUuid();
    rel.name = QStringLiteral("knows");
    PropertyDef since = textProperty(QStringLiteral("since"), PropertyKind::Number);
    rel.properties = {since};
    RelRecord record{"R", "KNOWS", "A", "B", {{"since", GraphValue::number(1843)}}};
    EXPECT_FALSE(record.title(nullptr));
    EXPECT_FALSE(record.title(&rel));
    rel.titleProperty = since.id;
    EXPECT_EQ(record.title(&rel), QStringLiteral("1843"));
    record.properties.clear();
    EXPECT_FALSE(record.title(&rel));
}

TEST(GraphValue, JsonKeepsOnlyBareValues) {
    EXPECT_EQ(GraphValue::string(QStringLiteral("x")).toJson(), QJsonValue(QStringLiteral("x")));
    EXPECT_EQ(GraphValue::number(2.5).toJson(), QJsonValue(2.5));
    EXPECT_EQ(GraphValue::integer(5).toJson(), QJsonValue(5.0));
    EXPECT_EQ(GraphValue::boolean(true).toJson(), QJsonValue(true));
    EXPECT_TRUE(GraphValue::null().toJson().isNull());
    EXPECT_TRUE(GraphValue::list({GraphValue::integer(1)}).toJson().isNull());
    EXPECT_TRUE(GraphValue::map({{"a", GraphValue::integer(1)}}).toJson().isNull());
    EXPECT_TRUE(GraphValue::node(person("A", "Ada")).toJson().isNull());

    // An integer comes back as a number, never as an integer.
    EXPECT_EQ(GraphValue::fromJson(QJsonValue(5)), GraphValue::number(5));
    EXPECT_EQ(GraphValue::fromJson(GraphValue::integer(5).toJson()).kind(), GraphValue::Kind::Number);
    EXPECT_EQ(GraphValue::fromJson(QJsonValue(false)), GraphValue::boolean(false));
    EXPECT_EQ(GraphValue::fromJson(QJsonValue(QStringLiteral(""))), GraphValue::string(QString()));
    EXPECT_EQ(GraphValue::fromJson(QJsonValue(QJsonValue::Null)), GraphValue::null());
    EXPECT_THROW(GraphValue::fromJson(QJsonArray{1}), json::DecodeError);
    EXPECT_THROW(GraphValue::fromJson(QJsonObject{{"a", 1}}), json::DecodeError);
}

TEST(GraphValue, RecordsRoundTripAndRequireEveryKey) {
    NodeRecord node{
        "9F1C4E0A-0000-4000-8000-000000000001",
        "Person",
        {{"name", GraphValue::string("Ada")}, {"born", GraphValue::number(1815)}, {"x", GraphValue()}}};
    EXPECT_EQ(NodeRecord::fromJson(json::decodeObject(json::encode(node.toJson()))), node);

    RelRecord rel{
        "R1", "KNOWS", "A", "B", {{"since", GraphValue::number(1833)}, {"close", GraphValue::boolean(true)}}};
    EXPECT_EQ(RelRecord::fromJson(rel.toJson()), rel);

    for (const char* key : {"id", "label", "properties"}) {
        QJsonObject object = node.toJson();
        object.remove(QString::fromLatin1(key));
        EXPECT_THROW(NodeRecord::fromJson(object), json::DecodeError) << key;
    }
    for (const char* key : {"id", "label", "from", "to", "properties"}) {
        QJsonObject object = rel.toJson();
        object.remove(QString::fromLatin1(key));
        EXPECT_THROW(RelRecord::fromJson(object), json::DecodeError) << key;
    }
    // A property value that is not a bare value fails the record.
    QJsonObject nested = node.toJson();
    nested["properties"] = QJsonObject{{"tags", QJsonArray{"a"}}};
    EXPECT_THROW(NodeRecord::fromJson(nested), json::DecodeError);

    EXPECT_EQ(qHash(node), qHash(NodeRecord::fromJson(node.toJson())));
    QueryOutput output{{"n"}, {{GraphValue::node(node)}}, 3, 1.5};
    QueryOutput same{{"n"}, {{GraphValue::node(node)}}, 3, 1.5};
    EXPECT_EQ(output, same);
    same.totalRows = 1;
    EXPECT_NE(output, same);
}
