#include "kit/layout/CanvasHit.h"
#include "kit/layout/Curve.h"
#include "kit/layout/DragKind.h"
#include "kit/layout/Viewport.h"

#include <QRandomGenerator>
#include <cmath>
#include <gtest/gtest.h>

using namespace corvantis;

namespace {

double along(QPointF v, QPointF unit) {
    return QPointF::dotProduct(v, unit);
}

std::function<double(const QString&)> radiusOf(double r) {
    return [r](const QString&) {
        return r;
    };
}

} // namespace

TEST(ViewportTest, FitsPointsIntoARectWithoutMagnifying) {
    Viewport viewport;
    const QDateTime now = QDateTime::fromString("2026-01-02T03:04:05Z", Qt::ISODate);
    // One point: scale 1, the point in the middle.
    const std::vector<QPointF> one{{500, -200}};
    viewport.fit(one, QRectF(0, 0, 800, 600), 40, now);
    EXPECT_DOUBLE_EQ(viewport.scale, 1.0);
    EXPECT_EQ(viewport.toScreen(one[0]), QPointF(400, 300));
    EXPECT_TRUE(viewport.isPlaced);
    EXPECT_EQ(viewport.placedAt, now);

    // Wide bounds: the width decides; inset by min(width / 4, padding) on each side.
    const std::vector<QPointF> wide{{0, 0}, {4000, 100}};
    viewport.fit(wide, QRectF(0, 0, 1000, 600), 100, now);
    EXPECT_DOUBLE_EQ(viewport.scale, (1000 - 200) / 4000.0);
    EXPECT_EQ(viewport.toScreen(QPointF(2000, 50)), QPointF(500, 300));

    // Tall bounds: the height decides, and a padding larger than a quarter of the side is cut to it.
    const std::vector<QPointF> tall{{0, 0}, {10, 2000}};
    viewport.fit(tall, QRectF(100, 100, 400, 400), 500, now);
    // 400 - 2 × 100 = 200 for 2000 high: 0.1, clamped.
    EXPECT_DOUBLE_EQ(viewport.scale, 0.15);

    // Bounds at most 1 high leave the height out: a row of points fits on its width.
    const std::vector<QPointF> row{{0, 0}, {600, 1}};
    viewport.fit(row, QRectF(0, 0, 1000, 100), 20, now);
    EXPECT_DOUBLE_EQ(viewport.scale, 1.0); // 960 / 600, clamped
    const std::vector<QPointF> row2{{0, 0}, {3000, 0.5}};
    viewport.fit(row2, QRectF(0, 0, 1000, 100), 20, now);
    EXPECT_DOUBLE_EQ(viewport.scale, 960 / 3000.0);
}

TEST(ViewportTest, FitWithNothingToFitChangesNothing) {
    Viewport viewport;
    viewport.offset = QPointF(7, 9);
    viewport.scale = 2;
    const Viewport before = viewport;
    viewport.fit(std::vector<QPointF>{}, QRectF(0, 0, 100, 100), 10);
    EXPECT_EQ(viewport, before);
    const std::vector<QPointF> points{{1, 1}};
    viewport.fit(points, QRectF(0, 0, 100, 0), 10);
    EXPECT_EQ(viewport, before);
}

TEST(ViewportTest, ZoomKeepsThePointStillAndClamps) {
    Viewport viewport;
    viewport.offset = QPointF(30, -20);
    viewport.scale = 0.5;
    const QPointF about(400, 300);
    const QPointF world = viewport.toWorld(about);
    viewport.zoom(2, about);
    EXPECT_DOUBLE_EQ(viewport.scale, 1.0);
    EXPECT_NEAR(viewport.toScreen(world).x(), 400, 1e-9);
    EXPECT_NEAR(viewport.toScreen(world).y(), 300, 1e-9);
    viewport.zoom(100, about);
    EXPECT_DOUBLE_EQ(viewport.scale, 3.0);
    viewport.zoom(0.0001, about);
    EXPECT_DOUBLE_EQ(viewport.scale, 0.15);
    EXPECT_NEAR(viewport.toScreen(world).x(), 400, 1e-9);

    // The visible rect is the view's corners taken back into the world.
    viewport.offset = QPointF(100, 50);
    viewport.scale = 2;
    EXPECT_EQ(viewport.visibleRect(QSizeF(800, 600)), QRectF(-50, -25, 400, 300));
}

