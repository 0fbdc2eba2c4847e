// The session's edits of the shape. Each is applied at once: the shape changes, the database is migrated
// to it, the project is saved, and the step can be undone unless the migration deleted data. An edit
// that would delete data asks first.
#include "app/graph/ProjectSession.h"
#include "app/undo/UndoStack.h"
#include "kit/schema/Identifier.h"

#include <algorithm>

namespace corvantis {

namespace {

const QString graphClosedForShape = QStringLiteral(
    "The graph isn't open, so its shape can't change. Quit the other copy of Corvantis and open the project "
    "again.");
const QString cantUndoFurther = QStringLiteral(
    "Undo stopped here: going further would delete data from your graph. Delete it directly if you mean to.");
const QString lockedKind =
    QStringLiteral("Your graph holds values for it, so it can only switch between text and enum.");
const QString permanent = QStringLiteral(" This can't be undone.");

QString counted(qint64 count, const QString& word) {
    return QStringLiteral("%1 %2%3").arg(count).arg(word, count == 1 ? QString() : QStringLiteral("s"));
}

// "are", or "is" when what is deleted is one thing.
QString verb(qint64 count) {
    return count == 1 ? QStringLiteral("is") : QStringLiteral("are");
}

QString nodeTypeName(const GraphSchema& schema, const QUuid& id) {
    const NodeType* type = schema.nodeType(id);
    return type ? type->name : QString();
}

// What any change deletes, in words: "3 nodes and 2 connections are deleted from your graph too. ..."
QString describeLoss(const ProjectSession::DataLoss& loss) {
    QStringList parts;
    if (loss.nodes > 0)
        parts << counted(loss.nodes, QStringLiteral("node"));
    if (loss.relationships > 0)
        parts << counted(loss.relationships, QStringLiteral("connection"));
    if (loss.values > 0)
        parts << counted(loss.values, QStringLiteral("value"));
    const qint64 single = parts.size() == 1 ? loss.nodes + loss.relationships + loss.values : 0;
    return parts.join(QStringLiteral(" and ")) +
           QStringLiteral(" %1 deleted from your graph too.").arg(verb(single)) + permanent;
}

void dedupe(QList<RelEndpoint>& endpoints) {
    QList<RelEndpoint> unique;
    for (const RelEndpoint& endpoint : std::as_const(endpoints))
        if (!unique.contains(endpoint))
            unique.append(endpoint);
    endpoints = unique;
}

} // namespace

// -- Where the database stands ------------------------------------------------------------------------

std::optional<QString> ProjectSession::appliedNodeTable(const QUuid& id) const {
    if (!m_project.appliedSchema)
        return std::nullopt;
    const NodeType* type = m_project.appliedSchema->nodeType(id);
    return type ? std::optional<QString>(type->table()) : std::nullopt;
}

std::optional<QString> ProjectSession::appliedRelTable(const QUuid& id) const {
    if (!m_project.appliedSchema)
        return std::nullopt;
    const RelType* type = m_project.appliedSchema->relType(id);
    return type ? std::optional<QString>(type->table()) : std::nullopt;
}

std::optional<std::pair<QString, QString>> ProjectSession::appliedColumn(const QUuid& property,
                                                                         const PropertyOwner& owner) const {
    if (!m_project.appliedSchema)
        return std::nullopt;
    const QList<PropertyDef>* properties = propertiesOf(*m_project.appliedSchema, owner);
    if (!properties)
        return std::nullopt;
    const PropertyDef* definition = PropertyDef::title(property, *properties);
    if (!definition)
        return std::nullopt;
    auto table = owner.isNode() ? appliedNodeTable(owner.id) : appliedRelTable(owner.id);
    return std::make_pair(*table, definition->column());
}

QList<PropertyDef>* ProjectSession::propertiesOf(GraphSchema& schema, const PropertyOwner& owner) const {
    if (owner.isNode()) {
        NodeType* type = schema.nodeType(owner.id);
        return type ? &type->properties : nullptr;
    }
    RelType* type = schema.relType(owner.id);
    return type ? &type->properties : nullptr;
}

const QList<PropertyDef>* ProjectSession::propertiesOf(const GraphSchema& schema,
                                                       const PropertyOwner& owner) const {
    if (owner.isNode()) {
        const NodeType* type = schema.nodeType(owner.id);
        return type ? &type->properties : nullptr;
    }
    const RelType* type = schema.relType(owner.id);
    return type ? &type->properties : nullptr;
}

QList<const PropertyMap*> ProjectSession::rowsOf(const QString& table, bool isNode) const {
    QList<const PropertyMap*> rows;
    if (isNode) {
        for (const NodeRecord& node : m_nodes)
            if (node.label == table)
                rows.append(&node.properties);
    } else {
        for (const RelRecord& rel : m_rels)
            if (rel.label == table)
                rows.append(&rel.properties);
    }
    return rows;
}

qint64 ProjectSession::relsAlong(const QString& relTable, const QString& fromTable,
                                 const QString& toTable) const {
    qint64 count = 0;
    for (const RelRecord& rel : m_rels)
        if (rel.label == relTable && m_nodes.value(rel.from).label == fromTable &&
            m_nodes.value(rel.to).label == toTable)
            ++count;
    return count;
}

ProjectSession::DataLoss ProjectSession::dataLoss(const GraphSchema& from, const GraphSchema& to) const {
    DataLoss loss;
    QSet<QString> lostNodes;
    QSet<QString> lostRels;

    // Node types that go, with their nodes and every relationship that touches them.
    for (const NodeType& type : from.nodeTypes) {
        if (to.nodeType(type.id))
            continue;
        auto table = appliedNodeTable(type.id);
        if (!table)
            continue;
        for (const NodeRecord& node : m_nodes)
            if (node.label == *table)
                lostNodes.insert(node.id);
    }
    for (const RelRecord& rel : m_rels)
        if (lostNodes.contains(rel.from) || lostNodes.contains(rel.to))
            lostRels.insert(rel.id);

    for (const RelType& type : from.relTypes) {
        auto table = appliedRelTable(type.id);
        if (!table)
            continue;
        const RelType* kept = to.relType(type.id);
        if (!kept) {
            // A relationship type that goes takes all of its relationships.
            for (const RelRecord& rel : m_rels)
                if (rel.label == *table)
                    lostRels.insert(rel.id);
            continue;
        }
        // A connection that goes takes the relationships that run along it.
        for (const RelEndpoint& endpoint : type.endpoints) {
            if (kept->endpoints.contains(endpoint))
                continue;
            auto fromTable = appliedNodeTable(endpoint.from);
            auto toTable = appliedNodeTable(endpoint.to);
            if (!fromTable || !toTable)
                continue;
            for (const RelRecord& rel : m_rels)
                if (rel.label == *table && m_nodes.value(rel.from).label == *fromTable &&
                    m_nodes.value(rel.to).label == *toTable)
                    lostRels.insert(rel.id);
        }
    }

    // Columns that go, or come back with another type, on types that stay.
    auto countValues = [&](const QList<PropertyDef>& before, const QList<PropertyDef>* after,
                           const PropertyOwner& owner) {
        for (const PropertyDef& property : before) {
            const PropertyDef* next = after ? PropertyDef::title(property.id, *after) : nullptr;
            if (next && PropertyKinds::columnType(next->kind) == PropertyKinds::columnType(property.kind))
                continue;
            auto column = appliedColumn(property.id, owner);
            if (!column)
                continue;
            if (owner.isNode()) {
                for (const NodeRecord& node : m_nodes)
                    if (node.label == column->first && !lostNodes.contains(node.id) &&
                        !node.properties.value(column->second).isNull())
                        ++loss.values;
            } else {
                for (const RelRecord& rel : m_rels)
                    if (rel.label == column->first && !lostRels.contains(rel.id) &&
                        !rel.properties.value(column->second).isNull())
                        ++loss.values;
            }
        }
    };
    for (const NodeType& type : from.nodeTypes)
        if (const NodeType* kept = to.nodeType(type.id))
            countValues(type.properties, &kept->properties, PropertyOwner::node(type.id));
    for (const RelType& type : from.relTypes)
        if (const RelType* kept = to.relType(type.id))
            countValues(type.properties, &kept->properties, PropertyOwner::rel(type.id));

    loss.nodes = lostNodes.size();
    loss.relationships = lostRels.size();
    return loss;
}

bool ProjectSession::losesData(const GraphSchema& from, const GraphSchema& to) const {
    return dataLoss(from, to).any();
}

bool ProjectSession::isApplied(const RelType& type) const {
    return m_project.appliedSchema && m_project.appliedSchema->relType(type.id);
}

bool ProjectSession::isLocked(const QUuid& property, const PropertyOwner& owner) const {
    auto column = appliedColumn(property, owner);
    if (!column)
        return false;
    for (const PropertyMap* row : rowsOf(column->first, owner.isNode()))
        if (!row->value(column->second).isNull())
            return true;
    return false;
}

bool ProjectSession::isLocked(const RelEndpoint& endpoint, const QUuid& rel) const {
    auto table = appliedRelTable(rel);
    auto fromTable = appliedNodeTable(endpoint.from);
    auto toTable = appliedNodeTable(endpoint.to);
    return table && fromTable && toTable && relsAlong(*table, *fromTable, *toTable) > 0;
}

QList<PropertyKind> ProjectSession::allowedKinds(const QUuid& property, const PropertyOwner& owner) const {
    const QList<PropertyDef>* properties = propertiesOf(m_project.schema, owner);
    const PropertyDef* definition = properties ? PropertyDef::title(property, *properties) : nullptr;
    if (!definition)
        return {};
    if (!isLocked(property, owner))
        return QList<PropertyKind>(PropertyKinds::all.begin(), PropertyKinds::all.end());
    // Values in the graph fix the column's type; text and enum share theirs.
    if (PropertyKinds::columnType(definition->kind) != PropertyKinds::columnType(PropertyKind::Text))
        return {definition->kind};
    QList<PropertyKind> kinds{PropertyKind::Text, PropertyKind::Choice};
    if (definition->kind == PropertyKind::Link)
        kinds.prepend(PropertyKind::Link);
    return kinds;
}

int ProjectSession::missingCount(const QUuid& property, const PropertyOwner& owner) const {
    auto table = owner.isNode() ? appliedNodeTable(owner.id) : appliedRelTable(owner.id);
    if (!table)
        return 0;
    const QList<const PropertyMap*> rows = rowsOf(*table, owner.isNode());
    auto column = appliedColumn(property, owner);
    if (!column)
        return rows.size(); // a column the database doesn't have yet holds nothing
    return std::count_if(rows.begin(), rows.end(),
                         [&](const PropertyMap* row) { return row->value(column->second).isNull(); });
}

QStringList ProjectSession::distinctValues(const QUuid& property, const PropertyOwner& owner,
                                           int limit) const {
    auto column = appliedColumn(property, owner);
    if (!column || limit <= 0)
        return {};
    QHash<QString, int> counts;
    for (const PropertyMap* row : rowsOf(column->first, owner.isNode())) {
        const GraphValue value = row->value(column->second);
        if (auto text = value.titleText())
            counts[*text] += 1;
    }
    QStringList texts = counts.keys();
    std::sort(texts.begin(), texts.end(), [&](const QString& a, const QString& b) {
        if (counts.value(a) != counts.value(b))
            return counts.value(a) > counts.value(b);
        return QString::localeAwareCompare(a, b) < 0;
    });
    return texts.mid(0, limit);
}

// -- The pattern of every shape edit -------------------------------------------------------------------

bool ProjectSession::refuseShapeEdit() {
    if (!m_graphUnavailable)
        return false;
    setNotice(graphClosedForShape);
    return true;
}

void ProjectSession::commitShape(const GraphSchema& after, const QString& actionName) {
    const GraphSchema before = m_project.schema;
    m_project.schema = after;
    emit projectChanged();
    const bool lost = syncDatabase();
    // A migration that deleted data has cleared the history: nothing may reach back over it.
    if (!lost)
        registerSchemaUndo(before, actionName);
    pruneShapeSelection();
    save();
}

void ProjectSession::registerSchemaUndo(const GraphSchema& previous, const QString& actionName) {
    registerUndo(actionName, [this, previous, actionName] {
        if (m_graphUnavailable) {
            setNotice(graphClosedForShape);
            m_undo->refuse();
            return;
        }
        // No plain Undo deletes data.
        if (losesData(m_project.schema, previous) ||
            (m_project.appliedSchema && losesData(*m_project.appliedSchema, previous))) {
            setNotice(cantUndoFurther);
            m_undo->refuse();
            return;
        }
        commitShape(previous, actionName);
    });
}

bool ProjectSession::editShape(const QString& actionName, const std::function<void(GraphSchema&)>& change) {
    if (refuseShapeEdit())
        return false;
    GraphSchema after = m_project.schema;
    change(after);
    if (after == m_project.schema)
        return false;
    editShapeAsking(actionName, after, QStringLiteral("%1?").arg(actionName), describeLoss, actionName);
    return true;
}

void ProjectSession::editShapeAsking(const QString& actionName, const GraphSchema& after,
                                     const QString& title,
                                     const std::function<QString(const DataLoss&)>& describe,
                                     const QString& button) {
    if (refuseShapeEdit() || after == m_project.schema)
        return;
    const DataLoss loss = dataLoss(m_project.appliedSchema.value_or(m_project.schema), after);
    if (!loss.any()) {
        commitShape(after, actionName);
        return;
    }
    DataLossConfirmation confirmation;
    confirmation.title = title;
    confirmation.message = describe(loss);
    confirmation.actionTitle = button;
    // The shape the person agreed to is the one carried out, if nothing else changed it meanwhile.
    confirmation.perform = [this, actionName, after, expected = m_project.schema] {
        if (refuseShapeEdit() || m_project.schema != expected)
            return;
        commitShape(after, actionName);
    };
    ask(std::move(confirmation));
}

void ProjectSession::setShapeSelection(const std::optional<ShapeSelection>& selection) {
    if (m_shapeSelection == selection)
        return;
    m_shapeSelection = selection;
    emit shapeSelectionChanged();
}

void ProjectSession::pruneShapeSelection() {
    if (!m_shapeSelection)
        return;
    const ShapeSelection& selection = *m_shapeSelection;
    bool exists = false;
    switch (selection.kind) {
    case ShapeSelection::Kind::Node:
        exists = m_project.schema.nodeType(selection.id) != nullptr;
        break;
    case ShapeSelection::Kind::Rel:
        exists = m_project.schema.relType(selection.id) != nullptr;
        break;
    case ShapeSelection::Kind::Connection: {
        const RelType* rel = m_project.schema.relType(selection.id);
        exists = rel && rel->endpoints.contains(selection.endpoint);
        break;
    }
    }
    if (!exists)
        setShapeSelection(std::nullopt);
}

// -- Node types --------------------------------------------------------------------------------------

std::optional<QUuid> ProjectSession::addNodeType(QPointF at) {
    NodeType type;
    type.id = QUuid::createUuid();
    type.name = m_project.schema.uniqueNodeTypeName(QStringLiteral("Untitled"));
    type.color = m_project.schema.nextColor();
    PropertyDef name;
    name.id = QUuid::createUuid();
    name.name = QStringLiteral("name");
    name.kind = PropertyKind::Text;
    type.properties = {name};
    type.titleProperty = name.id;
    type.x = at.x();
    type.y = at.y();
    if (!editShape(QStringLiteral("Add Node Type"),
                   [&](GraphSchema& schema) { schema.nodeTypes.append(type); }))
        return std::nullopt;
    setShapeSelection(ShapeSelection::node(type.id));
    return type.id;
}

void ProjectSession::deleteNodeType(const QUuid& id) {
    const NodeType* type = m_project.schema.nodeType(id);
    if (!type)
        return;
    GraphSchema after = m_project.schema;
    after.removeNodeType(id);
    editShapeAsking(
        QStringLiteral("Delete Node Type"), after, QStringLiteral("Delete “%1”?").arg(type->name),
        [](const DataLoss& loss) {
            QString lost = counted(loss.nodes, QStringLiteral("node"));
            if (loss.relationships > 0)
                lost += QStringLiteral(" and ") + counted(loss.relationships, QStringLiteral("connection"));
            const qint64 single = loss.relationships > 0 ? 0 : loss.nodes;
            return lost + QStringLiteral(" %1 deleted from your graph too.").arg(verb(single)) + permanent;
        },
        QStringLiteral("Delete"));
}

void ProjectSession::renameNodeType(const QUuid& id, const QString& name) {
    const QString trimmed = name.trimmed();
    editShape(QStringLiteral("Rename Node Type"), [&](GraphSchema& schema) {
        if (NodeType* type = schema.nodeType(id))
            type->name = trimmed;
    });
}

void ProjectSession::setNodeTypeColor(const QUuid& id, const QString& color) {
    editShape(QStringLiteral("Change Colour"), [&](GraphSchema& schema) {
        if (NodeType* type = schema.nodeType(id))
            type->color = color;
    });
}

void ProjectSession::setExpandPriority(ExpandPriority priority, const QUuid& typeId) {
    editShape(QStringLiteral("Change Priority"), [&](GraphSchema& schema) {
        NodeType* type = schema.nodeType(typeId);
        if (type && type->expandPriority() != priority)
            type->expand = priority;
    });
}

void ProjectSession::useExistingType(const QUuid& existing, const QUuid& instead) {
    if (existing == instead || !m_project.schema.nodeType(existing) || !m_project.schema.nodeType(instead))
        return;
    editShape(QStringLiteral("Use Existing Type"), [&](GraphSchema& schema) {
        auto move = [&](QUuid& id) {
            if (id == instead)
                id = existing;
        };
        for (RelType& rel : schema.relTypes) {
            for (RelEndpoint& endpoint : rel.endpoints) {
                move(endpoint.from);
                move(endpoint.to);
            }
            dedupe(rel.endpoints);
            if (rel.twoWayLoops) {
                for (RelEndpoint& endpoint : *rel.twoWayLoops) {
                    move(endpoint.from);
                    move(endpoint.to);
                }
                dedupe(*rel.twoWayLoops);
            }
        }
        schema.removeNodeType(instead);
    });
}

// -- Relationship types and their connections -----------------------------------------------------------

void ProjectSession::deleteShapeSelection() {
    if (!m_shapeSelection)
        return;
    const ShapeSelection selection = *m_shapeSelection;
    switch (selection.kind) {
    case ShapeSelection::Kind::Node:
        deleteNodeType(selection.id);
        break;
    case ShapeSelection::Kind::Rel:
        deleteRelType(selection.id);
        break;
    case ShapeSelection::Kind::Connection:
        if (const RelType* rel = m_project.schema.relType(selection.id))
            removeConnection(selection.endpoint, selection.id, rel->isTwoWay(selection.endpoint));
        break;
    }
}

void ProjectSession::deleteRelType(const QUuid& id) {
    const RelType* rel = m_project.schema.relType(id);
    if (!rel)
        return;
    GraphSchema after = m_project.schema;
    after.relTypes.removeIf([&](const RelType& type) { return type.id == id; });
    editShapeAsking(
        QStringLiteral("Delete Relationship"), after, QStringLiteral("Delete %1?").arg(rel->name),
        [](const DataLoss& loss) {
            return counted(loss.relationships, QStringLiteral("connection")) +
                   QStringLiteral(" %1 deleted from your graph too.").arg(verb(loss.relationships)) +
                   permanent;
        },
        QStringLiteral("Delete"));
}

void ProjectSession::removeConnection(const RelEndpoint& endpoint, const QUuid& relId, bool bothWays) {
    const RelType* rel = m_project.schema.relType(relId);
    if (!rel || !rel->endpoints.contains(endpoint))
        return;
    GraphSchema after = m_project.schema;
    RelType* changed = after.relType(relId);
    changed->endpoints.removeAll(endpoint);
    if (endpoint.isLoop()) {
        if (changed->twoWayLoops && changed->twoWayLoops->removeAll(endpoint) > 0 &&
            changed->twoWayLoops->isEmpty())
            changed->twoWayLoops.reset();
    } else if (bothWays) {
        changed->endpoints.removeAll(endpoint.reversed());
    }
    if (changed->endpoints.isEmpty())
        after.relTypes.removeIf([&](const RelType& type) { return type.id == relId; });

    editShapeAsking(
        QStringLiteral("Remove Connection"), after,
        QStringLiteral("Delete %1 connecting %2 to %3?")
            .arg(rel->name, nodeTypeName(m_project.schema, endpoint.from),
                 nodeTypeName(m_project.schema, endpoint.to)),
        [](const DataLoss& loss) {
            return QStringLiteral("Its %1 between them %2 deleted from your graph too.")
                       .arg(counted(loss.relationships, QStringLiteral("connection")),
                            verb(loss.relationships)) +
                   permanent;
        },
        QStringLiteral("Delete"));
}

ConnectionDirection ProjectSession::direction(const RelEndpoint& endpoint, const QUuid& relId) const {
    const RelType* rel = m_project.schema.relType(relId);
    if (!rel)
        return ConnectionDirection::OneWay;
    if (endpoint.isLoop())
        return rel->isTwoWay(endpoint) ? ConnectionDirection::BothWays : ConnectionDirection::OneWay;
    const bool forward = rel->endpoints.contains(endpoint);
    const bool backward = rel->endpoints.contains(endpoint.reversed());
    if (forward && backward)
        return ConnectionDirection::BothWays;
    if (backward)
        return ConnectionDirection::OtherWay;
    return ConnectionDirection::OneWay;
}

void ProjectSession::setDirection(ConnectionDirection direction, const RelEndpoint& endpoint,
                                  const QUuid& relId) {
    const RelType* rel = m_project.schema.relType(relId);
    if (!rel)
        return;
    GraphSchema after = m_project.schema;
    RelType* changed = after.relType(relId);
    if (endpoint.isLoop()) {
        if (!changed->endpoints.contains(endpoint))
            return;
        QList<RelEndpoint> loops = changed->twoWayLoops.value_or(QList<RelEndpoint>());
        const bool twoWay = loops.contains(endpoint);
        if (direction == ConnectionDirection::BothWays && !twoWay) {
            loops.append(endpoint);
            changed->twoWayLoops = loops;
        } else if (direction != ConnectionDirection::BothWays && twoWay) {
            loops.removeAll(endpoint);
            changed->twoWayLoops = loops.isEmpty() ? std::nullopt : std::optional(loops);
        }
    } else {
        qsizetype at = -1;
        for (qsizetype i = 0; i < changed->endpoints.size() && at < 0; ++i)
            if (changed->endpoints[i] == endpoint || changed->endpoints[i] == endpoint.reversed())
                at = i;
        if (at < 0)
            return;
        changed->endpoints.removeAll(endpoint);
        changed->endpoints.removeAll(endpoint.reversed());
        QList<RelEndpoint> wanted;
        if (direction != ConnectionDirection::OtherWay)
            wanted.append(endpoint);
        if (direction != ConnectionDirection::OneWay)
            wanted.append(endpoint.reversed());
        for (qsizetype i = 0; i < wanted.size(); ++i)
            changed->endpoints.insert(at + i, wanted[i]);
    }

    editShapeAsking(
        QStringLiteral("Change Direction"), after, QStringLiteral("Change which way %1 runs?").arg(rel->name),
        [this, endpoint](const DataLoss& loss) {
            return QStringLiteral("Its %1 the other way between %2 and %3 %4 deleted from your graph.")
                       .arg(counted(loss.relationships, QStringLiteral("connection")),
                            nodeTypeName(m_project.schema, endpoint.from),
                            nodeTypeName(m_project.schema, endpoint.to), verb(loss.relationships)) +
                   permanent;
        },
        QStringLiteral("Change Direction"));
}

void ProjectSession::cycleDirection(const RelEndpoint& endpoint, const QUuid& relId) {
    switch (direction(endpoint, relId)) {
    case ConnectionDirection::OneWay:
        setDirection(ConnectionDirection::BothWays, endpoint, relId);
        break;
    case ConnectionDirection::BothWays:
        setDirection(endpoint.isLoop() ? ConnectionDirection::OneWay : ConnectionDirection::OtherWay,
                     endpoint, relId);
        break;
    case ConnectionDirection::OtherWay:
        setDirection(ConnectionDirection::OneWay, endpoint, relId);
        break;
    }
}

std::optional<QUuid> ProjectSession::addRelationship(const QString& name, const QUuid& from, const QUuid& to,
                                                     bool bothWays) {
    if (!m_project.schema.nodeType(from) || !m_project.schema.nodeType(to))
        return std::nullopt;
    const QString trimmed = name.trimmed();
    const QString key = Identifier::relName(trimmed);
    const RelEndpoint endpoint{from, to};
    QUuid id;
    const bool changed = editShape(QStringLiteral("Add Relationship"), [&](GraphSchema& schema) {
        RelType* rel = nullptr;
        for (RelType& type : schema.relTypes)
            if (!rel && Identifier::relName(type.name) == key)
                rel = &type;
        if (!rel) {
            RelType created;
            created.id = QUuid::createUuid();
            created.name = trimmed;
            schema.relTypes.append(created);
            rel = &schema.relTypes.last();
        }
        id = rel->id;
        if (!rel->endpoints.contains(endpoint))
            rel->endpoints.append(endpoint);
        if (!bothWays)
            return;
        if (endpoint.isLoop()) {
            QList<RelEndpoint> loops = rel->twoWayLoops.value_or(QList<RelEndpoint>());
            if (!loops.contains(endpoint)) {
                loops.append(endpoint);
                rel->twoWayLoops = loops;
            }
        } else if (!rel->endpoints.contains(endpoint.reversed())) {
            rel->endpoints.append(endpoint.reversed());
        }
    });
    if (!changed && id.isNull())
        return std::nullopt;
    return id;
}

void ProjectSession::renameRelType(const QUuid& id, const QString& name) {
    const RelType* rel = m_project.schema.relType(id);
    if (!rel)
        return;
    const QString trimmed = name.trimmed();
    const QString key = Identifier::relName(trimmed);
    const RelType* other = nullptr;
    for (const RelType& type : m_project.schema.relTypes)
        if (type.id != id && Identifier::relName(type.name) == key)
            other = &type;
    if (!other) {
        editShape(QStringLiteral("Rename Relationship"), [&](GraphSchema& schema) {
            if (RelType* type = schema.relType(id))
                type->name = trimmed;
        });
        return;
    }
    if (!isApplied(*rel)) {
        setNotice(QStringLiteral("There's already a relationship called %1").arg(trimmed));
        return;
    }
    GraphSchema after = m_project.schema;
    after.relType(id)->name = trimmed;
    after.mergeDuplicateRelTypes();
    editShapeAsking(
        QStringLiteral("Rename Relationship"), after,
        QStringLiteral("Merge %1 with %2?").arg(rel->name, other->name),
        [](const DataLoss& loss) {
            return QStringLiteral("The two become one relationship, and %1 %2 deleted from your graph.")
                       .arg(counted(loss.relationships, QStringLiteral("connection")),
                            verb(loss.relationships)) +
                   permanent;
        },
        QStringLiteral("Merge"));
}

// -- Properties --------------------------------------------------------------------------------------

std::optional<QUuid> ProjectSession::addProperty(const PropertyOwner& owner) {
    const QList<PropertyDef>* properties = propertiesOf(m_project.schema, owner);
    if (!properties)
        return std::nullopt;
    PropertyDef property;
    property.id = QUuid::createUuid();
    property.name =
        m_project.schema.uniquePropertyName(QStringLiteral("Untitled"), *properties, owner.isNode());
    property.kind = PropertyKind::Text;
    if (!editShape(QStringLiteral("Add Property"),
                   [&](GraphSchema& schema) { propertiesOf(schema, owner)->append(property); }))
        return std::nullopt;
    return property.id;
}

void ProjectSession::removeProperty(const QUuid& property, const PropertyOwner& owner) {
    const QList<PropertyDef>* properties = propertiesOf(m_project.schema, owner);
    const PropertyDef* definition = properties ? PropertyDef::title(property, *properties) : nullptr;
    if (!definition)
        return;
    GraphSchema after = m_project.schema;
    propertiesOf(after, owner)->removeIf([&](const PropertyDef& p) { return p.id == property; });
    auto clear = [&](std::optional<QUuid>& reference) {
        if (reference == property)
            reference.reset();
    };
    if (owner.isNode()) {
        clear(after.nodeType(owner.id)->titleProperty);
        clear(after.nodeType(owner.id)->markProperty);
    } else {
        clear(after.relType(owner.id)->titleProperty);
        clear(after.relType(owner.id)->markProperty);
    }
    const bool isNode = owner.isNode();
    editShapeAsking(
        QStringLiteral("Delete Property"), after,
        QStringLiteral("Delete the property “%1”?").arg(definition->name),
        [isNode](const DataLoss& loss) {
            return QStringLiteral("Its values on %1 are deleted from your graph too.")
                       .arg(counted(loss.values,
                                    isNode ? QStringLiteral("node") : QStringLiteral("connection"))) +
                   permanent;
        },
        QStringLiteral("Delete"));
}

void ProjectSession::renameProperty(const QUuid& property, const PropertyOwner& owner, const QString& name) {
    const QString trimmed = name.trimmed();
    editShape(QStringLiteral("Rename Property"), [&](GraphSchema& schema) {
        if (QList<PropertyDef>* properties = propertiesOf(schema, owner))
            for (PropertyDef& p : *properties)
                if (p.id == property)
                    p.name = trimmed;
    });
}

void ProjectSession::changeKind(const QUuid& property, const PropertyOwner& owner, PropertyKind kind) {
    if (!allowedKinds(property, owner).contains(kind)) {
        if (isLocked(property, owner))
            setNotice(lockedKind);
        return;
    }
    editShape(QStringLiteral("Change Kind"), [&](GraphSchema& schema) {
        if (QList<PropertyDef>* properties = propertiesOf(schema, owner))
            for (PropertyDef& p : *properties)
                if (p.id == property && p.kind != kind)
                    p.changeKind(kind);
    });
}

void ProjectSession::setDefault(const QUuid& property, const PropertyOwner& owner,
                                const std::optional<GraphValue>& value) {
    editShape(QStringLiteral("Change Default"), [&](GraphSchema& schema) {
        if (QList<PropertyDef>* properties = propertiesOf(schema, owner))
            for (PropertyDef& p : *properties)
                if (p.id == property) {
                    if (value && !value->isNull())
                        p.setDefault(*value);
                    else
                        p.defaultValue.reset();
                }
    });
}

bool ProjectSession::setDefaultFromText(const QUuid& property, const PropertyOwner& owner,
                                        const QString& text) {
    const QList<PropertyDef>* properties = propertiesOf(m_project.schema, owner);
    const PropertyDef* definition = properties ? PropertyDef::title(property, *properties) : nullptr;
    if (!definition)
        return false;
    auto value = definition->value(text);
    if (!value) {
        if (auto refusal = refusalOfText(*definition, text))
            setNotice(*refusal);
        return false;
    }
    setDefault(property, owner, value->isNull() ? std::nullopt : value);
    return true;
}

void ProjectSession::setOptions(const QUuid& property, const PropertyOwner& owner,
                                const QStringList& options) {
    editShape(QStringLiteral("Change Options"), [&](GraphSchema& schema) {
        if (QList<PropertyDef>* properties = propertiesOf(schema, owner))
            for (PropertyDef& p : *properties)
                if (p.id == property)
                    p.setOptions(options);
    });
}

void ProjectSession::setTitleProperty(const PropertyOwner& owner, const std::optional<QUuid>& property) {
    const QList<PropertyDef>* properties = propertiesOf(m_project.schema, owner);
    if (!properties)
        return;
    if (property) {
        const PropertyDef* definition = PropertyDef::title(*property, *properties);
        if (!definition || !PropertyKinds::canBeTitle(definition->kind))
            return;
    }
    editShape(QStringLiteral("Change Title"), [&](GraphSchema& schema) {
        if (owner.isNode())
            schema.nodeType(owner.id)->titleProperty = property;
        else
            schema.relType(owner.id)->titleProperty = property;
    });
}

void ProjectSession::setMarkProperty(const PropertyOwner& owner, const std::optional<QUuid>& property) {
    const QList<PropertyDef>* properties = propertiesOf(m_project.schema, owner);
    if (!properties)
        return;
    if (property) {
        const PropertyDef* definition = PropertyDef::title(*property, *properties);
        if (!definition || definition->kind != PropertyKind::Boolean)
            return;
    }
    editShape(QStringLiteral("Change Mark"), [&](GraphSchema& schema) {
        if (owner.isNode())
            schema.nodeType(owner.id)->markProperty = property;
        else
            schema.relType(owner.id)->markProperty = property;
    });
}

void ProjectSession::moveProperty(const QUuid& property, const PropertyOwner& owner, int toIndex) {
    editShape(QStringLiteral("Move Property"), [&](GraphSchema& schema) {
        QList<PropertyDef>* properties = propertiesOf(schema, owner);
        if (!properties)
            return;
        for (qsizetype i = 0; i < properties->size(); ++i) {
            if ((*properties)[i].id == property) {
                const qsizetype target = std::clamp<qsizetype>(toIndex, 0, properties->size() - 1);
                properties->move(i, target);
                return;
            }
        }
    });
}

void ProjectSession::setEmbedded(const QUuid& property, const PropertyOwner& owner, bool on) {
    editShape(on ? QStringLiteral("Embed Property") : QStringLiteral("Stop Embedding Property"),
              [&](GraphSchema& schema) {
                  if (QList<PropertyDef>* properties = propertiesOf(schema, owner))
                      for (PropertyDef& p : *properties)
                          if (p.id == property && p.kind == PropertyKind::Text && p.isEmbedded() != on)
                              p.embedded = on;
              });
}

} // namespace corvantis
