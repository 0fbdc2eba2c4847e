#include "ui/canvas/CanvasView.h"

#include "app/canvas/CanvasState.h"
#include "app/canvas/CanvasViews.h"
#include "app/graph/ProjectSession.h"
#include "kit/layout/Curve.h"
#include "ui/design/Theme.h"

#include <QContextMenuEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QRandomGenerator>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

namespace corvantis {

namespace {

// Below these the canvas draws less: no titles, no arrowheads, no smoothing of lines.
constexpr double labelPointSize = 11;    // world points
constexpr double legibleLabelPixels = 8; // on screen
constexpr int maxLabels = 600;           // more titles than this are unreadable anyway
constexpr double arrowSize = 7;          // world points
constexpr double legibleArrowPixels = 3; // on screen
constexpr int maxSmoothEdges = 6000;     // beyond this, lines are drawn without antialiasing
constexpr int maxArrowEdges = 4000;
constexpr double brushRadius = 18; // screen points
constexpr int titleLength = 28;

QString shortTitle(const QString& title) {
    return title.size() <= titleLength ? title : title.left(titleLength - 1) + QChar(0x2026);
}

} // namespace

CanvasView::CanvasView(QWidget* parent)
    : QWidget(parent) {
    setObjectName(QStringLiteral("canvas"));
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMinimumSize(200, 160);
}

void CanvasView::setSession(ProjectSession* session) {
    if (m_session)
        disconnect(m_session, nullptr, this, nullptr);
    m_session = session;
    m_viewport = Viewport();
    m_marks.clear();
    m_drag.reset();
    m_press.reset();
    if (session) {
        connect(session, &ProjectSession::graphChanged, this, &CanvasView::markDirty);
        connect(session, &ProjectSession::projectChanged, this, &CanvasView::markDirty);
        connect(session, &ProjectSession::selectionChanged, this, qOverload<>(&QWidget::update));
        // The answer's canvas takes the view's place while an answer shows, fitted as it comes and grows.
        auto refit = [this] {
            m_viewport.isPlaced = false;
            markDirty();
        };
        connect(&session->canvases(), &CanvasViews::showsAnswerChanged, this, refit);
        connect(&session->canvases().answer(), &CanvasState::revealed, this, refit);
    }
    markDirty();
}

void CanvasView::setViewport(const Viewport& viewport) {
    if (m_viewport == viewport)
        return;
    m_viewport = viewport;
    emit viewportChanged();
    update();
}

void CanvasView::setBrushTool(bool on) {
    if (m_brushTool == on)
        return;
    m_brushTool = on;
    setCursor(on ? Qt::CrossCursor : Qt::ArrowCursor);
    emit brushToolChanged();
}

void CanvasView::markDirty() {
    m_dirty = true;
    update();
}

// -- What is drawn ---------------------------------------------------------------------------------------

void CanvasView::syncBuiltKey() {
    m_builtTopology = m_session ? m_session->topology() : -1;
    m_builtShown = m_session ? m_session->canvases().current().shown().size() : -1;
}

void CanvasView::ensureBuilt() {
    // The canvas's set may have changed without a signal (another view, the loop): its size tells.
    if (!m_dirty && m_session &&
        (m_builtTopology != m_session->topology() ||
         m_builtShown != m_session->canvases().current().shown().size()))
        m_dirty = true;
    if (m_dirty)
        rebuild();
}

void CanvasView::rebuild() {
    m_dirty = false;
    m_items.clear();
    m_index.clear();
    m_edges.clear();
    m_colours.clear();
    m_sprites.clear();
    syncBuiltKey();
    if (!m_session)
        return;
    const GraphSchema& schema = m_session->project().schema;
    QHash<QString, int> colourOfTable;
    for (const NodeType& type : schema.nodeTypes) {
        colourOfTable.insert(type.table(), int(m_colours.size()));
        m_colours.push_back(Theme::paletteColor(type.color));
    }
    const int unknownColour = int(m_colours.size());
    m_colours.push_back(Theme::paletteColor(QStringLiteral("slate")));

    const CanvasState& canvas = m_session->canvases().current();
    const auto& nodes = m_session->nodes();
    const auto& index = m_session->nodeIndex();
    m_items.reserve(canvas.shown().size());
    QList<QString> shown(canvas.shown().begin(), canvas.shown().end());
    std::sort(shown.begin(), shown.end());
    for (const QString& id : shown) {
        auto node = nodes.constFind(id);
        if (node == nodes.constEnd())
            continue;
        const NodeType* type = schema.nodeTypeForTable(node->label);
        Item item;
        item.id = id;
        item.title = shortTitle(node->title(type));
        item.colour = colourOfTable.value(node->label, unknownColour);
        item.radius = float(CanvasHit::nodeRadius(index.degree(id)));
        m_index.insert(id, int(m_items.size()));
        m_items.push_back(std::move(item));
    }
    // The relationships with both ends on the canvas, by id so that their order (and bends) stay put.
    QHash<quint64, int> perPair;
    for (auto rel = m_session->rels().cbegin(); rel != m_session->rels().cend(); ++rel) {
        const int from = m_index.value(rel->from, -1);
        const int to = m_index.value(rel->to, -1);
        if (from < 0 || to < 0)
            continue;
        m_edges.push_back({rel->id, from, to, from != to});
        ++perPair[(quint64(std::min(from, to)) << 32) | quint64(std::max(from, to))];
    }
    std::sort(m_edges.begin(), m_edges.end(), [](const Edge& a, const Edge& b) { return a.id < b.id; });
    for (Edge& edge : m_edges)
        if (perPair.value((quint64(std::min(edge.from, edge.to)) << 32) |
                          quint64(std::max(edge.from, edge.to))) > 1)
            edge.straight = false;
}

const QImage& CanvasView::sprite(int colour, double radius, bool ring) {
    const int quarter = std::max(1, int(std::lround(radius * 4)));
    const quint64 key = (quint64(colour) << 33) | (quint64(ring) << 32) | quint64(quarter);
    auto found = m_sprites.constFind(key);
    if (found != m_sprites.constEnd())
        return *found;
    const double r = quarter / 4.0;
    const double pad = ring ? 4 : 1;
    const int side = int(std::ceil(2 * (r + pad)));
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    const QPointF centre(side / 2.0, side / 2.0);
    if (ring) {
        p.setPen(QPen(Theme::accent(), 2.5));
        p.setBrush(Qt::NoBrush);
        p.drawEllipse(centre, r + 2.5, r + 2.5);
    }
    p.setPen(QPen(m_colours[colour].darker(125), r > 4 ? 1.0 : 0.0));
    if (r <= 4)
        p.setPen(Qt::NoPen);
    p.setBrush(m_colours[colour]);
    p.drawEllipse(centre, r, r);
    p.end();
    return *m_sprites.insert(key, image);
}

void CanvasView::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    paintCanvas(painter, event->rect());
}

