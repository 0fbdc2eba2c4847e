#include "tests/app/graph/SessionTestSupport.h"
#include "tests/ui/shape/WindowTestSupport.h"

#include <QLineEdit>
#include <QTest>

using namespace corvantis;
using namespace corvantis::test;

// Ctrl+R in a text field redoes the field's typing; the graph's Redo waits for the window.
TEST(TextFieldKeys, CtrlRInATextFieldRedoesItsTypingNotTheGraph) {
    GraphSchema shape;
    shape.nodeTypes = {nodeType("Person", {property("name")})};
    ProjectWindow w(shape);
    ProjectSession& session = w.session();
    ASSERT_TRUE(session.createNode(session.project().schema.nodeTypes[0], "Ada"));
    w.window->undoStack()->undo();
    ASSERT_TRUE(session.nodes().isEmpty());
    ASSERT_TRUE(w.window->undoStack()->canRedo());

    QLineEdit* field = nullptr;
    for (QLineEdit* candidate : w.window->findChildren<QLineEdit*>())
        if (candidate->accessibleName() == "Project name")
            field = candidate;
    ASSERT_TRUE(field);
    field->setFocus();
    ASSERT_TRUE(waitUntil([&] { return field->hasFocus(); }));
    field->selectAll();
    QTest::keyClicks(field, "Shelf");
    ASSERT_EQ(field->text(), "Shelf");
    field->undo();
    ASSERT_NE(field->text(), "Shelf");

    QTest::keyClick(field, Qt::Key_R, Qt::ControlModifier);
    EXPECT_EQ(field->text(), "Shelf");
    EXPECT_TRUE(session.nodes().isEmpty());
    EXPECT_TRUE(w.window->undoStack()->canRedo());

    // Outside a text field the key is the graph's Redo.
    w.window->projectView()->setFocus();
    ASSERT_TRUE(waitUntil([&] { return !field->hasFocus(); }));
    QTest::keyClick(w.window.get(), Qt::Key_R, Qt::ControlModifier);
    EXPECT_EQ(session.nodes().size(), 1);
}
