// Shape edits that rewrite values in rows: Undo puts back exactly the rows that moved, and nothing merges
// or goes without the person's consent.
#include "tests/app/graph/SessionTestSupport.h"

#include <gtest/gtest.h>

using namespace corvantis;
using namespace corvantis::test;

namespace {

// Task (title, state: a choice of Open and Closed with the default Open).
struct Tasks {
    SessionWorld world;
    std::unique_ptr<ProjectSession> session;
    NodeType task;
    PropertyOwner owner;
    QUuid state;

    Tasks() {
        PropertyDef stateProperty = property("state", PropertyKind::Choice);
        stateProperty.options = QStringList{"Open", "Closed"};
        stateProperty.defaultValue = GraphValue::string("Open");
        GraphSchema shape;
        shape.nodeTypes = {nodeType("Task", {property("title"), stateProperty})};
        session = world.open(world.create(shape));
        task = session->project().schema.nodeTypes[0];
        owner = PropertyOwner::node(task.id);
        state = stateProperty.id;
    }
    QString add(const QString& title, std::optional<QString> stateValue = std::nullopt) {
        PropertyMap values;
        if (stateValue)
            values.insert("state", GraphValue::string(*stateValue));
        auto id = session->createNode(task, title, values);
        EXPECT_TRUE(id) << session->notice().value_or("").toStdString();
        return id.value_or(QString());
    }
    // The state of every task, by title, as the database holds it.
    QMap<QString, QString> states() {
        QMap<QString, QString> out;
        const QueryOutput output =
            session->store()->runReadOnly("MATCH (n:Task) RETURN n.title, n.state", 1000);
        for (const auto& row : output.rows)
            out.insert(row[0].stringValue().value_or(""), row[1].stringValue().value_or("-"));
        return out;
    }
    // The same from memory, which must agree.
    QMap<QString, QString> statesInMemory() const {
        QMap<QString, QString> out;
        for (const NodeRecord& node : session->nodes()) {
            const GraphValue value = node.properties.value("state");
            out.insert(node.properties.value("title").stringValue().value_or(""),
                       value.stringValue().value_or("-"));
        }
        return out;
    }
};

} // namespace

TEST(ShapeDataSafety, UndoingAChangedDefaultPutsBackOnlyTheRowsItMoved) {
    Tasks t;
    t.add("by default");            // Open, from the default
    t.add("set by hand", "Closed"); // Closed, by the person
    t.session->shape().setDefault(t.state, t.owner, GraphValue::string("Closed"));
    EXPECT_EQ(t.states(), (QMap<QString, QString>{{"by default", "Closed"}, {"set by hand", "Closed"}}));

    t.world.undo.undo();
    EXPECT_EQ(t.states(), (QMap<QString, QString>{{"by default", "Open"}, {"set by hand", "Closed"}}));
    EXPECT_EQ(t.statesInMemory(), t.states());
    ASSERT_TRUE(t.session->project().schema.nodeTypes[0].properties[1].defaultValue);
    EXPECT_EQ(*t.session->project().schema.nodeTypes[0].properties[1].defaultValue,
              GraphValue::string("Open"));

    // Redo runs the change again.
    t.world.undo.redo();
    EXPECT_EQ(t.states(), (QMap<QString, QString>{{"by default", "Closed"}, {"set by hand", "Closed"}}));
    t.world.undo.undo();
    EXPECT_EQ(t.states(), (QMap<QString, QString>{{"by default", "Open"}, {"set by hand", "Closed"}}));
}

