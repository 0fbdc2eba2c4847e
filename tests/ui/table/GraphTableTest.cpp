#include "tests/support/ShapeBuilders.h"
#include "tests/ui/shape/WindowTestSupport.h"
#include "ui/table/GraphTableView.h"

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableView>
#include <QTest>

using namespace corvantis;
using namespace corvantis::test;

namespace {

// Person (name, born: number, status: Alive or Dead) and "knows" from Person to Person.
GraphSchema people() {
    GraphSchema shape;
    NodeType person;
    person.id = QUuid::createUuid();
    person.name = "Person";
    person.color = "mint";
    PropertyDef status = property("status", PropertyKind::Choice);
    status.options = QStringList{"Alive", "Dead"};
    person.properties = {property("name", PropertyKind::Text), property("born", PropertyKind::Number),
                         status};
    person.titleProperty = person.properties[0].id;
    RelType knows;
    knows.id = QUuid::createUuid();
    knows.name = "knows";
    knows.endpoints = {{person.id, person.id}};
    knows.properties = {property("since", PropertyKind::Number)};
    shape.nodeTypes = {person};
    shape.relTypes = {knows};
    return shape;
}

void settle() {
    for (int i = 0; i < 3; ++i)
        QCoreApplication::processEvents();
}

// Opens the cell's editor and types into it, as a person would.
void typeInto(QTableView* table, const QModelIndex& cell, const QString& text) {
    table->setCurrentIndex(cell);
    table->edit(cell);
    settle();
    auto* editor = qobject_cast<QLineEdit*>(QApplication::focusWidget());
    ASSERT_NE(editor, nullptr);
    editor->selectAll();
    QTest::keyClicks(editor, text);
    QTest::keyClick(editor, Qt::Key_Return);
    settle();
}

} // namespace

TEST(GraphTable, NodesAreAddedEditedAndDeletedInTheTable) {
    ProjectWindow w{people()};
    // A project with a shape opens on its graph; Ctrl+T brings the table.
    EXPECT_EQ(w.session().mode(), SessionMode::Graph);
    w.view().setShowsTable(false);
    QTest::keyClick(w.window.get(), Qt::Key_T, Qt::ControlModifier);
    settle();
    ASSERT_TRUE(w.view().showsTable());
    GraphTableView* view = w.view().tableView();
    ASSERT_TRUE(view->isVisible());
    EXPECT_EQ(view->typePicker()->currentText(), "Person  ·  0");
    EXPECT_TRUE(view->emptyHint()->isVisible());
    EXPECT_EQ(view->addButton()->text(), "Add Node");
    QTableView* table = view->table();
    GraphTableModel* model = view->model();

    // Add Node opens the title cell for typing.
    view->addButton()->click();
    settle();
    ASSERT_EQ(model->rowCount(), 1);
    auto* editor = qobject_cast<QLineEdit*>(QApplication::focusWidget());
    ASSERT_NE(editor, nullptr);
    QTest::keyClicks(editor, "Ada Lovelace");
    QTest::keyClick(editor, Qt::Key_Return);
    settle();
    const QString ada = model->recordId(0);
    EXPECT_EQ(w.session().nodes().value(ada).properties.value("name"), GraphValue::string("Ada Lovelace"));
    EXPECT_EQ(model->index(0, 0).data().toString(), "Ada Lovelace");

    // A number parses with its thousands separator; a word is refused with a sentence.
    typeInto(table, model->index(0, 1), "1,815");
    EXPECT_EQ(w.session().nodes().value(ada).properties.value("born"), GraphValue::number(1815));
    typeInto(table, model->index(0, 1), "soon");
    EXPECT_EQ(w.window->toast()->text(), "“soon” isn't a number.");
    EXPECT_EQ(w.session().nodes().value(ada).properties.value("born"), GraphValue::number(1815));
    EXPECT_EQ(model->index(0, 1).data().toString(), "1815");

    // An enum is chosen from its options.
    const QModelIndex status = model->index(0, 2);
    table->setCurrentIndex(status);
    table->edit(status);
    settle();
    auto* choice = table->findChild<QComboBox*>("choiceEditor");
    ASSERT_NE(choice, nullptr);
    const int dead = choice->findText("Dead");
    choice->setCurrentIndex(dead);
    emit choice->activated(dead);
    settle();
    EXPECT_EQ(w.session().nodes().value(ada).properties.value("status"), GraphValue::string("Dead"));

    view->addButton()->click();
    settle();
    editor = qobject_cast<QLineEdit*>(QApplication::focusWidget());
    ASSERT_NE(editor, nullptr);
    QTest::keyClicks(editor, "Grace Hopper");
    QTest::keyClick(editor, Qt::Key_Return);
    settle();
    ASSERT_EQ(model->rowCount(), 2);
    EXPECT_EQ(view->typePicker()->currentText(), "Person  ·  2");

    // Two rows, the Delete key, the confirmation, then one Undo brings both back.
    table->selectAll();
    EXPECT_EQ(w.session().selection().kind, GraphSelection::Kind::Nodes);
    QString title;
    answerNextMessageBox("Delete", &title);
    table->setFocus();
    QTest::keyClick(table, Qt::Key_Delete);
    ASSERT_TRUE(test::waitUntil([&] { return w.session().nodes().isEmpty(); }));
    settle();
    EXPECT_EQ(title, "Delete 2 nodes?");
    EXPECT_EQ(model->rowCount(), 0);
    EXPECT_TRUE(view->emptyHint()->isVisible());
    QAction* undo = w.action("undo");
    EXPECT_EQ(undo->text(), "Undo Delete Nodes");
    undo->trigger();
    settle();
    EXPECT_EQ(model->rowCount(), 2);
    EXPECT_EQ(w.session().nodes().value(ada).properties.value("status"), GraphValue::string("Dead"));
}

