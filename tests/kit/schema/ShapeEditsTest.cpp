#include "kit/schema/ShapeEdits.h"

#include "tests/support/QtPrinters.h"
#include "tests/support/ShapeBuilders.h"

#include <QJsonDocument>
#include <functional>
#include <gtest/gtest.h>

using namespace corvantis;
namespace Edits = corvantis::ShapeEdits;

namespace {

PropertyDef prop(const QString& name, PropertyKind kind = PropertyKind::Text) {
    return test::property(name, kind);
}

// One shape for every table: four node types and relationship types of every form.
struct World {
    QUuid P = QUuid::createUuid(), B = QUuid::createUuid(), L = QUuid::createUuid(), A = QUuid::createUuid();
    QUuid wrote, cites, near, knows, visited, penned, likes, drawn;
    PropertyDef name = prop("name"), born = prop("born", PropertyKind::Number),
                alive = prop("alive", PropertyKind::Boolean), page = prop("page", PropertyKind::Number),
                since = prop("since");
    GraphSchema schema;

    World() {
        auto node = [&](const QUuid& id, const QString& typeName, QList<PropertyDef> properties = {}) {
            NodeType type;
            type.id = id;
            type.name = typeName;
            type.color = "iris";
            type.properties = properties;
            schema.nodeTypes << type;
        };
        node(P, "Person", {name, born, alive});
        schema.nodeTypes[0].titleProperty = name.id;
        schema.nodeTypes[0].markProperty = alive.id;
        node(B, "Book");
        node(L, "Place");
        node(A, "Author");
        auto rel = [&](const QString& relName, QList<RelEndpoint> endpoints, QList<RelEndpoint> loops = {}) {
            RelType type;
            type.id = QUuid::createUuid();
            type.name = relName;
            type.endpoints = endpoints;
            if (!loops.isEmpty())
                type.twoWayLoops = loops;
            schema.relTypes << type;
            return type.id;
        };
        wrote = rel("wrote", {{P, B}, {B, P}, {B, B}});
        cites = rel("cites", {{B, B}, {P, B}});
        schema.relTypes.last().properties = {page, since};
        schema.relTypes.last().titleProperty = since.id;
        near = rel("near", {{P, L}});
        knows = rel("knows", {{P, P}}, {{P, P}});
        visited = rel("visited", {{L, L}});
        penned = rel("penned", {{A, B}, {P, B}, {A, A}, {A, P}, {P, P}}, {{A, A}, {P, P}});
        likes = rel("likes", {{P, P}, {P, B}}, {{P, P}});
        drawn = rel("drawn", {}); // still being drawn: no endpoint yet
    }

    // The shape with changes made by hand, to compare an edit's result with.
    GraphSchema with(const std::function<void(GraphSchema&)>& change) const {
        GraphSchema changed = schema;
        change(changed);
        return changed;
    }
    GraphSchema withEndpoints(const QUuid& rel, QList<RelEndpoint> endpoints,
                              std::optional<QList<RelEndpoint>> loops) const {
        return with([&](GraphSchema& s) {
            s.relType(rel)->endpoints = endpoints;
            s.relType(rel)->twoWayLoops = loops;
        });
    }
    GraphSchema without(const QList<QUuid>& rels) const {
        return with([&](GraphSchema& s) {
            s.relTypes.removeIf([&](const RelType& t) { return rels.contains(t.id); });
        });
    }
    const QList<RelEndpoint>& loopsOf(const QUuid& rel) const { return *schema.relType(rel)->twoWayLoops; }
};

QString json(const std::optional<GraphSchema>& schema) {
    return schema ? QString::fromUtf8(QJsonDocument(schema->toJson()).toJson(QJsonDocument::Compact))
                  : QStringLiteral("(nothing)");
}

void expectShape(const std::optional<GraphSchema>& actual, const std::optional<GraphSchema>& expected) {
    EXPECT_EQ(actual, expected) << "got      " << json(actual).toStdString() << "\nexpected "
                                << json(expected).toStdString();
}

const World w;

} // namespace

