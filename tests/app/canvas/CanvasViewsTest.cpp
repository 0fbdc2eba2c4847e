#include "tests/app/canvas/CanvasTestSupport.h"

#include <QSignalSpy>

using namespace corvantis;
using namespace corvantis::test;

TEST(CanvasViews, TheAnswerHasACanvasOfItsOwnWhileItShows) {
    HubWorld w(4, 1);
    CanvasViews& views = w.session->canvases();
    w.session->graphCanvas().cancelSave();
    EXPECT_FALSE(views.showsAnswer());
    EXPECT_EQ(&views.current(), &views.graph());

    QSignalSpy switched(&views, &CanvasViews::showsAnswerChanged);
    // The answer: the hub and three people; one person shows first.
    views.showAnswer({w.hub, w.people[0], w.people[1], w.people[2]}, {w.hub});
    EXPECT_TRUE(views.showsAnswer());
    EXPECT_EQ(switched.size(), 1);
    EXPECT_EQ(&views.current(), &views.answer());
    EXPECT_EQ(views.answer().shown(), QSet<QString>{w.hub});
    EXPECT_EQ(views.graph().shown(), QSet<QString>{w.hub}); // untouched

    // The hub's neighbours in the answer, and those of them off the canvas.
    EXPECT_EQ(views.answer().answerNeighbours(w.hub), (QSet<QString>{w.people[0], w.people[1], w.people[2]}));
    EXPECT_EQ(views.answer().hiddenAnswerNeighbours(w.hub).size(), 3);
    views.answer().clickBadge(w.hub);
    EXPECT_EQ(views.answer().shown().size(), 4);
    EXPECT_TRUE(views.answer().hiddenAnswerNeighbours(w.hub).isEmpty());
    EXPECT_FALSE(views.answer().shown().contains(w.books[0])); // not part of the answer

    // A near filter keeps the node and its neighbours in the answer.
    views.answer().updateLens([&](CanvasLens& lens) { lens.filter.near = w.people[0]; });
    EXPECT_EQ(views.answer().visible(), (QSet<QString>{w.people[0], w.hub}));

    views.hideAnswer();
    EXPECT_FALSE(views.showsAnswer());
    EXPECT_TRUE(views.answer().shown().isEmpty());
    EXPECT_EQ(&views.current(), &views.graph());
    views.simulation().stop();
}

TEST(CanvasViews, ConnectionsTheTableHiddenAndAViewportFit) {
    HubWorld w(2, 1);
    CanvasViews& views = w.session->canvases();
    CanvasState& canvas = views.graph();
    const QString loop = w.link("KNOWS", w.hub, w.hub);
    const CanvasState::Connections connections = canvas.connections(w.hub);
    EXPECT_EQ(connections.rels.size(), 4);
    EXPECT_TRUE(connections.rels.contains(loop));
    EXPECT_EQ(QSet<QString>(connections.neighbours.begin(), connections.neighbours.end()),
              (QSet<QString>{w.people[0], w.people[1], w.books[0]}));

    // The table's hidden records are forgotten with the records.
    views.setTableHidden({w.people[0], w.books[0]});
    w.session->deleteNode(w.people[0]);
    EXPECT_EQ(views.tableHidden(), QSet<QString>{w.books[0]});

    // The visible rect follows the viewport; a fit centres the nodes.
    Viewport viewport;
    viewport.scale = 0.5;
    viewport.offset = QPointF(100, 100);
    canvas.setViewport(viewport, QSizeF(800, 600));
    EXPECT_EQ(canvas.visibleRect(), QRectF(-200, -200, 1600, 1200));
    EXPECT_EQ(canvas.viewCentre(), QPointF(600, 400));
    canvas.put(w.hub, QPointF(1000, 1000));
    QSignalSpy fitted(&canvas, &CanvasState::viewportChanged);
    canvas.fitGraph({w.hub}, true);
    ASSERT_EQ(fitted.size(), 1);
    EXPECT_TRUE(fitted.first().first().toBool());
    EXPECT_EQ(canvas.viewport().toScreen(QPointF(1000, 1000)), QPointF(400, 300));
    views.simulation().stop();
}
