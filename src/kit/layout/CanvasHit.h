#pragma once

#include "kit/layout/Curve.h"

#include <QPointF>
#include <QRectF>
#include <QString>
#include <optional>
#include <span>
#include <vector>

namespace corvantis {

// A node as the canvas draws it.
struct DrawnNode {
    QString id;
    QPointF at;
    double radius = 8;
};

// The small count beside a node with hidden neighbours.
struct Badge {
    QString id; // the node's
    QRectF rect;
    QString text;
    bool muted = false;   // only neighbours that come when asked
    bool results = false; // the answer's own hidden neighbours
    bool operator==(const Badge&) const = default;
};

// What lies under a point of a canvas, all in world coordinates. Tolerances are screen points at a scale
// of 1 and grow as the canvas zooms out (they are divided by min(scale, 1)).
namespace CanvasHit {

constexpr double nodeBaseRadius = 8;
constexpr double nodeRadiusGrowth = 5;
constexpr double haloReach = 16;
constexpr double badgeMargin = 3;
constexpr double edgeReach = 7;
constexpr double chromeMargin = 2;

// The drawn radius of a node: 8, growing with its degree by up to 5.
double nodeRadius(int degree);

struct NodeHit {
    QString id;
    bool inHalo = false; // outside the disc itself, in the ring round it
    bool operator==(const NodeHit&) const = default;
};
// The node whose centre is nearest among those within their radius + 16 / min(scale, 1).
std::optional<NodeHit> node(QPointF at, std::span<const DrawnNode> nodes, double scale);
// The index of the badge whose rect, grown by 3, holds the point (the last drawn wins).
std::optional<int> badge(QPointF at, std::span<const Badge> badges);
// The index of the nearest curve within 7 / min(scale, 1).
std::optional<int> rel(QPointF at, std::span<const EdgeGeometry::EdgeCurve> curves, double scale);
// Whether a label of the lens's chrome (grown by 2) holds the point; chrome wins over everything else.
bool chrome(QPointF at, const QRectF& label);

} // namespace CanvasHit

// Where new nodes go round a centre: a sunflower, each at the golden angle from the one before and a
// little farther out, so that none lands on another. Around an anchor the first ring keeps clear of it.
namespace Sunflower {

constexpr double goldenAngle = 2.399963;
constexpr double step = 46;
constexpr double anchorClearance = 110;

// The points for `count` nodes, starting at `startAngle` (radians); `aroundAnchor` keeps them off the
// centre.
std::vector<QPointF> points(int count, QPointF centre, bool aroundAnchor, double startAngle);

} // namespace Sunflower

} // namespace corvantis