TEST(ShapeEdits, Direction) {
    struct Case {
        const char* name;
        RelEndpoint endpoint;
        QUuid rel;
        ConnectionDirection direction, next;
    };
    const QUuid &P = w.P, &B = w.B, &L = w.L;
    for (const Case& c : {
             Case("a pair seen from its first", {P, B}, w.wrote, ConnectionDirection::BothWays,
                  ConnectionDirection::OtherWay),
             Case("a pair seen from its second", {B, P}, w.wrote, ConnectionDirection::BothWays,
                  ConnectionDirection::OtherWay),
             Case("stored this way", {P, L}, w.near, ConnectionDirection::OneWay,
                  ConnectionDirection::BothWays),
             Case("stored the other way", {L, P}, w.near, ConnectionDirection::OtherWay,
                  ConnectionDirection::OneWay),
             Case("a two-way loop goes back to one way", {P, P}, w.knows, ConnectionDirection::BothWays,
                  ConnectionDirection::OneWay),
             Case("a one-way loop", {L, L}, w.visited, ConnectionDirection::OneWay,
                  ConnectionDirection::BothWays),
             Case("a one-way loop beside other connections", {B, B}, w.wrote, ConnectionDirection::OneWay,
                  ConnectionDirection::BothWays),
             Case("not stored", {B, L}, w.near, ConnectionDirection::OneWay, ConnectionDirection::BothWays),
             Case("no such type", {P, B}, QUuid::createUuid(), ConnectionDirection::OneWay,
                  ConnectionDirection::BothWays),
         }) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(Edits::direction(w.schema, c.endpoint, c.rel), c.direction);
        EXPECT_EQ(Edits::nextDirection(w.schema, c.endpoint, c.rel), c.next);
    }
}

TEST(ShapeEdits, SetDirection) {
    struct Case {
        const char* name;
        ConnectionDirection direction;
        RelEndpoint endpoint;
        QUuid rel;
        std::optional<GraphSchema> expected;
    };
    using D = ConnectionDirection;
    const QUuid &P = w.P, &B = w.B, &L = w.L;
    for (const Case& c : {
             Case("both ways to one way drops the reverse", D::OneWay, {P, B}, w.wrote,
                  w.withEndpoints(w.wrote, {{P, B}, {B, B}}, std::nullopt)),
             Case("seen from the reverse, one way keeps the reverse", D::OneWay, {B, P}, w.wrote,
                  w.withEndpoints(w.wrote, {{B, P}, {B, B}}, std::nullopt)),
             Case("both ways to the other way keeps the reverse in the pair's place", D::OtherWay, {P, B},
                  w.wrote, w.withEndpoints(w.wrote, {{B, P}, {B, B}}, std::nullopt)),
             Case("the other way swaps in place", D::OtherWay, {P, B}, w.cites,
                  w.withEndpoints(w.cites, {{B, B}, {B, P}}, std::nullopt)),
             Case("both ways adds the reverse right after", D::BothWays, {P, B}, w.cites,
                  w.withEndpoints(w.cites, {{B, B}, {P, B}, {B, P}}, std::nullopt)),
             Case("both ways from the far side stores that side first", D::BothWays, {B, P}, w.cites,
                  w.withEndpoints(w.cites, {{B, B}, {B, P}, {P, B}}, std::nullopt)),
             Case("the same direction changes nothing", D::OneWay, {P, L}, w.near, w.schema),
             Case("a loop turns two-way through twoWayLoops", D::BothWays, {L, L}, w.visited,
                  w.withEndpoints(w.visited, {{L, L}}, QList<RelEndpoint>{{L, L}})),
             Case("a loop back to one way leaves no empty list", D::OneWay, {P, P}, w.knows,
                  w.withEndpoints(w.knows, {{P, P}}, std::nullopt)),
             Case("a loop has no other way: it becomes one way", D::OtherWay, {P, P}, w.knows,
                  w.withEndpoints(w.knows, {{P, P}}, std::nullopt)),
             Case("a loop of a type with other connections", D::BothWays, {B, B}, w.wrote,
                  w.withEndpoints(w.wrote, {{P, B}, {B, P}, {B, B}}, QList<RelEndpoint>{{B, B}})),
             Case("a connection the type doesn't have", D::BothWays, {B, L}, w.near, std::nullopt),
             Case("a loop the type doesn't have", D::BothWays, {B, B}, w.knows, std::nullopt),
             Case("no such type", D::BothWays, {P, B}, QUuid::createUuid(), std::nullopt),
         }) {
        SCOPED_TRACE(c.name);
        expectShape(Edits::setDirection(w.schema, c.direction, c.endpoint, c.rel), c.expected);
    }

    // Cycling goes through all three and back to where it began; a loop through two.
    GraphSchema shape = w.schema;
    QList<ConnectionDirection> seen;
    for (int i = 0; i < 3; ++i) {
        shape = *Edits::cycleDirection(shape, {P, L}, w.near);
        seen << Edits::direction(shape, {P, L}, w.near);
    }
    EXPECT_EQ(seen, (QList<ConnectionDirection>{D::BothWays, D::OtherWay, D::OneWay}));
    expectShape(shape, w.schema);
    shape = *Edits::cycleDirection(w.schema, {P, P}, w.knows);
    expectShape(Edits::cycleDirection(shape, {P, P}, w.knows), w.schema);
}

