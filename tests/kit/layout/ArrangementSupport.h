#pragma once

#include "kit/layout/Arrangement.h"

#include <QPointF>
#include <cmath>
#include <optional>

namespace corvantis::test {

inline Arrangement::Item numbered(const QString& id, double value,
                                  std::optional<QString> lane = std::nullopt) {
    return Arrangement::Item{id, ArrangeValue(value), std::move(lane)};
}

inline Arrangement::Item texted(const QString& id, const QString& value,
                                std::optional<QString> lane = std::nullopt) {
    return Arrangement::Item{id, ArrangeValue(value), std::move(lane)};
}

inline Arrangement::Item bare(const QString& id, std::optional<QString> lane = std::nullopt) {
    return Arrangement::Item{id, std::nullopt, std::move(lane)};
}

// The point a fixed-target guide leads to.
inline QPointF target(const Arrangement& arrangement, const QString& id) {
    const ForceLayout::Guide guide = arrangement.guides.value(id);
    return QPointF(guide.x.value_or(NAN), guide.y.value_or(NAN));
}

// Angle of a point around the origin, 0 up and growing clockwise, in [0, 2π).
inline double clockAngle(QPointF point) {
    double angle = std::atan2(point.x(), -point.y());
    return angle < 0 ? angle + 2 * M_PI : angle;
}

} // namespace corvantis::test
