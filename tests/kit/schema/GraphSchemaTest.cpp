#include "kit/schema/GraphSchema.h"

#include "kit/schema/Identifier.h"
#include "kit/support/Json.h"
#include "tests/support/ShapeBuilders.h"

#include <QJsonArray>
#include <gtest/gtest.h>

using namespace corvantis;

namespace {

PropertyDef prop(const QString& name, PropertyKind kind = PropertyKind::Text) {
    return test::property(name, kind);
}

NodeType nodeType(const QString& name, QList<PropertyDef> properties = {}, const QString& color = "iris") {
    return test::nodeType(name, std::move(properties), color, false);
}

using test::relType;

QStringList messages(const QList<SchemaIssue>& issues) {
    QStringList list;
    for (const auto& issue : issues)
        list << issue.message;
    return list;
}

// A shape that uses every optional field at least once.
GraphSchema fullSchema() {
    PropertyDef name = prop("Name");
    PropertyDef bio = prop("Bio");
    bio.embedded = true;
    PropertyDef status = prop("Status", PropertyKind::Choice);
    status.options = QStringList{"Active", "Retired"};
    status.defaultValue = GraphValue::string("Active");
    PropertyDef alive = prop("Alive", PropertyKind::Boolean);
    NodeType person = nodeType("Person", {name, bio, status, alive}, "rose");
    person.symbol = QStringLiteral("person.fill");
    person.titleProperty = name.id;
    person.markProperty = alive.id;
    person.x = -12.5;
    person.y = 40;
    person.expand = ExpandPriority::WhenAsked;
    NodeType place = nodeType("Place", {prop("Title")}, "mint");

    PropertyDef since = prop("Since", PropertyKind::Number);
    since.defaultValue = GraphValue::number(2000);
    RelType knows = relType("knows", {{person.id, person.id}}, {since, prop("Note")});
    knows.twoWayLoops = QList<RelEndpoint>{{person.id, person.id}};
    knows.titleProperty = since.id;
    RelType livesIn = relType("lives in", {{person.id, place.id}});
    return GraphSchema{{person, place}, {knows, livesIn}};
}

} // namespace

TEST(GraphSchema, ValidateReportsIssuesInOrderWithExactTexts) {
    EXPECT_EQ(messages(GraphSchema().validate()), QStringList{"Add at least one node type."});
    EXPECT_TRUE(fullSchema().validate().isEmpty());

    NodeType person = nodeType("Person", {prop("Name"), prop("id"), prop("  "), prop("name"), prop("ID")});
    NodeType unnamed = nodeType("  ", {prop("")}); // skipped entirely, its properties too
    NodeType people = nodeType("PERSON", {prop("Id")});
    RelType clash = relType("person", {{person.id, person.id}});
    RelType dangling = relType("works at", {}, {prop("Role"), prop("role")});
    RelType nameless = relType("", {});
    GraphSchema schema{{person, unnamed, people}, {clash, dangling, nameless}};

    EXPECT_EQ(messages(schema.validate()),
              (QStringList{
                  "Person: “id” is built in and can't be added again.",
                  "Person has a property without a name.",
                  "Person has two properties named “name”.",
                  "Person: “ID” is built in and can't be added again.",
                  "A node type has no name.",
                  "“PERSON” and “Person” resolve to the same name in the database.",
                  "PERSON: “Id” is built in and can't be added again.",
                  "“person” and “Person” resolve to the same name in the database.",
                  "WORKS_AT doesn't connect anything.",
                  "WORKS_AT has two properties named “role”.",
                  "A relationship has no name.",
              }));
}