TEST(ShapeEdits, RemoveConnection) {
    struct Case {
        const char* name;
        RelEndpoint endpoint;
        QUuid rel;
        bool bothWays;
        std::optional<GraphSchema> expected;
    };
    const QUuid &P = w.P, &B = w.B, &L = w.L, &A = w.A;
    for (const Case& c : {
             Case("one direction of a pair", {P, B}, w.wrote, false,
                  w.withEndpoints(w.wrote, {{B, P}, {B, B}}, std::nullopt)),
             Case("both directions of a pair", {B, P}, w.wrote, true,
                  w.withEndpoints(w.wrote, {{B, B}}, std::nullopt)),
             Case("both ways on a one-way connection", {P, B}, w.cites, true,
                  w.withEndpoints(w.cites, {{B, B}}, std::nullopt)),
             Case("a two-way loop takes its twoWayLoops entry", {P, P}, w.likes, false,
                  w.withEndpoints(w.likes, {{P, B}}, std::nullopt)),
             Case("a two-way loop among other two-way loops", {A, A}, w.penned, true,
                  w.withEndpoints(w.penned, {{A, B}, {P, B}, {A, P}, {P, P}}, QList<RelEndpoint>{{P, P}})),
             Case("the last connection takes the type", {P, L}, w.near, false, w.without({w.near})),
             Case("the last loop takes the type", {P, P}, w.knows, true, w.without({w.knows})),
             Case("a connection stored only the other way", {L, P}, w.near, true, std::nullopt),
             Case("a connection the type doesn't have", {P, L}, w.wrote, false, std::nullopt),
             Case("no such type", {P, B}, QUuid::createUuid(), false, std::nullopt),
         }) {
        SCOPED_TRACE(c.name);
        expectShape(Edits::removeConnection(w.schema, c.endpoint, c.rel, c.bothWays), c.expected);
    }
}

TEST(ShapeEdits, AddRelationship) {
    struct Case {
        const char* name;
        QString relName;
        QUuid from, to;
        bool bothWays;
        std::optional<Edits::AddedRelationship> expected;
    };
    const QUuid &P = w.P, &B = w.B, &L = w.L, &A = w.A;
    const QUuid fresh = QUuid::createUuid();
    auto created = [&](const QString& relName, QList<RelEndpoint> endpoints,
                       std::optional<QList<RelEndpoint>> loops = std::nullopt) {
        return Edits::AddedRelationship{w.with([&](GraphSchema& s) {
                                            RelType type;
                                            type.id = fresh;
                                            type.name = relName;
                                            type.endpoints = endpoints;
                                            type.twoWayLoops = loops;
                                            s.relTypes << type;
                                        }),
                                        fresh, true};
    };
    auto existing = [&](const QUuid& rel, QList<RelEndpoint> endpoints,
                        std::optional<QList<RelEndpoint>> loops = std::nullopt) {
        return Edits::AddedRelationship{w.withEndpoints(rel, endpoints, loops), rel, false};
    };
    for (const Case& c : {
             Case("a new name makes a new type, trimmed", "  read  ", P, B, false, created("read", {{P, B}})),
             Case("a new type both ways", "read", P, B, true, created("read", {{P, B}, {B, P}})),
             Case("a new loop both ways", "admires", A, A, true,
                  created("admires", {{A, A}}, QList<RelEndpoint>{{A, A}})),
             Case("the database name exists: the connection joins that type", "WROTE!", P, L, false,
                  existing(w.wrote, {{P, B}, {B, P}, {B, B}, {P, L}})),
             Case("a stored connection is not stored twice", "Wrote", B, P, false,
                  Edits::AddedRelationship{w.schema, w.wrote, false}),
             Case("both ways where the reverse is stored already", "cites", B, P, true,
                  existing(w.cites, {{B, B}, {P, B}, {B, P}})),
             Case("a stored one-way loop made two-way", "visited", L, L, true,
                  existing(w.visited, {{L, L}}, QList<RelEndpoint>{{L, L}})),
             Case("a type without connections gets its first", "drawn", L, B, false,
                  existing(w.drawn, {{L, B}})),
             Case("no such node type", "read", P, QUuid::createUuid(), false, std::nullopt),
         }) {
        SCOPED_TRACE(c.name);
        auto added = Edits::addRelationship(w.schema, c.relName, c.from, c.to, c.bothWays, fresh);
        ASSERT_EQ(added.has_value(), c.expected.has_value());
        if (!added)
            continue;
        expectShape(added->schema, c.expected->schema);
        EXPECT_EQ(added->id, c.expected->id);
        EXPECT_EQ(added->created, c.expected->created);
    }

    // Of two types with one database name (a shape still being mended), the first takes the connection.
    GraphSchema twice = w.with([](GraphSchema& s) {
        s.relTypes << s.relTypes[0];
        s.relTypes.last().id = QUuid::createUuid();
        s.relTypes.last().endpoints.clear();
    });
    auto added = Edits::addRelationship(twice, "wrote", P, L, false, fresh);
    ASSERT_TRUE(added);
    EXPECT_EQ(added->id, w.wrote);
    EXPECT_EQ(added->schema.relTypes.last(), twice.relTypes.last());
}