TEST(CurveTest, PointTangentArrowheadAndDistance) {
    const Curve line{{0, 0}, {10, 0}, {20, 0}, {30, 0}};
    EXPECT_EQ(line.point(0), QPointF(0, 0));
    EXPECT_EQ(line.point(1), QPointF(30, 0));
    EXPECT_EQ(line.point(0.5), QPointF(15, 0));
    EXPECT_EQ(line.tangent(0.3), QPointF(1, 0));
    EXPECT_NEAR(line.distance(QPointF(12, 5)), 5, 1e-9);
    EXPECT_NEAR(line.distance(QPointF(-4, 3)), 5, 1e-9);

    const auto head = line.arrowhead(10);
    EXPECT_EQ(head[0], QPointF(30, 0));
    EXPECT_EQ(head[1], QPointF(20, 5));
    EXPECT_EQ(head[2], QPointF(20, -5));
    const auto tail = line.arrowhead(10, true);
    EXPECT_EQ(tail[0], QPointF(0, 0));
    EXPECT_DOUBLE_EQ(tail[1].x(), 10);

    // A curve of one point has no direction; the tangent stays finite.
    const Curve dot{{5, 5}, {5, 5}, {5, 5}, {5, 5}};
    const QPointF t = dot.tangent(0.5);
    EXPECT_TRUE(std::isfinite(t.x()) && std::isfinite(t.y()));
}

TEST(EdgeCurvesTest, ThreeParallelEdgesBendApartAndReversedOnesDoNotCross) {
    const QHash<QString, QPointF> positions{{"a", {0, 0}}, {"b", {300, 0}}};
    // Given out of order: the bend follows the order by id. r2 runs against the pair's order.
    const std::vector<EdgeGeometry::Edge> edges{{"r3", "a", "b"}, {"r1", "a", "b"}, {"r2", "b", "a"}};
    const auto curves = EdgeGeometry::curves(edges, positions, radiusOf(10));
    ASSERT_EQ(curves.size(), 3u);
    EXPECT_EQ(curves[0].id, "r3");
    EXPECT_DOUBLE_EQ(curves[1].bend, -44);  // r1
    EXPECT_DOUBLE_EQ(curves[2].bend, -0.0); // r2, the middle one, straight
    EXPECT_DOUBLE_EQ(curves[0].bend, 44);   // r3

    // In the pair's own frame (a → b, normal (0, 1)) the quadratic's control points lie at -44, 0 and 44,
    // ordered by id whatever each edge's direction, and so do the curves' middles: no two arcs cross.
    const QPointF normal(0, 1);
    auto control = [](const Curve& c) {
        return c.p0 + (c.p1 - c.p0) * 1.5;
    };
    EXPECT_NEAR(along(control(curves[1].curve), normal), -44, 1e-9);
    EXPECT_NEAR(along(control(curves[2].curve), normal), 0, 1e-9);
    EXPECT_NEAR(along(control(curves[0].curve), normal), 44, 1e-9);
    EXPECT_EQ(control(curves[0].curve) - control(curves[1].curve), QPointF(0, 88));
    EXPECT_LT(along(curves[1].curve.point(0.5), normal), -20);
    EXPECT_NEAR(along(curves[2].curve.point(0.5), normal), 0, 1e-9);
    EXPECT_GT(along(curves[0].curve.point(0.5), normal), 20);

    // The reversed edge starts at b and ends at a, pulled back by radius + arrow room.
    EXPECT_EQ(curves[2].curve.p0, QPointF(300 - 10 - EdgeGeometry::arrowRoom, 0));
    EXPECT_EQ(curves[2].curve.p3, QPointF(10 + EdgeGeometry::arrowRoom, 0));

    // A reversed pair of two: ±22 in the pair frame, on opposite sides.
    const std::vector<EdgeGeometry::Edge> two{{"x", "b", "a"}, {"y", "a", "b"}};
    const auto pair = EdgeGeometry::curves(two, positions, radiusOf(10));
    EXPECT_NEAR(along(control(pair[0].curve), normal), -22, 1e-9);
    EXPECT_NEAR(along(control(pair[1].curve), normal), 22, 1e-9);
}

