#include "ui/shape/ShapeCanvas.h"

#include "app/graph/ProjectSession.h"
#include "kit/layout/DragKind.h"
#include "ui/design/Theme.h"

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QWheelEvent>
#include <cmath>

namespace corvantis {

namespace {

constexpr double cardWidth = 180;
constexpr double headHeight = 30;
constexpr double rowHeight = 20;
constexpr int maxRows = 8;

QPointF edgeOf(const QRectF& card, QPointF towards) {
    // Where the line from the card's middle to `towards` leaves the card.
    const QPointF c = card.center();
    const QPointF d = towards - c;
    if (std::abs(d.x()) < 1e-6 && std::abs(d.y()) < 1e-6)
        return c;
    const double sx = std::abs(d.x()) > 1e-6 ? (card.width() / 2) / std::abs(d.x()) : 1e9;
    const double sy = std::abs(d.y()) > 1e-6 ? (card.height() / 2) / std::abs(d.y()) : 1e9;
    return c + d * std::min(sx, sy);
}

void arrowhead(QPainter& painter, QPointF tip, QPointF from, double size) {
    const QPointF d = tip - from;
    const double length = std::hypot(d.x(), d.y());
    if (length < 1e-6)
        return;
    const QPointF u = d / length;
    const QPointF n(-u.y(), u.x());
    QPolygonF head;
    head << tip << tip - u * size + n * size * 0.5 << tip - u * size - n * size * 0.5;
    painter.drawPolygon(head);
}

} // namespace

ShapeCanvas::ShapeCanvas(QWidget* parent)
    : QWidget(parent) {
    setObjectName(QStringLiteral("shapeCanvas"));
    setMinimumSize(240, 200);
    setMouseTracking(false);
    setFocusPolicy(Qt::ClickFocus);
}

void ShapeCanvas::setSession(ProjectSession* session) {
    if (m_session)
        disconnect(m_session, nullptr, this, nullptr);
    m_session = session;
    m_viewport = Viewport();
    m_moved = false;
    if (session) {
        connect(session, &ProjectSession::projectChanged, this, qOverload<>(&QWidget::update));
        connect(&session->shape(), &ShapeEditor::selectionChanged, this, qOverload<>(&QWidget::update));
    }
    update();
}

QRectF ShapeCanvas::worldCard(const NodeType& type) const {
    const QPointF at = m_moving.value(type.id, QPointF(type.x, type.y));
    const int rows =
        std::min<int>(int(type.properties.size()), maxRows) + (type.properties.size() > maxRows ? 1 : 0);
    const double height = headHeight + std::max(1, rows) * rowHeight + 8;
    return QRectF(at.x() - cardWidth / 2, at.y() - height / 2, cardWidth, height);
}

std::optional<QRectF> ShapeCanvas::cardRect(const QUuid& typeId) const {
    if (!m_session)
        return std::nullopt;
    const NodeType* type = m_session->project().schema.nodeType(typeId);
    if (!type)
        return std::nullopt;
    const QRectF world = worldCard(*type);
    return QRectF(m_viewport.toScreen(world.topLeft()), m_viewport.toScreen(world.bottomRight()));
}

void ShapeCanvas::fit() {
    if (!m_session)
        return;
    std::vector<QPointF> corners;
    for (const NodeType& type : m_session->project().schema.nodeTypes) {
        const QRectF card = worldCard(type);
        corners.push_back(card.topLeft());
        corners.push_back(card.bottomRight());
    }
    m_viewport.fit(corners, QRectF(rect()), 40);
    update();
}

std::optional<QUuid> ShapeCanvas::typeAt(QPointF screen) const {
    if (!m_session)
        return std::nullopt;
    const QPointF world = m_viewport.toWorld(screen);
    const auto& types = m_session->project().schema.nodeTypes;
    // The card drawn last lies on top.
    for (auto type = types.crbegin(); type != types.crend(); ++type)
        if (worldCard(*type).contains(world))
            return type->id;
    return std::nullopt;
}

void ShapeCanvas::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), palette().color(QPalette::Base));
    if (!m_session)
        return;
    const GraphSchema& schema = m_session->project().schema;
    if (schema.nodeTypes.isEmpty()) {
        painter.setPen(Theme::secondaryText());
        painter.drawText(rect(), Qt::AlignCenter | Qt::TextWordWrap,
                         QStringLiteral("No node types yet. Add one in the list beside."));
        return;
    }
    if (!m_viewport.isPlaced)
        fit();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(m_viewport.offset);
    painter.scale(m_viewport.scale, m_viewport.scale);
    const auto& selection = m_session->shape().selection();
    const QColor line = palette().color(QPalette::Text);
    QColor muted = line;
    muted.setAlphaF(0.55);

    // Relationship types first, under the cards.
    QFont small = font();
    small.setPointSizeF(font().pointSizeF() * 0.9);
    painter.setFont(small);
    QHash<QPair<QUuid, QUuid>, int> between;
    for (const RelType& rel : schema.relTypes) {
        const bool chosen =
            selection && selection->kind != ShapeSelection::Kind::Node && selection->id == rel.id;
        painter.setPen(QPen(chosen ? Theme::accent() : muted, chosen ? 2.2 : 1.4));
        painter.setBrush(chosen ? Theme::accent() : muted);
        for (const RelEndpoint& endpoint : rel.endpoints) {
            const NodeType* from = schema.nodeType(endpoint.from);
            const NodeType* to = schema.nodeType(endpoint.to);
            if (!from || !to)
                continue;
            const QRectF a = worldCard(*from);
            const QRectF b = worldCard(*to);
            if (endpoint.isLoop()) {
                const int i = between[{from->id, from->id}]++;
                const double r = 22 + i * 14;
                const QPointF top(a.center().x(), a.top());
                QPainterPath loop;
                loop.moveTo(top + QPointF(-r * 0.7, 0));
                loop.cubicTo(top + QPointF(-r, -2 * r), top + QPointF(r, -2 * r), top + QPointF(r * 0.7, 0));
                painter.setBrush(Qt::NoBrush);
                painter.drawPath(loop);
                painter.setBrush(chosen ? Theme::accent() : muted);
                arrowhead(painter, top + QPointF(r * 0.7, 0), top + QPointF(r, -r), 8);
                painter.drawText(QRectF(top.x() - 80, top.y() - 2 * r - 18, 160, 16), Qt::AlignCenter,
                                 rel.name);
                continue;
            }
            const QPair<QUuid, QUuid> pair =
                from->id < to->id ? qMakePair(from->id, to->id) : qMakePair(to->id, from->id);
            const int i = between[pair]++;
            // Several relationship types between the same two cards bend apart.
            const QPointF d = b.center() - a.center();
            const double length = std::max(1e-3, std::hypot(d.x(), d.y()));
            QPointF normal(-d.y() / length, d.x() / length);
            if (from->id != pair.first)
                normal = -normal;
            const double bend = i == 0 ? 0 : ((i + 1) / 2) * 36.0 * (i % 2 ? 1 : -1);
            const QPointF control = (a.center() + b.center()) / 2 + normal * bend;
            const QPointF start = edgeOf(a, control);
            const QPointF end = edgeOf(b, control);
            QPainterPath path(start);
            path.quadTo(control, end);
            painter.setBrush(Qt::NoBrush);
            painter.drawPath(path);
            painter.setBrush(chosen ? Theme::accent() : muted);
            arrowhead(painter, end, control, 9);
            const QPointF middle = path.pointAtPercent(0.5);
            QRectF label(middle.x() - 70, middle.y() - 9, 140, 18);
            const QRectF text = painter.fontMetrics().boundingRect(label.toRect(), Qt::AlignCenter, rel.name);
            painter.setPen(Qt::NoPen);
            painter.setBrush(palette().color(QPalette::Base));
            painter.drawRoundedRect(QRectF(text).adjusted(-4, -1, 4, 1), 4, 4);
            painter.setPen(chosen ? Theme::accent() : line);
            painter.drawText(label, Qt::AlignCenter, rel.name);
            painter.setPen(QPen(chosen ? Theme::accent() : muted, chosen ? 2.2 : 1.4));
        }
    }

    // The cards.
    QFont bold = font();
    bold.setWeight(QFont::DemiBold);
    for (const NodeType& type : schema.nodeTypes) {
        const QRectF card = worldCard(type);
        const QColor hue = Theme::paletteColor(type.color);
        const bool chosen =
            selection && selection->kind == ShapeSelection::Kind::Node && selection->id == type.id;
        painter.setPen(QPen(chosen ? Theme::accent() : Theme::cardBorder(), chosen ? 2.5 : 1));
        painter.setBrush(Theme::cardSurface());
        painter.drawRoundedRect(card, Theme::radius, Theme::radius);
        // The type's colour as a band along the top.
        QPainterPath band;
        band.addRoundedRect(QRectF(card.left(), card.top(), card.width(), headHeight), Theme::radius,
                            Theme::radius);
        QPainterPath square;
        square.addRect(QRectF(card.left(), card.top() + headHeight / 2, card.width(), headHeight / 2));
        painter.setPen(Qt::NoPen);
        QColor wash = hue;
        wash.setAlphaF(Theme::isDark() ? 0.35 : 0.22);
        painter.setBrush(wash);
        painter.drawPath(band.united(square));
        painter.setBrush(hue);
        painter.drawEllipse(QPointF(card.left() + 14, card.top() + headHeight / 2), 5, 5);
        painter.setPen(palette().color(QPalette::Text));
        painter.setFont(bold);
        painter.drawText(QRectF(card.left() + 26, card.top(), card.width() - 32, headHeight),
                         Qt::AlignVCenter | Qt::AlignLeft,
                         painter.fontMetrics().elidedText(type.name, Qt::ElideRight, int(card.width() - 34)));
        painter.setFont(small);
        double y = card.top() + headHeight + 4;
        const int shown = std::min<int>(int(type.properties.size()), maxRows);
        for (int i = 0; i < shown; ++i) {
            const PropertyDef& property = type.properties[i];
            const bool title = type.titleProperty && *type.titleProperty == property.id;
            painter.setPen(palette().color(QPalette::Text));
            QFont rowFont = small;
            rowFont.setWeight(title ? QFont::DemiBold : QFont::Normal);
            painter.setFont(rowFont);
            painter.drawText(
                QRectF(card.left() + 12, y, card.width() * 0.6, rowHeight), Qt::AlignVCenter,
                painter.fontMetrics().elidedText(property.name, Qt::ElideRight, int(card.width() * 0.6)));
            painter.setPen(Theme::secondaryText());
            painter.drawText(QRectF(card.left() + card.width() * 0.6, y, card.width() * 0.4 - 12, rowHeight),
                             Qt::AlignVCenter | Qt::AlignRight, PropertyKinds::title(property.kind));
            y += rowHeight;
        }
        painter.setFont(small);
        if (type.properties.size() > maxRows) {
            painter.setPen(Theme::secondaryText());
            painter.drawText(QRectF(card.left() + 12, y, card.width() - 24, rowHeight), Qt::AlignVCenter,
                             QStringLiteral("+%1 more").arg(type.properties.size() - maxRows));
        } else if (type.properties.isEmpty()) {
            painter.setPen(Theme::secondaryText());
            painter.drawText(QRectF(card.left() + 12, y, card.width() - 24, rowHeight), Qt::AlignVCenter,
                             QStringLiteral("No properties"));
        }
    }
}