TEST(ShapeEdits, RenameRelType) {
    using Outcome = Edits::RelRename::Outcome;
    struct Case {
        const char* name;
        QUuid rel;
        QString newName;
        bool mayMerge;
        std::optional<Edits::RelRename> expected;
    };
    auto named = [&](const QUuid& rel, const QString& relName) {
        return w.with([&](GraphSchema& s) { s.relType(rel)->name = relName; });
    };
    // "cites" folds into the earlier "wrote", which takes its name, its connections it lacked, and its
    // properties; its title follows its column.
    GraphSchema merged = w.with([&](GraphSchema& s) {
        RelType& survivor = *s.relType(w.wrote);
        survivor.name = "Cites";
        survivor.properties = {w.page, w.since};
        survivor.titleProperty = w.since.id;
        s.relTypes.removeIf([&](const RelType& t) { return t.id == w.cites; });
    });
    GraphSchema mergedLater = w.with([&](GraphSchema& s) {
        RelType& survivor = *s.relType(w.wrote);
        survivor.properties = {w.page, w.since};
        survivor.titleProperty = w.since.id;
        s.relTypes.removeIf([&](const RelType& t) { return t.id == w.cites; });
    });
    for (const Case& c : {
             Case("a free name, trimmed", w.near, " close to ", false,
                  Edits::RelRename{Outcome::Renamed, named(w.near, "close to"), "close to", {}}),
             Case("its own database name in other letters", w.wrote, "Wrote", false,
                  Edits::RelRename{Outcome::Renamed, named(w.wrote, "Wrote"), "Wrote", {}}),
             Case("another's name: the later folds into the earlier", w.wrote, "Cites", true,
                  Edits::RelRename{Outcome::Merged, merged, "Cites", w.cites}),
             Case("the renamed later type folds into the earlier", w.cites, "wrote", true,
                  Edits::RelRename{Outcome::Merged, mergedLater, "wrote", w.wrote}),
             Case("another's name, and this type can't merge", w.cites, "WROTE", false,
                  Edits::RelRename{Outcome::NameTaken, w.schema, "WROTE", w.wrote}),
             Case("no such type", QUuid::createUuid(), "x", true, std::nullopt),
         }) {
        SCOPED_TRACE(c.name);
        auto renamed = Edits::renameRelType(w.schema, c.rel, c.newName, c.mayMerge);
        ASSERT_EQ(renamed.has_value(), c.expected.has_value());
        if (!renamed)
            continue;
        EXPECT_EQ(renamed->outcome, c.expected->outcome);
        EXPECT_EQ(renamed->name, c.expected->name);
        EXPECT_EQ(renamed->other, c.expected->other);
        expectShape(renamed->schema, c.expected->schema);
    }
}

TEST(ShapeEdits, DeleteRelType) {
    expectShape(Edits::deleteRelType(w.schema, w.likes), w.without({w.likes}));
    expectShape(Edits::deleteRelType(w.schema, QUuid::createUuid()), std::nullopt);
}

