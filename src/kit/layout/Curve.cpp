#include "kit/layout/Curve.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

namespace corvantis {

namespace {

double length(QPointF v) {
    return std::hypot(v.x(), v.y());
}

double distanceToSegment(QPointF p, QPointF a, QPointF b) {
    const QPointF ab = b - a;
    const double squared = QPointF::dotProduct(ab, ab);
    double t = squared > 0 ? QPointF::dotProduct(p - a, ab) / squared : 0;
    t = std::clamp(t, 0.0, 1.0);
    return length(p - (a + ab * t));
}

} // namespace

QPointF Curve::point(double t) const {
    const double u = 1 - t;
    return p0 * (u * u * u) + p1 * (3 * u * u * t) + p2 * (3 * u * t * t) + p3 * (t * t * t);
}

QPointF Curve::tangent(double t) const {
    const double u = 1 - t;
    const QPointF d = (p1 - p0) * (3 * u * u) + (p2 - p1) * (6 * u * t) + (p3 - p2) * (3 * t * t);
    return d / std::max(length(d), 0.0001);
}

std::array<QPointF, 3> Curve::arrowhead(double size, bool atStart) const {
    const QPointF tip = atStart ? p0 : p3;
    const QPointF along = atStart ? -tangent(0) : tangent(1);
    const QPointF normal(-along.y(), along.x());
    const QPointF back = tip - along * size;
    return {tip, back + normal * (size * 0.5), back - normal * (size * 0.5)};
}

double Curve::distance(QPointF target) const {
    constexpr int pieces = 32;
    double best = std::numeric_limits<double>::infinity();
    QPointF previous = p0;
    for (int i = 1; i <= pieces; ++i) {
        const QPointF next = point(double(i) / pieces);
        best = std::min(best, distanceToSegment(target, previous, next));
        previous = next;
    }
    return best;
}

namespace EdgeGeometry {

namespace {

Curve raised(QPointF start, QPointF control, QPointF end) {
    return Curve{start, start + (control - start) * (2.0 / 3.0), end + (control - end) * (2.0 / 3.0), end};
}

Curve loopCurve(QPointF centre, double nodeRadius, double loopRadius) {
    const double width = loopWidth * loopRadius;
    const QPointF start = centre + QPointF(-nodeRadius * 0.5, -nodeRadius);
    const QPointF end = centre + QPointF(nodeRadius * 0.5, -nodeRadius);
    // The top of a cubic lies at ¾ of its inner controls' height: this puts it `loopRadius` above the node.
    const double rise = (loopRadius - nodeRadius * 0.25) * 4.0 / 3.0;
    return Curve{start, centre + QPointF(-width, -rise), centre + QPointF(width, -rise), end};
}

} // namespace

std::vector<EdgeCurve> curves(const std::vector<Edge>& edges, const QHash<QString, QPointF>& positions,
                              const std::function<double(const QString&)>& radius) {
    // Groups by the unordered pair of ends, each group ordered by id.
    QHash<QPair<QString, QString>, std::vector<int>> groups;
    for (int i = 0; i < int(edges.size()); ++i) {
        const Edge& edge = edges[i];
        if (!positions.contains(edge.from) || !positions.contains(edge.to))
            continue;
        groups[qMakePair(std::min(edge.from, edge.to), std::max(edge.from, edge.to))].push_back(i);
    }
    std::vector<std::optional<EdgeCurve>> made(edges.size());
    for (auto it = groups.begin(); it != groups.end(); ++it) {
        std::vector<int>& members = it.value();
        std::sort(members.begin(), members.end(), [&](int a, int b) { return edges[a].id < edges[b].id; });
        const QString& first = it.key().first;
        const double n = double(members.size());
        for (int index = 0; index < int(members.size()); ++index) {
            const Edge& edge = edges[members[index]];
            const QPointF a = positions.value(edge.from);
            EdgeCurve result{edge.id, {}, 0, false, 0};
            if (edge.from == edge.to) {
                result.loop = true;
                result.loopIndex = index;
                result.curve = loopCurve(a, radius(edge.from), index * loopStep + loopBase);
                made[members[index]] = result;
                continue;
            }
            const QPointF b = positions.value(edge.to);
            double bend = (index - (n - 1) / 2) * bendStep;
            if (edge.from != first)
                bend = -bend;
            const QPointF delta = b - a;
            const double distance = length(delta);
            const QPointF d = delta / std::max(distance, 0.001);
            const QPointF normal(-d.y(), d.x());
            const QPointF control = (a + b) / 2 + normal * bend;
            const double cap = distance / shortEdge;
            auto pulled = [&](QPointF centre, const QString& id, QPointF fallback) {
                const QPointF towards = control - centre;
                const double reach = length(towards);
                const QPointF unit = reach > 0.001 ? towards / reach : fallback;
                return centre + unit * std::min(radius(id) + arrowRoom, cap);
            };
            result.bend = bend;
            result.curve = raised(pulled(a, edge.from, d), control, pulled(b, edge.to, -d));
            made[members[index]] = result;
        }
    }
    std::vector<EdgeCurve> out;
    out.reserve(edges.size());
    for (auto& curve : made)
        if (curve)
            out.push_back(std::move(*curve));
    return out;
}

} // namespace EdgeGeometry

} // namespace corvantis