void ShapeCanvas::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    // Until the person moves the drawing, it keeps fitting the space it has.
    if (!m_moved)
        m_viewport.isPlaced = false;
}

void ShapeCanvas::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !m_session)
        return QWidget::mousePressEvent(event);
    m_press = event->position();
    m_pressed = typeAt(event->position());
    m_pressOffset = m_viewport.offset;
    m_dragging = false;
}

void ShapeCanvas::mouseMoveEvent(QMouseEvent* event) {
    if (!m_press || !m_session)
        return;
    if (!m_dragging && !Drag::isDrag(*m_press, event->position()))
        return;
    m_dragging = true;
    if (m_pressed) {
        const NodeType* type = m_session->project().schema.nodeType(*m_pressed);
        if (!type)
            return;
        m_moving.insert(*m_pressed,
                        QPointF(type->x, type->y) + (event->position() - *m_press) / m_viewport.scale);
    } else {
        m_viewport.offset = m_pressOffset + (event->position() - *m_press);
        m_moved = true;
    }
    update();
}

void ShapeCanvas::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !m_press || !m_session)
        return QWidget::mouseReleaseEvent(event);
    const std::optional<QUuid> pressed = m_pressed;
    const bool dragged = m_dragging;
    m_press.reset();
    m_pressed.reset();
    m_dragging = false;
    if (!dragged) {
        if (pressed)
            m_session->shape().setSelection(ShapeSelection::node(*pressed));
        update();
        return;
    }
    if (pressed && m_moving.contains(*pressed)) {
        const QPointF to = m_moving.take(*pressed);
        const QUuid id = *pressed;
        m_session->shape().editShape(QStringLiteral("Move Type"), [id, to](GraphSchema& schema) {
            if (NodeType* type = schema.nodeType(id)) {
                type->x = to.x();
                type->y = to.y();
            }
        });
    }
    update();
}

void ShapeCanvas::wheelEvent(QWheelEvent* event) {
    m_moved = true;
    if (event->modifiers() & Qt::ControlModifier)
        m_viewport.zoom(std::pow(1.15, event->angleDelta().y() / 120.0), event->position());
    else
        m_viewport.pan(event->pixelDelta().isNull() ? QPointF(event->angleDelta()) / 2.0
                                                    : QPointF(event->pixelDelta()));
    update();
    event->accept();
}

} // namespace corvantis