TEST(ShapeEdits, NodeTypes) {
    struct Case {
        const char* name;
        std::optional<GraphSchema> actual, expected;
    };
    const QUuid &P = w.P, &B = w.B, &L = w.L, &A = w.A;
    auto withoutType = [&](const QUuid& type, GraphSchema s) {
        s.nodeTypes.removeIf([&](const NodeType& t) { return t.id == type; });
        return s;
    };
    const QUuid missing = QUuid::createUuid();
    for (const Case& c : {
             // Relationship types that only the deleted type ends go; the others lose what touches it.
             Case("delete a type that relationship types end at", Edits::deleteNodeType(w.schema, B),
                  withoutType(B, w.with([&](GraphSchema& s) {
                      s.relType(w.penned)->endpoints = {{A, A}, {A, P}, {P, P}};
                      s.relType(w.likes)->endpoints = {{P, P}};
                      s.relTypes.removeIf(
                          [&](const RelType& t) { return t.id == w.wrote || t.id == w.cites; });
                  }))),
             Case("delete a type whose loops were two-way", Edits::deleteNodeType(w.schema, A),
                  withoutType(A, w.withEndpoints(w.penned, {{P, B}, {P, P}}, QList<RelEndpoint>{{P, P}}))),
             Case("delete a type only loops and one connection end at", Edits::deleteNodeType(w.schema, L),
                  withoutType(L, w.without({w.near, w.visited}))),
             Case("delete no such type", Edits::deleteNodeType(w.schema, missing), std::nullopt),
             // Endpoints of the type replaced move over; duplicates they make go, the first staying.
             Case("use an existing type", Edits::useExistingType(w.schema, P, A),
                  withoutType(A, w.withEndpoints(w.penned, {{P, B}, {P, P}}, QList<RelEndpoint>{{P, P}}))),
             Case("use an existing type that the other's loops duplicate",
                  Edits::useExistingType(w.schema, B, P), withoutType(P, w.with([&](GraphSchema& s) {
                      s.relType(w.wrote)->endpoints = {{B, B}};
                      s.relType(w.cites)->endpoints = {{B, B}};
                      s.relType(w.near)->endpoints = {{B, L}};
                      s.relType(w.knows)->endpoints = {{B, B}};
                      s.relType(w.knows)->twoWayLoops = QList<RelEndpoint>{{B, B}};
                      s.relType(w.penned)->endpoints = {{A, B}, {B, B}, {A, A}};
                      s.relType(w.penned)->twoWayLoops = QList<RelEndpoint>{{A, A}, {B, B}};
                      s.relType(w.likes)->endpoints = {{B, B}};
                      s.relType(w.likes)->twoWayLoops = QList<RelEndpoint>{{B, B}};
                  }))),
             Case("use a type instead of itself", Edits::useExistingType(w.schema, P, P), std::nullopt),
             Case("use a missing type", Edits::useExistingType(w.schema, missing, A), std::nullopt),
             Case("use a type instead of a missing one", Edits::useExistingType(w.schema, P, missing),
                  std::nullopt),
             Case("rename, trimmed", Edits::renameNodeType(w.schema, L, " Town "),
                  w.with([&](GraphSchema& s) { s.nodeType(L)->name = "Town"; })),
             Case("rename to another's name is left to validation",
                  Edits::renameNodeType(w.schema, L, "book"),
                  w.with([&](GraphSchema& s) { s.nodeType(L)->name = "book"; })),
             Case("colour", Edits::setNodeTypeColor(w.schema, B, "mint"),
                  w.with([&](GraphSchema& s) { s.nodeType(B)->color = "mint"; })),
             Case("priority", Edits::setExpandPriority(w.schema, B, ExpandPriority::First),
                  w.with([&](GraphSchema& s) { s.nodeType(B)->expand = ExpandPriority::First; })),
             Case("normal priority on a type without one changes nothing",
                  Edits::setExpandPriority(w.schema, B, ExpandPriority::Normal), w.schema),
             Case("rename no such type", Edits::renameNodeType(w.schema, missing, "x"), std::nullopt),
         }) {
        SCOPED_TRACE(c.name);
        expectShape(c.actual, c.expected);
    }
}

