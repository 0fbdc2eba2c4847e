#pragma once

#include <QDateTime>
#include <QPointF>
#include <QRectF>
#include <QSizeF>
#include <optional>
#include <span>

namespace corvantis {

// How a canvas maps the world onto the screen: a world point p stands at p × scale + offset. The graph
// and the shape each keep one.
struct Viewport {
    // A fit never magnifies; zooming by hand goes from `minScale` up to `maxScale`.
    static constexpr double minScale = 0.15;
    static constexpr double maxFitScale = 1.0;
    static constexpr double maxScale = 3.0;

    QPointF offset; // in screen points
    double scale = 1;
    bool isPlaced = false; // set by the first fit; a view fits an unplaced viewport when it first lays out
    std::optional<QDateTime> placedAt;

    QPointF toScreen(QPointF world) const { return world * scale + offset; }
    QPointF toWorld(QPointF screen) const { return (screen - offset) / scale; }
    // The part of the world a view of `viewSize` shows.
    QRectF visibleRect(QSizeF viewSize) const;

    // Fits the points into `rect` (screen points) with `padding` round them: the scale that shows all of
    // them, clamped to `minScale` … `maxFitScale`, and their middle at the middle of the rect. No points,
    // or a rect without area: nothing changes.
    void fit(std::span<const QPointF> points, const QRectF& rect, double padding,
             const QDateTime& now = QDateTime::currentDateTimeUtc());
    // Multiplies the scale by `factor` (clamped to `minScale` … `maxScale`) keeping the screen point
    // `about` still. Ctrl+scroll zooms about the pointer; the controls zoom about the view's middle.
    void zoom(double factor, QPointF about);
    // Moves the world by a screen distance (a plain scroll, or a pan drag).
    void pan(QPointF delta) { offset += delta; }

    bool operator==(const Viewport&) const = default;
};

} // namespace corvantis
