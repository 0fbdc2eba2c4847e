#pragma once

#include "kit/layout/Viewport.h"

#include <QHash>
#include <QPointer>
#include <QRectF>
#include <QUuid>
#include <QWidget>
#include <optional>

namespace corvantis {

class ProjectSession;
struct NodeType;

// The drawn shape: each node type a card in its colour listing its properties, each relationship type an
// arrow from card to card with its name (a loop above a card that connects to itself). A card is
// dragged to move it, which is an edit of the shape that Undo takes back; a click selects the type as the
// list beside does. Dragging empty space pans; Ctrl+scroll zooms.
class ShapeCanvas : public QWidget {
    Q_OBJECT
public:
    explicit ShapeCanvas(QWidget* parent = nullptr);
    void setSession(ProjectSession* session);

    const Viewport& viewport() const { return m_viewport; }
    // The card of a node type on screen, if the type exists.
    std::optional<QRectF> cardRect(const QUuid& type) const;
    void fit();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    // The card in world points, centred on the type's position (or where a drag holds it).
    QRectF worldCard(const NodeType& type) const;
    std::optional<QUuid> typeAt(QPointF screen) const;

    QPointer<ProjectSession> m_session;
    Viewport m_viewport;
    std::optional<QPointF> m_press;
    std::optional<QUuid> m_pressed;
    QPointF m_pressOffset;
    bool m_dragging = false;
    bool m_moved = false;           // the person panned or zoomed
    QHash<QUuid, QPointF> m_moving; // the card being dragged, at its place under the pointer
};

} // namespace corvantis
