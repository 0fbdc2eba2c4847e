#pragma once

#include "kit/projects/GraphLayout.h"

#include <QHash>
#include <QObject>
#include <QPointF>
#include <QSet>
#include <QString>
#include <QTimer>
#include <optional>

namespace corvantis {

// What one canvas view shows of the graph: which nodes are on it, where they stand, which are pinned
// (with their free position while an arrangement holds them), and which node each was brought in by.
// The graph view keeps one and saves it as the project's layout; the answer view keeps another that is
// never saved. Changes that the layout file holds start the debounced save; `saveDue` asks the owner to
// write it.
class CanvasState : public QObject {
    Q_OBJECT
public:
    // `saveDelayMs` below zero: a canvas whose state is never saved.
    explicit CanvasState(int saveDelayMs, QObject* parent = nullptr);

    const QHash<QString, QPointF>& positions() const { return m_positions; }
    const QSet<QString>& pinned() const { return m_pinned; }
    const QHash<QString, QPointF>& pinnedHome() const { return m_pinnedHome; }
    const QSet<QString>& shown() const { return m_shown; }
    const QHash<QString, QString>& parents() const { return m_parents; }

    // The middle of the canvas in world coordinates, where new nodes of a plan are scattered.
    QPointF viewCentre() const { return m_viewCentre; }
    void setViewCentre(QPointF centre) { m_viewCentre = centre; }

    // Places a node on the canvas, at a point when one is given.
    void put(const QString& id, std::optional<QPointF> at);
    void pin(const QString& id);
    // Puts a node back as it stood: its position, whether it was shown, whether it was pinned.
    void restoreNode(const QString& id, std::optional<QPointF> at, bool shown, bool pinned);
    // Removes ids from every structure, and the parent links that point at them.
    void forget(const QSet<QString>& ids);
    // Forgets every id for which `exists` is false.
    void keepOnly(const std::function<bool(const QString&)>& exists);

    // Takes a saved layout, keeping only the nodes that exist. Without a saved `shown`, every node is
    // shown when there are at most `showAllLimit`, else none.
    void restore(const GraphLayout& layout, const QSet<QString>& nodeIds, int showAllLimit);
    // The layout file's form: a pinned node is saved at its free position.
    GraphLayout layout() const;

    void scheduleSave();
    bool isSavePending() const { return m_save.isActive(); }
    // Stops a pending save (the owner saves at once instead, or not at all).
    void cancelSave() { m_save.stop(); }
    // From now on nothing schedules a save (the owner has closed).
    void stopSaving() {
        m_saved = false;
        m_save.stop();
    }

signals:
    void saveDue();

private:
    QHash<QString, QPointF> m_positions;
    QSet<QString> m_pinned;
    QHash<QString, QPointF> m_pinnedHome;
    QSet<QString> m_shown;
    QHash<QString, QString> m_parents;
    QPointF m_viewCentre;
    QTimer m_save;
    bool m_saved;
};

} // namespace corvantis