TEST(EdgeCurvesTest, ShortEdgesKeepALineAndCoincidentNodesStayFinite) {
    const QHash<QString, QPointF> near{{"a", {0, 0}}, {"b", {22, 0}}};
    const auto curves = EdgeGeometry::curves({{"r", "a", "b"}}, near, radiusOf(13));
    ASSERT_EQ(curves.size(), 1u);
    // Ends pulled back at most 22 / 2.2 = 10 each: 2 points of line remain.
    EXPECT_NEAR(curves[0].curve.p0.x(), 10, 1e-9);
    EXPECT_NEAR(curves[0].curve.p3.x(), 12, 1e-9);

    const QHash<QString, QPointF> same{{"a", {5, 5}}, {"b", {5, 5}}};
    const auto stacked = EdgeGeometry::curves({{"r", "a", "b"}, {"s", "a", "b"}}, same, radiusOf(10));
    ASSERT_EQ(stacked.size(), 2u);
    for (const auto& edge : stacked)
        for (QPointF p : {edge.curve.p0, edge.curve.p1, edge.curve.p2, edge.curve.p3})
            EXPECT_TRUE(std::isfinite(p.x()) && std::isfinite(p.y()));

    // An edge whose end has no position has no curve.
    EXPECT_TRUE(EdgeGeometry::curves({{"r", "a", "zz"}}, near, radiusOf(10)).empty());
}

TEST(EdgeCurvesTest, LoopsGrowOutwardOnTheirNode) {
    const QHash<QString, QPointF> positions{{"a", {100, 100}}};
    const auto curves = EdgeGeometry::curves({{"l2", "a", "a"}, {"l1", "a", "a"}}, positions, radiusOf(10));
    ASSERT_EQ(curves.size(), 2u);
    EXPECT_TRUE(curves[0].loop);
    EXPECT_EQ(curves[1].loopIndex, 0); // l1 comes first by id
    EXPECT_EQ(curves[0].loopIndex, 1);
    // The top of each loop lies its radius above the centre: 46, then 64.
    EXPECT_NEAR(curves[1].curve.point(0.5).y(), 100 - 46, 1e-9);
    EXPECT_NEAR(curves[0].curve.point(0.5).y(), 100 - 64, 1e-9);
    // It leaves and returns to the node, 0.7 × radius wide to each side at its controls.
    EXPECT_NEAR(curves[1].curve.p2.x() - 100, 0.7 * 46, 1e-9);
    EXPECT_NEAR(curves[1].curve.p1.x() - 100, -0.7 * 46, 1e-9);
    EXPECT_LT(std::hypot(curves[1].curve.p0.x() - 100, curves[1].curve.p0.y() - 100), 12);
}