TEST(ShapeEdits, AddNodeType) {
    const QUuid first = QUuid::createUuid(), name = QUuid::createUuid();
    GraphSchema one = Edits::addNodeType({}, 30, 40, first, name);
    ASSERT_EQ(one.nodeTypes.size(), 1);
    const NodeType& added = one.nodeTypes[0];
    EXPECT_EQ(added.id, first);
    EXPECT_EQ(added.name, "Untitled");
    EXPECT_EQ(added.color, "iris");
    EXPECT_EQ(added.x, 30);
    EXPECT_EQ(added.y, 40);
    ASSERT_EQ(added.properties.size(), 1);
    EXPECT_EQ(added.properties[0].id, name);
    EXPECT_EQ(added.properties[0].name, "name");
    EXPECT_EQ(added.properties[0].kind, PropertyKind::Text);
    EXPECT_EQ(added.titleProperty, name);
    // The second is named apart and coloured apart.
    GraphSchema two = Edits::addNodeType(one, 0, 0, QUuid::createUuid(), QUuid::createUuid());
    ASSERT_EQ(two.nodeTypes.size(), 2);
    EXPECT_EQ(two.nodeTypes[0], added);
    EXPECT_EQ(two.nodeTypes[1].name, "Untitled 2");
    EXPECT_EQ(two.nodeTypes[1].color, "peach");
}

