#include "ui/shape/ShapeView.h"

#include "app/undo/UndoStack.h"
#include "kit/support/Json.h"
#include "tests/ui/shape/WindowTestSupport.h"
#include "ui/shape/NewRelTypeDialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTest>
#include <QToolButton>

using namespace corvantis;
using namespace corvantis::test;

namespace {

template <typename T> T* find(QWidget* root, const QString& name) {
    T* widget = root->findChild<T*>(name);
    EXPECT_NE(widget, nullptr) << "no widget " << name.toStdString();
    return widget;
}

QString key(const char* prefix, const QUuid& id) {
    return QString::fromLatin1(prefix) + json::uuidText(id);
}

// Lets the deferred rebuild of the form happen.
void settle() {
    for (int i = 0; i < 3; ++i)
        QCoreApplication::processEvents();
}

void choose(QComboBox* combo, const QString& text) {
    const int index = combo->findText(text);
    ASSERT_GE(index, 0) << text.toStdString();
    combo->setCurrentIndex(index);
    emit combo->activated(index);
    settle();
}

} // namespace

TEST(ShapeView, ATypeIsAddedNamedAndGivenPropertiesThroughTheForm) {
    ProjectWindow w{GraphSchema()};
    ShapeView* view = w.view().shapeView();
    // An empty project opens on its shape.
    EXPECT_EQ(w.session().mode(), SessionMode::Shape);
    EXPECT_TRUE(view->isVisible());

    find<QPushButton>(view, "emptyAddNodeType")->click();
    settle();
    ASSERT_EQ(view->nodeList()->count(), 1);
    EXPECT_EQ(view->nodeList()->item(0)->text(), "Untitled");
    ASSERT_NE(view->editor(), nullptr);
    auto* name = find<QLineEdit>(view->editor(), "typeName");
    EXPECT_TRUE(name->hasFocus());
    QTest::keyClicks(name, "Person");
    QTest::keyClick(name, Qt::Key_Return);
    settle();
    EXPECT_EQ(w.session().project().schema.nodeTypes[0].name, "Person");
    EXPECT_EQ(view->nodeList()->item(0)->text(), "Person");

    find<QPushButton>(view->editor(), "addProperty")->click();
    settle();
    const NodeType type = w.session().project().schema.nodeTypes[0];
    ASSERT_EQ(type.properties.size(), 2);
    const QUuid born = type.properties[1].id;
    auto* propertyName = find<QLineEdit>(view->editor(), key("propName:", born));
    propertyName->selectAll();
    QTest::keyClicks(propertyName, "born");
    QTest::keyClick(propertyName, Qt::Key_Return);
    settle();
    choose(find<QComboBox>(view->editor(), key("propKind:", born)), "Number");
    EXPECT_EQ(w.session().project().schema.nodeTypes[0].property(born)->kind, PropertyKind::Number);
    EXPECT_EQ(w.session().project().schema.nodeTypes[0].property(born)->name, "born");
    // The database has the column: a node takes a value in it.
    auto ada = w.session().createNode(w.session().project().schema.nodeTypes[0], "Ada");
    ASSERT_TRUE(ada);
    ASSERT_TRUE(w.session().setValueFromText(*ada, born, "1815"));
    settle();

    // With a value in the graph, the kind is fixed and says so.
    auto* kind = find<QComboBox>(view->editor(), key("propKind:", born));
    EXPECT_FALSE(kind->isEnabled());
    bool noted = false;
    for (QLabel* label : view->editor()->findChildren<QLabel*>())
        noted |= label->text() == "Fixed now that your graph holds values for it.";
    EXPECT_TRUE(noted);

    // Edit ▸ Undo names the step and takes it back; Ctrl+R redoes.
    QAction* undo = w.action("undo");
    ASSERT_NE(undo, nullptr);
    EXPECT_EQ(undo->text(), "Undo Edit Node");
    undo->trigger();
    undo->trigger(); // the node itself
    settle();
    EXPECT_TRUE(w.session().nodes().isEmpty());
    EXPECT_EQ(undo->text(), "Undo Change Kind");
    undo->trigger();
    settle();
    EXPECT_EQ(w.session().project().schema.nodeTypes[0].property(born)->kind, PropertyKind::Text);
    EXPECT_EQ(find<QComboBox>(view->editor(), key("propKind:", born))->currentText(), "Text");
    QTest::keyClick(w.window.get(), Qt::Key_R, Qt::ControlModifier);
    settle();
    EXPECT_EQ(w.session().project().schema.nodeTypes[0].property(born)->kind, PropertyKind::Number);
    EXPECT_EQ(w.action("redo")->text(), "Redo Add Node");
}