TEST(GraphSchema, LookupsByIdTableAndEndpoint) {
    GraphSchema schema = fullSchema();
    const NodeType& person = schema.nodeTypes[0];
    const NodeType& place = schema.nodeTypes[1];
    EXPECT_EQ(schema.nodeType(place.id), &schema.nodeTypes[1]);
    EXPECT_EQ(schema.nodeType(QUuid::createUuid()), nullptr);
    EXPECT_EQ(schema.relType(schema.relTypes[1].id)->name, "lives in");
    EXPECT_EQ(schema.nodeTypeForTable("Person"), &schema.nodeTypes[0]);
    EXPECT_EQ(schema.nodeTypeForTable("person"), nullptr); // exact text only
    EXPECT_EQ(schema.relTypeForTable("LIVES_IN"), &schema.relTypes[1]);
    EXPECT_EQ(schema.relTypeForTable("lives in"), nullptr);

    EXPECT_EQ(schema.relTypesBetween(person.id, place.id), (QList<const RelType*>{&schema.relTypes[1]}));
    EXPECT_TRUE(schema.relTypesBetween(place.id, person.id).isEmpty());
    EXPECT_EQ(schema.relTypesBetween(person.id, person.id), (QList<const RelType*>{&schema.relTypes[0]}));

    // Title and mark: absent when missing or of the wrong kind.
    EXPECT_EQ(person.title()->name, "Name");
    EXPECT_EQ(person.mark()->name, "Alive");
    NodeType swapped = person;
    std::swap(swapped.titleProperty, swapped.markProperty);
    EXPECT_EQ(swapped.title(), nullptr);
    EXPECT_EQ(swapped.mark(), nullptr);
    EXPECT_EQ(person.table(), "Person");
    EXPECT_EQ(schema.relTypes[1].table(), "LIVES_IN");
    EXPECT_EQ(schema.relTypes[1].displayName(), "lives in");
    EXPECT_EQ(ExpandPriorities::rank(person.expandPriority()), 2);
    EXPECT_EQ(place.expandPriority(), ExpandPriority::Normal);
}

TEST(GraphSchema, UniqueNamesAndNextColor) {
    GraphSchema schema{{nodeType("Person"), nodeType("Book Club")}, {}};
    EXPECT_EQ(schema.uniqueNodeTypeName("Place"), "Place");
    EXPECT_EQ(schema.uniqueNodeTypeName("person"), "person 2");
    // "book-club" derives the same table as "Book Club".
    EXPECT_EQ(schema.uniqueNodeTypeName("book-club"), "book-club 2");
    schema.nodeTypes << nodeType("Person 2");
    EXPECT_EQ(schema.uniqueNodeTypeName("Person"), "Person 3");

    QList<PropertyDef> among{prop("First Name"), prop("Age")};
    EXPECT_EQ(schema.uniquePropertyName("first_name", among, true), "first_name 2");
    EXPECT_EQ(schema.uniquePropertyName("Email", among, false), "Email");

    EXPECT_EQ(uniqueName("A", {"a", "A 2"}, [](const QString& s) { return s; }), "A 3");

    GraphSchema colours;
    EXPECT_EQ(colours.nextColor(), "iris");
    colours.nodeTypes << nodeType("A", {}, "iris") << nodeType("B", {}, "mint");
    EXPECT_EQ(colours.nextColor(), "peach");
    GraphSchema full;
    for (const QString& colour : GraphSchema::palette())
        full.nodeTypes << nodeType(colour, {}, colour);
    full.nodeTypes << nodeType("ninth", {}, "iris");
    ASSERT_EQ(full.nodeTypes.size(), 9);
    EXPECT_EQ(full.nextColor(), GraphSchema::palette()[1]);
    EXPECT_EQ(GraphSchema::palette(),
              (QStringList{"iris", "peach", "mint", "sky", "rose", "lime", "orchid", "slate"}));
}

TEST(GraphSchema, EmbeddedAndTextPropertiesWalkNodesThenRelationships) {
    GraphSchema schema = fullSchema();
    PropertyDef relNote = prop("Summary");
    relNote.embedded = true;
    schema.relTypes[1].properties << relNote;
    // Embedded on a non-text kind does not count.
    PropertyDef weird = prop("Score", PropertyKind::Number);
    weird.embedded = true;
    schema.nodeTypes[1].properties << weird;

    auto embedded = schema.embeddedProperties();
    ASSERT_EQ(embedded.size(), 2);
    EXPECT_EQ(embedded[0].reference(), "Person.bio");
    EXPECT_TRUE(embedded[0].isNode);
    EXPECT_EQ(embedded[0].ownerName, "Person");
    EXPECT_EQ(embedded[1].reference(), "LIVES_IN.summary");
    EXPECT_FALSE(embedded[1].isNode);
    EXPECT_EQ(embedded[1].ownerID, schema.relTypes[1].id);
    EXPECT_EQ(schema.embeddedProperty(relNote.id), embedded[1]);
    EXPECT_FALSE(schema.embeddedProperty(weird.id));

    QStringList references;
    for (const auto& property : schema.textProperties())
        references << property.reference();
    EXPECT_EQ(references, (QStringList{"Person.name", "Person.bio", "Person.status", "Place.title",
                                       "KNOWS.note", "LIVES_IN.summary"}));
}

