#include "tests/app/graph/SessionTestSupport.h"

#include <gtest/gtest.h>

using namespace corvantis;
using namespace corvantis::test;

namespace {

const QString undoStopped =
    "Undo stopped here: going further would delete data from your graph. Delete it directly if you mean to.";

struct Shape {
    SessionWorld world;
    std::unique_ptr<ProjectSession> session;

    explicit Shape(const GraphSchema& shape = {}) { session = world.open(world.create(shape)); }

    const GraphSchema& schema() const { return session->project().schema; }
    const NodeType* type(const QString& name) const {
        for (const NodeType& t : schema().nodeTypes)
            if (t.name == name)
                return &t;
        return nullptr;
    }
    const RelType* rel(const QString& name) const {
        for (const RelType& t : schema().relTypes)
            if (t.name == name)
                return &t;
        return nullptr;
    }
    QUuid addType(const QString& name) {
        auto id = session->addNodeType({0, 0});
        EXPECT_TRUE(id);
        session->shape().renameNodeType(*id, name);
        return *id;
    }
    QString addNode(const QString& typeName, const QString& name) {
        return test::addNode(*session, *type(typeName), name);
    }
    QString link(const QString& label, const QString& from, const QString& to) {
        return linkNodes(*session, label, from, to);
    }
    // Each change is saved at once, and the database is where the shape says it is.
    void expectSavedAndApplied() const {
        Project stored = world.stored(session->project().id);
        EXPECT_EQ(stored.schema, schema());
        ASSERT_TRUE(stored.appliedSchema);
        EXPECT_EQ(*stored.appliedSchema, schema());
    }
};

} // namespace

TEST(ShapeEditing, AddingANodeTypeIsUndoneAndRedone) {
    Shape s;
    auto id = s.session->addNodeType({30, 40});
    ASSERT_TRUE(id);
    const NodeType* added = s.schema().nodeType(*id);
    ASSERT_TRUE(added);
    EXPECT_EQ(added->name, "Untitled");
    EXPECT_EQ(added->color, "iris");
    EXPECT_EQ(added->x, 30);
    ASSERT_EQ(added->properties.size(), 1);
    EXPECT_EQ(added->properties[0].name, "name");
    EXPECT_EQ(added->titleProperty, added->properties[0].id);
    EXPECT_EQ(s.session->shape().selection(), ShapeSelection::node(*id));
    EXPECT_EQ(s.world.undo.undoActionName(), "Add Node Type");
    s.expectSavedAndApplied();
    // The second is named apart and coloured apart.
    auto second = s.session->addNodeType({0, 0});
    EXPECT_EQ(s.schema().nodeType(*second)->name, "Untitled 2");
    EXPECT_EQ(s.schema().nodeType(*second)->color, "peach");

    // The table exists: a node goes in.
    EXPECT_TRUE(s.addNode("Untitled", "first").size() > 0);
    s.world.undo.undo(); // the node
    s.world.undo.undo(); // the second type
    s.world.undo.undo(); // the first type, unused: it simply goes
    EXPECT_TRUE(s.schema().nodeTypes.isEmpty());
    EXPECT_FALSE(s.session->shape().selection());
    s.expectSavedAndApplied();
    s.world.undo.redo();
    EXPECT_EQ(s.schema().nodeTypes.size(), 1);
    EXPECT_EQ(s.schema().nodeTypes[0].id, *id);
    s.expectSavedAndApplied();
}

TEST(ShapeEditing, AnUndoThatWouldDeleteDataIsRefused) {
    Shape s;
    const QUuid person = s.addType("Person");
    // Nodes that came without an undo step of their own (as from another copy's import).
    s.session->setUndoStack(nullptr);
    s.addNode("Person", "Ada");
    s.session->setUndoStack(&s.world.undo);
    ASSERT_EQ(s.world.undo.undoActionName(), "Rename Node Type");

    s.world.undo.undo(); // the rename keeps the data
    EXPECT_EQ(s.schema().nodeType(person)->name, "Untitled");
    EXPECT_EQ(s.session->nodes().size(), 1);
    EXPECT_EQ(countIn(*s.session, "Untitled"), 1);
    s.world.undo.undo(); // the type itself: its node would go
    EXPECT_EQ(s.session->notice(), undoStopped);
    EXPECT_TRUE(s.schema().nodeType(person));
    EXPECT_EQ(countIn(*s.session, "Untitled"), 1);
    // It stays the step to undo, refused each time.
    EXPECT_EQ(s.world.undo.undoActionName(), "Add Node Type");
    s.session->setNotice(std::nullopt);
    s.world.undo.undo();
    EXPECT_EQ(s.session->notice(), undoStopped);
    s.expectSavedAndApplied();
    // Redo still works for what was undone.
    s.world.undo.redo();
    EXPECT_EQ(s.schema().nodeType(person)->name, "Person");
}