TEST(ShapeDataSafety, RenamingAnOptionOntoAValueRowsHoldAsksAndUndoSeparatesThem) {
    Tasks t;
    t.add("a", "Open");
    t.add("b", "Open");
    // A value that is no longer an option, still held by a row.
    const QString c = t.add("c");
    t.session->updateNode(c, {{"state", GraphValue::string("Waiting")}});

    // "Open" renamed to "Waiting" would merge the two groups.
    t.session->shape().setOptions(t.state, t.owner, {"Waiting", "Closed"});
    ASSERT_TRUE(t.session->confirmation());
    EXPECT_EQ(t.session->confirmation()->title, "Merge “Open” into “Waiting”?");
    EXPECT_EQ(
        t.session->confirmation()->message,
        "2 nodes holding “Open” will hold “Waiting”, like the 1 node that holds it already. Undo separates "
        "them again.");
    t.session->dismissConfirmation();
    EXPECT_EQ(t.states().value("a"), "Open");

    t.session->shape().setOptions(t.state, t.owner, {"Waiting", "Closed"});
    t.session->confirm();
    EXPECT_EQ(t.states(), (QMap<QString, QString>{{"a", "Waiting"}, {"b", "Waiting"}, {"c", "Waiting"}}));
    t.world.undo.undo();
    EXPECT_EQ(t.states(), (QMap<QString, QString>{{"a", "Open"}, {"b", "Open"}, {"c", "Waiting"}}));
    EXPECT_EQ(t.statesInMemory(), t.states());
}

TEST(ShapeDataSafety, RemovingAnOptionThatRowsHoldAsksFirst) {
    Tasks t;
    t.add("a", "Closed");
    t.session->shape().setOptions(t.state, t.owner, {"Open"});
    ASSERT_TRUE(t.session->confirmation());
    EXPECT_EQ(t.session->confirmation()->title, "Remove the option “Closed”?");
    EXPECT_EQ(t.session->confirmation()->message,
              "1 node holds it. They keep the value, but it isn't one of the options any more.");
    t.session->dismissConfirmation();
    EXPECT_EQ(t.session->project().schema.nodeTypes[0].properties[1].options,
              QStringList({"Open", "Closed"}));

    // An option no row holds goes without a question.
    t.session->shape().setOptions(t.state, t.owner, {"Open", "Closed", "Later"});
    t.session->shape().setOptions(t.state, t.owner, {"Open", "Closed"});
    EXPECT_FALSE(t.session->confirmation());
    EXPECT_EQ(t.session->project().schema.nodeTypes[0].properties[1].options,
              QStringList({"Open", "Closed"}));
}

TEST(ShapeDataSafety, AShapeConfirmationCountsAgainWhatChangedWhileItStoodOpen) {
    Tasks t;
    t.add("a");
    t.session->shape().deleteNodeType(t.task.id);
    ASSERT_TRUE(t.session->confirmation());
    EXPECT_EQ(t.session->confirmation()->message,
              "1 node is deleted from your graph too. This can't be undone.");
    t.add("b");
    t.session->confirm();
    ASSERT_TRUE(t.session->confirmation());
    EXPECT_EQ(t.session->confirmation()->message,
              "2 nodes are deleted from your graph too. This can't be undone.");
    EXPECT_EQ(t.session->project().schema.nodeTypes.size(), 1);
    t.session->confirm();
    EXPECT_TRUE(t.session->project().schema.nodeTypes.isEmpty());
}

TEST(ShapeDataSafety, ADirectionChangeNamesTheConnectionsReallyLost) {
    GraphSchema shape;
    shape.nodeTypes = {nodeType("Person", {property("name")}),
                       nodeType("Book", {property("title")}, "peach")};
    const RelEndpoint forward{shape.nodeTypes[0].id, shape.nodeTypes[1].id};
    shape.relTypes = {relType("likes", {forward})};
    SessionWorld world;
    auto session = world.open(world.create(shape));
    const NodeType person = session->project().schema.nodeTypes[0];
    const NodeType book = session->project().schema.nodeTypes[1];
    const QString ada = *session->createNode(person, "Ada");
    const QString notes = *session->createNode(book, "Notes");
    ASSERT_TRUE(session->insert(RelRecord{json::uuidText(QUuid::createUuid()), "LIKES", ada, notes, {}}));
    const QUuid likes = session->project().schema.relTypes[0].id;

    // Turned the other way, Person → Book becomes Book → Person: the relationships that run from Person to
    // Book go, which are "the other way" of what is kept.
    session->setDirection(ConnectionDirection::OtherWay, forward, likes);
    ASSERT_TRUE(session->confirmation());
    EXPECT_EQ(session->confirmation()->message,
              "Its 1 connection the other way between Book and Person is deleted from your graph. This can't "
              "be undone.");
    session->dismissConfirmation();

    // Both ways, then one way seen from the book: the same way goes, named the same.
    session->setDirection(ConnectionDirection::BothWays, forward, likes);
    ASSERT_FALSE(session->confirmation());
    session->setDirection(ConnectionDirection::OneWay, forward.reversed(), likes);
    ASSERT_TRUE(session->confirmation());
    EXPECT_EQ(session->confirmation()->message,
              "Its 1 connection the other way between Book and Person is deleted from your graph. This can't "
              "be undone.");
}

