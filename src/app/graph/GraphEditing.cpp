// The session's edits of nodes and relationships, each with its undo step.
#include "app/graph/ProjectSession.h"
#include "app/undo/UndoStack.h"
#include "kit/schema/Identifier.h"
#include "kit/support/Json.h"

#include <QtMath>
#include <algorithm>

namespace corvantis {

namespace {

QString newId() {
    return json::uuidText(QUuid::createUuid());
}

// "1 connection", "2 connections".
QString counted(qint64 count, const QString& word) {
    return QStringLiteral("%1 %2%3").arg(count).arg(word, count == 1 ? QString() : QStringLiteral("s"));
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
    forget(nodeIds);
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

bool ProjectSession::insert(NodeRecord node, std::optional<QPointF> at, bool pin,
                            const QList<RelRecord>& with) {
    if (!m_store)
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
    put(node.id, at);
    if (pin)
        m_graphPinned.insert(node.id);
    rebuildDerived();
    registerUndo(QStringLiteral("Add Node"), [this, id = node.id] { deleteNode(id); });
    return true;
}

bool ProjectSession::insert(RelRecord rel) {
    if (!m_store)
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
    if (!m_store)
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

std::optional<QString> ProjectSession::refusalOfText(const PropertyDef& property, const QString& text) {
    if (property.value(text))
        return std::nullopt;
    const QString typed = text.trimmed();
    switch (property.kind) {
    case PropertyKind::Number:
        return QStringLiteral("“%1” isn't a number.").arg(typed);
    case PropertyKind::Link:
        return QStringLiteral("“%1” isn't a link.").arg(typed);
    case PropertyKind::Boolean:
        return QStringLiteral("“%1” isn't yes or no.").arg(typed);
    case PropertyKind::Choice:
        if (property.options.value_or(QStringList()).isEmpty())
            return QStringLiteral("“%1” has no options yet.").arg(property.name);
        return QStringLiteral("“%1” isn't one of the options of “%2”: %3.")
            .arg(typed, property.name, property.options->join(QStringLiteral(", ")));
    case PropertyKind::Text:
        break;
    }
    return QStringLiteral("“%1” can't be used here.").arg(typed);
}

// -- Deleting ----------------------------------------------------------------------------------------

void ProjectSession::deleteNode(const QString& id) {
    if (!m_store)
        return;
    auto it = m_nodes.constFind(id);
    if (it == m_nodes.constEnd())
        return;
    const NodeRecord node = *it;
    const QList<RelRecord> rels = touching({id});
    QHash<QString, QPointF> positions;
    if (m_graphPositions.contains(id))
        positions.insert(id, m_graphPositions.value(id));
    QSet<QString> pinned;
    if (m_graphPinned.contains(id))
        pinned.insert(id);

    try {
        m_store->deleteNode(id, node.label);
    } catch (const UserFacingError& error) {
        failStore(error);
        return;
    }

    QSet<QString> relIds;
    for (const RelRecord& rel : rels)
        relIds.insert(rel.id);
    dropFromMemory({id}, relIds);
    rebuildDerived();
    registerUndo(QStringLiteral("Delete Node"),
                 [this, node, rels, positions, pinned] { restoreRecords({node}, rels, positions, pinned); });
}

void ProjectSession::deleteRel(const QString& id) {
    if (!m_store)
        return;
    auto it = m_rels.constFind(id);
    if (it == m_rels.constEnd())
        return;
    const RelRecord rel = *it;
    try {
        m_store->deleteRel(id, rel.label);
    } catch (const UserFacingError& error) {
        failStore(error);
        return;
    }
    dropFromMemory({}, {id});
    rebuildDerived();
    registerUndo(QStringLiteral("Delete Relationship"), [this, rel] { insert(rel); });
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
    confirmation.perform = [this, ids = sortedIds(ids)] {
        if (m_undo)
            m_undo->beginGroup();
        for (const QString& id : ids)
            deleteNode(id);
        if (m_undo) {
            m_undo->setActionName(QStringLiteral("Delete Nodes"));
            m_undo->endGroup();
        }
    };
    ask(std::move(confirmation));
}

ProjectSession::RemovedCounts ProjectSession::removeRecords(const QStringList& nodeIds,
                                                            const QStringList& relIds) {
    if (!m_store)
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

    QHash<QString, QPointF> positions;
    QSet<QString> pinned;
    QList<RecordKey> nodeKeys;
    for (const NodeRecord& node : std::as_const(nodes)) {
        nodeKeys.append({node.id, node.label});
        if (m_graphPositions.contains(node.id))
            positions.insert(node.id, m_graphPositions.value(node.id));
        if (m_graphPinned.contains(node.id))
            pinned.insert(node.id);
    }
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
    registerUndo(QStringLiteral("Delete"),
                 [this, nodes, rels, positions, pinned] { restoreRecords(nodes, rels, positions, pinned); });
    return {nodes.size(), rels.size()};
}

void ProjectSession::restoreRecords(const QList<NodeRecord>& nodes, const QList<RelRecord>& rels,
                                    const QHash<QString, QPointF>& positions, const QSet<QString>& pinned) {
    if (!m_store)
        return;
    QList<NodeRecord> restoredNodes;
    for (const NodeRecord& node : nodes)
        if (!m_nodes.contains(node.id))
            restoredNodes.append(node);
    QList<RelRecord> restoredRels;
    QList<RelInsertion> insertions;
    for (const RelRecord& rel : rels) {
        if (m_rels.contains(rel.id))
            continue;
        auto from = endLabel(rel.from, restoredNodes);
        auto to = endLabel(rel.to, restoredNodes);
        if (!from || !to)
            continue;
        insertions.append({rel, *from, *to});
        restoredRels.append(rel);
    }
    if (restoredNodes.isEmpty() && restoredRels.isEmpty())
        return;

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
        put(node.id,
            positions.contains(node.id) ? std::optional<QPointF>(positions.value(node.id)) : std::nullopt);
        if (pinned.contains(node.id))
            m_graphPinned.insert(node.id);
    }
    QStringList relIds;
    for (const RelRecord& rel : std::as_const(restoredRels)) {
        m_rels.insert(rel.id, rel);
        relIds.append(rel.id);
    }
    rebuildDerived();
    registerUndo(QStringLiteral("Delete"), [this, nodeIds, relIds] { removeRecords(nodeIds, relIds); });
}

// -- A plan ------------------------------------------------------------------------------------------

GraphAdded ProjectSession::applyGraphPlan(const GraphPlan& plan) {
    if (plan.isEmpty() || !m_store)
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
    for (qsizetype i = 0; i < count; ++i) {
        const double angle = double(i) / double(count) * 2 * M_PI + double(i) * 0.37;
        const double distance = radius * (double((i * 7919) % 100) * 0.6 / 100 + 0.4);
        const QPointF at = m_viewCentre + QPointF(std::cos(angle) * distance, std::sin(angle) * distance);
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
                m_graphShown.insert(id);
        scheduleLayoutSave();
    }
    if (m_undo) {
        m_undo->setActionName(plan.changesGraph() ? QStringLiteral("Change Graph with AI")
                                                  : QStringLiteral("Build Graph with AI"));
        m_undo->endGroup();
    }
    return added;
}

// -- The canvas's part -------------------------------------------------------------------------------

void ProjectSession::put(const QString& id, std::optional<QPointF> at) {
    m_graphShown.insert(id);
    if (at)
        m_graphPositions.insert(id, *at);
    scheduleLayoutSave();
}

void ProjectSession::forget(const QSet<QString>& ids) {
    if (ids.isEmpty())
        return;
    for (const QString& id : ids) {
        m_graphPositions.remove(id);
        m_graphPinned.remove(id);
        m_graphPinnedHome.remove(id);
        m_graphShown.remove(id);
        m_graphParents.remove(id);
    }
    m_graphParents.removeIf([&ids](const auto& entry) { return ids.contains(entry.value()); });
    scheduleLayoutSave();
}

} // namespace corvantis