TEST(ShapeEditing, DeletingATypeWithDataAsksFirstAndCantBeUndone) {
    Shape s;
    const QUuid person = s.addType("Person");
    const QUuid book = s.addType("Book");
    const QUuid place = s.addType("Place");
    s.session->addRelationship("wrote", person, book, false);
    s.session->addRelationship("visited", place, place, false);
    const QString ada = s.addNode("Person", "Ada");
    const QString grace = s.addNode("Person", "Grace");
    const QString notes = s.addNode("Book", "Notes");
    s.link("WROTE", ada, notes);

    // An empty type goes at once, and a relationship that only it ended goes with it.
    s.session->shape().deleteNodeType(place);
    EXPECT_FALSE(s.session->confirmation());
    EXPECT_FALSE(s.schema().nodeType(place));
    EXPECT_FALSE(s.rel("visited"));
    EXPECT_EQ(s.world.undo.undoActionName(), "Delete Node Type");
    s.world.undo.undo();
    EXPECT_TRUE(s.rel("visited"));
    s.world.undo.redo();

    s.session->shape().setSelection(ShapeSelection::node(person));
    s.session->deleteShapeSelection();
    ASSERT_TRUE(s.session->confirmation());
    EXPECT_EQ(s.session->confirmation()->title, "Delete “Person”?");
    EXPECT_EQ(s.session->confirmation()->message,
              "2 nodes and 1 connection are deleted from your graph too. This can't be undone.");
    EXPECT_EQ(s.session->confirmation()->actionTitle, "Delete");
    // Nothing happened yet.
    EXPECT_TRUE(s.schema().nodeType(person));
    EXPECT_EQ(countIn(*s.session, "Person"), 2);
    s.session->dismissConfirmation();
    EXPECT_TRUE(s.schema().nodeType(person));
    EXPECT_TRUE(s.world.undo.canUndo());

    s.session->shape().deleteNodeType(person);
    s.session->confirm();
    EXPECT_FALSE(s.schema().nodeType(person));
    EXPECT_FALSE(s.rel("wrote")); // its only end is gone
    EXPECT_FALSE(s.session->nodes().contains(ada));
    EXPECT_FALSE(s.session->nodes().contains(grace));
    EXPECT_TRUE(s.session->nodes().contains(notes));
    EXPECT_TRUE(s.session->rels().isEmpty());
    EXPECT_FALSE(s.session->shape().selection());
    // No undo may reach back over the loss.
    EXPECT_FALSE(s.world.undo.canUndo());
    EXPECT_FALSE(s.world.undo.canRedo());
    s.expectSavedAndApplied();

    // A message without connections leaves them out.
    s.session->shape().deleteNodeType(book);
    ASSERT_TRUE(s.session->confirmation());
    EXPECT_EQ(s.session->confirmation()->message,
              "1 node is deleted from your graph too. This can't be undone.");
}

