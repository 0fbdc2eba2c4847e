#include "ui/canvas/CanvasView.h"

#include "app/canvas/CanvasSimulation.h"
#include "app/canvas/CanvasState.h"
#include "app/canvas/CanvasViews.h"
#include "app/canvas/RemovalDraft.h"
#include "app/graph/ProjectSession.h"
#include "kit/layout/Curve.h"
#include "ui/canvas/CanvasMenu.h"
#include "ui/design/Theme.h"

#include <QContextMenuEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QRandomGenerator>
#include <QWheelEvent>
#include <algorithm>
#include <array>
#include <cmath>

namespace corvantis {

namespace {

// Below these the canvas draws less: no titles, no arrowheads, no smoothing of lines.
constexpr double labelPointSize = 11;      // world points
constexpr double legibleLabelPixels = 9;   // on screen: titles are never drawn smaller
constexpr double labelScale = 0.4;         // below this the nodes crowd too closely for titles
constexpr int maxLabels = 600;             // more titles than this are unreadable anyway
constexpr double arrowSize = 7;            // world points
constexpr double legibleArrowPixels = 2.5; // on screen
constexpr int maxSmoothEdges = 6000;       // beyond this, lines are drawn without antialiasing
constexpr int maxArrowEdges = 4000;
constexpr double brushRadius = 18; // screen points
constexpr int titleLength = 28;
constexpr size_t maxBadgeNodes = 1500; // beyond this, counting hidden neighbours costs more than it tells

// Qt's raster engine hands any batch of more than about a hundred spans to its thread pool and waits for
// it; a cosmetic pen collects the pixels of consecutive lines into batches of 255, so one drawLines call
// over thousands of short edges becomes thousands of hand-offs between threads. Drawing the lines in
// groups of fewer pixels than that keeps every batch on this thread. Long lines are cut into pieces.
constexpr double pixelsPerBatch = 80;

void drawLinesBatched(QPainter& painter, const std::vector<QLineF>& lines, std::vector<QLineF>& batch) {
    batch.clear();
    double pixels = 0;
    auto flush = [&] {
        if (!batch.empty())
            painter.drawLines(batch.data(), int(batch.size()));
        batch.clear();
        pixels = 0;
    };
    for (const QLineF& line : lines) {
        const double length = std::max(std::abs(line.dx()), std::abs(line.dy())) + 1;
        if (length > pixelsPerBatch) {
            flush();
            const int pieces = int(std::ceil(length / pixelsPerBatch));
            for (int k = 0; k < pieces; ++k) {
                const QLineF piece(line.pointAt(double(k) / pieces), line.pointAt(double(k + 1) / pieces));
                painter.drawLine(piece);
            }
            continue;
        }
        if (pixels + length > pixelsPerBatch)
            flush();
        batch.push_back(line);
        pixels += length;
    }
    flush();
}

// The same for curves: each group of curves whose control polygons stay short is stroked together.
void drawCurvesBatched(QPainter& painter, const std::vector<std::array<QPointF, 4>>& curves) {
    QPainterPath path;
    double pixels = 0;
    auto flush = [&] {
        if (!path.isEmpty())
            painter.drawPath(path);
        path.clear();
        pixels = 0;
    };
    for (const auto& c : curves) {
        double length = 1;
        for (int k = 0; k < 3; ++k)
            length += std::max(std::abs(c[k + 1].x() - c[k].x()), std::abs(c[k + 1].y() - c[k].y()));
        if (pixels + length > pixelsPerBatch)
            flush();
        path.moveTo(c[0]);
        path.cubicTo(c[1], c[2], c[3]);
        pixels += length;
    }
    flush();
}

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
    if (m_session) {
        disconnect(m_session, nullptr, this, nullptr);
        disconnect(&m_session->canvases(), nullptr, this, nullptr);
        disconnect(&m_session->canvases().removalDraft(), nullptr, this, nullptr);
        disconnect(&m_session->canvases().simulation(), nullptr, this, nullptr);
    }
    m_session = session;
    m_marks.clear();
    m_drag.reset();
    m_press.reset();
    if (session) {
        connect(session, &ProjectSession::graphChanged, this, &CanvasView::markDirty);
        connect(session, &ProjectSession::projectChanged, this, &CanvasView::markDirty);
        connect(session, &ProjectSession::selectionChanged, this, qOverload<>(&QWidget::update));
        connect(&session->canvases(), &CanvasViews::showsAnswerChanged, this, &CanvasView::bindState);
        connect(&session->canvases().removalDraft(), &RemovalDraft::draftChanged, this,
                qOverload<>(&QWidget::update));
        connect(&session->canvases().simulation(), &CanvasSimulation::stopped, this, [this] {
            if (m_autoFit && m_state)
                m_state->fitGraph({}, true);
        });
    }
    bindState();
}

CanvasState* CanvasView::state() const {
    return m_session ? &m_session->canvases().current() : nullptr;
}

void CanvasView::bindState() {
    if (m_state)
        disconnect(m_state, nullptr, this, nullptr);
    m_state = state();
    if (m_state) {
        for (auto signal : {&CanvasState::shownChanged, &CanvasState::lensChanged})
            connect(m_state, signal, this, &CanvasView::markDirty);
        for (auto signal :
             {&CanvasState::positionsChanged, &CanvasState::pinnedChanged, &CanvasState::exploreChanged})
            connect(m_state, signal, this, qOverload<>(&QWidget::update));
        connect(m_state, &CanvasState::viewportChanged, this, [this] {
            emit viewportChanged();
            update();
        });
        if (width() > 0 && height() > 0)
            m_state->setViewport(m_state->viewport(), size());
        // The loop places what has no position yet and settles the rest; until the person moves the
        // view, it follows the graph as it settles.
        m_autoFit = true;
        // Nodes on the canvas with no position yet (a project opened without a layout) start on a
        // sunflower round the middle, where the loop takes them from.
        QStringList unplaced;
        for (const QString& id : m_state->visible())
            if (!m_state->positions().contains(id))
                unplaced << id;
        if (!unplaced.isEmpty()) {
            std::sort(unplaced.begin(), unplaced.end());
            const auto points = Sunflower::points(int(unplaced.size()), m_state->viewCentre(), false,
                                                  QRandomGenerator::global()->bounded(2 * M_PI));
            for (qsizetype i = 0; i < unplaced.size(); ++i)
                m_state->put(unplaced[i], points[size_t(i)]);
        }
        CanvasSimulation& loop = m_session->canvases().simulation();
        if (!m_state->visible().isEmpty() && !loop.isRunning())
            loop.reheat(1.0);
    }
    markDirty();
}

const Viewport& CanvasView::viewport() const {
    return m_state ? m_state->viewport() : m_none;
}

void CanvasView::setViewport(const Viewport& viewport) {
    m_autoFit = false;
    if (!m_state || m_state->viewport() == viewport)
        return;
    m_state->setViewport(viewport, size());
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
    m_builtState = m_state;
    m_builtTopology = m_state ? m_state->topology() : -1;
    m_builtLens = m_state ? m_state->lensRevision() : -1;
}

void CanvasView::ensureBuilt() {
    if (m_state != state())
        bindState();
    // What is drawn derives from the canvas's topology and lens; either moving means a rebuild.
    if (!m_dirty && (m_builtState != m_state || (m_state && (m_builtTopology != m_state->topology() ||
                                                             m_builtLens != m_state->lensRevision()))))
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
    if (!m_session || !m_state)
        return;
    const GraphSchema& schema = m_session->project().schema;
    QHash<QString, int> colourOfTable;
    for (const NodeType& type : schema.nodeTypes) {
        colourOfTable.insert(type.table(), int(m_colours.size()));
        m_colours.push_back(Theme::paletteColor(type.color));
    }
    const int unknownColour = int(m_colours.size());
    m_colours.push_back(Theme::paletteColor(QStringLiteral("slate")));

    const CanvasState& canvas = *m_state;
    const auto& nodes = m_session->nodes();
    const auto& index = m_session->nodeIndex();
    const QSet<QString>& visible = canvas.visible();
    m_items.reserve(visible.size());
    QList<QString> shown(visible.begin(), visible.end());
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
    const auto& rels = m_session->rels();
    for (const QString& relId : canvas.canvasRels()) {
        auto rel = rels.constFind(relId);
        if (rel == rels.constEnd())
            continue;
        const int from = m_index.value(rel->from, -1);
        const int to = m_index.value(rel->to, -1);
        if (from < 0 || to < 0)
            continue;
        m_edges.push_back({rel->id, from, to, from != to});
        ++perPair[(quint64(std::min(from, to)) << 32) | quint64(std::max(from, to))];
    }
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
    if (!m_session || !m_state)
        return;
    const CanvasState& canvas = *m_state;
    const Viewport& vp = canvas.viewport();
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
    const double scale = vp.scale;
    const QRectF view = QRectF(area).adjusted(-20, -20, 20, 20);
    const auto& positions = canvas.positions();
    std::vector<QPointF> at(m_items.size());
    std::vector<char> placed(m_items.size(), 0);
    for (size_t i = 0; i < m_items.size(); ++i) {
        auto found = positions.constFind(m_items[i].id);
        if (found == positions.constEnd())
            continue;
        at[i] = vp.toScreen(*found);
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
    // A cosmetic pen of one pixel is the raster engine's fast line; wider ones only close up.
    QPen edgePen(edgeColour, scale >= 1 ? std::min(1.2 * scale, 1.6) : 0.0);
    edgePen.setCosmetic(true);
    painter.setPen(edgePen);
    painter.setBrush(Qt::NoBrush);

    if (arrows || !curved.empty()) {
        // With arrowheads every edge goes through the curves, so ends are pulled back from the discs;
        // without them only the bent ones and loops need to.
        std::vector<EdgeGeometry::Edge> wanted;
        QHash<QString, QPointF> world;
        auto want = [&](const Edge& edge) {
            wanted.push_back({edge.id, m_items[edge.from].id, m_items[edge.to].id});
            for (int end : {edge.from, edge.to})
                world.insert(m_items[end].id, vp.toWorld(at[end]));
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
        std::vector<std::array<QPointF, 4>> bent;
        QPainterPath heads;
        QPainterPath chosen;
        for (const auto& drawn : curves) {
            const Curve& c = drawn.curve;
            const QPointF p0 = vp.toScreen(c.p0), p3 = vp.toScreen(c.p3);
            const QPointF p1 = vp.toScreen(c.p1), p2 = vp.toScreen(c.p2);
            if (selection.namesRelationship(drawn.id)) {
                chosen.moveTo(p0);
                chosen.cubicTo(p1, p2, p3);
            } else if (!drawn.loop && drawn.bend == 0) {
                lines.emplace_back(p0, p3);
            } else {
                bent.push_back({p0, p1, p2, p3});
            }
            if (arrows) {
                const auto head = c.arrowhead(arrowSize);
                QPolygonF triangle;
                for (const QPointF& point : head)
                    triangle << vp.toScreen(point);
                heads.addPolygon(triangle);
                heads.closeSubpath();
                ++m_stats.arrowheads;
            }
        }
        drawLinesBatched(painter, lines, m_lineBatch);
        drawCurvesBatched(painter, bent);
        if (!heads.isEmpty())
            painter.fillPath(heads, edgeColour);
        if (!chosen.isEmpty()) {
            painter.setPen(QPen(Theme::accent(), 2.2));
            painter.drawPath(chosen);
        }
    } else {
        drawLinesBatched(painter, lines, m_lineBatch);
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
    // The nodes marked by the brush now, and those waiting in the removal draft.
    QSet<QString> marks = m_marks;
    for (const QString& id : m_session->canvases().removalDraft().stagedForRemoval())
        marks.insert(id);
    if (!marks.isEmpty()) {
        painter.setRenderHint(QPainter::Antialiasing, true);
        painter.setPen(QPen(Theme::danger(), 2));
        for (const QString& id : marks) {
            const int i = m_index.value(id, -1);
            if (i < 0 || !placed[i])
                continue;
            const double r = m_items[i].radius * scale + 3;
            painter.drawLine(at[i] + QPointF(-r, -r), at[i] + QPointF(r, r));
            painter.drawLine(at[i] + QPointF(-r, r), at[i] + QPointF(r, -r));
        }
    }

    // -- Titles ----------------------------------------------------------------------------------------
    if (scale >= labelScale) {
        QFont font = painter.font();
        font.setPixelSize(int(std::clamp(legible, legibleLabelPixels, 15.0)));
        painter.setFont(font);
        painter.setPen(palette().color(QPalette::Text));
        const bool all = int(onScreen.size()) <= maxLabels;
        for (int i : onScreen) {
            const Item& item = m_items[i];
            if (!all && !selection.namesNode(item.id))
                continue;
            const double below = item.radius * scale + 3;
            painter.drawText(QRectF(at[i].x() - 120, at[i].y() + below, 240, font.pixelSize() * 1.6),
                             Qt::AlignHCenter | Qt::AlignTop, item.title);
            ++m_stats.labels;
        }
    }

    // -- Badges: how many neighbours wait off the canvas ---------------------------------------------------
    const auto shownBadges = badges();
    if (!shownBadges.empty()) {
        painter.setRenderHint(QPainter::Antialiasing, true);
        QFont font = painter.font();
        font.setPixelSize(10);
        font.setWeight(QFont::DemiBold);
        painter.setFont(font);
        for (const Badge& badge : shownBadges) {
            painter.setPen(Qt::NoPen);
            painter.setBrush(badge.muted ? Theme::cardBorder() : Theme::accent());
            painter.drawRoundedRect(badge.rect, 7, 7);
            painter.setPen(badge.muted ? palette().color(QPalette::Text)
                                       : palette().color(QPalette::HighlightedText));
            painter.drawText(badge.rect, Qt::AlignCenter, badge.text);
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
    if (!m_state)
        return std::nullopt;
    auto found = m_state->positions().constFind(id);
    if (found == m_state->positions().constEnd())
        return std::nullopt;
    return viewport().toScreen(*found);
}

// -- Fitting and the commands of the canvas --------------------------------------------------------------

void CanvasView::fitIfUnplaced() {
    if (!m_state || m_state->viewport().isPlaced || m_items.empty() || width() <= 0 || height() <= 0)
        return;
    m_state->setViewport(m_state->viewport(), size());
    m_state->fitGraph({}, false);
}

void CanvasView::zoomToFit() {
    ensureBuilt();
    if (!m_state)
        return;
    m_state->setViewport(m_state->viewport(), size());
    m_state->fitGraph({}, true);
    update();
}

void CanvasView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    if (m_state)
        m_state->setViewport(m_state->viewport(), size());
    update();
}

void CanvasView::showType(const QUuid& typeId) {
    if (!m_session || !m_state)
        return;
    const NodeType* type = m_session->project().schema.nodeType(typeId);
    if (!type)
        return;
    m_state->setViewport(m_state->viewport(), size());
    m_state->reveal(type->table());
    ensureBuilt();
    m_state->fitGraph({}, true);
    update();
}

void CanvasView::revealNode(const QString& id) {
    if (!m_session || !m_state || !m_session->nodes().contains(id))
        return;
    m_state->setViewport(m_state->viewport(), size());
    m_state->reveal(QStringList{id});
    m_session->setSelection(GraphSelection::node(id));
    ensureBuilt();
    if (!m_state->viewport().isPlaced) {
        fitIfUnplaced();
    } else if (auto at = m_state->positions().constFind(id); at != m_state->positions().constEnd()) {
        Viewport centred = m_state->viewport();
        centred.offset = QPointF(width() / 2.0, height() / 2.0) - *at * centred.scale;
        setViewport(centred);
    }
    update();
}

void CanvasView::clearCanvas() {
    if (!m_state)
        return;
    m_state->clear();
    markDirty();
}

// -- Hit testing -----------------------------------------------------------------------------------------

std::vector<DrawnNode> CanvasView::drawnNodes() const {
    std::vector<DrawnNode> drawn;
    if (!m_state)
        return drawn;
    const auto& positions = m_state->positions();
    drawn.reserve(m_items.size());
    for (const Item& item : m_items)
        if (auto found = positions.constFind(item.id); found != positions.constEnd())
            drawn.push_back({item.id, *found, item.radius});
    return drawn;
}

std::optional<CanvasHit::NodeHit> CanvasView::nodeAt(QPointF screen) const {
    const auto drawn = drawnNodes();
    return CanvasHit::node(viewport().toWorld(screen), drawn, viewport().scale);
}

std::optional<QString> CanvasView::relAt(QPointF screen) const {
    if (!m_state)
        return std::nullopt;
    std::vector<EdgeGeometry::Edge> edges;
    edges.reserve(m_edges.size());
    for (const Edge& edge : m_edges)
        edges.push_back({edge.id, m_items[edge.from].id, m_items[edge.to].id});
    auto radius = [this](const QString& id) {
        return double(m_items[m_index.value(id)].radius);
    };
    const auto curves = EdgeGeometry::curves(edges, m_state->positions(), radius);
    if (auto hit = CanvasHit::rel(viewport().toWorld(screen), curves, viewport().scale))
        return curves[size_t(*hit)].id;
    return std::nullopt;
}

std::vector<Badge> CanvasView::badges() const {
    std::vector<Badge> badges;
    if (!m_state || viewport().scale < 0.5 || m_items.size() > maxBadgeNodes)
        return badges;
    const Viewport& vp = viewport();
    const QRectF view = QRectF(rect());
    for (const Item& item : m_items) {
        auto at = m_state->positions().constFind(item.id);
        if (at == m_state->positions().constEnd() || !view.contains(vp.toScreen(*at)))
            continue;
        const auto count = m_state->hiddenCount(item.id);
        if (count.automatic == 0 && count.whenAsked == 0)
            continue;
        const QString text =
            count.automatic > 0
                ? (count.whenAsked > 0 ? QStringLiteral("%1 · %2").arg(count.automatic).arg(count.whenAsked)
                                       : QString::number(count.automatic))
                : QString::number(count.whenAsked);
        const QPointF corner =
            vp.toScreen(*at) + QPointF(item.radius * vp.scale * 0.7, -item.radius * vp.scale * 1.4);
        const double width = 10 + 6.5 * text.size();
        Badge badge;
        badge.id = item.id;
        badge.rect = QRectF(corner, QSizeF(width, 15));
        badge.text = text;
        badge.muted = count.automatic == 0;
        badges.push_back(badge);
    }
    return badges;
}

// -- Pointer ---------------------------------------------------------------------------------------------

void CanvasView::mousePressEvent(QMouseEvent* event) {
    setFocus(Qt::MouseFocusReason);
    if (event->button() != Qt::LeftButton || !m_state)
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
        m_drag = Drag::Brush{brushRadius / viewport().scale};
        return;
    }
    const auto hit = nodeAt(at);
    if (!hit) {
        if (modifiers & Qt::ShiftModifier)
            m_drag = Drag::Marquee{};
        else
            m_drag = Drag::Pan{viewport().offset};
        return;
    }
    if (hit->inHalo || (modifiers & Qt::ControlModifier)) {
        m_drag = Drag::Connect{hit->id};
        return;
    }
    const auto& positions = m_state->positions();
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
    if (!m_press || !m_state) {
        if (m_brushTool)
            update();
        return;
    }
    if (!m_drag) {
        if (!Drag::isDrag(*m_press, m_pointer))
            return;
        beginDrag(*m_press, m_pressModifiers);
    }
    const QPointF delta = (m_pointer - *m_press) / viewport().scale;
    CanvasViews& views = m_session->canvases();
    if (const auto* pan = std::get_if<Drag::Pan>(&*m_drag)) {
        Viewport moved = viewport();
        moved.offset = pan->startOffset + (m_pointer - *m_press);
        moved.isPlaced = true;
        setViewport(moved);
    } else if (const auto* move = std::get_if<Drag::Move>(&*m_drag)) {
        views.dragTo(move->id, move->start + delta);
    } else if (const auto* group = std::get_if<Drag::MoveGroup>(&*m_drag)) {
        QHash<QString, QPointF> others;
        for (auto it = group->starts.cbegin(); it != group->starts.cend(); ++it)
            if (it.key() != group->id)
                others.insert(it.key(), it.value() + delta);
        views.dragTo(group->id, group->starts.value(group->id) + delta, others);
    } else if (std::holds_alternative<Drag::Brush>(*m_drag)) {
        brushAt(m_pointer);
    }
    update();
}

void CanvasView::brushAt(QPointF screen) {
    const QPointF world = viewport().toWorld(screen);
    const double reach = brushRadius / viewport().scale;
    const auto& positions = m_state->positions();
    for (const Item& item : m_items) {
        auto found = positions.constFind(item.id);
        if (found == positions.constEnd())
            continue;
        if (std::hypot(found->x() - world.x(), found->y() - world.y()) <= reach + item.radius)
            m_marks.insert(item.id);
    }
}

void CanvasView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !m_press || !m_state)
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
    if (std::holds_alternative<Drag::Move>(*drag) || std::holds_alternative<Drag::MoveGroup>(*drag)) {
        m_session->canvases().endDrag();
    } else if (std::holds_alternative<Drag::Marquee>(*drag)) {
        const QRectF box = QRectF(viewport().toWorld(press), viewport().toWorld(at)).normalized();
        QSet<QString> inside;
        for (const DrawnNode& node : drawnNodes())
            if (box.contains(node.at))
                inside.insert(node.id);
        m_session->setSelection(GraphSelection::nodes(inside));
    } else if (const auto* connect = std::get_if<Drag::Connect>(&*drag)) {
        const auto hit = nodeAt(at);
        emit connectionDrawn(connect->id, hit ? std::optional<QString>(hit->id) : std::nullopt,
                             viewport().toWorld(at));
    } else if (std::holds_alternative<Drag::Brush>(*drag)) {
        // The brushed nodes wait in the removal draft until the person confirms it.
        QStringList marked(m_marks.begin(), m_marks.end());
        std::sort(marked.begin(), marked.end());
        m_session->canvases().removalDraft().stageForRemoval(marked);
        m_session->canvases().removalDraft().setRemovesByHand(true);
        emit brushed(m_marks);
        m_marks.clear();
    }
    update();
}

void CanvasView::click(QPointF at, Qt::KeyboardModifiers modifiers) {
    for (const Badge& badge : badges())
        if (badge.rect
                .adjusted(-CanvasHit::badgeMargin, -CanvasHit::badgeMargin, CanvasHit::badgeMargin,
                          CanvasHit::badgeMargin)
                .contains(at)) {
            m_state->clickBadge(badge.id);
            return;
        }
    if (auto hit = nodeAt(at)) {
        if (modifiers & Qt::ShiftModifier) {
            // Shift toggles the node in a selection of several and does nothing else.
            m_state->toggleSelected(hit->id);
            return;
        }
        emit nodeClicked(hit->id, at);
        m_state->click(hit->id, at);
        return;
    }
    if (auto rel = relAt(at)) {
        m_session->setSelection(GraphSelection::relationship(*rel));
        return;
    }
    m_session->setSelection(GraphSelection());
}

void CanvasView::wheelEvent(QWheelEvent* event) {
    if (!m_state)
        return;
    Viewport moved = viewport();
    if (event->modifiers() & Qt::ControlModifier) {
        const double steps = event->angleDelta().y() / 120.0;
        moved.zoom(std::pow(1.15, steps), event->position());
    } else {
        moved.pan(event->pixelDelta().isNull() ? QPointF(event->angleDelta()) / 2.0
                                               : QPointF(event->pixelDelta()));
    }
    moved.isPlaced = true;
    setViewport(moved);
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
            m_marks.clear();
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
    if (!m_state)
        return;
    ensureBuilt();
    QMenu menu(this);
    const auto hit = nodeAt(event->pos());
    if (hit) {
        if (!m_session->selection().namesNode(hit->id))
            m_session->setSelection(GraphSelection::node(hit->id));
        const QSet<QString> targets = m_session->selection().ids;
        CanvasMenu::fill(menu, *m_session, *m_state, targets, hit->id);
        emit menuRequested(&menu, targets);
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
