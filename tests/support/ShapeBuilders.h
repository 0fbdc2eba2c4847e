#pragma once

// Shapes for tests: a property, a node type and a relationship type, each with a fresh id.
#include "kit/schema/GraphSchema.h"

#include <QStringList>
#include <optional>

namespace corvantis::test {

inline PropertyDef property(const QString& name, PropertyKind kind = PropertyKind::Text,
                            std::optional<GraphValue> defaultValue = std::nullopt,
                            std::optional<QStringList> options = std::nullopt) {
    PropertyDef def;
    def.id = QUuid::createUuid();
    def.name = name;
    def.kind = kind;
    def.defaultValue = std::move(defaultValue);
    def.options = std::move(options);
    return def;
}

// A node type; with `titled`, its first property is its title.
inline NodeType nodeType(const QString& name, QList<PropertyDef> properties = {},
                         const QString& color = "iris", bool titled = true) {
    NodeType type;
    type.id = QUuid::createUuid();
    type.name = name;
    type.color = color;
    type.properties = std::move(properties);
    if (titled && !type.properties.isEmpty())
        type.titleProperty = type.properties.first().id;
    return type;
}

inline RelType relType(const QString& name, QList<RelEndpoint> endpoints,
                       QList<PropertyDef> properties = {}) {
    RelType type;
    type.id = QUuid::createUuid();
    type.name = name;
    type.endpoints = std::move(endpoints);
    type.properties = std::move(properties);
    return type;
}

} // namespace corvantis::test