TEST(ShapeEditing, PropertiesWithValuesAreLockedAndAskBeforeTheyGo) {
    Shape s;
    const QUuid person = s.addType("Person");
    const PropertyOwner owner = PropertyOwner::node(person);
    const QUuid born = *s.session->shape().addProperty(owner);
    s.session->shape().renameProperty(born, owner, "born");
    s.session->shape().changeKind(born, owner, PropertyKind::Number);
    EXPECT_EQ(s.schema().nodeType(person)->property(born)->kind, PropertyKind::Number);
    const QUuid nick = *s.session->shape().addProperty(owner);
    s.session->shape().renameProperty(nick, owner, "nick");
    const QString ada = s.addNode("Person", "Ada");
    s.addNode("Person", "Grace");

    EXPECT_FALSE(s.session->isLocked(born, owner));
    EXPECT_EQ(s.session->missingCount(born, owner), 2);
    EXPECT_EQ(s.session->shape().allowedKinds(born, owner).size(), 5);
    ASSERT_TRUE(s.session->setValueFromText(ada, born, "1815"));
    ASSERT_TRUE(s.session->setValueFromText(ada, nick, "Countess"));
    EXPECT_TRUE(s.session->isLocked(born, owner));
    EXPECT_EQ(s.session->missingCount(born, owner), 1);
    EXPECT_EQ(s.session->shape().allowedKinds(born, owner), QList<PropertyKind>{PropertyKind::Number});
    EXPECT_EQ(s.session->shape().allowedKinds(nick, owner),
              (QList<PropertyKind>{PropertyKind::Text, PropertyKind::Choice}));

    // A number holding values keeps its column type; text and enum trade places freely.
    s.session->shape().changeKind(born, owner, PropertyKind::Text);
    EXPECT_EQ(s.session->notice(),
              "Your graph holds values for it, so it can only switch between text and enum.");
    EXPECT_EQ(s.schema().nodeType(person)->property(born)->kind, PropertyKind::Number);
    s.session->shape().changeKind(nick, owner, PropertyKind::Choice);
    EXPECT_EQ(s.schema().nodeType(person)->property(nick)->kind, PropertyKind::Choice);
    EXPECT_EQ(s.session->nodes().value(ada).properties.value("nick"), GraphValue::string("Countess"));

    // Removing a property without values runs at once; with values it asks.
    const QUuid unused = *s.session->shape().addProperty(owner);
    s.session->removeProperty(unused, owner);
    EXPECT_FALSE(s.session->confirmation());
    EXPECT_FALSE(s.schema().nodeType(person)->property(unused));
    s.session->removeProperty(born, owner);
    ASSERT_TRUE(s.session->confirmation());
    EXPECT_EQ(s.session->confirmation()->title, "Delete the property “born”?");
    EXPECT_EQ(s.session->confirmation()->message,
              "Its values on 1 node are deleted from your graph too. This can't be undone.");
    s.session->confirm();
    EXPECT_FALSE(s.schema().nodeType(person)->property(born));
    EXPECT_FALSE(s.session->nodes().value(ada).properties.contains("born"));
    EXPECT_FALSE(s.world.undo.canUndo());
    s.expectSavedAndApplied();
}

TEST(ShapeEditing, DefaultsAndOptionsReachTheRowsThatHoldThem) {
    Shape s;
    const QUuid person = s.addType("Person");
    const PropertyOwner owner = PropertyOwner::node(person);
    const QUuid status = *s.session->shape().addProperty(owner);
    s.session->shape().renameProperty(status, owner, "status");
    s.session->shape().changeKind(status, owner, PropertyKind::Choice);
    s.session->shape().setOptions(status, owner, {" Alive ", "Dead", "", "Alive"});
    EXPECT_EQ(s.schema().nodeType(person)->property(status)->options, QStringList({"Alive", "Dead"}));
    const QString ada = s.addNode("Person", "Ada");
    const QString grace = s.addNode("Person", "Grace");
    const QString alan = s.addNode("Person", "Alan");
    s.session->setValueFromText(grace, status, "dead");
    s.session->updateNode(alan, {{"status", GraphValue::null()}});
    EXPECT_EQ(s.session->missingCount(status, owner), 2);

    // A default reaches every node without a value at once.
    EXPECT_FALSE(s.session->shape().setDefaultFromText(status, owner, "Unknown"));
    EXPECT_EQ(s.session->notice(), "“Unknown” isn't one of the options of “status”: Alive, Dead.");
    EXPECT_TRUE(s.session->shape().setDefaultFromText(status, owner, "alive"));
    EXPECT_EQ(s.session->missingCount(status, owner), 0);
    EXPECT_EQ(s.session->nodes().value(ada).properties.value("status"), GraphValue::string("Alive"));
    EXPECT_EQ(s.session->nodes().value(grace).properties.value("status"), GraphValue::string("Dead"));
    EXPECT_EQ(s.session->distinctValues(status, owner, 10), QStringList({"Alive", "Dead"}));
    EXPECT_EQ(s.session->distinctValues(status, owner, 1), QStringList({"Alive"}));

    // Renaming one option rewrites the rows that hold it, and the default follows.
    s.session->shape().setOptions(status, owner, {"Living", "Dead"});
    EXPECT_EQ(s.schema().nodeType(person)->property(status)->defaultValue, GraphValue::string("Living"));
    EXPECT_EQ(s.session->nodes().value(ada).properties.value("status"), GraphValue::string("Living"));
    EXPECT_EQ(s.session->nodes().value(grace).properties.value("status"), GraphValue::string("Dead"));
    EXPECT_EQ(countRows(*s.session, "MATCH (n:Person) WHERE n.status = 'Living' RETURN n.id"), 2);
    s.expectSavedAndApplied();
    // And back, by undo.
    s.world.undo.undo();
    EXPECT_EQ(countRows(*s.session, "MATCH (n:Person) WHERE n.status = 'Alive' RETURN n.id"), 2);
    EXPECT_EQ(s.world.undo.undoActionName(), "Change Default");
}

