#pragma once

#include "app/canvas/CanvasGraph.h"

#include <QObject>
#include <QSet>
#include <QStringList>
#include <functional>

namespace corvantis {

// Removing by hand, like a basket: ids of nodes and relationships are gathered in the order staged, and
// nothing leaves the graph until the person confirms; then all of it goes in one transaction, as one
// undo step.
class RemovalDraft : public QObject {
    Q_OBJECT
public:
    // `remove` deletes nodes (with every relationship touching them) and relationships in one
    // transaction and one undo step.
    using Remove = std::function<void(const QStringList& nodes, const QStringList& rels)>;
    RemovalDraft(const CanvasGraph& graph, Remove remove, QObject* parent = nullptr);

    // The hand form is open.
    bool removesByHand() const { return m_removesByHand; }
    void setRemovesByHand(bool open);

    const QStringList& removalDraft() const { return m_draft; }
    // The staged ids that still name a node or relationship, in order.
    QStringList stagedForRemoval() const;
    // The ids of the selection not yet staged.
    QStringList selectionToStage() const;
    // Adds each id that exists and is not yet staged.
    void stageForRemoval(const QStringList& ids);
    void unstageRemoval(const QString& id);

    struct Cut {
        QStringList nodes;  // staged nodes, in order
        QSet<QString> rels; // staged relationships and every one touching a staged node
        bool operator==(const Cut&) const = default;
    };
    Cut removalCut() const;
    // "Delete 2 nodes and 1 relationship?": a part whose count is 0 is left out.
    static QString confirmationTitle(qint64 nodes, qint64 relationships);
    // Asks, through the session's one confirmation, then removes what is staged at that moment and
    // empties the draft. Nothing staged: nothing.
    void confirmRemovalDraft();

    // The node tables that relationships of the shape can reach from a node (the composer's targets).
    QStringList targetTables(const QString& fromNode) const;

signals:
    void draftChanged();
    void removesByHandChanged();

private:
    const CanvasGraph& m_graph;
    Remove m_remove;
    bool m_removesByHand = false;
    QStringList m_draft;
};

} // namespace corvantis