TEST(CanvasHitTest, NodesHalosBadgesEdgesAndChrome) {
    EXPECT_DOUBLE_EQ(CanvasHit::nodeRadius(0), 8);
    EXPECT_DOUBLE_EQ(CanvasHit::nodeRadius(4), 10);
    EXPECT_DOUBLE_EQ(CanvasHit::nodeRadius(1000), 13);

    const std::vector<DrawnNode> nodes{{"a", {0, 0}, 10}, {"b", {60, 0}, 10}};
    EXPECT_EQ(CanvasHit::node(QPointF(3, 0), nodes, 1), (CanvasHit::NodeHit{"a", false}));
    EXPECT_EQ(CanvasHit::node(QPointF(22, 0), nodes, 1), (CanvasHit::NodeHit{"a", true}));
    EXPECT_EQ(CanvasHit::node(QPointF(35, 0), nodes, 1), (CanvasHit::NodeHit{"b", true}));
    EXPECT_EQ(CanvasHit::node(QPointF(55, 0), nodes, 1), (CanvasHit::NodeHit{"b", false}));
    EXPECT_FALSE(CanvasHit::node(QPointF(0, 27), nodes, 1));
    // Zoomed out to a half, the halo reaches twice as far in the world; zoomed in, no less than 16.
    EXPECT_EQ(CanvasHit::node(QPointF(0, 40), nodes, 0.5), (CanvasHit::NodeHit{"a", true}));
    EXPECT_FALSE(CanvasHit::node(QPointF(0, 27), nodes, 3));

    const std::vector<Badge> badges{{"a", QRectF(10, 10, 20, 12), "3", false, false}};
    EXPECT_EQ(CanvasHit::badge(QPointF(8, 9), badges), 0);
    EXPECT_FALSE(CanvasHit::badge(QPointF(6, 9), badges));

    const QHash<QString, QPointF> positions{{"a", {0, 0}}, {"b", {200, 0}}};
    const auto curves = EdgeGeometry::curves({{"r1", "a", "b"}, {"r2", "a", "b"}}, positions, radiusOf(10));
    EXPECT_EQ(CanvasHit::rel(QPointF(100, -22 + 5), curves, 1), 0);
    EXPECT_EQ(CanvasHit::rel(QPointF(100, 22 - 5), curves, 1), 1);
    EXPECT_FALSE(CanvasHit::rel(QPointF(100, 0), curves, 1));
    EXPECT_EQ(CanvasHit::rel(QPointF(100, 0), curves, 0.25), 0);

    EXPECT_TRUE(CanvasHit::chrome(QPointF(-1.5, 0), QRectF(0, 0, 10, 10)));
    EXPECT_FALSE(CanvasHit::chrome(QPointF(-2.5, 0), QRectF(0, 0, 10, 10)));
}

TEST(SunflowerTest, SpreadsRoundACentreFromASeededAngle) {
    QRandomGenerator first(42), second(42);
    const double a0 = first.bounded(2 * M_PI);
    EXPECT_DOUBLE_EQ(a0, second.bounded(2 * M_PI));

    const auto free = Sunflower::points(3, QPointF(10, 20), false, a0);
    ASSERT_EQ(free.size(), 3u);
    EXPECT_EQ(free[0], QPointF(10, 20)); // radius sqrt(0) × 46
    EXPECT_NEAR(std::hypot(free[1].x() - 10, free[1].y() - 20), 46, 1e-9);
    EXPECT_NEAR(free[1].x(), 10 + std::cos(a0 + 2.399963) * 46, 1e-9);
    EXPECT_NEAR(std::hypot(free[2].x() - 10, free[2].y() - 20), std::sqrt(2.0) * 46, 1e-9);

    const auto anchored = Sunflower::points(2, QPointF(0, 0), true, 0);
    EXPECT_NEAR(anchored[0].x(), 110 + 46, 1e-9);
    EXPECT_NEAR(std::hypot(anchored[1].x(), anchored[1].y()), 110 + std::sqrt(2.0) * 46, 1e-9);

    // No two of many land on one another.
    const auto many = Sunflower::points(200, QPointF(0, 0), true, a0);
    for (size_t i = 0; i < many.size(); ++i)
        for (size_t j = i + 1; j < many.size(); ++j)
            ASSERT_GT(std::hypot(many[i].x() - many[j].x(), many[i].y() - many[j].y()), 20) << i << " " << j;
}

TEST(DragTest, ThresholdAndDoubleClick) {
    EXPECT_FALSE(Drag::isDrag(QPointF(0, 0), QPointF(2, 0)));
    EXPECT_TRUE(Drag::isDrag(QPointF(0, 0), QPointF(3, 0)));

    const QDateTime t0 = QDateTime::fromMSecsSinceEpoch(1'000'000, Qt::UTC);
    const LastClick last{t0, QPointF(100, 100), false};
    EXPECT_TRUE(last.pairsWith(t0.addMSecs(350), QPointF(104, 104)));
    EXPECT_FALSE(last.pairsWith(t0.addMSecs(351), QPointF(100, 100)));
    EXPECT_FALSE(last.pairsWith(t0.addMSecs(100), QPointF(107, 100)));
    EXPECT_FALSE(LastClick{}.pairsWith(t0, QPointF(0, 0)));

    DragKind kind = Drag::Brush{20};
    EXPECT_TRUE(std::holds_alternative<Drag::Brush>(kind));
    EXPECT_EQ(kind.index(), 4u);
}