TEST(ShapeEditing, ConnectionsChangeDirectionAndGo) {
    Shape s;
    const QUuid person = s.addType("Person");
    const QUuid book = s.addType("Book");
    const QUuid knowsId = *s.session->addRelationship("knows", person, person, false);
    const QUuid wroteId = *s.session->addRelationship("wrote", person, book, true);
    const RelEndpoint forward{person, book};
    EXPECT_EQ(s.session->shape().direction(forward, wroteId), ConnectionDirection::BothWays);
    EXPECT_EQ(s.rel("wrote")->endpoints, (QList<RelEndpoint>{forward, forward.reversed()}));
    // The same database name adds a connection to the type that has it.
    EXPECT_EQ(*s.session->addRelationship("Wrote", book, book, false), wroteId);
    EXPECT_EQ(s.rel("wrote")->endpoints.size(), 3);

    const QString ada = s.addNode("Person", "Ada");
    const QString notes = s.addNode("Book", "Notes");
    s.link("WROTE", notes, ada); // the other way
    EXPECT_TRUE(s.session->isLocked(forward.reversed(), wroteId));
    EXPECT_FALSE(s.session->isLocked(forward, wroteId));

    // Both ways to one way drops the reverse, whose relationship asks first.
    s.session->setDirection(ConnectionDirection::OneWay, forward, wroteId);
    ASSERT_TRUE(s.session->confirmation());
    EXPECT_EQ(s.session->confirmation()->title, "Change which way wrote runs?");
    EXPECT_EQ(
        s.session->confirmation()->message,
        "Its 1 connection the other way between Person and Book is deleted from your graph. This can't be "
        "undone.");
    EXPECT_EQ(s.session->confirmation()->actionTitle, "Change Direction");
    s.session->dismissConfirmation();
    // The next in the cycle after both ways is the other way, which keeps that relationship; the stored
    // connection keeps its place.
    s.session->cycleDirection(forward, wroteId);
    EXPECT_FALSE(s.session->confirmation());
    EXPECT_EQ(s.rel("wrote")->endpoints.first(), forward.reversed());
    EXPECT_EQ(s.session->shape().direction(forward, wroteId), ConnectionDirection::OtherWay);
    EXPECT_EQ(s.world.undo.undoActionName(), "Change Direction");
    EXPECT_EQ(s.session->rels().size(), 1);
    // Next comes one way, this way round, which would drop the relationship's direction: it asks.
    s.session->cycleDirection(forward, wroteId);
    ASSERT_TRUE(s.session->confirmation());
    s.session->dismissConfirmation();
    EXPECT_EQ(s.session->shape().direction(forward, wroteId), ConnectionDirection::OtherWay);
    // A loop turns two-way through its entry in twoWayLoops.
    const RelEndpoint loop{person, person};
    s.session->cycleDirection(loop, knowsId);
    EXPECT_EQ(s.session->shape().direction(loop, knowsId), ConnectionDirection::BothWays);
    s.session->cycleDirection(loop, knowsId);
    EXPECT_EQ(s.session->shape().direction(loop, knowsId), ConnectionDirection::OneWay);
    EXPECT_FALSE(s.rel("knows")->twoWayLoops);
    s.expectSavedAndApplied();

    // Removing the connection that holds a relationship asks, with the types' names.
    s.session->removeConnection(forward.reversed(), wroteId, false);
    ASSERT_TRUE(s.session->confirmation());
    EXPECT_EQ(s.session->confirmation()->title, "Delete wrote connecting Book to Person?");
    EXPECT_EQ(s.session->confirmation()->message,
              "Its 1 connection between them is deleted from your graph too. This can't be undone.");
    s.session->confirm();
    EXPECT_TRUE(s.session->rels().isEmpty());
    EXPECT_EQ(countRelsIn(*s.session, "WROTE"), 0);
    s.expectSavedAndApplied();

    // The last connection taken away takes the type with it.
    s.session->deleteRelType(knowsId);
    EXPECT_FALSE(s.session->confirmation());
    EXPECT_FALSE(s.schema().relType(knowsId));
    s.session->removeConnection(RelEndpoint{book, book}, wroteId, false);
    EXPECT_FALSE(s.schema().relType(wroteId));
    s.expectSavedAndApplied();
}