TEST(GraphSchema, RelEndpointConnectionsAndTwoWay) {
    QUuid a = QUuid::createUuid(), b = QUuid::createUuid(), c = QUuid::createUuid();
    RelType rel = relType("links", {{a, b}, {a, a}, {b, a}, {b, c}});
    rel.twoWayLoops = QList<RelEndpoint>{};
    EXPECT_EQ(rel.connections(), (QList<RelEndpoint>{{a, b}, {a, a}, {b, c}}));
    EXPECT_TRUE(rel.isTwoWay({a, b}));
    EXPECT_TRUE(rel.isTwoWay({b, a}));
    EXPECT_FALSE(rel.isTwoWay({b, c}));
    EXPECT_FALSE(rel.isTwoWay({c, b})); // not an endpoint at all
    EXPECT_FALSE(rel.isTwoWay({a, a}));
    rel.twoWayLoops = QList<RelEndpoint>{{a, a}};
    EXPECT_TRUE(rel.isTwoWay({a, a}));
    EXPECT_EQ(RelEndpoint({a, b}).reversed(), RelEndpoint({b, a}));
    EXPECT_EQ(qHash(RelEndpoint{a, b}), qHash(RelEndpoint{a, b}));
    EXPECT_EQ((QSet<RelEndpoint>{{a, b}, {a, b}, {b, a}}).size(), 2);
}

TEST(GraphSchema, RemoveNodeTypeCleansEndpointsAndLoops) {
    NodeType person = nodeType("Person"), place = nodeType("Place"), book = nodeType("Book");
    RelType knows = relType("knows", {{person.id, person.id}});
    knows.twoWayLoops = QList<RelEndpoint>{{person.id, person.id}};
    RelType visits = relType("visits", {{person.id, place.id}, {book.id, place.id}});
    RelType about = relType("about", {{book.id, place.id}, {place.id, book.id}});
    RelType draft = relType("draft", {}); // had no endpoints before: stays
    GraphSchema schema{{person, place, book}, {knows, visits, about, draft}};

    schema.removeNodeType(person.id);
    EXPECT_EQ(schema.nodeTypes.size(), 2);
    EXPECT_EQ(schema.nodeType(person.id), nullptr);
    QStringList left;
    for (const auto& rel : schema.relTypes)
        left << rel.name;
    EXPECT_EQ(left, (QStringList{"visits", "about", "draft"}));
    EXPECT_EQ(schema.relTypes[0].endpoints, (QList<RelEndpoint>{{book.id, place.id}}));

    schema.removeNodeType(place.id);
    left.clear();
    for (const auto& rel : schema.relTypes)
        left << rel.name;
    EXPECT_EQ(left, QStringList{"draft"});
    EXPECT_EQ(schema.nodeTypes.size(), 1);

    // A loop on another type survives the removal of a third.
    GraphSchema loops{{person, place}, {knows}};
    loops.removeNodeType(place.id);
    EXPECT_EQ(loops.relTypes.size(), 1);
    EXPECT_EQ(loops.relTypes[0].twoWayLoops, (QList<RelEndpoint>{{person.id, person.id}}));
}

