#include "kit/layout/Viewport.h"

#include <algorithm>

namespace corvantis {

QRectF Viewport::visibleRect(QSizeF viewSize) const {
    return QRectF(toWorld(QPointF(0, 0)), toWorld(QPointF(viewSize.width(), viewSize.height())));
}

void Viewport::fit(std::span<const QPointF> points, const QRectF& rect, double padding,
                   const QDateTime& now) {
    if (points.empty() || rect.width() <= 0 || rect.height() <= 0)
        return;
    double minX = points.front().x(), maxX = minX, minY = points.front().y(), maxY = minY;
    for (const QPointF& point : points) {
        minX = std::min(minX, point.x());
        maxX = std::max(maxX, point.x());
        minY = std::min(minY, point.y());
        maxY = std::max(maxY, point.y());
    }
    const double insetX = std::min(rect.width() * 0.25, padding);
    const double insetY = std::min(rect.height() * 0.25, padding);
    const QRectF inner = rect.adjusted(insetX, insetY, -insetX, -insetY);
    const double width = maxX - minX;
    const double height = maxY - minY;
    double fitted = inner.width() / std::max(width, 1.0);
    if (height > 1)
        fitted = std::min(fitted, inner.height() / height);
    scale = std::clamp(fitted, minScale, maxFitScale);
    const QPointF middle((minX + maxX) / 2, (minY + maxY) / 2);
    offset = rect.center() - middle * scale;
    isPlaced = true;
    placedAt = now;
}

void Viewport::zoom(double factor, QPointF about) {
    const QPointF world = toWorld(about);
    scale = std::clamp(scale * factor, minScale, maxScale);
    offset = about - world * scale;
}

} // namespace corvantis
