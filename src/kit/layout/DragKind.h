#pragma once

#include <QDateTime>
#include <QHash>
#include <QPointF>
#include <QString>
#include <cmath>
#include <variant>

namespace corvantis {

// What a drag on a canvas does, decided by what lay under the pointer at the press.
namespace Drag {

// A press becomes a drag after this much travel (screen points); less is a click.
constexpr double threshold = 3;

struct Pan {
    QPointF startOffset; // the viewport's offset at the press
    bool operator==(const Pan&) const = default;
};
struct Move {
    QString id;
    QPointF start; // the node's world position at the press
    bool operator==(const Move&) const = default;
};
struct MoveGroup {
    QString id; // the node pressed
    QHash<QString, QPointF> starts;
    bool operator==(const MoveGroup&) const = default;
};
struct Connect {
    QString id; // the node the line starts from
    bool operator==(const Connect&) const = default;
};
struct Brush {
    double radius = 0; // world units
    bool operator==(const Brush&) const = default;
};
struct Marquee {
    bool operator==(const Marquee&) const = default;
};

inline bool isDrag(QPointF press, QPointF now) {
    return std::hypot(now.x() - press.x(), now.y() - press.y()) >= threshold;
}

} // namespace Drag

using DragKind =
    std::variant<Drag::Pan, Drag::Move, Drag::MoveGroup, Drag::Connect, Drag::Brush, Drag::Marquee>;

// The last click on a node, to tell a double click and not to expand twice in a quick pair.
struct LastClick {
    static constexpr double doubleClickSeconds = 0.35;
    static constexpr double doubleClickDistance = 6;

    QDateTime time;
    QPointF point; // screen points
    bool expanded = false;

    // Whether a click at `at` now makes a double click with this one.
    bool pairsWith(const QDateTime& now, QPointF at) const {
        return time.isValid() && time.msecsTo(now) <= qint64(doubleClickSeconds * 1000) &&
               time.msecsTo(now) >= 0 &&
               std::hypot(at.x() - point.x(), at.y() - point.y()) <= doubleClickDistance;
    }
};

} // namespace corvantis