void CanvasView::paintCanvas(QPainter& painter, const QRect& area) {
    ensureBuilt();
    fitIfUnplaced();
    m_stats = {};
    painter.fillRect(area, palette().color(QPalette::Base));
    if (!m_session)
        return;
    const CanvasState& canvas = m_session->canvases().current();
    if (m_items.empty()) {
        painter.setPen(Theme::secondaryText());
        painter.drawText(
            rect().adjusted(Theme::space(8), 0, -Theme::space(8), 0), Qt::AlignCenter | Qt::TextWordWrap,
            m_session->nodes().isEmpty()
                ? QStringLiteral("The graph is empty. Add a node with Ctrl+Alt+N, or ask Build to draft "
                                 "some.")
                : QStringLiteral("Nothing is on the canvas yet. Click a type in the sidebar, find a node "
                                 "with Ctrl+K, or ask a question."));
        return;
    }

    // Screen points of every node this frame; off-screen ones are culled but still anchor their edges.
    const double scale = m_viewport.scale;
    const QRectF view = QRectF(area).adjusted(-20, -20, 20, 20);
    const auto& positions = canvas.positions();
    std::vector<QPointF> at(m_items.size());
    std::vector<char> placed(m_items.size(), 0);
    for (size_t i = 0; i < m_items.size(); ++i) {
        auto found = positions.constFind(m_items[i].id);
        if (found == positions.constEnd())
            continue;
        at[i] = m_viewport.toScreen(*found);
        placed[i] = 1;
    }

    // -- Edges -----------------------------------------------------------------------------------------
    const GraphSelection& selection = m_session->selection();
    std::vector<QLineF> lines;
    std::vector<int> curved;
    lines.reserve(m_edges.size());
    for (size_t e = 0; e < m_edges.size(); ++e) {
        const Edge& edge = m_edges[e];
        if (!placed[edge.from] || !placed[edge.to])
            continue;
        const QPointF a = at[edge.from], b = at[edge.to];
        if (edge.straight) {
            if (std::max(a.x(), b.x()) < view.left() || std::min(a.x(), b.x()) > view.right() ||
                std::max(a.y(), b.y()) < view.top() || std::min(a.y(), b.y()) > view.bottom())
                continue;
            lines.emplace_back(a, b);
        } else {
            if (!view.contains(a) && !view.contains(b))
                continue;
            curved.push_back(int(e));
        }
    }
    const int edgeCount = int(lines.size() + curved.size());
    m_stats.edges = edgeCount;
    const bool smooth = edgeCount <= maxSmoothEdges;
    const bool arrows = arrowSize * scale >= legibleArrowPixels && edgeCount <= maxArrowEdges;
    QColor edgeColour = palette().color(QPalette::Text);
    edgeColour.setAlphaF(Theme::isDark() ? 0.35 : 0.28);
    painter.setRenderHint(QPainter::Antialiasing, smooth);
    painter.setPen(QPen(edgeColour, std::clamp(1.2 * scale, 0.6, 1.6)));
    painter.setBrush(Qt::NoBrush);

    if (arrows || !curved.empty()) {
        // With arrowheads every edge goes through the curves, so ends are pulled back from the discs;
        // without them only the bent ones and loops need to.
        std::vector<EdgeGeometry::Edge> wanted;
        QHash<QString, QPointF> world;
        auto want = [&](const Edge& edge) {
            wanted.push_back({edge.id, m_items[edge.from].id, m_items[edge.to].id});
            for (int end : {edge.from, edge.to})
                world.insert(m_items[end].id, m_viewport.toWorld(at[end]));
        };
        if (arrows) {
            for (const Edge& edge : m_edges)
                if (placed[edge.from] && placed[edge.to])
                    want(edge);
        } else {
            // A group of parallel edges bends by its members, so all of a visible group go in.
            QSet<quint64> pairs;
            for (int e : curved)
                pairs.insert((quint64(std::min(m_edges[e].from, m_edges[e].to)) << 32) |
                             quint64(std::max(m_edges[e].from, m_edges[e].to)));
            for (const Edge& edge : m_edges)
                if (!edge.straight && placed[edge.from] && placed[edge.to] &&
                    pairs.contains((quint64(std::min(edge.from, edge.to)) << 32) |
                                   quint64(std::max(edge.from, edge.to))))
                    want(edge);
        }
        auto radius = [this](const QString& id) {
            return double(m_items[m_index.value(id)].radius);
        };
        const auto curves = EdgeGeometry::curves(wanted, world, radius);
        if (arrows)
            lines.clear();
        QPainterPath path;
        QPainterPath heads;
        QPainterPath chosen;
        for (const auto& drawn : curves) {
            const Curve& c = drawn.curve;
            const QPointF p0 = m_viewport.toScreen(c.p0), p3 = m_viewport.toScreen(c.p3);
            const QPointF p1 = m_viewport.toScreen(c.p1), p2 = m_viewport.toScreen(c.p2);
            QPainterPath& target = selection.namesRelationship(drawn.id) ? chosen : path;
            if (!drawn.loop && drawn.bend == 0 && !selection.namesRelationship(drawn.id)) {
                lines.emplace_back(p0, p3);
            } else {
                target.moveTo(p0);
                target.cubicTo(p1, p2, p3);
            }
            if (arrows) {
                const auto head = c.arrowhead(arrowSize);
                QPolygonF triangle;
                for (const QPointF& point : head)
                    triangle << m_viewport.toScreen(point);
                heads.addPolygon(triangle);
                heads.closeSubpath();
                ++m_stats.arrowheads;
            }
        }
        painter.drawLines(lines.data(), int(lines.size()));
        painter.drawPath(path);
        if (!heads.isEmpty())
            painter.fillPath(heads, edgeColour);
        if (!chosen.isEmpty()) {
            painter.setPen(QPen(Theme::accent(), 2.2));
            painter.drawPath(chosen);
        }
    } else {
        painter.drawLines(lines.data(), int(lines.size()));
    }

    // -- Nodes -----------------------------------------------------------------------------------------
    const double legible = labelPointSize * scale;
    std::vector<int> onScreen;
    onScreen.reserve(m_items.size());
    for (size_t i = 0; i < m_items.size(); ++i)
        if (placed[i] && view.contains(at[i]))
            onScreen.push_back(int(i));
    m_stats.nodes = int(onScreen.size());
    for (int i : onScreen) {
        const Item& item = m_items[i];
        const bool selected = selection.namesNode(item.id);
        const double r = item.radius * scale;
        if (r < 1.6 && !selected) {
            painter.fillRect(QRectF(at[i].x() - 1.5, at[i].y() - 1.5, 3, 3), m_colours[item.colour]);
            continue;
        }
        const QImage& image = sprite(item.colour, r, selected);
        painter.drawImage(QPointF(at[i].x() - image.width() / 2.0, at[i].y() - image.height() / 2.0), image);
    }
    // Pins: a small dot in the middle of a pinned node, when nodes are large enough to carry one.
    if (scale >= 0.6) {
        painter.setRenderHint(QPainter::Antialiasing, true);
        painter.setPen(Qt::NoPen);
        painter.setBrush(palette().color(QPalette::Base));
        for (int i : onScreen)
            if (canvas.pinned().contains(m_items[i].id))
                painter.drawEllipse(at[i], 2.2 * scale, 2.2 * scale);
    }

    // -- Brush marks -----------------------------------------------------------------------------------
    if (!m_marks.isEmpty()) {
        painter.setRenderHint(QPainter::Antialiasing, true);
        painter.setPen(QPen(Theme::danger(), 2));
        for (const QString& id : m_marks) {
            const int i = m_index.value(id, -1);
            if (i < 0 || !placed[i])
                continue;
            const double r = m_items[i].radius * scale + 3;
            painter.drawLine(at[i] + QPointF(-r, -r), at[i] + QPointF(r, r));
            painter.drawLine(at[i] + QPointF(-r, r), at[i] + QPointF(r, -r));
        }
    }

    // -- Titles ----------------------------------------------------------------------------------------
    if (legible >= legibleLabelPixels) {
        QFont font = painter.font();
        font.setPixelSize(int(std::min(legible, 15.0)));
        painter.setFont(font);
        painter.setPen(palette().color(QPalette::Text));
        const bool all = int(onScreen.size()) <= maxLabels;
        for (int i : onScreen) {
            const Item& item = m_items[i];
            if (!all && !selection.namesNode(item.id))
                continue;
            const double below = item.radius * scale + 3;
            painter.drawText(QRectF(at[i].x() - 120, at[i].y() + below, 240, legible * 1.6),
                             Qt::AlignHCenter | Qt::AlignTop, item.title);
            ++m_stats.labels;
        }
    }

    // -- What a drag is drawing ------------------------------------------------------------------------
    if (m_drag) {
        painter.setRenderHint(QPainter::Antialiasing, true);
        if (std::holds_alternative<Drag::Marquee>(*m_drag) && m_press) {
            QColor fill = Theme::accent();
            fill.setAlphaF(0.12);
            painter.setPen(QPen(Theme::accent(), 1, Qt::DashLine));
            painter.setBrush(fill);
            painter.drawRect(QRectF(*m_press, m_pointer).normalized());
        } else if (const auto* connect = std::get_if<Drag::Connect>(&*m_drag)) {
            if (auto from = screenPoint(connect->id)) {
                painter.setPen(QPen(Theme::accent(), 2, Qt::DashLine));
                painter.drawLine(*from, m_pointer);
            }
        } else if (std::holds_alternative<Drag::Brush>(*m_drag)) {
            QColor fill = Theme::danger();
            fill.setAlphaF(0.18);
            painter.setPen(Qt::NoPen);
            painter.setBrush(fill);
            painter.drawEllipse(m_pointer, brushRadius, brushRadius);
        }
    } else if (m_brushTool && underMouse()) {
        painter.setRenderHint(QPainter::Antialiasing, true);
        painter.setPen(QPen(Theme::danger(), 1));
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(m_pointer, brushRadius, brushRadius);
    }
}

