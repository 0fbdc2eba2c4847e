#include "app/canvas/CanvasState.h"

namespace corvantis {

CanvasState::CanvasState(int saveDelayMs, QObject* parent)
    : QObject(parent)
    , m_saved(saveDelayMs >= 0) {
    m_save.setSingleShot(true);
    m_save.setTimerType(Qt::PreciseTimer);
    m_save.setInterval(std::max(0, saveDelayMs));
    connect(&m_save, &QTimer::timeout, this, &CanvasState::saveDue);
}

void CanvasState::put(const QString& id, std::optional<QPointF> at) {
    m_shown.insert(id);
    if (at)
        m_positions.insert(id, *at);
    scheduleSave();
}

void CanvasState::pin(const QString& id) {
    m_pinned.insert(id);
    scheduleSave();
}

void CanvasState::restoreNode(const QString& id, std::optional<QPointF> at, bool shown, bool pinned) {
    if (shown)
        m_shown.insert(id);
    if (at)
        m_positions.insert(id, *at);
    if (pinned)
        m_pinned.insert(id);
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
        m_parents.remove(id);
    }
    m_parents.removeIf([&ids](const auto& entry) { return ids.contains(entry.value()); });
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
    forget(vanished);
}

void CanvasState::restore(const GraphLayout& layout, const QSet<QString>& nodeIds, int showAllLimit) {
    m_shown.clear();
    m_positions.clear();
    m_pinned.clear();
    m_pinnedHome.clear();
    m_parents.clear();
    if (layout.shown)
        m_shown = *layout.shown;
    else if (nodeIds.size() <= showAllLimit)
        m_shown = nodeIds;
    for (auto it = layout.positions.begin(); it != layout.positions.end(); ++it)
        if (nodeIds.contains(it.key()))
            m_positions.insert(it.key(), QPointF(it->x, it->y));
    for (const QString& id : layout.pinned)
        if (nodeIds.contains(id))
            m_pinned.insert(id);
    if (layout.parents)
        for (auto it = layout.parents->begin(); it != layout.parents->end(); ++it)
            m_parents.insert(it.key(), it.value());
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

void CanvasState::scheduleSave() {
    if (m_saved)
        m_save.start();
}

} // namespace corvantis
