#include "kit/graph/AppliedGraph.h"

#include <algorithm>

namespace corvantis {

std::optional<QString> AppliedGraph::nodeTable(const QUuid& id) const {
    const NodeType* type = m_shape ? m_shape->nodeType(id) : nullptr;
    return type ? std::optional<QString>(type->table()) : std::nullopt;
}

std::optional<QString> AppliedGraph::relTable(const QUuid& id) const {
    const RelType* type = m_shape ? m_shape->relType(id) : nullptr;
    return type ? std::optional<QString>(type->table()) : std::nullopt;
}

std::optional<QString> AppliedGraph::tableOf(const PropertyOwner& owner) const {
    return owner.isNode() ? nodeTable(owner.id) : relTable(owner.id);
}

std::optional<AppliedGraph::Column> AppliedGraph::column(const QUuid& property,
                                                         const PropertyOwner& owner) const {
    const PropertyDef* definition = m_shape ? propertyOf(*m_shape, owner, property) : nullptr;
    if (!definition)
        return std::nullopt;
    return Column{*tableOf(owner), definition->column()};
}

QList<const PropertyMap*> AppliedGraph::rowsOf(const QString& table, bool isNode) const {
    QList<const PropertyMap*> rows;
    if (isNode) {
        for (const NodeRecord& node : *m_nodes)
            if (node.label == table)
                rows.append(&node.properties);
    } else {
        for (const RelRecord& rel : *m_rels)
            if (rel.label == table)
                rows.append(&rel.properties);
    }
    return rows;
}

qint64 AppliedGraph::relsAlong(const QString& relTable, const QString& fromTable,
                               const QString& toTable) const {
    qint64 count = 0;
    for (const RelRecord& rel : *m_rels)
        if (rel.label == relTable && m_nodes->value(rel.from).label == fromTable &&
            m_nodes->value(rel.to).label == toTable)
            ++count;
    return count;
}

bool AppliedGraph::isApplied(const RelType& type) const {
    return m_shape && m_shape->relType(type.id);
}

bool AppliedGraph::isLocked(const QUuid& property, const PropertyOwner& owner) const {
    auto at = column(property, owner);
    if (!at)
        return false;
    const QList<const PropertyMap*> rows = rowsOf(at->table, owner.isNode());
    return std::any_of(rows.begin(), rows.end(),
                       [&](const PropertyMap* row) { return !row->value(at->column).isNull(); });
}

bool AppliedGraph::isLocked(const RelEndpoint& endpoint, const QUuid& rel) const {
    auto table = relTable(rel);
    auto fromTable = nodeTable(endpoint.from);
    auto toTable = nodeTable(endpoint.to);
    return table && fromTable && toTable && relsAlong(*table, *fromTable, *toTable) > 0;
}

QList<PropertyKind> AppliedGraph::allowedKinds(const GraphSchema& current, const QUuid& property,
                                               const PropertyOwner& owner) const {
    const PropertyDef* definition = propertyOf(current, owner, property);
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

int AppliedGraph::missingCount(const QUuid& property, const PropertyOwner& owner) const {
    auto table = tableOf(owner);
    if (!table)
        return 0;
    const QList<const PropertyMap*> rows = rowsOf(*table, owner.isNode());
    auto at = column(property, owner);
    if (!at)
        return int(rows.size()); // a column the database doesn't have yet holds nothing
    return int(std::count_if(rows.begin(), rows.end(),
                             [&](const PropertyMap* row) { return row->value(at->column).isNull(); }));
}

QStringList AppliedGraph::distinctValues(const QUuid& property, const PropertyOwner& owner, int limit) const {
    auto at = column(property, owner);
    if (!at || limit <= 0)
        return {};
    QHash<QString, int> counts;
    for (const PropertyMap* row : rowsOf(at->table, owner.isNode()))
        if (auto text = row->value(at->column).titleText())
            counts[*text] += 1;
    QStringList texts = counts.keys();
    std::sort(texts.begin(), texts.end(), [&](const QString& a, const QString& b) {
        if (counts.value(a) != counts.value(b))
            return counts.value(a) > counts.value(b);
        const int order = QString::localeAwareCompare(a, b);
        return order != 0 ? order < 0 : a < b;
    });
    return texts.mid(0, limit);
}

QHash<QString, GraphValue> AppliedGraph::movedByDefault(const PropertyOwner& owner, const PropertyDef& before,
                                                        const PropertyDef& after) const {
    // The rule of the migration's fills, for one property.
    const std::optional<GraphValue> value = after.validDefault();
    if (!value)
        return {};
    std::optional<GraphValue> replacing;
    const bool sameColumnType =
        PropertyKinds::columnType(before.kind) == PropertyKinds::columnType(after.kind);
    if (sameColumnType) {
        replacing = before.validDefault();
        if (replacing && *replacing == *value)
            return {};
    }
    auto table = tableOf(owner);
    if (!table)
        return {};
    auto at = column(before.id, owner);
    QHash<QString, GraphValue> moved;
    auto consider = [&](const QString& id, const PropertyMap& properties) {
        const GraphValue held = at ? properties.value(at->column) : GraphValue();
        if (!sameColumnType || held.isNull() || (replacing && held == *replacing))
            moved.insert(id, held);
    };
    if (owner.isNode()) {
        for (const NodeRecord& node : *m_nodes)
            if (node.label == *table)
                consider(node.id, node.properties);
    } else {
        for (const RelRecord& rel : *m_rels)
            if (rel.label == *table)
                consider(rel.id, rel.properties);
    }
    return moved;
}

} // namespace corvantis