std::optional<QPointF> CanvasView::screenPoint(const QString& id) const {
    if (!m_session)
        return std::nullopt;
    auto found = m_session->canvases().current().positions().constFind(id);
    if (found == m_session->canvases().current().positions().constEnd())
        return std::nullopt;
    return m_viewport.toScreen(*found);
}

// -- Fitting and the commands of the canvas --------------------------------------------------------------

void CanvasView::fitIfUnplaced() {
    if (m_viewport.isPlaced || m_items.empty() || width() <= 0 || height() <= 0)
        return;
    std::vector<QPointF> points;
    const auto& positions = m_session->canvases().current().positions();
    for (const Item& item : m_items)
        if (auto found = positions.constFind(item.id); found != positions.constEnd())
            points.push_back(*found);
    if (points.empty())
        return;
    m_viewport.fit(points, QRectF(rect()), 60);
    emit viewportChanged();
}

void CanvasView::zoomToFit() {
    ensureBuilt();
    m_viewport.isPlaced = false;
    fitIfUnplaced();
    update();
}

void CanvasView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    update();
}

void CanvasView::showType(const QUuid& typeId) {
    if (!m_session)
        return;
    const NodeType* type = m_session->project().schema.nodeType(typeId);
    if (!type)
        return;
    const QString table = type->table();
    CanvasState& canvas = m_session->canvases().current();
    QStringList ids;
    for (const NodeRecord& node : m_session->nodes())
        if (node.label == table && !canvas.shown().contains(node.id))
            ids << node.id;
    std::sort(ids.begin(), ids.end());
    if (!ids.isEmpty()) {
        const QPointF centre = m_viewport.isPlaced
                                   ? m_viewport.toWorld(QPointF(width() / 2.0, height() / 2.0))
                                   : canvas.viewCentre();
        const auto points =
            Sunflower::points(int(ids.size()), centre, false, QRandomGenerator::global()->bounded(2 * M_PI));
        for (int i = 0; i < ids.size(); ++i)
            canvas.put(ids[i], points[size_t(i)]);
        canvas.scheduleSave();
    }
    markDirty();
    zoomToFit();
}

