#include "kit/mcp/MCPRecords.h"

#include <QJsonArray>

namespace corvantis::CorvantisMCP {

QJsonValue json(const GraphValue& value, const GraphSchema& schema) {
    switch (value.kind()) {
    case GraphValue::Kind::String:
        return *value.asString();
    case GraphValue::Kind::Number:
        return *value.asNumber();
    case GraphValue::Kind::Integer:
        return *value.asInteger();
    case GraphValue::Kind::Bool:
        return *value.asBool();
    case GraphValue::Kind::Node:
        return json(*value.asNode(), schema);
    case GraphValue::Kind::Relationship:
        return json(*value.asRelationship(), schema);
    case GraphValue::Kind::Path: {
        QJsonArray nodes;
        QJsonArray rels;
        for (const NodeRecord& node : value.asPath()->nodes)
            nodes.append(json(node, schema));
        for (const RelRecord& rel : value.asPath()->relationships)
            rels.append(json(rel, schema));
        return QJsonObject{{QStringLiteral("nodes"), nodes}, {QStringLiteral("relationships"), rels}};
    }
    case GraphValue::Kind::List: {
        QJsonArray items;
        for (const GraphValue& item : *value.asList())
            items.append(json(item, schema));
        return items;
    }
    case GraphValue::Kind::Map: {
        QJsonObject entries;
        const GraphValue::Map* map = value.asMap();
        for (auto it = map->cbegin(); it != map->cend(); ++it)
            entries.insert(it.key(), json(it.value(), schema));
        return entries;
    }
    case GraphValue::Kind::Null:
        break;
    }
    return QJsonValue::Null;
}

QJsonObject named(const PropertyMap& properties, const QList<PropertyDef>* defs, const GraphSchema& schema) {
    QJsonObject out;
    for (auto it = properties.cbegin(); it != properties.cend(); ++it) {
        QString name = it.key();
        if (defs) {
            for (const PropertyDef& def : *defs) {
                if (def.column() == it.key()) {
                    name = def.name;
                    break;
                }
            }
        }
        out.insert(name, json(it.value(), schema));
    }
    return out;
}

QJsonObject json(const NodeRecord& node, const GraphSchema& schema) {
    const NodeType* type = schema.nodeTypeForTable(node.label);
    return QJsonObject{
        {QStringLiteral("id"), node.id},
        {QStringLiteral("type"), type ? type->name : node.label},
        {QStringLiteral("title"), node.title(type)},
        {QStringLiteral("properties"), named(node.properties, type ? &type->properties : nullptr, schema)},
    };
}

QJsonObject json(const RelRecord& rel, const GraphSchema& schema) {
    const RelType* type = schema.relTypeForTable(rel.label);
    QJsonObject out{
        {QStringLiteral("id"), rel.id},
        {QStringLiteral("relationship"), type ? type->name : rel.label},
        {QStringLiteral("from"), rel.from},
        {QStringLiteral("to"), rel.to},
        {QStringLiteral("properties"), named(rel.properties, type ? &type->properties : nullptr, schema)},
    };
    if (auto title = rel.title(type))
        out.insert(QStringLiteral("title"), *title);
    return out;
}

} // namespace corvantis::CorvantisMCP