TEST(GraphSchema, MergeDuplicateRelTypesFoldsLaterIntoFirst) {
    QUuid a = QUuid::createUuid(), b = QUuid::createUuid(), c = QUuid::createUuid();
    PropertyDef since = prop("Since", PropertyKind::Number);
    RelType first = relType("works at", {{a, b}}, {since});
    PropertyDef since2 = prop("since", PropertyKind::Number);
    PropertyDef role = prop("Role");
    PropertyDef paid = prop("Paid", PropertyKind::Boolean);
    RelType second = relType("Works-At", {{a, b}, {c, b}, {c, c}}, {since2, role, paid});
    second.twoWayLoops = QList<RelEndpoint>{{c, c}};
    second.titleProperty = since2.id;
    second.markProperty = paid.id;
    RelType other = relType("knows", {{a, a}});
    RelType third = relType("WORKS AT", {{b, a}}, {prop("Role")});

    GraphSchema schema{{}, {first, other, second, third}};
    schema.mergeDuplicateRelTypes();
    ASSERT_EQ(schema.relTypes.size(), 2);
    const RelType& merged = schema.relTypes[0];
    EXPECT_EQ(merged.id, first.id);
    EXPECT_EQ(merged.name, "works at");
    EXPECT_EQ(merged.endpoints, (QList<RelEndpoint>{{a, b}, {c, b}, {c, c}, {b, a}}));
    EXPECT_EQ(merged.twoWayLoops, (QList<RelEndpoint>{{c, c}}));
    QStringList columns;
    for (const auto& property : merged.properties)
        columns << property.column();
    EXPECT_EQ(columns, (QStringList{"since", "role", "paid"}));
    EXPECT_EQ(merged.properties[0].id, since.id);
    // The title named "since" on the folded type lands on the survivor's own "since".
    EXPECT_EQ(merged.titleProperty, since.id);
    EXPECT_EQ(merged.markProperty, paid.id);
    EXPECT_EQ(schema.relTypes[1].id, other.id);
}

TEST(GraphSchema, DropDefaultsRestoresWhatTheKeptShapeHad) {
    GraphSchema before = fullSchema();
    GraphSchema after = before;
    PropertyDef& status = after.nodeTypes[0].properties[2];
    status.defaultValue = GraphValue::string("Retired");
    PropertyDef& bio = after.nodeTypes[0].properties[1];
    bio.defaultValue = GraphValue::string("Unknown"); // had none before
    PropertyDef& since = after.relTypes[0].properties[0];
    since.defaultValue = GraphValue::number(1990);
    PropertyDef& untouched = after.relTypes[0].properties[1];
    untouched.defaultValue = GraphValue::string("kept");

    QList<DefaultFill> fills{
        {"Person", true, "status", GraphValue::string("Retired"), GraphValue::string("Active")},
        {"Person", true, "bio", GraphValue::string("Unknown"), std::nullopt},
        {"KNOWS", false, "since", GraphValue::number(1990), std::nullopt},
        {"Person", false, "name", GraphValue::string("x"), std::nullopt}, // no such relationship table
    };
    after.dropDefaults(fills, before);
    EXPECT_EQ(after.nodeTypes[0].properties[2].defaultValue, GraphValue::string("Active"));
    EXPECT_FALSE(after.nodeTypes[0].properties[1].defaultValue);
    EXPECT_EQ(after.relTypes[0].properties[0].defaultValue, GraphValue::number(2000));
    EXPECT_EQ(after.relTypes[0].properties[1].defaultValue, GraphValue::string("kept"));
    EXPECT_FALSE(after.nodeTypes[0].properties[0].defaultValue);
}

TEST(GraphSchema, AdoptBuiltInNameGivesTheSameIdOnEveryReading) {
    GraphSchema schema = fullSchema();
    schema.nodeTypes[0].titleProperty.reset();
    const QByteArray json = json::encode(schema.toJson());

    GraphSchema first = GraphSchema::fromJson(json::decodeObject(json));
    GraphSchema second = GraphSchema::fromJson(json::decodeObject(json));
    first.adoptBuiltInName();
    second.adoptBuiltInName();
    EXPECT_EQ(first, second);

    const NodeType& person = first.nodeTypes[0];
    ASSERT_EQ(person.properties.size(), 5);
    const PropertyDef& name = person.properties[0];
    EXPECT_EQ(name.name, "name");
    EXPECT_EQ(name.kind, PropertyKind::Text);
    EXPECT_NE(name.id, person.id);
    QByteArray typeBytes = person.id.toRfc4122();
    QByteArray nameBytes = name.id.toRfc4122();
    EXPECT_EQ(static_cast<unsigned char>(nameBytes[0]), static_cast<unsigned char>(typeBytes[0]) ^ 0x5A);
    EXPECT_EQ(nameBytes.mid(1), typeBytes.mid(1));
    EXPECT_NE(first.nodeTypes[1].properties[0].id, name.id);

    // Adopting twice does not add a second one.
    GraphSchema again = first;
    again.adoptBuiltInName();
    EXPECT_EQ(again, first);

    // Then the likely title: "name" wins over "Name", which now comes second; a set title stays.
    first.adoptLikelyTitles();
    EXPECT_EQ(first.nodeTypes[0].titleProperty, name.id);
    GraphSchema titled = fullSchema();
    const auto kept = titled.nodeTypes[0].titleProperty;
    titled.nodeTypes[1].properties = {prop("Count", PropertyKind::Number)};
    titled.adoptLikelyTitles();
    EXPECT_EQ(titled.nodeTypes[0].titleProperty, kept);
    EXPECT_FALSE(titled.nodeTypes[1].titleProperty);
}

