#include "kit/store/DDLBuilder.h"

#include <QSet>

namespace corvantis::DDLBuilder {

namespace {

const PropertyDef* findProperty(const QList<PropertyDef>& properties, const QUuid& id) {
    for (const auto& property : properties)
        if (property.id == id)
            return &property;
    return nullptr;
}

QString columnType(const PropertyDef& property) {
    return PropertyKinds::columnType(property.kind);
}

QString columnDefinition(const PropertyDef& property) {
    return property.column() + QLatin1Char(' ') + columnType(property);
}

// The table of a node type, from `to` when it is there, otherwise from `from`.
std::optional<QString> endTable(const GraphSchema& from, const GraphSchema& to, const QUuid& id) {
    if (auto type = to.nodeType(id))
        return type->table();
    if (auto type = from.nodeType(id))
        return type->table();
    return std::nullopt;
}

std::optional<QString> pairText(const GraphSchema& from, const GraphSchema& to, const RelEndpoint& endpoint) {
    auto a = endTable(from, to, endpoint.from);
    auto b = endTable(from, to, endpoint.to);
    if (!a || !b)
        return std::nullopt;
    return QStringLiteral("FROM %1 TO %2").arg(*a, *b);
}

// Whether `propertyChanges` drops a column: a property that goes, or one whose column type changes.
bool dropsColumns(const QList<PropertyDef>& oldProperties, const QList<PropertyDef>& newProperties) {
    for (const auto& old : oldProperties) {
        const PropertyDef* now = findProperty(newProperties, old.id);
        if (!now || columnType(*now) != columnType(old))
            return true;
    }
    return false;
}

} // namespace

QStringList renameTable(const QString& oldName, const QString& newName) {
    if (oldName == newName)
        return {};
    if (oldName.toLower() == newName.toLower())
        return {QStringLiteral("ALTER TABLE %1 RENAME TO %2_renaming").arg(oldName, newName),
                QStringLiteral("ALTER TABLE %1_renaming RENAME TO %1").arg(newName)};
    return {QStringLiteral("ALTER TABLE %1 RENAME TO %2").arg(oldName, newName)};
}

QStringList propertyChanges(const QString& table, const QList<PropertyDef>& oldProperties,
                            const QList<PropertyDef>& newProperties) {
    QStringList out;
    for (const auto& old : oldProperties)
        if (!findProperty(newProperties, old.id))
            out << QStringLiteral("ALTER TABLE %1 DROP %2").arg(table, old.column());
    for (const auto& property : newProperties) {
        const PropertyDef* old = findProperty(oldProperties, property.id);
        const QString column = property.column();
        if (!old) {
            out << QStringLiteral("ALTER TABLE %1 ADD %2").arg(table, columnDefinition(property));
        } else if (columnType(*old) != columnType(property)) {
            out << QStringLiteral("ALTER TABLE %1 DROP %2").arg(table, old->column());
            out << QStringLiteral("ALTER TABLE %1 ADD %2").arg(table, columnDefinition(property));
        } else if (old->column() != column) {
            const QString oldColumn = old->column();
            if (oldColumn.toLower() == column.toLower()) {
                out << QStringLiteral("ALTER TABLE %1 RENAME %2 TO %3_renaming")
                           .arg(table, oldColumn, column);
                out << QStringLiteral("ALTER TABLE %1 RENAME %2_renaming TO %2").arg(table, column);
            } else {
                out << QStringLiteral("ALTER TABLE %1 RENAME %2 TO %3").arg(table, oldColumn, column);
            }
        }
    }
    return out;
}

namespace {

// The statements from `from` to `to`; each table that loses a column goes into `losing` by its name in
// `from`.
QStringList statements(const GraphSchema& from, const GraphSchema& to, QSet<QString>& losing) {
    QStringList out;

    // 1. Node types that go.
    QSet<QUuid> removed;
    QList<const NodeType*> removedTypes;
    for (const auto& type : from.nodeTypes)
        if (!to.nodeType(type.id)) {
            removed.insert(type.id);
            removedTypes.append(&type);
        }

    // 2. A node table cannot go while a relationship table still names it: kept relationships first
    //    lose the pairs that touch a removed type, named as in `from`.
    QSet<std::pair<QUuid, RelEndpoint>> droppedPairs;
    for (const auto& rel : from.relTypes) {
        if (!to.relType(rel.id))
            continue;
        for (const auto& endpoint : rel.endpoints) {
            if (!removed.contains(endpoint.from) && !removed.contains(endpoint.to))
                continue;
            auto a = from.nodeType(endpoint.from);
            auto b = from.nodeType(endpoint.to);
            if (!a || !b || droppedPairs.contains({rel.id, endpoint}))
                continue;
            out << QStringLiteral("ALTER TABLE %1 DROP FROM %2 TO %3")
                       .arg(rel.table(), a->table(), b->table());
            droppedPairs.insert({rel.id, endpoint});
        }
    }

    // 3. Relationship types that go.
    for (const auto& rel : from.relTypes)
        if (!to.relType(rel.id))
            out << QStringLiteral("DROP TABLE %1").arg(rel.table());

    // 4. Node tables that go.
    for (const auto* type : removedTypes)
        out << QStringLiteral("DROP TABLE %1").arg(type->table());

    // 5. Node types of `to`.
    for (const auto& type : to.nodeTypes) {
        if (auto old = from.nodeType(type.id)) {
            out << renameTable(old->table(), type.table());
            out << propertyChanges(type.table(), old->properties, type.properties);
            if (dropsColumns(old->properties, type.properties))
                losing.insert(old->table());
        } else {
            QStringList pieces{QStringLiteral("id STRING PRIMARY KEY")};
            for (const auto& property : type.properties)
                pieces << columnDefinition(property);
            out << QStringLiteral("CREATE NODE TABLE %1(%2)")
                       .arg(type.table(), pieces.join(QStringLiteral(", ")));
        }
    }

    // 6. Relationship types of `to`. New pairs come before dropped ones, since a relationship table
    //    must always keep at least one pair.
    for (const auto& rel : to.relTypes) {
        if (auto old = from.relType(rel.id)) {
            out << renameTable(old->table(), rel.table());
            for (const auto& endpoint : rel.endpoints)
                if (!old->endpoints.contains(endpoint))
                    if (auto pair = pairText(from, to, endpoint))
                        out << QStringLiteral("ALTER TABLE %1 ADD %2").arg(rel.table(), *pair);
            for (const auto& endpoint : old->endpoints)
                if (!rel.endpoints.contains(endpoint) && !droppedPairs.contains({rel.id, endpoint}))
                    if (auto pair = pairText(from, to, endpoint))
                        out << QStringLiteral("ALTER TABLE %1 DROP %2").arg(rel.table(), *pair);
            out << propertyChanges(rel.table(), old->properties, rel.properties);
            if (dropsColumns(old->properties, rel.properties))
                losing.insert(old->table());
        } else {
            QStringList pieces;
            for (const auto& endpoint : rel.endpoints)
                if (auto pair = pairText(from, to, endpoint))
                    pieces << *pair;
            pieces << QStringLiteral("id STRING");
            for (const auto& property : rel.properties)
                pieces << columnDefinition(property);
            out << QStringLiteral("CREATE REL TABLE %1(%2)")
                       .arg(rel.table(), pieces.join(QStringLiteral(", ")));
        }
    }
    return out;
}

void addFills(QList<DefaultFill>& out, const QString& table, bool isNode,
              const QList<PropertyDef>& oldProperties, const QList<PropertyDef>& newProperties) {
    for (const auto& property : newProperties) {
        auto value = property.validDefault();
        if (!value)
            continue;
        DefaultFill fill{table, isNode, property.column(), *value, std::nullopt};
        const PropertyDef* old = findProperty(oldProperties, property.id);
        if (old && columnType(*old) == columnType(property)) {
            auto oldDefault = old->validDefault();
            if (oldDefault && *oldDefault == *value)
                continue;
            fill.replacing = oldDefault;
        }
        out.append(fill);
    }
}

void addReplacements(QList<ValueReplacement>& out, const QString& table, bool isNode,
                     const QList<PropertyDef>& oldProperties, const QList<PropertyDef>& newProperties) {
    for (const auto& property : newProperties) {
        const PropertyDef* old = findProperty(oldProperties, property.id);
        if (!old || old->kind != PropertyKind::Choice || property.kind != PropertyKind::Choice)
            continue;
        const QStringList before = old->options.value_or(QStringList{});
        const QStringList after = property.options.value_or(QStringList{});
        if (before.size() != after.size())
            continue;
        qsizetype differing = -1;
        int count = 0;
        for (qsizetype i = 0; i < before.size(); ++i)
            if (before[i] != after[i]) {
                differing = i;
                ++count;
            }
        if (count == 1)
            out.append({table, isNode, property.column(), before[differing], after[differing]});
    }
}

QList<DefaultFill> fills(const GraphSchema& from, const GraphSchema& to) {
    QList<DefaultFill> out;
    for (const auto& type : to.nodeTypes)
        if (auto old = from.nodeType(type.id))
            addFills(out, type.table(), true, old->properties, type.properties);
    for (const auto& rel : to.relTypes)
        if (auto old = from.relType(rel.id))
            addFills(out, rel.table(), false, old->properties, rel.properties);
    return out;
}

QList<ValueReplacement> replacements(const GraphSchema& from, const GraphSchema& to) {
    QList<ValueReplacement> out;
    for (const auto& type : to.nodeTypes)
        if (auto old = from.nodeType(type.id))
            addReplacements(out, type.table(), true, old->properties, type.properties);
    for (const auto& rel : to.relTypes)
        if (auto old = from.relType(rel.id))
            addReplacements(out, rel.table(), false, old->properties, rel.properties);
    return out;
}

} // namespace

MigrationPlan plan(const std::optional<GraphSchema>& fromShape, const GraphSchema& to) {
    const GraphSchema from = fromShape.value_or(GraphSchema{});
    MigrationPlan plan;
    plan.statements = statements(from, to, plan.tablesLosingColumns);
    plan.fills = fills(from, to);
    plan.replacements = replacements(from, to);
    return plan;
}

} // namespace corvantis::DDLBuilder