// Defaults and renamed options reach relationships as they reach nodes, and their undo is as exact.
TEST(ShapeDataSafety, RelationshipPropertiesTakeDefaultsAndRenamedOptions) {
    PropertyDef kind =
        property("kind", PropertyKind::Choice, std::nullopt, QStringList{"friend", "colleague"});
    PropertyDef note = property("note");
    GraphSchema shape;
    shape.nodeTypes = {nodeType("Person", {property("name")})};
    shape.relTypes = {relType("knows", {{shape.nodeTypes[0].id, shape.nodeTypes[0].id}}, {kind, note})};
    SessionWorld world;
    auto session = world.open(world.create(shape));
    const NodeType person = session->project().schema.nodeTypes[0];
    const PropertyOwner knows = PropertyOwner::rel(session->project().schema.relTypes[0].id);
    const QString ada = *session->createNode(person, "Ada");
    const QString grace = *session->createNode(person, "Grace");
    auto link = [&](std::optional<QString> kindValue) {
        RelRecord rel{json::uuidText(QUuid::createUuid()), "KNOWS", ada, grace, {}};
        if (kindValue)
            rel.properties.insert("kind", GraphValue::string(*kindValue));
        EXPECT_TRUE(session->insert(rel)) << session->notice().value_or("").toStdString();
        return rel.id;
    };
    const QString plain = link(std::nullopt);
    const QString friends = link("friend");
    auto stored = [&](const QString& id, const QString& column) {
        const QueryOutput output = session->store()->runReadOnly(
            QStringLiteral("MATCH ()-[r:KNOWS]->() WHERE r.id = '%1' RETURN r.%2").arg(id, column), 10);
        return output.rows.isEmpty() ? QString("?") : output.rows.first().first().stringValue().value_or("-");
    };

    // A default reaches the relationship that has no value, and only it; Undo takes it back from it alone.
    session->shape().setDefault(note.id, knows, GraphValue::string("met once"));
    EXPECT_EQ(stored(plain, "note"), "met once");
    EXPECT_EQ(stored(friends, "note"), "met once");
    session->updateRel(friends, {{"note", GraphValue::string("since school")}});
    world.undo.undo(); // the edit of the note
    world.undo.undo(); // the default
    EXPECT_EQ(stored(plain, "note"), "-");
    EXPECT_EQ(stored(friends, "note"), "-");

    // A renamed option rewrites the relationships that hold it, and Undo puts them back.
    session->shape().setOptions(kind.id, knows, {"friend for life", "colleague"});
    EXPECT_FALSE(session->confirmation());
    EXPECT_EQ(stored(friends, "kind"), "friend for life");
    EXPECT_EQ(stored(plain, "kind"), "-");
    EXPECT_EQ(session->rels().value(friends).properties.value("kind"), GraphValue::string("friend for life"));
    world.undo.undo();
    EXPECT_EQ(stored(friends, "kind"), "friend");
    EXPECT_EQ(session->rels().value(friends).properties.value("kind"), GraphValue::string("friend"));
}