TEST(ShapeEditing, RenamingToAnotherRelationshipsNameMergesThem) {
    Shape s;
    const QUuid person = s.addType("Person");
    const QUuid book = s.addType("Book");
    const QUuid knows = *s.session->addRelationship("knows", person, person, false);
    const QUuid wrote = *s.session->addRelationship("wrote", person, book, false);

    // The later type folds into the earlier; with nothing in it, at once.
    s.session->renameRelType(wrote, "Knows");
    EXPECT_FALSE(s.session->confirmation());
    EXPECT_FALSE(s.schema().relType(wrote));
    EXPECT_EQ(s.schema().relType(knows)->endpoints, (QList<RelEndpoint>{{person, person}, {person, book}}));
    s.expectSavedAndApplied();
    s.world.undo.undo();
    EXPECT_TRUE(s.schema().relType(wrote));
    EXPECT_EQ(s.schema().relType(knows)->endpoints.size(), 1);

    // Folding a type that holds relationships asks first.
    const QString ada = s.addNode("Person", "Ada");
    const QString notes = s.addNode("Book", "Notes");
    s.link("WROTE", ada, notes);
    s.session->renameRelType(knows, "wrote");
    ASSERT_TRUE(s.session->confirmation());
    EXPECT_EQ(s.session->confirmation()->title, "Merge knows with wrote?");
    EXPECT_EQ(s.session->confirmation()->message, "The two become one relationship, and 1 connection is "
                                                  "deleted from your graph. This can't be undone.");
    EXPECT_EQ(s.session->confirmation()->actionTitle, "Merge");
    s.session->confirm();
    EXPECT_FALSE(s.schema().relType(wrote));
    EXPECT_EQ(s.schema().relType(knows)->name, "wrote");
    EXPECT_TRUE(s.session->rels().isEmpty());
    s.expectSavedAndApplied();
}

TEST(ShapeEditing, TitlesMarksPriorityAndOrder) {
    Shape s;
    const QUuid person = s.addType("Person");
    const PropertyOwner owner = PropertyOwner::node(person);
    const QUuid nameId = s.schema().nodeType(person)->properties[0].id;
    const QUuid flag = *s.session->shape().addProperty(owner);
    s.session->shape().changeKind(flag, owner, PropertyKind::Boolean);
    // A boolean is never a title; only a boolean is a mark.
    s.session->shape().setTitleProperty(owner, flag);
    EXPECT_EQ(s.schema().nodeType(person)->titleProperty, nameId);
    s.session->shape().setMarkProperty(owner, nameId);
    EXPECT_FALSE(s.schema().nodeType(person)->markProperty);
    s.session->shape().setMarkProperty(owner, flag);
    EXPECT_EQ(s.schema().nodeType(person)->markProperty, flag);

    s.session->shape().moveProperty(flag, owner, 0);
    EXPECT_EQ(s.schema().nodeType(person)->properties[0].id, flag);
    EXPECT_EQ(s.world.undo.undoActionName(), "Move Property");
    s.session->setExpandPriority(ExpandPriority::WhenAsked, person);
    EXPECT_EQ(s.schema().nodeType(person)->expandPriority(), ExpandPriority::WhenAsked);
    s.session->setEmbedded(nameId, owner, true);
    EXPECT_TRUE(s.schema().nodeType(person)->property(nameId)->isEmbedded());
    EXPECT_EQ(s.world.undo.undoActionName(), "Embed Property");
    s.session->setEmbedded(flag, owner, true); // only text is embedded
    EXPECT_EQ(s.world.undo.undoActionName(), "Embed Property");
    EXPECT_FALSE(s.schema().nodeType(person)->property(flag)->isEmbedded());
    s.expectSavedAndApplied();
}

TEST(ShapeEditing, UseExistingTypeMovesConnections) {
    Shape s;
    const QUuid person = s.addType("Person");
    const QUuid author = s.addType("Author");
    const QUuid book = s.addType("Book");
    const QUuid wrote = *s.session->addRelationship("wrote", author, book, false);
    s.session->useExistingType(person, author);
    EXPECT_FALSE(s.schema().nodeType(author));
    EXPECT_EQ(s.schema().relType(wrote)->endpoints, (QList<RelEndpoint>{{person, book}}));
    EXPECT_EQ(s.world.undo.undoActionName(), "Use Existing Type");
    s.expectSavedAndApplied();
    s.world.undo.undo();
    EXPECT_TRUE(s.schema().nodeType(author));
    EXPECT_EQ(s.schema().relType(wrote)->endpoints, (QList<RelEndpoint>{{author, book}}));
}
