#pragma once

#include "kit/layout/CanvasHit.h"
#include "kit/layout/DragKind.h"
#include "kit/layout/Viewport.h"

#include <QHash>
#include <QImage>
#include <QLineF>
#include <QPointer>
#include <QSet>
#include <QUuid>
#include <QWidget>
#include <optional>
#include <vector>

class QMenu;

namespace corvantis {

class CanvasState;
class ProjectSession;

// The canvas of the graph view: the nodes on it in their type's colour with their titles, the
// relationships between them as curves with arrowheads, the selection, the marquee, the brush's marks
// and the line of a connection being drawn. It paints only what the viewport shows and drops detail
// that can't be read at the scale (labels, then arrowheads, then smoothing).
//
// Pointer input becomes the session's operations: a press that travels 3 points is a drag of the kind
// that what lay under it decides (pan, marquee with Shift, move, connect from the halo or with Ctrl,
// brush while the brush tool is picked); a shorter one is a click. Ctrl+scroll zooms about the pointer,
// a plain scroll pans.
class CanvasView : public QWidget {
    Q_OBJECT
public:
    explicit CanvasView(QWidget* parent = nullptr);
    void setSession(ProjectSession* session);

    // The viewport of the current canvas (the graph's, or the answer's while one shows).
    const Viewport& viewport() const;
    void setViewport(const Viewport& viewport);

    bool brushTool() const { return m_brushTool; }
    void setBrushTool(bool on);
    // The nodes the brush has marked in the drag now under way.
    const QSet<QString>& brushMarks() const { return m_marks; }

    // Brings the nodes of a type onto the canvas, scattered round the middle of the view, and fits.
    void showType(const QUuid& type);
    // Brings one node onto the canvas (in the middle of the view if it wasn't there), selects it and
    // centres the view on it.
    void revealNode(const QString& id);
    // Fits every node on the canvas into the view (Zoom to Fit).
    void zoomToFit();
    // Takes every node off the canvas (Clear Canvas); the graph keeps them.
    void clearCanvas();

    // The screen point of a node on the canvas, if it has a position.
    std::optional<QPointF> screenPoint(const QString& id) const;

    // What the last paint drew, for the views' tests and the benchmark.
    struct PaintStats {
        int nodes = 0;
        int edges = 0;
        int labels = 0;
        int arrowheads = 0;
    };
    const PaintStats& lastPaint() const { return m_stats; }

signals:
    void brushToolChanged();
    void viewportChanged();
    // A connection drawn from a node was let go: over another node (`to` set) or on empty canvas.
    // A click on a node, before the canvas selects it (the explore state machine answers it).
    void nodeClicked(const QString& id, QPointF screen);
    // A brush drag ended, having marked these nodes.
    void brushed(const QSet<QString>& ids);
    // The context menu is being built for these nodes (none: the empty canvas); add to it.
    void menuRequested(QMenu* menu, const QSet<QString>& targets);
    void connectionDrawn(const QString& from, const std::optional<QString>& to, QPointF world);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    // A node as painted: what doesn't change from frame to frame until the records or the canvas do.
    struct Item {
        QString id;
        QString title;
        int colour = 0; // index into m_colours
        float radius = 8;
    };
    struct Edge {
        QString id;
        int from = 0;
        int to = 0;
        bool straight = true; // neither a loop nor one of several between two nodes
    };

    CanvasState* state() const;
    void bindState();
    void rebuild();
    void ensureBuilt();
    void markDirty();
    void paintCanvas(QPainter& painter, const QRect& area);
    const QImage& sprite(int colour, double radius, bool ring);
    std::vector<DrawnNode> drawnNodes() const;
    std::optional<CanvasHit::NodeHit> nodeAt(QPointF screen) const;
    std::optional<QString> relAt(QPointF screen) const;
    // The counts of hidden neighbours beside the nodes in view, in screen points.
    std::vector<Badge> badges() const;
    void beginDrag(QPointF at, Qt::KeyboardModifiers modifiers);
    void click(QPointF at, Qt::KeyboardModifiers modifiers);
    void brushAt(QPointF screen);
    void fitIfUnplaced();
    void syncBuiltKey();

    QPointer<ProjectSession> m_session;
    QPointer<CanvasState> m_state; // the one whose signals are connected
    Viewport m_none;
    bool m_autoFit = true; // fit again when the loop settles, until the person moves the view
    bool m_brushTool = false;

    std::vector<Item> m_items;
    QHash<QString, int> m_index;
    std::vector<Edge> m_edges;
    std::vector<QColor> m_colours;
    QHash<quint64, QImage> m_sprites;
    std::vector<QLineF> m_lineBatch; // reused by every frame's edge drawing
    bool m_dirty = true;
    int m_builtTopology = -1;
    int m_builtLens = -1;
    const CanvasState* m_builtState = nullptr;

    // The press and the drag it became, if it did.
    std::optional<QPointF> m_press;
    Qt::KeyboardModifiers m_pressModifiers;
    std::optional<DragKind> m_drag;
    QPointF m_pointer;
    QSet<QString> m_marks;

    PaintStats m_stats;
};

} // namespace corvantis
