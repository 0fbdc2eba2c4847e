#pragma once

#include <QHash>
#include <QPointF>
#include <QString>
#include <array>
#include <functional>
#include <vector>

namespace corvantis {

// A cubic Bézier curve: how an edge is drawn and hit.
struct Curve {
    QPointF p0, p1, p2, p3;

    QPointF point(double t) const;
    // The unit direction of travel at t (a derivative shorter than 0.0001 counts as that long).
    QPointF tangent(double t) const;
    // An arrowhead of `size` at the end (or, `atStart`, at the start, pointing backwards): tip, then the
    // two barbs.
    std::array<QPointF, 3> arrowhead(double size, bool atStart = false) const;
    // The distance from a point to the curve, on a polyline of 32 pieces.
    double distance(QPointF point) const;

    bool operator==(const Curve&) const = default;
};

// The curves of a canvas's edges: parallel edges between two nodes bend apart, edges from a node to
// itself become loops above it.
namespace EdgeGeometry {

constexpr double bendStep = 44;   // between neighbouring parallel edges
constexpr double loopBase = 46;   // radius of the first loop on a node
constexpr double loopStep = 18;   // added for each further loop
constexpr double loopWidth = 0.7; // of the radius, to each side
constexpr double arrowRoom = 6;   // left at an end for the arrowhead
constexpr double shortEdge = 2.2; // an end is pulled back at most distance / this

struct Edge {
    QString id;
    QString from;
    QString to;
};

struct EdgeCurve {
    QString id;
    Curve curve;
    double bend = 0; // the control point's offset along the normal of from → to
    bool loop = false;
    int loopIndex = 0; // of a loop: 0 for a node's first
};

// One curve per edge whose two ends have a position, in the order of `edges`. Within a group of edges
// between the same two nodes the order by id decides each one's bend, so curves are stable whatever
// order the edges come in. `radius` gives a node's drawn radius.
std::vector<EdgeCurve> curves(const std::vector<Edge>& edges, const QHash<QString, QPointF>& positions,
                              const std::function<double(const QString&)>& radius);

} // namespace EdgeGeometry

} // namespace corvantis
