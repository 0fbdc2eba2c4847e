#include "ui/canvas/CanvasView.h"

#include "app/canvas/CanvasSimulation.h"
#include "app/canvas/CanvasState.h"
#include "app/canvas/CanvasViews.h"
#include "app/canvas/RemovalDraft.h"
#include "app/undo/UndoStack.h"
#include "kit/store/GraphStore.h"
#include "tests/ui/canvas/CanvasTestSupport.h"
#include "ui/canvas/CanvasPage.h"
#include "ui/canvas/ChipStrip.h"
#include "ui/canvas/CommandPalette.h"
#include "ui/canvas/ComposerDialog.h"
#include "ui/graph/Inspector.h"
#include "ui/graph/RightPanel.h"
#include "ui/graph/Sidebar.h"

#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTest>
#include <QToolButton>

using namespace corvantis;
using namespace corvantis::test;

namespace {

struct Reading {
    ProjectWindow w{readingShape()};
    NodeType person = w.session().project().schema.nodeTypes[0];
    NodeType book = w.session().project().schema.nodeTypes[1];

    CanvasView* canvas() { return w.view().canvasPage()->canvas(); }
    CanvasState& state() { return w.session().graphCanvas(); }
    QString add(const NodeType& type, const QString& name) { return *w.session().createNode(type, name); }
    // Paints the canvas as the screen would and returns what it drew.
    CanvasView::PaintStats paint() {
        canvas()->grab();
        return canvas()->lastPaint();
    }
    QPoint at(const QString& id) { return canvas()->screenPoint(id).value().toPoint(); }
    bool fullyInView(const QString& id) { return canvas()->rect().contains(at(id)); }
};

void drag(QWidget* widget, QPoint from, QPoint to, Qt::KeyboardModifiers modifiers = {}) {
    QTest::mousePress(widget, Qt::LeftButton, modifiers, from);
    // Several steps, as a hand would: the first passes the threshold, the last lands.
    for (int step = 1; step <= 4; ++step)
        QTest::mouseMove(widget, from + (to - from) * step / 4);
    QTest::mouseRelease(widget, Qt::LeftButton, modifiers, to);
    settle();
}

} // namespace

TEST(Canvas, SidebarTypeBringsItsNodesAndTheyArePainted) {
    Reading r;
    QStringList people;
    for (const char* name : {"Ada", "Grace", "Edsger"})
        people << r.add(r.person, name);
    const QString book = r.add(r.book, "Notes");
    // Nodes made by hand above are on the canvas already: clear it first, as a person might.
    QTest::keyClick(r.w.window.get(), Qt::Key_K, Qt::ControlModifier | Qt::ShiftModifier);
    settle();
    EXPECT_TRUE(r.state().shown().isEmpty());
    EXPECT_EQ(r.paint().nodes, 0);

    QListWidget* types = r.w.view().sidebar()->typeList();
    QTest::mouseClick(types->viewport(), Qt::LeftButton, {}, types->visualItemRect(types->item(0)).center());
    settle();
    EXPECT_EQ(r.state().shown(), QSet<QString>(people.begin(), people.end()));
    EXPECT_FALSE(r.state().shown().contains(book));
    const auto painted = r.paint();
    EXPECT_EQ(painted.nodes, 3);
    for (const QString& id : people)
        EXPECT_TRUE(r.fullyInView(id));
    // At the fitted scale the titles are legible, so they are drawn.
    EXPECT_EQ(painted.labels, 3);
}