void CanvasView::revealNode(const QString& id) {
    if (!m_session || !m_session->nodes().contains(id))
        return;
    CanvasState& canvas = m_session->canvases().current();
    if (!canvas.shown().contains(id)) {
        const QPointF centre = m_viewport.isPlaced
                                   ? m_viewport.toWorld(QPointF(width() / 2.0, height() / 2.0))
                                   : canvas.viewCentre();
        canvas.put(id, centre);
        canvas.scheduleSave();
        markDirty();
    }
    m_session->setSelection(GraphSelection::node(id));
    ensureBuilt();
    if (!m_viewport.isPlaced) {
        fitIfUnplaced();
    } else if (auto at = canvas.positions().constFind(id); at != canvas.positions().constEnd()) {
        m_viewport.offset = QPointF(width() / 2.0, height() / 2.0) - *at * m_viewport.scale;
        emit viewportChanged();
    }
    update();
}

void CanvasView::clearCanvas() {
    if (!m_session)
        return;
    CanvasState& canvas = m_session->canvases().current();
    canvas.forget(canvas.shown());
    canvas.scheduleSave();
    if (m_session->selection().kind == GraphSelection::Kind::Node ||
        m_session->selection().kind == GraphSelection::Kind::Nodes ||
        m_session->selection().kind == GraphSelection::Kind::Relationship)
        m_session->setSelection(GraphSelection());
    m_viewport.isPlaced = false;
    markDirty();
}

