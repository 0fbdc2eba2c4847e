#include "app/canvas/RemovalDraft.h"

#include "kit/support/Counted.h"

namespace corvantis {

RemovalDraft::RemovalDraft(const CanvasGraph& graph, Remove remove, QObject* parent)
    : QObject(parent)
    , m_graph(graph)
    , m_remove(std::move(remove)) {
}

void RemovalDraft::setRemovesByHand(bool open) {
    if (m_removesByHand == open)
        return;
    m_removesByHand = open;
    emit removesByHandChanged();
}

QStringList RemovalDraft::stagedForRemoval() const {
    QStringList staged;
    for (const QString& id : m_draft)
        if (m_graph.nodes().contains(id) || m_graph.rels().contains(id))
            staged.append(id);
    return staged;
}

QStringList RemovalDraft::selectionToStage() const {
    QStringList ids(m_graph.core().selection().ids.begin(), m_graph.core().selection().ids.end());
    std::sort(ids.begin(), ids.end());
    ids.removeIf([this](const QString& id) { return m_draft.contains(id); });
    return ids;
}

void RemovalDraft::stageForRemoval(const QStringList& ids) {
    bool changed = false;
    for (const QString& id : ids) {
        if (m_draft.contains(id) || (!m_graph.nodes().contains(id) && !m_graph.rels().contains(id)))
            continue;
        m_draft.append(id);
        changed = true;
    }
    if (changed)
        emit draftChanged();
}

void RemovalDraft::unstageRemoval(const QString& id) {
    if (m_draft.removeAll(id) > 0)
        emit draftChanged();
}

RemovalDraft::Cut RemovalDraft::removalCut() const {
    Cut cut;
    QSet<QString> nodes;
    for (const QString& id : stagedForRemoval()) {
        if (m_graph.nodes().contains(id)) {
            cut.nodes.append(id);
            nodes.insert(id);
        } else {
            cut.rels.insert(id);
        }
    }
    for (const QString& node : std::as_const(nodes))
        for (const QString& rel : m_graph.relsOf(node))
            cut.rels.insert(rel);
    return cut;
}

QString RemovalDraft::confirmationTitle(qint64 nodes, qint64 relationships) {
    QStringList parts;
    if (nodes > 0)
        parts.append(counted(nodes, QStringLiteral("node")));
    if (relationships > 0)
        parts.append(counted(relationships, QStringLiteral("relationship")));
    return QStringLiteral("Delete %1?").arg(parts.join(QStringLiteral(" and ")));
}

void RemovalDraft::confirmRemovalDraft() {
    const Cut cut = removalCut();
    if (cut.nodes.isEmpty() && cut.rels.isEmpty())
        return;
    DataLossConfirmation confirmation;
    confirmation.title = confirmationTitle(cut.nodes.size(), cut.rels.size());
    confirmation.message =
        QStringLiteral("They're deleted from your graph, not just hidden. Undo brings them back.");
    confirmation.actionTitle = QStringLiteral("Delete");
    confirmation.perform = [this] {
        const Cut now = removalCut();
        QStringList rels(now.rels.begin(), now.rels.end());
        std::sort(rels.begin(), rels.end());
        if (!now.nodes.isEmpty() || !rels.isEmpty())
            m_remove(now.nodes, rels);
        m_draft.clear();
        emit draftChanged();
    };
    m_graph.core().requestConfirmation(std::move(confirmation));
}

QStringList RemovalDraft::targetTables(const QString& fromNode) const {
    const NodeType* from = m_graph.typeOfNode(fromNode);
    if (!from)
        return {};
    QStringList tables;
    for (const RelType& rel : m_graph.schema().relTypes)
        for (const RelEndpoint& endpoint : rel.endpoints)
            if (endpoint.from == from->id)
                if (const NodeType* to = m_graph.schema().nodeType(endpoint.to))
                    if (!tables.contains(to->table()))
                        tables.append(to->table());
    return tables;
}

} // namespace corvantis
