#include "tests/app/canvas/CanvasTestSupport.h"

#include <QFile>
#include <QSignalSpy>
#include <QTest>

using namespace corvantis;
using namespace corvantis::test;

namespace {

std::optional<GraphLayout> layoutFile(SessionWorld& world, const QUuid& project) {
    QFile file(world.library.folder(project) + "/layout.json");
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    try {
        return GraphLayout::fromJson(json::decodeObject(file.readAll()));
    } catch (const json::DecodeError&) {
        return std::nullopt; // caught between the temporary file and its move: try again
    }
}

} // namespace

TEST(CanvasLoop, RevealedNodesSpreadOnAWorkerAndTheLoopEnds) {
    HubWorld w(12, 0);
    CanvasSimulation& simulation = w.session->canvases().simulation();
    CanvasState& canvas = w.canvas();
    // Taking the others off warmed the loop a little; let it end first, so that what comes on warms it.
    QTRY_VERIFY_WITH_TIMEOUT(!simulation.isRunning(), 60000);
    EXPECT_EQ(canvas.expand(w.hub, Expansion::click()), 12);
    EXPECT_TRUE(simulation.isRunning());
    EXPECT_GE(simulation.alpha(), 0.5);
    const QHash<QString, QPointF> before = canvas.positions();

    QSignalSpy framed(&simulation, &CanvasSimulation::framed);
    QTRY_VERIFY_WITH_TIMEOUT(framed.size() >= 3, 20000);
    int moved = 0;
    for (const QString& id : w.people)
        moved += canvas.positions().value(id) != before.value(id) ? 1 : 0;
    EXPECT_EQ(moved, 12);
    // The loop cools and stops on its own; the layout save follows it.
    QTRY_VERIFY_WITH_TIMEOUT(!simulation.isRunning(), 60000);
    EXPECT_LT(simulation.alpha(), 0.008);
    EXPECT_TRUE(w.session->graphCanvas().isSavePending() || layoutFile(w.world, w.project.id));
    EXPECT_GT(simulation.framesDone(), 10);
}

TEST(CanvasLoop, ADragPinsTheNodeAndTheLayoutFileHoldsTheDropPoint) {
    HubWorld w(3, 0);
    CanvasState& canvas = w.canvas();
    CanvasViews& views = w.session->canvases();
    canvas.expand(w.hub, Expansion::click());
    const QString dragged = w.people[1];
    const QPointF drop(512.5, -301.25);

    views.dragTo(dragged, QPointF(200, 200));
    EXPECT_EQ(views.simulation().dragging(), dragged);
    views.dragTo(dragged, drop);
    views.endDrag();
    EXPECT_FALSE(views.simulation().dragging());
    EXPECT_TRUE(canvas.pinned().contains(dragged));
    EXPECT_EQ(canvas.positions().value(dragged), drop);

    // The layout file comes 0.6 s after the last change, the simulation's end included.
    QTRY_VERIFY_WITH_TIMEOUT(
        [&] {
            const auto saved = layoutFile(w.world, w.project.id);
            return saved && saved->pinned.contains(dragged) &&
                   saved->positions.value(dragged) == (LayoutPoint{drop.x(), drop.y()}) &&
                   !views.simulation().isRunning() && !canvas.isSavePending();
        }(),
        60000);
    // The simulation moved the others but never the pinned node.
    EXPECT_EQ(canvas.positions().value(dragged), drop);

    // Unpinning warms the simulation to 0.4; the node is free again.
    canvas.unpin(dragged);
    EXPECT_FALSE(canvas.pinned().contains(dragged));
    EXPECT_GE(views.simulation().alpha(), 0.4);
}

TEST(CanvasLoop, UnderAnArrangementADragKeepsTheFreePositionApart) {
    HubWorld w(3, 0);
    CanvasState& canvas = w.canvas();
    canvas.expand(w.hub, Expansion::click());
    canvas.updateLens([](CanvasLens& lens) { lens.sort = LensKey::title(); });
    ASSERT_NE(canvas.arranged(), nullptr);
    w.session->canvases().dragTo(w.people[0], QPointF(40, 40));
    w.session->canvases().endDrag();
    EXPECT_EQ(canvas.pinnedHome().value(w.people[0]), QPointF(40, 40));
    EXPECT_EQ(w.session->graphCanvas().layout().positions.value(w.people[0]), (LayoutPoint{40, 40}));
    w.session->canvases().simulation().stop();
}