// -- Hit testing -----------------------------------------------------------------------------------------

std::vector<DrawnNode> CanvasView::drawnNodes() const {
    std::vector<DrawnNode> drawn;
    if (!m_session)
        return drawn;
    const auto& positions = m_session->canvases().current().positions();
    drawn.reserve(m_items.size());
    for (const Item& item : m_items)
        if (auto found = positions.constFind(item.id); found != positions.constEnd())
            drawn.push_back({item.id, *found, item.radius});
    return drawn;
}

std::optional<CanvasHit::NodeHit> CanvasView::nodeAt(QPointF screen) const {
    const auto drawn = drawnNodes();
    return CanvasHit::node(m_viewport.toWorld(screen), drawn, m_viewport.scale);
}

std::optional<QString> CanvasView::relAt(QPointF screen) const {
    if (!m_session)
        return std::nullopt;
    std::vector<EdgeGeometry::Edge> edges;
    edges.reserve(m_edges.size());
    for (const Edge& edge : m_edges)
        edges.push_back({edge.id, m_items[edge.from].id, m_items[edge.to].id});
    auto radius = [this](const QString& id) {
        return double(m_items[m_index.value(id)].radius);
    };
    const auto curves = EdgeGeometry::curves(edges, m_session->canvases().current().positions(), radius);
    if (auto hit = CanvasHit::rel(m_viewport.toWorld(screen), curves, m_viewport.scale))
        return curves[size_t(*hit)].id;
    return std::nullopt;
}