TEST(ShapeEdits, Properties) {
    struct Case {
        const char* name;
        std::optional<GraphSchema> actual, expected;
    };
    const PropertyOwner person = PropertyOwner::node(w.P), cites = PropertyOwner::rel(w.cites);
    const PropertyOwner book = PropertyOwner::node(w.B);
    const QUuid fresh = QUuid::createUuid(), missing = QUuid::createUuid();
    auto personWith = [&](const std::function<void(NodeType&)>& change) {
        return w.with([&](GraphSchema& s) { change(*s.nodeType(w.P)); });
    };
    auto citesWith = [&](const std::function<void(RelType&)>& change) {
        return w.with([&](GraphSchema& s) { change(*s.relType(w.cites)); });
    };
    PropertyDef untitled = prop("Untitled");
    untitled.id = fresh;
    PropertyDef untitled2 = untitled;
    untitled2.name = "Untitled 2";
    GraphSchema hasUntitled = personWith([&](NodeType& t) { t.properties << untitled; });

    PropertyDef status = prop("status", PropertyKind::Choice);
    status.options = QStringList{"Alive", "Dead"};
    status.defaultValue = GraphValue::string("Alive");
    GraphSchema withStatus = w.with([&](GraphSchema& s) { s.nodeType(w.B)->properties << status; });
    auto statusWith = [&](const std::function<void(PropertyDef&)>& change) {
        GraphSchema s = withStatus;
        change(*s.nodeType(w.B)->property(status.id));
        return s;
    };

    for (const Case& c : {
             Case("add to a node type", Edits::addProperty(w.schema, book, fresh),
                  w.with([&](GraphSchema& s) { s.nodeType(w.B)->properties << untitled; })),
             Case("add where Untitled is taken", Edits::addProperty(hasUntitled, person, fresh),
                  personWith([&](NodeType& t) { t.properties << untitled << untitled2; })),
             Case("add to a relationship type", Edits::addProperty(w.schema, cites, fresh),
                  citesWith([&](RelType& t) { t.properties << untitled; })),
             Case("add to no such type", Edits::addProperty(w.schema, PropertyOwner::rel(w.P), fresh),
                  std::nullopt),

             Case("remove the title", Edits::removeProperty(w.schema, w.name.id, person),
                  personWith([&](NodeType& t) {
                      t.properties = {w.born, w.alive};
                      t.titleProperty.reset();
                  })),
             Case("remove the mark", Edits::removeProperty(w.schema, w.alive.id, person),
                  personWith([&](NodeType& t) {
                      t.properties = {w.name, w.born};
                      t.markProperty.reset();
                  })),
             Case("remove one of a relationship type", Edits::removeProperty(w.schema, w.page.id, cites),
                  citesWith([&](RelType& t) { t.properties = {w.since}; })),
             Case("remove another owner's property", Edits::removeProperty(w.schema, w.page.id, person),
                  std::nullopt),

             Case("rename, trimmed", Edits::renameProperty(w.schema, w.born.id, person, " year of birth "),
                  personWith([&](NodeType& t) { t.properties[1].name = "year of birth"; })),
             Case("rename no such property", Edits::renameProperty(w.schema, missing, person, "x"),
                  std::nullopt),

             Case("a kind that refuses the default clears it",
                  Edits::changeKind(withStatus, status.id, book, PropertyKind::Number),
                  statusWith([](PropertyDef& p) {
                      p.kind = PropertyKind::Number;
                      p.defaultValue.reset();
                  })),
             Case("the same kind changes nothing",
                  Edits::changeKind(w.schema, w.born.id, person, PropertyKind::Number), w.schema),

             Case("an accepted default",
                  Edits::setDefault(withStatus, status.id, book, GraphValue::string("Dead")),
                  statusWith([](PropertyDef& p) { p.defaultValue = GraphValue::string("Dead"); })),
             Case("a default the kind refuses clears it",
                  Edits::setDefault(withStatus, status.id, book, GraphValue::string("Unknown")),
                  statusWith([](PropertyDef& p) { p.defaultValue.reset(); })),
             Case("a null default clears it",
                  Edits::setDefault(withStatus, status.id, book, GraphValue::null()),
                  statusWith([](PropertyDef& p) { p.defaultValue.reset(); })),
             Case("no default clears it", Edits::setDefault(withStatus, status.id, book, std::nullopt),
                  statusWith([](PropertyDef& p) { p.defaultValue.reset(); })),

             Case("options are cleaned",
                  Edits::setOptions(withStatus, status.id, book, {" Alive ", "Dead", "", "Alive"}),
                  withStatus),
             Case("renaming one option carries the default",
                  Edits::setOptions(withStatus, status.id, book, {"Living", "Dead"}),
                  statusWith([](PropertyDef& p) {
                      p.options = QStringList{"Living", "Dead"};
                      p.defaultValue = GraphValue::string("Living");
                  })),

             Case("embed text", Edits::setEmbedded(w.schema, w.name.id, person, true),
                  personWith([](NodeType& t) { t.properties[0].embedded = true; })),
             Case("only text is embedded", Edits::setEmbedded(w.schema, w.born.id, person, true),
                  std::nullopt),
             Case("stop embedding what isn't embedded changes nothing",
                  Edits::setEmbedded(w.schema, w.name.id, person, false), w.schema),

             Case("a relationship type's title", Edits::setTitleProperty(w.schema, cites, w.page.id),
                  citesWith([&](RelType& t) { t.titleProperty = w.page.id; })),
             Case("a number title", Edits::setTitleProperty(w.schema, person, w.born.id),
                  personWith([&](NodeType& t) { t.titleProperty = w.born.id; })),
             Case("a boolean is never a title", Edits::setTitleProperty(w.schema, person, w.alive.id),
                  std::nullopt),
             Case("a title of another type", Edits::setTitleProperty(w.schema, person, w.page.id),
                  std::nullopt),
             Case("no title", Edits::setTitleProperty(w.schema, person, std::nullopt),
                  personWith([](NodeType& t) { t.titleProperty.reset(); })),
             Case("a title on no such type",
                  Edits::setTitleProperty(w.schema, PropertyOwner::node(missing), std::nullopt),
                  std::nullopt),
             Case("only a boolean is a mark", Edits::setMarkProperty(w.schema, person, w.name.id),
                  std::nullopt),
             Case("no mark", Edits::setMarkProperty(w.schema, person, std::nullopt),
                  personWith([](NodeType& t) { t.markProperty.reset(); })),

             Case("move to the front", Edits::moveProperty(w.schema, w.alive.id, person, 0),
                  personWith([&](NodeType& t) {
                      t.properties = {w.alive, w.name, w.born};
                  })),
             Case("move past the end stops at the end", Edits::moveProperty(w.schema, w.name.id, person, 9),
                  personWith([&](NodeType& t) {
                      t.properties = {w.born, w.alive, w.name};
                  })),
             Case("move before the start stops at the start",
                  Edits::moveProperty(w.schema, w.born.id, person, -3), personWith([&](NodeType& t) {
                      t.properties = {w.born, w.name, w.alive};
                  })),
             Case("move no such property", Edits::moveProperty(w.schema, missing, person, 0), std::nullopt),
         }) {
        SCOPED_TRACE(c.name);
        expectShape(c.actual, c.expected);
    }
    // A mark is a boolean of the owner.
    GraphSchema unmarked = *Edits::setMarkProperty(w.schema, person, std::nullopt);
    expectShape(Edits::setMarkProperty(unmarked, person, w.alive.id), w.schema);
}