TEST(ShapeView, DeletingATypeWithNodesIsConfirmedByTheDialog) {
    ProjectWindow w{GraphSchema()};
    ShapeView* view = w.view().shapeView();
    view->addNodeType();
    settle();
    const NodeType type = w.session().project().schema.nodeTypes[0];
    ASSERT_TRUE(w.session().createNode(type, "one"));
    ASSERT_TRUE(w.session().createNode(type, "two"));
    settle();

    // Cancelled, nothing changes.
    QString title, message;
    answerNextMessageBox("Cancel", &title, &message);
    find<QPushButton>(view->editor(), "deleteType")->click();
    ASSERT_TRUE(test::waitUntil([&] { return !title.isEmpty() && !w.session().confirmation(); }, 60000));
    EXPECT_EQ(title, "Delete “Untitled”?");
    EXPECT_EQ(message, "2 nodes are deleted from your graph too. This can't be undone.");
    EXPECT_EQ(w.session().project().schema.nodeTypes.size(), 1);

    // The destructive button is named for the action and carries it out.
    answerNextMessageBox("Delete");
    // With no window manager, activation doesn't come back by itself after the first dialog.
    QApplication::setActiveWindow(w.window.get());
    view->nodeList()->setFocus();
    QTest::keyClick(view->nodeList(), Qt::Key_Delete);
    ASSERT_TRUE(test::waitUntil([&] { return w.session().project().schema.nodeTypes.isEmpty(); }, 60000));
    settle();
    EXPECT_TRUE(w.session().nodes().isEmpty());
    EXPECT_EQ(view->nodeList()->count(), 0);
    EXPECT_FALSE(w.action("undo")->isEnabled());
}

TEST(ShapeView, ARelationshipIsAddedThroughItsDialogAndTurnedTwoWay) {
    GraphSchema shape;
    NodeType person;
    person.id = QUuid::createUuid();
    person.name = "Person";
    person.color = "iris";
    NodeType book = person;
    book.id = QUuid::createUuid();
    book.name = "Book";
    book.color = "peach";
    shape.nodeTypes = {person, book};
    ProjectWindow w{shape};
    w.session().setMode(SessionMode::Shape);
    ShapeView* view = w.view().shapeView();
    ASSERT_EQ(view->nodeList()->count(), 2);

    whenModalShows<NewRelTypeDialog>([](NewRelTypeDialog* dialog) {
        QTest::keyClicks(dialog->findChild<QLineEdit*>("relName"), "wrote");
        auto* to = dialog->findChild<QComboBox*>("relTo");
        to->setCurrentIndex(to->findText("Book"));
        dialog->accept();
    });
    find<QToolButton>(view, "addRelationship")->click();
    settle();
    ASSERT_EQ(w.session().project().schema.relTypes.size(), 1);
    const RelType wrote = w.session().project().schema.relTypes[0];
    EXPECT_EQ(wrote.name, "wrote");
    EXPECT_EQ(wrote.endpoints, (QList<RelEndpoint>{{person.id, book.id}}));
    ASSERT_EQ(view->relList()->count(), 1);
    EXPECT_TRUE(view->relList()->item(0)->isSelected());
    ASSERT_NE(view->editor(), nullptr);
    EXPECT_FALSE(view->editor()->owner().isNode());

    const QString direction = "direction:" + json::uuidText(person.id) + ":" + json::uuidText(book.id);
    choose(find<QComboBox>(view->editor(), direction), "Both ways");
    EXPECT_EQ(w.session().project().schema.relTypes[0].endpoints,
              (QList<RelEndpoint>{{person.id, book.id}, {book.id, person.id}}));
    EXPECT_EQ(w.action("undo")->text(), "Undo Change Direction");

    // A second connection from the form's own row.
    choose(find<QComboBox>(view->editor(), "connectTo"), "Person");
    find<QPushButton>(view->editor(), "addConnection")->click();
    settle();
    EXPECT_TRUE(
        w.session().project().schema.relTypes[0].endpoints.contains(RelEndpoint{person.id, person.id}));
}

TEST(ShapeView, TheShapesProblemsStandAboveTheForm) {
    GraphSchema shape;
    NodeType person;
    person.id = QUuid::createUuid();
    person.name = "Person";
    person.color = "iris";
    shape.nodeTypes = {person};
    ProjectWindow w{shape};
    w.session().setMode(SessionMode::Shape);
    ShapeView* view = w.view().shapeView();
    EXPECT_FALSE(view->issues()->isVisible());
    w.session().addRelationship("person", person.id, person.id, false);
    settle();
    EXPECT_TRUE(view->issues()->isVisible());
    EXPECT_TRUE(view->issues()->text().contains("resolve to the same name in the database"));
    EXPECT_TRUE(w.session().hasPendingChanges());
    w.action("undo")->trigger();
    settle();
    EXPECT_FALSE(view->issues()->isVisible());
}