// -- Pointer ---------------------------------------------------------------------------------------------

void CanvasView::mousePressEvent(QMouseEvent* event) {
    setFocus(Qt::MouseFocusReason);
    if (event->button() != Qt::LeftButton || !m_session)
        return QWidget::mousePressEvent(event);
    ensureBuilt();
    m_press = event->position();
    m_pointer = event->position();
    m_pressModifiers = event->modifiers();
    m_drag.reset();
}

void CanvasView::beginDrag(QPointF at, Qt::KeyboardModifiers modifiers) {
    if (m_brushTool) {
        m_marks.clear();
        m_drag = Drag::Brush{brushRadius / m_viewport.scale};
        return;
    }
    const auto hit = nodeAt(at);
    if (!hit) {
        if (modifiers & Qt::ShiftModifier)
            m_drag = Drag::Marquee{};
        else
            m_drag = Drag::Pan{m_viewport.offset};
        return;
    }
    if (hit->inHalo || (modifiers & Qt::ControlModifier)) {
        m_drag = Drag::Connect{hit->id};
        return;
    }
    const auto& positions = m_session->canvases().current().positions();
    const GraphSelection& selection = m_session->selection();
    if (selection.kind == GraphSelection::Kind::Nodes && selection.ids.contains(hit->id)) {
        Drag::MoveGroup group{hit->id, {}};
        for (const QString& id : selection.ids)
            if (auto found = positions.constFind(id); found != positions.constEnd())
                group.starts.insert(id, *found);
        m_drag = group;
    } else {
        m_drag = Drag::Move{hit->id, positions.value(hit->id)};
    }
}

void CanvasView::mouseMoveEvent(QMouseEvent* event) {
    m_pointer = event->position();
    if (!m_press) {
        if (m_brushTool)
            update();
        return;
    }
    if (!m_drag) {
        if (!Drag::isDrag(*m_press, m_pointer))
            return;
        beginDrag(*m_press, m_pressModifiers);
    }
    CanvasState& canvas = m_session->canvases().current();
    const QPointF delta = (m_pointer - *m_press) / m_viewport.scale;
    if (const auto* pan = std::get_if<Drag::Pan>(&*m_drag)) {
        m_viewport.offset = pan->startOffset + (m_pointer - *m_press);
        emit viewportChanged();
    } else if (const auto* move = std::get_if<Drag::Move>(&*m_drag)) {
        canvas.put(move->id, move->start + delta);
    } else if (const auto* group = std::get_if<Drag::MoveGroup>(&*m_drag)) {
        for (auto it = group->starts.cbegin(); it != group->starts.cend(); ++it)
            canvas.put(it.key(), it.value() + delta);
    } else if (std::holds_alternative<Drag::Brush>(*m_drag)) {
        brushAt(m_pointer);
    }
    update();
}

void CanvasView::brushAt(QPointF screen) {
    const QPointF world = m_viewport.toWorld(screen);
    const double reach = brushRadius / m_viewport.scale;
    const auto& positions = m_session->canvases().current().positions();
    for (const Item& item : m_items) {
        auto found = positions.constFind(item.id);
        if (found == positions.constEnd())
            continue;
        if (std::hypot(found->x() - world.x(), found->y() - world.y()) <= reach + item.radius)
            m_marks.insert(item.id);
    }
}

void CanvasView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !m_press || !m_session)
        return QWidget::mouseReleaseEvent(event);
    const QPointF at = event->position();
    const QPointF press = *m_press;
    const std::optional<DragKind> drag = std::move(m_drag);
    m_drag.reset();
    m_press.reset();
    if (!drag) {
        click(at, event->modifiers());
        update();
        return;
    }
    CanvasState& canvas = m_session->canvases().current();
    if (const auto* move = std::get_if<Drag::Move>(&*drag)) {
        // A node put down by hand stays where it was put.
        canvas.pin(move->id);
        canvas.scheduleSave();
    } else if (const auto* group = std::get_if<Drag::MoveGroup>(&*drag)) {
        for (auto it = group->starts.cbegin(); it != group->starts.cend(); ++it)
            canvas.pin(it.key());
        canvas.scheduleSave();
    } else if (std::holds_alternative<Drag::Marquee>(*drag)) {
        const QRectF box = QRectF(m_viewport.toWorld(press), m_viewport.toWorld(at)).normalized();
        QSet<QString> inside;
        for (const DrawnNode& node : drawnNodes())
            if (box.contains(node.at))
                inside.insert(node.id);
        m_session->setSelection(GraphSelection::nodes(inside));
    } else if (const auto* connect = std::get_if<Drag::Connect>(&*drag)) {
        const auto hit = nodeAt(at);
        emit connectionDrawn(connect->id, hit ? std::optional<QString>(hit->id) : std::nullopt,
                             m_viewport.toWorld(at));
    } else if (std::holds_alternative<Drag::Brush>(*drag)) {
        emit brushed(m_marks);
    }
    update();
}

