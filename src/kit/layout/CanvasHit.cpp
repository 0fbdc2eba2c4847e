#include "kit/layout/CanvasHit.h"

#include <algorithm>
#include <cmath>

namespace corvantis {

namespace CanvasHit {

namespace {
double reachScale(double scale) {
    return std::max(std::min(scale, 1.0), 1e-6);
}
} // namespace

double nodeRadius(int degree) {
    return nodeBaseRadius + std::min(nodeRadiusGrowth, std::sqrt(double(std::max(degree, 0))));
}

std::optional<NodeHit> node(QPointF at, std::span<const DrawnNode> nodes, double scale) {
    const double halo = haloReach / reachScale(scale);
    const DrawnNode* best = nullptr;
    double bestDistance = 0;
    for (const DrawnNode& node : nodes) {
        const double distance = std::hypot(at.x() - node.at.x(), at.y() - node.at.y());
        if (distance > node.radius + halo)
            continue;
        if (!best || distance < bestDistance) {
            best = &node;
            bestDistance = distance;
        }
    }
    if (!best)
        return std::nullopt;
    return NodeHit{best->id, bestDistance > best->radius};
}

std::optional<int> badge(QPointF at, std::span<const Badge> badges) {
    for (int i = int(badges.size()) - 1; i >= 0; --i)
        if (badges[i].rect.adjusted(-badgeMargin, -badgeMargin, badgeMargin, badgeMargin).contains(at))
            return i;
    return std::nullopt;
}

std::optional<int> rel(QPointF at, std::span<const EdgeGeometry::EdgeCurve> curves, double scale) {
    const double reach = edgeReach / reachScale(scale);
    std::optional<int> best;
    double bestDistance = 0;
    for (int i = 0; i < int(curves.size()); ++i) {
        const Curve& curve = curves[i].curve;
        // The control polygon holds the curve: a point far from its box is far from the curve.
        const double left = std::min({curve.p0.x(), curve.p1.x(), curve.p2.x(), curve.p3.x()}) - reach;
        const double right = std::max({curve.p0.x(), curve.p1.x(), curve.p2.x(), curve.p3.x()}) + reach;
        const double top = std::min({curve.p0.y(), curve.p1.y(), curve.p2.y(), curve.p3.y()}) - reach;
        const double bottom = std::max({curve.p0.y(), curve.p1.y(), curve.p2.y(), curve.p3.y()}) + reach;
        if (at.x() < left || at.x() > right || at.y() < top || at.y() > bottom)
            continue;
        const double distance = curve.distance(at);
        if (distance <= reach && (!best || distance < bestDistance)) {
            best = i;
            bestDistance = distance;
        }
    }
    return best;
}

bool chrome(QPointF at, const QRectF& label) {
    return label.adjusted(-chromeMargin, -chromeMargin, chromeMargin, chromeMargin).contains(at);
}

} // namespace CanvasHit

namespace Sunflower {

std::vector<QPointF> points(int count, QPointF centre, bool aroundAnchor, double startAngle) {
    std::vector<QPointF> out;
    out.reserve(std::max(count, 0));
    const double base = aroundAnchor ? anchorClearance : 0;
    const double k = aroundAnchor ? 1 : 0;
    for (int i = 0; i < count; ++i) {
        const double angle = startAngle + i * goldenAngle;
        const double radius = base + std::sqrt(i + k) * step;
        out.push_back(centre + QPointF(std::cos(angle) * radius, std::sin(angle) * radius));
    }
    return out;
}

} // namespace Sunflower

} // namespace corvantis