TEST(GraphSchema, JsonRoundTripAndRequiredKeys) {
    GraphSchema schema = fullSchema();
    const QByteArray text = json::encode(schema.toJson());
    EXPECT_EQ(GraphSchema::fromJson(json::decodeObject(text)), schema);
    EXPECT_FALSE(text.contains("null"));
    EXPECT_TRUE(text.contains("\"expand\": \"whenAsked\""));
    EXPECT_TRUE(text.contains("\"kind\": \"enum\""));
    EXPECT_TRUE(text.contains(json::uuidText(schema.nodeTypes[0].id).toUtf8()));

    // Absent optionals are left out, and read back as absent.
    QJsonObject place = schema.nodeTypes[1].toJson();
    for (const char* key : {"symbol", "titleProperty", "markProperty", "expand"})
        EXPECT_FALSE(place.contains(QString::fromLatin1(key))) << key;
    QJsonObject livesIn = schema.relTypes[1].toJson();
    for (const char* key : {"twoWayLoops", "titleProperty", "markProperty"})
        EXPECT_FALSE(livesIn.contains(QString::fromLatin1(key))) << key;
    EXPECT_EQ(GraphSchema().toJson(), (QJsonObject{{"nodeTypes", QJsonArray()}, {"relTypes", QJsonArray()}}));

    // A required key missing anywhere fails the whole shape.
    auto failsWithout = [&](auto edit) {
        QJsonObject object = schema.toJson();
        edit(object);
        EXPECT_THROW(GraphSchema::fromJson(object), json::DecodeError);
    };
    for (const char* key : {"nodeTypes", "relTypes"})
        failsWithout([&](QJsonObject& o) { o.remove(QString::fromLatin1(key)); });
    for (const char* key : {"id", "name", "color", "properties", "x", "y"}) {
        failsWithout([&](QJsonObject& o) {
            QJsonArray types = o["nodeTypes"].toArray();
            QJsonObject type = types[1].toObject();
            type.remove(QString::fromLatin1(key));
            types[1] = type;
            o["nodeTypes"] = types;
        });
    }
    for (const char* key : {"id", "name", "properties", "endpoints"}) {
        failsWithout([&](QJsonObject& o) {
            QJsonArray types = o["relTypes"].toArray();
            QJsonObject type = types[0].toObject();
            type.remove(QString::fromLatin1(key));
            types[0] = type;
            o["relTypes"] = types;
        });
    }
    for (const char* key : {"from", "to"}) {
        failsWithout([&](QJsonObject& o) {
            QJsonArray types = o["relTypes"].toArray();
            QJsonObject type = types[1].toObject();
            QJsonArray endpoints = type["endpoints"].toArray();
            QJsonObject endpoint = endpoints[0].toObject();
            endpoint.remove(QString::fromLatin1(key));
            endpoints[0] = endpoint;
            type["endpoints"] = endpoints;
            types[1] = type;
            o["relTypes"] = types;
        });
    }
    failsWithout([&](QJsonObject& o) {
        QJsonArray types = o["nodeTypes"].toArray();
        QJsonObject type = types[0].toObject();
        QJsonArray properties = type["properties"].toArray();
        QJsonObject property = properties[3].toObject();
        property.remove("kind");
        properties[3] = property;
        type["properties"] = properties;
        types[0] = type;
        o["nodeTypes"] = types;
    });
    failsWithout([&](QJsonObject& o) {
        QJsonArray types = o["nodeTypes"].toArray();
        QJsonObject type = types[0].toObject();
        type["expand"] = "sometimes";
        types[0] = type;
        o["nodeTypes"] = types;
    });
    failsWithout([&](QJsonObject& o) {
        QJsonArray types = o["nodeTypes"].toArray();
        QJsonObject type = types[0].toObject();
        type["id"] = "not-a-uuid";
        types[0] = type;
        o["nodeTypes"] = types;
    });
}
