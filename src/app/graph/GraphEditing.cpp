// The session's edits of nodes and relationships, each with its undo step.
#include "app/canvas/CanvasState.h"
#include "app/canvas/CanvasViews.h"
#include "app/graph/ProjectSession.h"
#include "app/undo/UndoStack.h"
#include "kit/schema/Identifier.h"
#include "kit/schema/ValueRefusal.h"
#include "kit/support/Counted.h"
#include "kit/support/Json.h"

#include <QtMath>
#include <algorithm>

namespace corvantis {

namespace {

QString newId() {
    return json::uuidText(QUuid::createUuid());
}

PropertyMap withoutNulls(PropertyMap values) {
    values.removeIf([](const auto& entry) { return entry.value().isNull(); });
    return values;
}

QStringList sortedIds(const QSet<QString>& ids) {
    QStringList list(ids.begin(), ids.end());
    list.sort();
    return list;
}

const QString missingEnds = QStringLiteral("That relationship's ends aren't in the graph any more.");

} // namespace

PropertyMap ProjectSession::withDefaults(const PropertyMap& values, const QList<PropertyDef>* properties) {
    return properties ? PropertyDef::fillingDefaults(*properties, values) : values;
}

std::optional<QString> ProjectSession::endLabel(const QString& nodeId, const QList<NodeRecord>& extra) const {
    auto it = m_nodes.constFind(nodeId);
    if (it != m_nodes.constEnd())
        return it->label;
    for (const NodeRecord& node : extra)
        if (node.id == nodeId)
            return node.label;
    return std::nullopt;
}

QList<RelRecord> ProjectSession::touching(const QSet<QString>& nodeIds) const {
    QList<RelRecord> found;
    for (const RelRecord& rel : m_rels)
        if (nodeIds.contains(rel.from) || nodeIds.contains(rel.to))
            found.append(rel);
    return found;
}

void ProjectSession::dropFromMemory(const QSet<QString>& nodeIds, const QSet<QString>& relIds) {
    for (const QString& id : nodeIds)
        m_nodes.remove(id);
    for (const QString& id : relIds)
        m_rels.remove(id);
    m_canvases->forget(nodeIds + relIds);
    for (const QString& id : m_selection.ids) {
        if (nodeIds.contains(id) || relIds.contains(id)) {
            setSelection(GraphSelection());
            break;
        }
    }
}

// -- Adding ------------------------------------------------------------------------------------------

std::optional<QString> ProjectSession::createNode(const NodeType& type, const QString& name,
                                                  const PropertyMap& values, std::optional<QPointF> at) {
    NodeRecord node{newId(), Identifier::nodeTable(type.name), values};
    if (const PropertyDef* title = type.title()) {
        auto value = title->value(name);
        if (value && !value->isNull())
            node.properties.insert(title->column(), *value);
    }
    if (!insert(node, at, at.has_value()))
        return std::nullopt;
    return node.id;
}

std::optional<QString> ProjectSession::createRelationship(const QUuid& typeId, const QString& from,
                                                          const QString& to) {
    const RelType* type = m_project.schema.relType(typeId);
    const auto table = tableOf(typeId);
    if (!type || !table) {
        setNotice(QStringLiteral("That relationship type isn't in the graph yet."));
        return std::nullopt;
    }
    RelRecord rel{newId(), *table, from, to, {}};
    if (!insert(rel))
        return std::nullopt;
    return rel.id;
}

bool ProjectSession::insert(NodeRecord node, std::optional<QPointF> at, bool pin,
                            const QList<RelRecord>& with) {
    if (!writable())
        return false;
    const NodeType* type = m_project.schema.nodeTypeForTable(node.label);
    node.properties = withoutNulls(withDefaults(node.properties, type ? &type->properties : nullptr));

    QList<RelRecord> rels;
    QList<RelInsertion> insertions;
    for (RelRecord rel : with) {
        const RelType* relType = m_project.schema.relTypeForTable(rel.label);
        rel.properties = withoutNulls(withDefaults(rel.properties, relType ? &relType->properties : nullptr));
        auto from = endLabel(rel.from, {node});
        auto to = endLabel(rel.to, {node});
        if (!from || !to) {
            setNotice(missingEnds);
            return false;
        }
        insertions.append({rel, *from, *to});
        rels.append(rel);
    }

    try {
        if (insertions.isEmpty())
            m_store->insertNode(node);
        else
            m_store->insertRecords({node}, insertions);
    } catch (const UserFacingError& error) {
        failStore(error);
        return false;
    }

    m_nodes.insert(node.id, node);
    for (const RelRecord& rel : std::as_const(rels))
        m_rels.insert(rel.id, rel);
    m_canvases->graph().put(node.id, at);
    if (pin)
        m_canvases->graph().pin(node.id);
    rebuildDerived();
    registerUndo(QStringLiteral("Add Node"), [this, id = node.id] { deleteNode(id); });
    return true;
}

bool ProjectSession::insert(RelRecord rel) {
    if (!writable())
        return false;
    if (m_rels.contains(rel.id)) {
        setNotice(QStringLiteral("That relationship is already in the graph."));
        return false;
    }
    const RelType* type = m_project.schema.relTypeForTable(rel.label);
    rel.properties = withoutNulls(withDefaults(rel.properties, type ? &type->properties : nullptr));
    auto from = endLabel(rel.from);
    auto to = endLabel(rel.to);
    if (!from || !to) {
        setNotice(missingEnds);
        return false;
    }
    try {
        m_store->insertRel(rel, *from, *to);
    } catch (const UserFacingError& error) {
        failStore(error);
        return false;
    }
    m_rels.insert(rel.id, rel);
    rebuildDerived();
    registerUndo(QStringLiteral("Add Relationship"), [this, id = rel.id] { deleteRel(id); });
    return true;
}

// -- Changing values ---------------------------------------------------------------------------------

bool ProjectSession::updateRecord(const QString& id, bool isNode, const PropertyMap& set,
                                  const QString& actionName) {
    if (!writable())
        return false;
    PropertyMap* held = nullptr;
    QString label;
    const QList<PropertyDef>* definitions = nullptr;
    if (isNode) {
        auto it = m_nodes.find(id);
        if (it == m_nodes.end())
            return false;
        held = &it->properties;
        label = it->label;
        if (const NodeType* type = m_project.schema.nodeTypeForTable(label))
            definitions = &type->properties;
    } else {
        auto it = m_rels.find(id);
        if (it == m_rels.end())
            return false;
        held = &it->properties;
        label = it->label;
        if (const RelType* type = m_project.schema.relTypeForTable(label))
            definitions = &type->properties;
    }

    // The defaults fill what the record will lack after the change, never what it holds.
    PropertyMap merged = *held;
    for (auto it = set.begin(); it != set.end(); ++it)
        merged.insert(it.key(), it.value());
    const PropertyMap filled = withDefaults(merged, definitions);

    PropertyMap changes;
    PropertyMap previous;
    for (auto it = filled.begin(); it != filled.end(); ++it) {
        const GraphValue present = held->value(it.key());
        if (present == it.value())
            continue;
        changes.insert(it.key(), it.value());
        previous.insert(it.key(), present);
    }
    if (changes.isEmpty())
        return false;

    try {
        if (isNode)
            m_store->updateNode(id, label, changes);
        else
            m_store->updateRel(id, label, changes);
    } catch (const UserFacingError& error) {
        failStore(error);
        return false;
    }

    for (auto it = changes.begin(); it != changes.end(); ++it) {
        if (it.value().isNull())
            held->remove(it.key());
        else
            held->insert(it.key(), it.value());
    }
    emit graphChanged();
    registerUndo(actionName, [this, id, isNode, previous, actionName] {
        updateRecord(id, isNode, previous, actionName);
    });
    return true;
}

void ProjectSession::updateNode(const QString& id, const PropertyMap& set) {
    updateRecord(id, true, set, QStringLiteral("Edit Node"));
}

void ProjectSession::updateRel(const QString& id, const PropertyMap& set) {
    updateRecord(id, false, set, QStringLiteral("Edit Relationship"));
}

void ProjectSession::updateNodes(const QHash<QString, PropertyMap>& changes, const QString& action) {
    if (m_undo)
        m_undo->beginGroup();
    for (const QString& id : sortedIds(QSet<QString>(changes.keyBegin(), changes.keyEnd())))
        updateRecord(id, true, changes.value(id), action);
    if (m_undo) {
        m_undo->setActionName(action);
        m_undo->endGroup();
    }
}

bool ProjectSession::setValueFromText(const QString& recordId, const QUuid& property, const QString& text) {
    const bool isNode = m_nodes.contains(recordId);
    if (!isNode && !m_rels.contains(recordId))
        return false;
    const PropertyDef* definition = nullptr;
    if (isNode) {
        if (const NodeType* type = m_project.schema.nodeTypeForTable(m_nodes.value(recordId).label))
            definition = type->property(property);
    } else {
        if (const RelType* type = m_project.schema.relTypeForTable(m_rels.value(recordId).label))
            definition = type->property(property);
    }
    if (!definition)
        return false;

    auto value = definition->value(text);
    if (!value) {
        if (auto refusal = refusalOfText(*definition, text))
            setNotice(*refusal);
        return false;
    }
    const PropertyMap set{{definition->column(), *value}};
    if (isNode)
        updateNode(recordId, set);
    else
        updateRel(recordId, set);
    return true;
}

// -- Deleting ----------------------------------------------------------------------------------------

ProjectSession::Removal ProjectSession::removal(const QList<NodeRecord>& nodes,
                                                const QList<RelRecord>& rels) const {
    Removal removal{nodes, rels, {}, {}, {}};
    const CanvasState& canvas = m_canvases->graph();
    for (const NodeRecord& node : nodes) {
        if (canvas.positions().contains(node.id))
            removal.positions.insert(node.id, canvas.positions().value(node.id));
        if (canvas.pinned().contains(node.id))
            removal.pinned.insert(node.id);
        if (canvas.shown().contains(node.id))
            removal.shown.insert(node.id);
    }
    return removal;
}

void ProjectSession::deleteNode(const QString& id) {
    removeRecords({id}, {}, QStringLiteral("Delete Node"));
}

void ProjectSession::deleteRel(const QString& id) {
    removeRecords({}, {id}, QStringLiteral("Delete Relationship"));
}

void ProjectSession::deleteSelection() {
    const GraphSelection selection = m_selection;
    switch (selection.kind) {
    case GraphSelection::Kind::None:
        return;
    case GraphSelection::Kind::Relationship:
        deleteRel(*selection.ids.begin());
        return;
    case GraphSelection::Kind::Node:
        deleteNode(*selection.ids.begin());
        return;
    case GraphSelection::Kind::Nodes:
        break;
    }
    QSet<QString> ids;
    for (const QString& id : selection.ids)
        if (m_nodes.contains(id))
            ids.insert(id);
    if (ids.isEmpty())
        return;
    if (ids.size() == 1) {
        deleteNode(*ids.begin());
        return;
    }
    askToDelete(ids);
}

void ProjectSession::askToDelete(const QSet<QString>& ids) {
    const qint64 connections = touching(ids).size();
    DataLossConfirmation confirmation;
    confirmation.title = QStringLiteral("Delete %1 nodes?").arg(ids.size());
    confirmation.message =
        connections > 0
            ? QStringLiteral(
                  "They and their %1 are deleted from your graph, not just hidden. Undo brings them back.")
                  .arg(counted(connections, QStringLiteral("connection")))
            : QStringLiteral("They're deleted from your graph, not just hidden. Undo brings them back.");
    confirmation.actionTitle = QStringLiteral("Delete");
    // One transaction and one undo step, so that Undo brings all of them back or none. When the graph
    // changed while the question stood, it is asked again with what would now be deleted.
    confirmation.perform = [this, ids, connections] {
        QSet<QString> present;
        for (const QString& id : ids)
            if (m_nodes.contains(id))
                present.insert(id);
        if (present.size() < 2 || present.size() != ids.size() || touching(present).size() != connections) {
            if (present.size() >= 2)
                askToDelete(present);
            else if (!present.isEmpty())
                removeRecords(QStringList(present.begin(), present.end()), {}, QStringLiteral("Delete Node"));
            return;
        }
        removeRecords(sortedIds(ids), {}, QStringLiteral("Delete Nodes"));
    };
    requestConfirmation(std::move(confirmation));
}

ProjectSession::RemovedCounts
ProjectSession::removeRecords(const QStringList& nodeIds, const QStringList& relIds, const QString& action) {
    if (!writable())
        return {};
    QList<NodeRecord> nodes;
    QSet<QString> nodeSet;
    for (const QString& id : nodeIds) {
        auto it = m_nodes.constFind(id);
        if (it != m_nodes.constEnd() && !nodeSet.contains(id)) {
            nodes.append(*it);
            nodeSet.insert(id);
        }
    }
    QList<RelRecord> rels = touching(nodeSet);
    QSet<QString> relSet;
    for (const RelRecord& rel : std::as_const(rels))
        relSet.insert(rel.id);
    for (const QString& id : relIds) {
        auto it = m_rels.constFind(id);
        if (it != m_rels.constEnd() && !relSet.contains(id)) {
            rels.append(*it);
            relSet.insert(id);
        }
    }
    if (nodes.isEmpty() && rels.isEmpty())
        return {};

    const Removal taken = removal(nodes, rels);
    QList<RecordKey> nodeKeys;
    for (const NodeRecord& node : std::as_const(nodes))
        nodeKeys.append({node.id, node.label});
    QList<RecordKey> relKeys;
    for (const RelRecord& rel : std::as_const(rels))
        relKeys.append({rel.id, rel.label});

    try {
        m_store->deleteRecords(nodeKeys, relKeys);
    } catch (const UserFacingError& error) {
        failStore(error);
        return {};
    }
    dropFromMemory(nodeSet, relSet);
    rebuildDerived();
    registerUndo(action, [this, taken, action] { restoreRecords(taken, action); });
    return {nodes.size(), rels.size()};
}

// Puts back what removeRecords took, in one transaction: the records exactly as they were (no defaults
// of today's shape), and for each node whether it was shown, where it stood and whether it was pinned.
void ProjectSession::restoreRecords(const Removal& taken, const QString& action) {
    if (!writable()) {
        if (m_undo)
            m_undo->refuse();
        return;
    }
    QList<NodeRecord> restoredNodes;
    for (const NodeRecord& node : taken.nodes)
        if (!m_nodes.contains(node.id))
            restoredNodes.append(node);
    QList<RelRecord> restoredRels;
    QList<RelInsertion> insertions;
    qsizetype endless = 0;
    for (const RelRecord& rel : taken.rels) {
        if (m_rels.contains(rel.id))
            continue;
        auto from = endLabel(rel.from, restoredNodes);
        auto to = endLabel(rel.to, restoredNodes);
        if (!from || !to) {
            ++endless;
            continue;
        }
        insertions.append({rel, *from, *to});
        restoredRels.append(rel);
    }
    if (restoredNodes.isEmpty() && restoredRels.isEmpty()) {
        if (endless > 0) {
            setNotice(missingEnds);
            if (m_undo)
                m_undo->refuse();
        }
        return;
    }

    try {
        m_store->insertRecords(restoredNodes, insertions);
    } catch (const UserFacingError& error) {
        failStore(error);
        return;
    }

    QStringList nodeIds;
    for (const NodeRecord& node : std::as_const(restoredNodes)) {
        m_nodes.insert(node.id, node);
        nodeIds.append(node.id);
        const auto at = taken.positions.constFind(node.id);
        m_canvases->graph().restoreNode(
            node.id, at != taken.positions.cend() ? std::optional<QPointF>(*at) : std::nullopt,
            taken.shown.contains(node.id), taken.pinned.contains(node.id));
    }
    QStringList relIds;
    for (const RelRecord& rel : std::as_const(restoredRels)) {
        m_rels.insert(rel.id, rel);
        relIds.append(rel.id);
    }
    rebuildDerived();
    if (endless > 0)
        setNotice(QStringLiteral("%1 couldn't come back: an end of each is gone from the graph.")
                      .arg(counted(endless, QStringLiteral("relationship"))));
    registerUndo(action, [this, nodeIds, relIds, action] { removeRecords(nodeIds, relIds, action); });
}

// -- A plan ------------------------------------------------------------------------------------------

GraphAdded ProjectSession::applyGraphPlan(const GraphPlan& plan) {
    if (plan.isEmpty() || !writable())
        return {};
    if (m_undo)
        m_undo->beginGroup();

    GraphAdded added;
    const RemovedCounts removed = removeRecords(plan.removedNodes, plan.removedRelationships);
    added.removedNodes = removed.nodes;
    added.removedRelationships = std::max<qint64>(0, removed.relationships - plan.detached);

    // New nodes start as a loose cloud round the middle of the view, the same for the same plan.
    QSet<QString> show(plan.merged.begin(), plan.merged.end());
    const qsizetype count = plan.nodes.size();
    const double radius = std::sqrt(double(count)) * 36 + 40;
    const QPointF centre = m_canvases->graph().viewCentre();
    for (qsizetype i = 0; i < count; ++i) {
        const double angle = double(i) / double(count) * 2 * M_PI + double(i) * 0.37;
        const double distance = radius * (double((i * 7919) % 100) * 0.6 / 100 + 0.4);
        const QPointF at = centre + QPointF(std::cos(angle) * distance, std::sin(angle) * distance);
        if (insert(plan.nodes[i], at, false)) {
            ++added.nodes;
            show.insert(plan.nodes[i].id);
        }
    }
    for (const NodeUpdate& update : plan.updates) {
        if (!m_nodes.contains(update.id))
            continue;
        updateNode(update.id, update.properties);
        ++added.filled;
    }
    for (const NodeUpdate& edit : plan.nodeEdits) {
        if (!m_nodes.contains(edit.id))
            continue;
        updateNode(edit.id, edit.properties);
        ++added.changed;
    }
    for (const NodeUpdate& edit : plan.relEdits) {
        if (!m_rels.contains(edit.id))
            continue;
        updateRel(edit.id, edit.properties);
        ++added.changed;
    }
    for (const RelRecord& rel : plan.relationships)
        if (insert(rel))
            ++added.relationships;
    added.matched = plan.merged.size();

    if (!show.isEmpty()) {
        setSelection(GraphSelection());
        for (const QString& id : std::as_const(show))
            if (m_nodes.contains(id))
                m_canvases->graph().put(id, std::nullopt);
    }
    if (m_undo) {
        m_undo->setActionName(plan.changesGraph() ? QStringLiteral("Change Graph with AI")
                                                  : QStringLiteral("Build Graph with AI"));
        m_undo->endGroup();
    }
    return added;
}

} // namespace corvantis
