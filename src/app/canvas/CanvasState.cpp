#include "app/canvas/CanvasState.h"

#include <algorithm>

namespace corvantis {

CanvasState::CanvasState(CanvasGraph& graph, int saveDelayMs, QObject* parent)
    : QObject(parent)
    , m_graph(graph)
    , m_random(QRandomGenerator::global()->generate())
    , m_saved(saveDelayMs >= 0)
    , m_isAnswer(saveDelayMs < 0) {
    m_save.setSingleShot(true);
    m_save.setTimerType(Qt::PreciseTimer);
    m_save.setInterval(std::max(0, saveDelayMs));
    connect(&m_save, &QTimer::timeout, this, &CanvasState::saveDue);
}

CanvasState::~CanvasState() = default;

void CanvasState::bumpShown() {
    ++m_shownRevision;
    emit shownChanged();
}

// -- The viewport --------------------------------------------------------------------------------------

void CanvasState::setViewport(const Viewport& viewport, QSizeF viewSize) {
    m_viewport = viewport;
    m_viewSize = viewSize;
}

QPointF CanvasState::viewCentre() const {
    // Before a view has reported its size the middle is the view's origin.
    const QPointF middle(std::max(0.0, m_viewSize.width()) / 2, std::max(0.0, m_viewSize.height()) / 2);
    return m_viewport.toWorld(middle);
}

void CanvasState::fitGraph(const QSet<QString>& ids, bool animated) {
    const QSet<QString>& chosen = ids.isEmpty() ? visible() : ids;
    std::vector<QPointF> points;
    points.reserve(chosen.size());
    for (const QString& id : chosen) {
        auto it = m_positions.constFind(id);
        if (it != m_positions.constEnd())
            points.push_back(*it);
    }
    const Viewport before = m_viewport;
    m_viewport.fit(points, QRectF(QPointF(0, 0), m_viewSize.expandedTo(QSizeF(0, 0))), 60);
    if (!(m_viewport == before))
        emit viewportChanged(animated);
}

void CanvasState::fitArranged() {
    const ArrangedCanvas* arrangedCanvas = arranged();
    if (!arrangedCanvas)
        return;
    const Arrangement& layout = arrangedCanvas->layout;
    const std::vector<QPointF> corners{{layout.minX, layout.minY}, {layout.maxX, layout.maxY}};
    m_viewport.fit(corners, QRectF(QPointF(0, 0), m_viewSize), 60);
    emit viewportChanged(true);
}

// -- Placing and saving --------------------------------------------------------------------------------

void CanvasState::put(const QString& id, std::optional<QPointF> at) {
    const bool added = !m_shown.contains(id);
    m_shown.insert(id);
    if (at)
        m_positions.insert(id, *at);
    if (added)
        bumpShown();
    scheduleSave();
}

void CanvasState::pin(const QString& id) {
    m_pinned.insert(id);
    emit pinnedChanged();
    scheduleSave();
}

void CanvasState::restoreNode(const QString& id, std::optional<QPointF> at, bool shown, bool pinned) {
    if (shown)
        m_shown.insert(id);
    if (at)
        m_positions.insert(id, *at);
    if (pinned)
        m_pinned.insert(id);
    bumpShown();
    scheduleSave();
}

void CanvasState::forget(const QSet<QString>& ids) {
    if (ids.isEmpty())
        return;
    for (const QString& id : ids) {
        m_positions.remove(id);
        m_pinned.remove(id);
        m_pinnedHome.remove(id);
        m_shown.remove(id);
        m_expanded.remove(id);
        m_parents.remove(id);
        m_answerIds.remove(id);
    }
    m_parents.removeIf([&ids](const auto& entry) { return ids.contains(entry.value()); });
    bumpShown();
    scheduleSave();
}

void CanvasState::keepOnly(const std::function<bool(const QString&)>& exists) {
    QSet<QString> vanished;
    auto collect = [&](const auto& ids) {
        for (const QString& id : ids)
            if (!exists(id))
                vanished.insert(id);
    };
    collect(m_shown);
    collect(m_pinned);
    collect(m_positions.keys());
    collect(m_parents.keys());
    collect(m_expanded);
    forget(vanished);
}

void CanvasState::restore(const GraphLayout& layout, const QSet<QString>& nodeIds, int showAllLimit) {
    m_shown.clear();
    m_positions.clear();
    m_pinned.clear();
    m_pinnedHome.clear();
    m_parents.clear();
    m_expanded.clear();
    if (layout.shown) {
        for (const QString& id : *layout.shown)
            if (nodeIds.contains(id))
                m_shown.insert(id);
    } else if (nodeIds.size() <= showAllLimit) {
        m_shown = nodeIds;
    }
    for (auto it = layout.positions.begin(); it != layout.positions.end(); ++it)
        if (nodeIds.contains(it.key()))
            m_positions.insert(it.key(), QPointF(it->x, it->y));
    for (const QString& id : layout.pinned)
        if (nodeIds.contains(id))
            m_pinned.insert(id);
    if (layout.parents)
        for (auto it = layout.parents->begin(); it != layout.parents->end(); ++it)
            m_parents.insert(it.key(), it.value());
    bumpShown();
}

GraphLayout CanvasState::layout() const {
    GraphLayout layout;
    for (auto it = m_positions.begin(); it != m_positions.end(); ++it) {
        const QPointF point = m_pinned.contains(it.key()) ? m_pinnedHome.value(it.key(), *it) : *it;
        layout.positions.insert(it.key(), {point.x(), point.y()});
    }
    layout.pinned = m_pinned;
    layout.shown = m_shown;
    QMap<QString, QString> parents;
    for (auto it = m_parents.begin(); it != m_parents.end(); ++it)
        parents.insert(it.key(), it.value());
    layout.parents = parents;
    return layout;
}

void CanvasState::clear() {
    m_shown.clear();
    m_positions.clear();
    m_pinned.clear();
    m_pinnedHome.clear();
    m_parents.clear();
    m_expanded.clear();
    m_exploreMore.reset();
    bumpShown();
    emit exploreChanged();
    scheduleSave();
}

void CanvasState::scheduleSave() {
    if (m_saved)
        m_save.start();
}

void CanvasState::writePositions(const QStringList& ids, const std::vector<ForceLayout::Body>& bodies) {
    Q_ASSERT(size_t(ids.size()) == bodies.size());
    for (qsizetype i = 0; i < ids.size(); ++i) {
        const ForceLayout::Body& body = bodies[size_t(i)];
        if (body.pinned)
            continue;
        auto it = m_positions.find(ids[i]);
        if (it != m_positions.end())
            *it = QPointF(body.x, body.y);
    }
    emit positionsChanged();
}

void CanvasState::dragTo(const QString& id, QPointF at) {
    m_positions.insert(id, at);
    if (arranged())
        m_pinnedHome.insert(id, at);
    else
        m_pinnedHome.remove(id);
    m_pinned.insert(id);
    emit positionsChanged();
    emit reheatRequested(0.1);
}

void CanvasState::unpin(const QString& id) {
    if (!m_pinned.remove(id))
        return;
    m_pinnedHome.remove(id);
    emit pinnedChanged();
    emit reheatRequested(0.4);
    scheduleSave();
}

void CanvasState::unpinAll() {
    m_pinned.clear();
    m_pinnedHome.clear();
    emit pinnedChanged();
    emit reheatRequested(0.8);
    scheduleSave();
}

} // namespace corvantis
