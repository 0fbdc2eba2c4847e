#include "app/undo/UndoStack.h"
#include "tests/ui/canvas/CanvasTestSupport.h"
#include "ui/canvas/CanvasPage.h"
#include "ui/canvas/CanvasView.h"
#include "ui/graph/Inspector.h"
#include "ui/graph/RightPanel.h"
#include "ui/graph/Sidebar.h"
#include "ui/shape/ShapeCanvas.h"
#include "ui/shape/ShapePage.h"
#include "ui/table/GraphTableView.h"

#include <QLabel>
#include <QListWidget>
#include <QPointer>
#include <QTest>
#include <QToolButton>

using namespace corvantis;
using namespace corvantis::test;

TEST(ProjectLayout, GraphModeOpensOnTheCanvasAndCtrlTSwapsToTheTable) {
    ProjectWindow w{readingShape()};
    settle();
    EXPECT_EQ(w.session().mode(), SessionMode::Graph);
    EXPECT_FALSE(w.view().showsTable());
    EXPECT_TRUE(w.view().canvasPage()->isVisible());
    EXPECT_FALSE(w.view().tableView()->isVisible());
    QTest::keyClick(w.window.get(), Qt::Key_T, Qt::ControlModifier);
    settle();
    EXPECT_TRUE(w.view().showsTable());
    EXPECT_TRUE(w.view().tableView()->isVisible());
    EXPECT_FALSE(w.view().canvasPage()->isVisible());
    QTest::keyClick(w.window.get(), Qt::Key_T, Qt::ControlModifier);
    settle();
    EXPECT_TRUE(w.view().canvasPage()->isVisible());

    // Shape mode shows the drawn shape beside the list form.
    w.view().shapeButton()->click();
    settle();
    EXPECT_EQ(w.session().mode(), SessionMode::Shape);
    EXPECT_TRUE(w.view().shapePage()->isVisible());
    EXPECT_FALSE(w.view().canvasPage()->isVisible());
}

TEST(ProjectLayout, SidebarToggleAndTypesWithCounts) {
    ProjectWindow w{readingShape()};
    const NodeType person = w.session().project().schema.nodeTypes[0];
    w.session().createNode(person, "Ada");
    w.session().createNode(person, "Grace");
    settle();
    QListWidget* types = w.view().sidebar()->typeList();
    ASSERT_EQ(types->count(), 2);
    EXPECT_EQ(types->item(0)->text(), "Person  ·  2");
    EXPECT_EQ(types->item(1)->text(), "Book  ·  0");

    EXPECT_TRUE(w.view().sidebar()->isVisible());
    QTest::keyClick(w.window.get(), Qt::Key_S, Qt::ControlModifier | Qt::AltModifier);
    settle();
    EXPECT_FALSE(w.view().sidebar()->isVisible());
    EXPECT_FALSE(w.view().sidebarButton()->isChecked());
    w.view().sidebarButton()->click();
    settle();
    EXPECT_TRUE(w.view().sidebar()->isVisible());
}

TEST(ProjectLayout, SlotsTakeTheirWidgetsAndTheRightPanelSwitchesFaces) {
    ProjectWindow w{readingShape()};
    QPointer<QLabel> ask = new QLabel("ask here");
    w.view().setAskBar(ask);
    settle();
    EXPECT_TRUE(ask->isVisible());
    // A second Ask bar replaces the first.
    auto* second = new QLabel("ask again");
    w.view().setAskBar(second);
    settle();
    EXPECT_TRUE(ask.isNull());
    EXPECT_TRUE(second->isVisible());
    auto* build = new QLabel("Build");
    w.view().setBuildButton(build);
    auto* notes = new QLabel("notes");
    w.view().setNotesPanel(notes);
    settle();
    EXPECT_TRUE(build->isVisible());
    EXPECT_FALSE(notes->isVisible());
    w.view().setNotesPanelShown(true);
    settle();
    EXPECT_TRUE(notes->isVisible());

    RightPanel* panel = w.view().rightPanel();
    EXPECT_FALSE(panel->isVisible());
    auto* steps = new QLabel("steps");
    panel->addFace(steps, "Ask");
    panel->showFace(steps);
    settle();
    EXPECT_TRUE(panel->isVisible());
    EXPECT_TRUE(steps->isVisible());
    // Selecting a node brings the inspector forward.
    const NodeType person = w.session().project().schema.nodeTypes[0];
    const QString ada = *w.session().createNode(person, "Ada");
    w.session().setSelection(GraphSelection::node(ada));
    settle();
    EXPECT_FALSE(steps->isVisible());
    EXPECT_EQ(panel->currentFace(), static_cast<QWidget*>(panel->inspector()));
    panel->findChild<QToolButton*>("closeRightPanel")->click();
    settle();
    EXPECT_FALSE(panel->isVisible());
}

TEST(ShapeCanvas, CardsStandForTypesAndADragMovesOneAsAnUndoableEdit) {
    ProjectWindow w{readingShape()};
    w.view().shapeButton()->click();
    settle();
    ShapeCanvas* canvas = w.view().shapePage()->canvas();
    ASSERT_TRUE(canvas->isVisible());
    canvas->grab();
    const NodeType person = w.session().project().schema.nodeTypes[0];
    const NodeType book = w.session().project().schema.nodeTypes[1];
    const QRectF personCard = canvas->cardRect(person.id).value();
    const QRectF bookCard = canvas->cardRect(book.id).value();
    // Person stands left of Book, as their positions say, and both are in view.
    EXPECT_LT(personCard.right(), bookCard.left());
    EXPECT_TRUE(QRectF(canvas->rect()).contains(personCard));
    EXPECT_TRUE(QRectF(canvas->rect()).contains(bookCard));

    // A click selects the type, as the list does.
    QTest::mouseClick(canvas, Qt::LeftButton, {}, personCard.center().toPoint());
    ASSERT_TRUE(w.session().shape().selection().has_value());
    EXPECT_EQ(w.session().shape().selection()->id, person.id);

    const QPoint from = personCard.center().toPoint();
    const QPoint to = from + QPoint(0, 50);
    QTest::mousePress(canvas, Qt::LeftButton, {}, from);
    QTest::mouseMove(canvas, from + QPoint(0, 25));
    QTest::mouseMove(canvas, to);
    QTest::mouseRelease(canvas, Qt::LeftButton, {}, to);
    settle();
    const double scale = canvas->viewport().scale;
    EXPECT_NEAR(w.session().project().schema.nodeTypes[0].y, person.y + 50 / scale, 0.5 / scale);
    EXPECT_EQ(w.session().project().schema.nodeTypes[0].x, person.x);
    w.window->undoStack()->undo();
    settle();
    EXPECT_EQ(w.session().project().schema.nodeTypes[0].y, person.y);
}