TEST(Canvas, ZoomToFitBringsEveryNodeIntoView_AndCtrlScrollZooms) {
    Reading r;
    const QString ada = r.add(r.person, "Ada");
    const QString notes = r.add(r.book, "Notes");
    r.w.session().createRelationship(r.w.session().project().schema.relTypes[0].id, ada, notes);
    r.state().put(ada, QPointF(-2000, -1500));
    r.state().put(notes, QPointF(2500, 1800));
    Viewport far;
    far.offset = QPointF(5000, 5000);
    far.scale = 2;
    far.isPlaced = true;
    r.canvas()->setViewport(far);
    settle();
    EXPECT_FALSE(r.fullyInView(ada));
    QTest::keyClick(r.w.window.get(), Qt::Key_0, Qt::ControlModifier);
    settle();
    EXPECT_TRUE(r.fullyInView(ada));
    EXPECT_TRUE(r.fullyInView(notes));
    EXPECT_LE(r.canvas()->viewport().scale, 1.0);

    // Zoomed out this far the titles can't be read, and are not drawn; the edge has no arrowhead.
    const auto small = r.paint();
    EXPECT_EQ(small.nodes, 2);
    EXPECT_EQ(small.edges, 1);
    EXPECT_EQ(small.labels, 0);
    EXPECT_EQ(small.arrowheads, 0);

    // Ctrl+scroll zooms in about the pointer, which stays over the same world point.
    const QPointF pointer(r.canvas()->width() / 2.0, r.canvas()->height() / 2.0);
    const QPointF before = r.canvas()->viewport().toWorld(pointer);
    const double scale = r.canvas()->viewport().scale;
    QWheelEvent wheel(pointer, r.canvas()->mapToGlobal(pointer), QPoint(), QPoint(0, 120 * 8), Qt::NoButton,
                      Qt::ControlModifier, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(r.canvas(), &wheel);
    EXPECT_GT(r.canvas()->viewport().scale, scale);
    const QPointF after = r.canvas()->viewport().toWorld(pointer);
    EXPECT_NEAR(after.x(), before.x(), 0.01);
    EXPECT_NEAR(after.y(), before.y(), 0.01);
    // Close up, both ends in view: titles and the arrowhead come back.
    r.state().put(ada, QPointF(0, 0));
    r.state().put(notes, QPointF(200, 0));
    QTest::keyClick(r.w.window.get(), Qt::Key_0, Qt::ControlModifier);
    const auto near = r.paint();
    EXPECT_EQ(near.labels, 2);
    EXPECT_EQ(near.arrowheads, 1);
}

TEST(Canvas, DraggingANodeMovesAndPinsIt_AndTheLayoutIsSaved) {
    Reading r;
    const QString ada = r.add(r.person, "Ada");
    const QString grace = r.add(r.person, "Grace");
    r.state().put(ada, QPointF(0, 0));
    r.state().put(grace, QPointF(300, 0));
    QTest::keyClick(r.w.window.get(), Qt::Key_0, Qt::ControlModifier);
    settle();
    const double scale = r.canvas()->viewport().scale;
    const QPoint from = r.at(ada);
    EXPECT_FALSE(r.state().pinned().contains(ada));
    drag(r.canvas(), from, from + QPoint(0, 60));
    const QPointF moved = r.state().positions().value(ada);
    EXPECT_NEAR(moved.x(), 0, 1.0 / scale);
    EXPECT_NEAR(moved.y(), 60 / scale, 1.0 / scale);
    EXPECT_TRUE(r.state().pinned().contains(ada));
    EXPECT_FALSE(r.state().pinned().contains(grace));
    // The drag also didn't pan: Grace stays where she was on screen.
    EXPECT_EQ(r.state().positions().value(grace), QPointF(300, 0));

    ASSERT_TRUE(waitUntil([&] { return !r.state().isSavePending(); }, 30000));
    const GraphLayout saved = r.w.session().library().layout(r.w.session().project().id);
    ASSERT_TRUE(saved.positions.contains(ada));
    EXPECT_NEAR(saved.positions.value(ada).y, moved.y(), 0.01);
    EXPECT_TRUE(saved.pinned.contains(ada));

    // Dragging empty canvas pans instead; no node moves.
    const Viewport before = r.canvas()->viewport();
    drag(r.canvas(), QPoint(20, 20), QPoint(60, 50));
    EXPECT_EQ(r.canvas()->viewport().offset, before.offset + QPointF(40, 30));
    EXPECT_NEAR(r.state().positions().value(ada).y(), moved.y(), 0.01);
}

TEST(Canvas, ClicksSelect_ShiftClicksGather_AndTheMarqueeSelectsWhatItEncloses) {
    Reading r;
    const QString ada = r.add(r.person, "Ada");
    const QString grace = r.add(r.person, "Grace");
    const QString notes = r.add(r.book, "Notes");
    r.state().put(ada, QPointF(0, 0));
    r.state().put(grace, QPointF(100, 0));
    r.state().put(notes, QPointF(400, 300));
    QTest::keyClick(r.w.window.get(), Qt::Key_0, Qt::ControlModifier);
    settle();
    QTest::mouseClick(r.canvas(), Qt::LeftButton, {}, r.at(ada));
    EXPECT_EQ(r.w.session().selection(), GraphSelection::node(ada));
    QTest::mouseClick(r.canvas(), Qt::LeftButton, Qt::ShiftModifier, r.at(notes));
    EXPECT_EQ(r.w.session().selection(), GraphSelection::nodes({ada, notes}));
    // Empty canvas clears.
    QTest::mouseClick(r.canvas(), Qt::LeftButton, {}, QPoint(r.at(ada).x(), r.at(notes).y()));
    EXPECT_TRUE(r.w.session().selection().isEmpty());

    // Shift+drag from empty canvas round Ada and Grace but not the book.
    const QPoint topLeft = r.at(ada) - QPoint(30, 30);
    const QPoint bottomRight = r.at(grace) + QPoint(30, 30);
    drag(r.canvas(), topLeft, bottomRight, Qt::ShiftModifier);
    EXPECT_EQ(r.w.session().selection(), GraphSelection::nodes({ada, grace}));
    // Dragging one of a selection of several moves them all.
    const QPointF graceBefore = r.state().positions().value(grace);
    drag(r.canvas(), r.at(ada), r.at(ada) + QPoint(40, 0));
    EXPECT_GT(r.state().positions().value(grace).x(), graceBefore.x() + 1);
    EXPECT_TRUE(r.state().pinned().contains(grace));
}

TEST(Canvas, TheInspectorEditsTheSelectedNodeInTheDatabase) {
    Reading r;
    const QString ada = r.add(r.person, "Ada");
    r.state().put(ada, QPointF(0, 0));
    QTest::keyClick(r.w.window.get(), Qt::Key_0, Qt::ControlModifier);
    QTest::mouseClick(r.canvas(), Qt::LeftButton, {}, r.at(ada));
    settle();
    Inspector* inspector = r.w.view().rightPanel()->inspector();
    ASSERT_TRUE(inspector->isVisible());
    EXPECT_EQ(inspector->heading()->text(), "Ada");
    auto* born = qobject_cast<QLineEdit*>(inspector->editor(r.person.properties[1].id));
    ASSERT_NE(born, nullptr);
    born->setFocus();
    QTest::keyClicks(born, "1815");
    QTest::keyClick(born, Qt::Key_Return);
    settle();
    const auto stored = r.w.session().store()->loadNodes({r.person.table()});
    ASSERT_EQ(stored.size(), 1);
    EXPECT_EQ(stored[0].properties.value("born"), GraphValue::number(1815));

    // A text the property can't hold is refused with a notice; the database keeps 1815.
    born->selectAll();
    QTest::keyClicks(born, "soon");
    QTest::keyClick(born, Qt::Key_Return);
    settle();
    EXPECT_TRUE(r.w.session().notice().has_value());
    EXPECT_EQ(r.w.session().store()->loadNodes({r.person.table()})[0].properties.value("born"),
              GraphValue::number(1815));

    // Renaming through the title field changes the heading; Undo takes it back.
    auto* name = qobject_cast<QLineEdit*>(inspector->editor(r.person.properties[0].id));
    name->setFocus();
    name->selectAll();
    QTest::keyClicks(name, "Ada Lovelace");
    QTest::keyClick(name, Qt::Key_Return);
    settle();
    EXPECT_EQ(inspector->heading()->text(), "Ada Lovelace");
    r.w.window->undoStack()->undo();
    settle();
    EXPECT_EQ(inspector->heading()->text(), "Ada");
    EXPECT_EQ(name->text(), "Ada");
}

TEST(Canvas, ThePaletteFindsANodeByNameAndBringsIt) {
    Reading r;
    r.add(r.person, "Ada");
    const QString grace = r.add(r.person, "Grace Hopper");
    r.canvas()->clearCanvas();
    settle();
    QTest::keyClick(r.w.window.get(), Qt::Key_K, Qt::ControlModifier);
    settle();
    CommandPalette* palette = r.w.view().palette();
    ASSERT_TRUE(palette->isVisible());
    // Case and accents don't count.
    QTest::keyClicks(palette->field(), "GRÂCE");
    ASSERT_GE(palette->results()->count(), 1);
    EXPECT_TRUE(palette->results()->item(0)->text().startsWith("Grace Hopper"));
    QTest::keyClick(palette->field(), Qt::Key_Return);
    settle();
    EXPECT_FALSE(palette->isVisible());
    EXPECT_EQ(r.state().shown(), QSet<QString>{grace});
    EXPECT_EQ(r.w.session().selection(), GraphSelection::node(grace));
    EXPECT_TRUE(r.fullyInView(grace));

    // Commands are found by name too, and run.
    QTest::keyClick(r.w.window.get(), Qt::Key_K, Qt::ControlModifier);
    QTest::keyClicks(palette->field(), "clear canvas");
    ASSERT_GE(palette->results()->count(), 1);
    QTest::keyClick(palette->field(), Qt::Key_Return);
    settle();
    EXPECT_TRUE(r.state().shown().isEmpty());
}

TEST(Canvas, TheComposerAddsANodeThatUndoRemoves) {
    Reading r;
    whenModalShows<ComposerDialog>([&](ComposerDialog* composer) {
        composer->typePicker()->setCurrentIndex(1);
        QTest::keyClicks(composer->nameField(), "Dune");
        composer->findChild<QPushButton*>("composerAdd")->click();
    });
    QTest::keyClick(r.w.window.get(), Qt::Key_N, Qt::ControlModifier | Qt::AltModifier);
    ASSERT_TRUE(waitUntil([&] { return r.w.session().nodes().size() == 1; }, 60000));
    const NodeRecord dune = *r.w.session().nodes().begin();
    EXPECT_EQ(dune.label, r.book.table());
    EXPECT_EQ(dune.title(&r.book), "Dune");
    EXPECT_TRUE(r.state().shown().contains(dune.id));
    EXPECT_TRUE(r.state().pinned().contains(dune.id));
    EXPECT_EQ(r.w.session().store()->loadNodes({r.book.table()}).size(), 1);
    EXPECT_TRUE(r.w.window->undoStack()->canUndo());
    // The offscreen platform doesn't give the window back its activation when the dialog closes.
    ASSERT_TRUE(waitUntil([] { return QApplication::activeModalWidget() == nullptr; }));
    QApplication::setActiveWindow(r.w.window.get());
    QTest::keyClick(r.w.window.get(), Qt::Key_Z, Qt::ControlModifier);
    settle();
    EXPECT_TRUE(r.w.session().nodes().isEmpty());
    EXPECT_TRUE(r.w.session().store()->loadNodes({r.book.table()}).isEmpty());
    EXPECT_FALSE(r.state().shown().contains(dune.id));
}

TEST(Canvas, CtrlDragConnectsTwoNodes_AndTheBrushMarksWhatItCrosses) {
    Reading r;
    const QString ada = r.add(r.person, "Ada");
    const QString notes = r.add(r.book, "Notes");
    r.state().put(ada, QPointF(0, 0));
    r.state().put(notes, QPointF(300, 0));
    QTest::keyClick(r.w.window.get(), Qt::Key_0, Qt::ControlModifier);
    settle();
    whenModalShows<ComposerDialog>([&](ComposerDialog* composer) {
        EXPECT_EQ(composer->relPicker()->currentText(), "wrote");
        composer->findChild<QPushButton*>("composerAdd")->click();
    });
    drag(r.canvas(), r.at(ada), r.at(notes), Qt::ControlModifier);
    ASSERT_TRUE(waitUntil([&] { return r.w.session().rels().size() == 1; }, 60000));
    const RelRecord wrote = *r.w.session().rels().begin();
    EXPECT_EQ(wrote.from, ada);
    EXPECT_EQ(wrote.to, notes);
    // The connection didn't move either node.
    EXPECT_EQ(r.state().positions().value(ada), QPointF(0, 0));

    // B picks the brush; a drag across Ada marks her and leaves the book alone.
    r.canvas()->setFocus();
    QTest::keyClick(r.canvas(), Qt::Key_B);
    EXPECT_TRUE(r.canvas()->brushTool());
    EXPECT_TRUE(r.w.view().findChild<QToolButton*>("brushTool")->isChecked());
    drag(r.canvas(), r.at(ada) - QPoint(0, 40), r.at(ada) + QPoint(0, 40));
    RemovalDraft& draft = r.w.session().canvases().removalDraft();
    EXPECT_EQ(draft.stagedForRemoval(), QStringList{ada});
    // With the brush, nothing moved and nothing is deleted yet.
    EXPECT_EQ(r.state().positions().value(ada), QPointF(0, 0));
    EXPECT_TRUE(r.w.session().nodes().contains(ada));
    QTest::keyClick(r.canvas(), Qt::Key_Escape);
    EXPECT_FALSE(r.canvas()->brushTool());

    // The strip offers to delete what was marked; confirmed, Ada and the relationship go, and Undo
    // brings both back.
    ChipStrip* strip = r.w.view().canvasPage()->strip();
    ASSERT_TRUE(strip->removalChip()->isVisible());
    QString title;
    answerNextMessageBox("Delete", &title);
    strip->removeMarkedButton()->click();
    ASSERT_TRUE(waitUntil([&] { return !r.w.session().nodes().contains(ada); }, 60000));
    EXPECT_EQ(title, "Delete 1 node and 1 relationship?");
    EXPECT_TRUE(r.w.session().rels().isEmpty());
    EXPECT_TRUE(draft.stagedForRemoval().isEmpty());
    settle();
    EXPECT_FALSE(strip->removalChip()->isVisible());
    r.w.window->undoStack()->undo();
    EXPECT_TRUE(r.w.session().nodes().contains(ada));
    EXPECT_TRUE(r.w.session().rels().contains(wrote.id));
}

TEST(Canvas, AProjectOpensWithItsNodesLaidOutAndDrawn) {
    Reading r;
    const QString ada = r.add(r.person, "Ada");
    const QString notes = r.add(r.book, "Notes");
    r.w.session().createRelationship(r.w.session().project().schema.relTypes[0].id, ada, notes);
    const Project project = r.w.session().project();
    // Opened afresh with no layout saved: every node of a small graph is on the canvas, and the loop places
    // it.
    r.w.session().close();
    r.w.app->showGallery();
    ASSERT_TRUE(waitUntil([&] { return r.w.app->session() == nullptr; }, 60000));
    QFile::remove(QDir(r.w.dir.filePath("Projects"))
                      .filePath(project.id.toString(QUuid::WithoutBraces).toUpper() + "/layout.json"));
    r.w.app->open(project);
    ASSERT_TRUE(waitUntil([&] { return r.w.app->session() != nullptr; }, 60000));
    settle();
    EXPECT_EQ(r.state().visible().size(), 2);
    ASSERT_TRUE(waitUntil([&] { return r.paint().nodes == 2; }, 60000))
        << "positions " << r.state().positions().size() << " running "
        << r.w.session().canvases().simulation().isRunning() << " frames "
        << r.w.session().canvases().simulation().framesDone() << " painted " << r.paint().nodes << " scale "
        << r.canvas()->viewport().scale << " size " << r.canvas()->width();
    EXPECT_TRUE(r.fullyInView(ada));
    EXPECT_TRUE(r.fullyInView(notes));
}

TEST(Canvas, ClickingWalksOutward_TheBadgeCountsWhatWaits_AndThePagerBringsTheRest) {
    Reading r;
    const QString ada = r.add(r.person, "Ada");
    const QUuid wrote = r.w.session().project().schema.relTypes[0].id;
    for (int i = 0; i < 30; ++i)
        r.w.session().createRelationship(wrote, ada,
                                         r.add(r.book, QStringLiteral("Book %1").arg(i, 2, 10, QChar('0'))));
    r.canvas()->clearCanvas();
    r.canvas()->revealNode(ada);
    settle();
    // The badge beside Ada counts the thirty books off the canvas.
    ASSERT_EQ(r.state().visible().size(), 1);
    r.paint();
    EXPECT_EQ(r.state().hiddenCount(ada).automatic, 30);

    // Ada is selected already, so a click expands her by the click's rule, up to the limit of 25.
    QTest::mouseClick(r.canvas(), Qt::LeftButton, {}, r.at(ada));
    settle();
    EXPECT_EQ(r.state().visible().size(), 26);
    ChipStrip* strip = r.w.view().canvasPage()->strip();
    ASSERT_TRUE(strip->pagerText()->isVisible());
    EXPECT_EQ(strip->pagerText()->text(), "Showing 25 of 30");
    EXPECT_EQ(strip->showMoreButton()->text(), "Show 5 more");
    strip->showMoreButton()->click();
    settle();
    EXPECT_EQ(r.state().visible().size(), 31);
    EXPECT_FALSE(strip->pagerText()->isVisible());
}