void CanvasView::click(QPointF at, Qt::KeyboardModifiers modifiers) {
    if (auto hit = nodeAt(at)) {
        const GraphSelection& selection = m_session->selection();
        if (modifiers & Qt::ShiftModifier) {
            // Shift toggles the node in a selection of several and does nothing else.
            QSet<QString> ids =
                selection.kind == GraphSelection::Kind::Nodes || selection.kind == GraphSelection::Kind::Node
                    ? selection.ids
                    : QSet<QString>();
            if (!ids.remove(hit->id))
                ids.insert(hit->id);
            m_session->setSelection(GraphSelection::nodes(ids));
            return;
        }
        emit nodeClicked(hit->id, at);
        if (!m_session->selection().namesNode(hit->id) ||
            m_session->selection().kind != GraphSelection::Kind::Node)
            m_session->setSelection(GraphSelection::node(hit->id));
        return;
    }
    if (auto rel = relAt(at)) {
        m_session->setSelection(GraphSelection::relationship(*rel));
        return;
    }
    m_session->setSelection(GraphSelection());
}

void CanvasView::wheelEvent(QWheelEvent* event) {
    if (event->modifiers() & Qt::ControlModifier) {
        const double steps = event->angleDelta().y() / 120.0;
        m_viewport.zoom(std::pow(1.15, steps), event->position());
    } else {
        QPointF delta =
            event->pixelDelta().isNull() ? QPointF(event->angleDelta()) / 2.0 : QPointF(event->pixelDelta());
        m_viewport.pan(delta);
    }
    m_viewport.isPlaced = true;
    emit viewportChanged();
    update();
    event->accept();
}

void CanvasView::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_B && event->modifiers() == Qt::NoModifier) {
        setBrushTool(!m_brushTool);
        update();
        return;
    }
    if (event->key() == Qt::Key_Escape) {
        if (m_drag || m_press) {
            m_drag.reset();
            m_press.reset();
        } else if (m_brushTool) {
            setBrushTool(false);
        } else if (m_session) {
            m_session->setSelection(GraphSelection());
        }
        update();
        return;
    }
    if ((event->key() == Qt::Key_Delete || event->key() == Qt::Key_Backspace) && m_session &&
        !m_session->selection().isEmpty()) {
        m_session->deleteSelection();
        return;
    }
    QWidget::keyPressEvent(event);
}

void CanvasView::contextMenuEvent(QContextMenuEvent* event) {
    if (!m_session)
        return;
    ensureBuilt();
    QMenu menu(this);
    const auto hit = nodeAt(event->pos());
    if (hit) {
        const GraphSelection& selection = m_session->selection();
        if (!selection.namesNode(hit->id))
            m_session->setSelection(GraphSelection::node(hit->id));
        emit menuRequested(&menu, m_session->selection().ids);
        if (!menu.isEmpty())
            menu.addSeparator();
        menu.addAction(QStringLiteral("Delete"), this, [this] { m_session->deleteSelection(); });
    } else if (auto rel = relAt(event->pos())) {
        m_session->setSelection(GraphSelection::relationship(*rel));
        menu.addAction(QStringLiteral("Delete"), this, [this] { m_session->deleteSelection(); });
    } else {
        emit menuRequested(&menu, {});
        if (!menu.isEmpty())
            menu.addSeparator();
        menu.addAction(QStringLiteral("Zoom to Fit"), this, &CanvasView::zoomToFit);
        menu.addAction(QStringLiteral("Clear Canvas"), this, &CanvasView::clearCanvas);
    }
    menu.exec(event->globalPos());
}

void CanvasView::changeEvent(QEvent* event) {
    if (event->type() == QEvent::PaletteChange)
        markDirty();
    QWidget::changeEvent(event);
}

} // namespace corvantis