TEST(GraphTable, RelationshipsShowTheirEndsAndAreAddedAndDeleted) {
    ProjectWindow w{people()};
    const NodeType person = w.session().project().schema.nodeTypes[0];
    const QString ada = *w.session().createNode(person, "Ada");
    const QString grace = *w.session().createNode(person, "Grace");
    w.view().setShowsTable(true);
    GraphTableView* view = w.view().tableView();
    view->typePicker()->setCurrentIndex(view->typePicker()->findText("knows  ·  0"));
    settle();
    EXPECT_EQ(view->addButton()->text(), "Add Relationship…");
    GraphTableModel* model = view->model();
    EXPECT_EQ(model->headerData(0, Qt::Horizontal).toString(), "From");
    EXPECT_EQ(model->headerData(2, Qt::Horizontal).toString(), "since");

    auto id = view->addRelationship(ada, grace);
    ASSERT_TRUE(id);
    settle();
    ASSERT_EQ(model->rowCount(), 1);
    EXPECT_EQ(model->index(0, 0).data().toString(), "Ada");
    EXPECT_EQ(model->index(0, 1).data().toString(), "Grace");
    EXPECT_FALSE(model->flags(model->index(0, 0)) & Qt::ItemIsEditable);
    typeInto(view->table(), model->index(0, 2), "1952");
    EXPECT_EQ(w.session().rels().value(*id).properties.value("since"), GraphValue::number(1952));
    EXPECT_EQ(w.action("undo")->text(), "Undo Edit Relationship");

    view->table()->selectRow(0);
    EXPECT_EQ(w.session().selection(), GraphSelection::relationship(*id));
    view->deleteButton()->click();
    settle();
    EXPECT_TRUE(w.session().rels().isEmpty());
    EXPECT_EQ(model->rowCount(), 0);
    EXPECT_EQ(w.action("undo")->text(), "Undo Delete Relationship");
    QTest::keyClick(w.window.get(), Qt::Key_Z, Qt::ControlModifier);
    settle();
    EXPECT_EQ(model->rowCount(), 1);
    EXPECT_EQ(w.session().rels().value(*id).properties.value("since"), GraphValue::number(1952));
}
