#include "kit/graph/MovedValue.h"

#include <QSet>
#include <functional>

namespace corvantis {

QList<MovedValue> MovedValue::by(const QList<DefaultFill>& fills, const QList<ValueReplacement>& replacements,
                                 const GraphSchema& shape, const QHash<QString, NodeRecord>& nodes,
                                 const QHash<QString, RelRecord>& rels) {
    QList<MovedValue> moved;
    QSet<std::pair<QString, QString>> seen; // (record id, column): the first change of a value counts
    auto typeOf = [&shape](const QString& table, bool isNode) {
        if (isNode) {
            const NodeType* type = shape.nodeTypeForTable(table);
            return type ? type->id : QUuid();
        }
        const RelType* type = shape.relTypeForTable(table);
        return type ? type->id : QUuid();
    };
    auto visit = [&](const QString& table, bool isNode, const QString& column,
                     const std::function<bool(const GraphValue&)>& rewrites) {
        const QUuid type = typeOf(table, isNode);
        auto consider = [&](const QString& id, const PropertyMap& properties) {
            const GraphValue held = properties.value(column);
            if (!rewrites(held) || seen.contains({id, column}))
                return;
            seen.insert({id, column});
            moved.append({id, isNode, type, column, held});
        };
        if (isNode) {
            for (const NodeRecord& node : nodes)
                if (node.label == table)
                    consider(node.id, node.properties);
        } else {
            for (const RelRecord& rel : rels)
                if (rel.label == table)
                    consider(rel.id, rel.properties);
        }
    };
    for (const DefaultFill& fill : fills)
        visit(fill.table, fill.isNode, fill.column, [&fill](const GraphValue& held) {
            return (held.isNull() || (fill.replacing && held == *fill.replacing)) && held != fill.value;
        });
    for (const ValueReplacement& replacement : replacements)
        visit(replacement.table, replacement.isNode, replacement.column,
              [&replacement](const GraphValue& held) {
                  return held.asString() && *held.asString() == replacement.from;
              });
    return moved;
}

} // namespace corvantis
