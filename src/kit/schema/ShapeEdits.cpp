#include "kit/schema/ShapeEdits.h"

#include "kit/schema/Identifier.h"

#include <algorithm>

namespace corvantis::ShapeEdits {

namespace {

// Drops every later copy of an endpoint, keeping the order of the first ones.
void dedupe(QList<RelEndpoint>& endpoints) {
    QList<RelEndpoint> unique;
    for (const RelEndpoint& endpoint : std::as_const(endpoints))
        if (!unique.contains(endpoint))
            unique.append(endpoint);
    endpoints = unique;
}

void addTwoWayLoop(RelType& rel, const RelEndpoint& loop) {
    QList<RelEndpoint> loops = rel.twoWayLoops.value_or(QList<RelEndpoint>());
    if (loops.contains(loop))
        return;
    loops.append(loop);
    rel.twoWayLoops = loops;
}

void removeTwoWayLoop(RelType& rel, const RelEndpoint& loop) {
    if (rel.twoWayLoops && rel.twoWayLoops->removeAll(loop) > 0 && rel.twoWayLoops->isEmpty())
        rel.twoWayLoops.reset();
}

// The owner's property with that id, for changing it in place.
PropertyDef* editable(GraphSchema& schema, const QUuid& property, const PropertyOwner& owner) {
    QList<PropertyDef>* properties = propertiesOf(schema, owner);
    if (!properties)
        return nullptr;
    for (PropertyDef& p : *properties)
        if (p.id == property)
            return &p;
    return nullptr;
}

std::optional<QUuid>* titleOf(GraphSchema& schema, const PropertyOwner& owner) {
    if (owner.isNode()) {
        NodeType* type = schema.nodeType(owner.id);
        return type ? &type->titleProperty : nullptr;
    }
    RelType* type = schema.relType(owner.id);
    return type ? &type->titleProperty : nullptr;
}

std::optional<QUuid>* markOf(GraphSchema& schema, const PropertyOwner& owner) {
    if (owner.isNode()) {
        NodeType* type = schema.nodeType(owner.id);
        return type ? &type->markProperty : nullptr;
    }
    RelType* type = schema.relType(owner.id);
    return type ? &type->markProperty : nullptr;
}

} // namespace

// -- Node types ---------------------------------------------------------------------------------------

GraphSchema addNodeType(GraphSchema schema, double x, double y, const QUuid& typeId, const QUuid& nameId) {
    NodeType type;
    type.id = typeId;
    type.name = schema.uniqueNodeTypeName(QStringLiteral("Untitled"));
    type.color = schema.nextColor();
    PropertyDef name;
    name.id = nameId;
    name.name = QStringLiteral("name");
    name.kind = PropertyKind::Text;
    type.properties = {name};
    type.titleProperty = nameId;
    type.x = x;
    type.y = y;
    schema.nodeTypes.append(type);
    return schema;
}

std::optional<GraphSchema> deleteNodeType(GraphSchema schema, const QUuid& id) {
    if (!schema.nodeType(id))
        return std::nullopt;
    schema.removeNodeType(id);
    return schema;
}

std::optional<GraphSchema> renameNodeType(GraphSchema schema, const QUuid& id, const QString& name) {
    NodeType* type = schema.nodeType(id);
    if (!type)
        return std::nullopt;
    type->name = name.trimmed();
    return schema;
}

std::optional<GraphSchema> setNodeTypeColor(GraphSchema schema, const QUuid& id, const QString& color) {
    NodeType* type = schema.nodeType(id);
    if (!type)
        return std::nullopt;
    type->color = color;
    return schema;
}

std::optional<GraphSchema> setExpandPriority(GraphSchema schema, const QUuid& id, ExpandPriority priority) {
    NodeType* type = schema.nodeType(id);
    if (!type)
        return std::nullopt;
    // Absent already means normal: setting normal on such a type changes nothing.
    if (type->expandPriority() != priority)
        type->expand = priority;
    return schema;
}

std::optional<GraphSchema> useExistingType(GraphSchema schema, const QUuid& existing, const QUuid& instead) {
    if (existing == instead || !schema.nodeType(existing) || !schema.nodeType(instead))
        return std::nullopt;
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
    return schema;
}

// -- Relationship types and their connections -----------------------------------------------------------

std::optional<GraphSchema> deleteRelType(GraphSchema schema, const QUuid& id) {
    if (!schema.relType(id))
        return std::nullopt;
    schema.relTypes.removeIf([&](const RelType& type) { return type.id == id; });
    return schema;
}

std::optional<GraphSchema> removeConnection(GraphSchema schema, const RelEndpoint& endpoint, const QUuid& rel,
                                            bool bothWays) {
    RelType* changed = schema.relType(rel);
    if (!changed || !changed->endpoints.contains(endpoint))
        return std::nullopt;
    changed->endpoints.removeAll(endpoint);
    if (endpoint.isLoop())
        removeTwoWayLoop(*changed, endpoint);
    else if (bothWays)
        changed->endpoints.removeAll(endpoint.reversed());
    if (changed->endpoints.isEmpty())
        schema.relTypes.removeIf([&](const RelType& type) { return type.id == rel; });
    return schema;
}

ConnectionDirection direction(const GraphSchema& schema, const RelEndpoint& endpoint, const QUuid& rel) {
    const RelType* type = schema.relType(rel);
    if (!type)
        return ConnectionDirection::OneWay;
    if (endpoint.isLoop())
        return type->isTwoWay(endpoint) ? ConnectionDirection::BothWays : ConnectionDirection::OneWay;
    const bool forward = type->endpoints.contains(endpoint);
    const bool backward = type->endpoints.contains(endpoint.reversed());
    if (forward && backward)
        return ConnectionDirection::BothWays;
    if (backward)
        return ConnectionDirection::OtherWay;
    return ConnectionDirection::OneWay;
}

ConnectionDirection nextDirection(const GraphSchema& schema, const RelEndpoint& endpoint, const QUuid& rel) {
    switch (direction(schema, endpoint, rel)) {
    case ConnectionDirection::OneWay:
        return ConnectionDirection::BothWays;
    case ConnectionDirection::BothWays:
        return endpoint.isLoop() ? ConnectionDirection::OneWay : ConnectionDirection::OtherWay;
    case ConnectionDirection::OtherWay:
        return ConnectionDirection::OneWay;
    }
    return ConnectionDirection::OneWay;
}

std::optional<GraphSchema> setDirection(GraphSchema schema, ConnectionDirection direction,
                                        const RelEndpoint& endpoint, const QUuid& rel) {
    RelType* changed = schema.relType(rel);
    if (!changed)
        return std::nullopt;
    if (endpoint.isLoop()) {
        if (!changed->endpoints.contains(endpoint))
            return std::nullopt;
        if (direction == ConnectionDirection::BothWays)
            addTwoWayLoop(*changed, endpoint);
        else
            removeTwoWayLoop(*changed, endpoint);
        return schema;
    }
    qsizetype at = -1;
    for (qsizetype i = 0; i < changed->endpoints.size() && at < 0; ++i)
        if (changed->endpoints[i] == endpoint || changed->endpoints[i] == endpoint.reversed())
            at = i;
    if (at < 0)
        return std::nullopt;
    changed->endpoints.removeAll(endpoint);
    changed->endpoints.removeAll(endpoint.reversed());
    QList<RelEndpoint> wanted;
    if (direction != ConnectionDirection::OtherWay)
        wanted.append(endpoint);
    if (direction != ConnectionDirection::OneWay)
        wanted.append(endpoint.reversed());
    for (qsizetype i = 0; i < wanted.size(); ++i)
        changed->endpoints.insert(at + i, wanted[i]);
    return schema;
}

std::optional<GraphSchema> cycleDirection(const GraphSchema& schema, const RelEndpoint& endpoint,
                                          const QUuid& rel) {
    return setDirection(schema, nextDirection(schema, endpoint, rel), endpoint, rel);
}

std::optional<AddedRelationship> addRelationship(GraphSchema schema, const QString& name, const QUuid& from,
                                                 const QUuid& to, bool bothWays, const QUuid& newId) {
    if (!schema.nodeType(from) || !schema.nodeType(to))
        return std::nullopt;
    const QString trimmed = name.trimmed();
    const QString key = Identifier::relName(trimmed);
    const RelEndpoint endpoint{from, to};
    RelType* rel = nullptr;
    for (RelType& type : schema.relTypes)
        if (!rel && Identifier::relName(type.name) == key)
            rel = &type;
    const bool created = !rel;
    if (created) {
        RelType fresh;
        fresh.id = newId;
        fresh.name = trimmed;
        schema.relTypes.append(fresh);
        rel = &schema.relTypes.last();
    }
    if (!rel->endpoints.contains(endpoint))
        rel->endpoints.append(endpoint);
    if (bothWays) {
        if (endpoint.isLoop())
            addTwoWayLoop(*rel, endpoint);
        else if (!rel->endpoints.contains(endpoint.reversed()))
            rel->endpoints.append(endpoint.reversed());
    }
    const QUuid id = rel->id;
    return AddedRelationship{std::move(schema), id, created};
}

std::optional<RelRename> renameRelType(GraphSchema schema, const QUuid& id, const QString& name,
                                       bool mayMerge) {
    if (!schema.relType(id))
        return std::nullopt;
    RelRename result;
    result.name = name.trimmed();
    const QString key = Identifier::relName(result.name);
    for (const RelType& type : schema.relTypes)
        if (type.id != id && Identifier::relName(type.name) == key)
            result.other = type.id;
    if (result.other.isNull()) {
        schema.relType(id)->name = result.name;
        result.outcome = RelRename::Outcome::Renamed;
    } else if (mayMerge) {
        schema.relType(id)->name = result.name;
        schema.mergeDuplicateRelTypes();
        result.outcome = RelRename::Outcome::Merged;
    } else {
        result.outcome = RelRename::Outcome::NameTaken;
    }
    result.schema = std::move(schema);
    return result;
}

// -- Properties -----------------------------------------------------------------------------------------

std::optional<GraphSchema> addProperty(GraphSchema schema, const PropertyOwner& owner, const QUuid& newId) {
    QList<PropertyDef>* properties = propertiesOf(schema, owner);
    if (!properties)
        return std::nullopt;
    PropertyDef property;
    property.id = newId;
    property.name = schema.uniquePropertyName(QStringLiteral("Untitled"), *properties, owner.isNode());
    property.kind = PropertyKind::Text;
    properties->append(property);
    return schema;
}

std::optional<GraphSchema> removeProperty(GraphSchema schema, const QUuid& property,
                                          const PropertyOwner& owner) {
    if (!editable(schema, property, owner))
        return std::nullopt;
    propertiesOf(schema, owner)->removeIf([&](const PropertyDef& p) { return p.id == property; });
    for (std::optional<QUuid>* reference : {titleOf(schema, owner), markOf(schema, owner)})
        if (*reference == property)
            reference->reset();
    return schema;
}

std::optional<GraphSchema> renameProperty(GraphSchema schema, const QUuid& property,
                                          const PropertyOwner& owner, const QString& name) {
    PropertyDef* p = editable(schema, property, owner);
    if (!p)
        return std::nullopt;
    p->name = name.trimmed();
    return schema;
}

std::optional<GraphSchema> changeKind(GraphSchema schema, const QUuid& property, const PropertyOwner& owner,
                                      PropertyKind kind) {
    PropertyDef* p = editable(schema, property, owner);
    if (!p)
        return std::nullopt;
    if (p->kind != kind)
        p->changeKind(kind);
    return schema;
}

std::optional<GraphSchema> setDefault(GraphSchema schema, const QUuid& property, const PropertyOwner& owner,
                                      const std::optional<GraphValue>& value) {
    PropertyDef* p = editable(schema, property, owner);
    if (!p)
        return std::nullopt;
    if (value && !value->isNull())
        p->setDefault(*value);
    else
        p->defaultValue.reset();
    return schema;
}

std::optional<GraphSchema> setOptions(GraphSchema schema, const QUuid& property, const PropertyOwner& owner,
                                      const QStringList& options) {
    PropertyDef* p = editable(schema, property, owner);
    if (!p)
        return std::nullopt;
    p->setOptions(options);
    return schema;
}

std::optional<GraphSchema> setEmbedded(GraphSchema schema, const QUuid& property, const PropertyOwner& owner,
                                       bool on) {
    PropertyDef* p = editable(schema, property, owner);
    if (!p || p->kind != PropertyKind::Text)
        return std::nullopt;
    if (p->isEmbedded() != on)
        p->embedded = on;
    return schema;
}

std::optional<GraphSchema> setTitleProperty(GraphSchema schema, const PropertyOwner& owner,
                                            const std::optional<QUuid>& property) {
    std::optional<QUuid>* title = titleOf(schema, owner);
    if (!title)
        return std::nullopt;
    if (property) {
        const PropertyDef* definition = propertyOf(schema, owner, *property);
        if (!definition || !PropertyKinds::canBeTitle(definition->kind))
            return std::nullopt;
    }
    *title = property;
    return schema;
}

std::optional<GraphSchema> setMarkProperty(GraphSchema schema, const PropertyOwner& owner,
                                           const std::optional<QUuid>& property) {
    std::optional<QUuid>* mark = markOf(schema, owner);
    if (!mark)
        return std::nullopt;
    if (property) {
        const PropertyDef* definition = propertyOf(schema, owner, *property);
        if (!definition || definition->kind != PropertyKind::Boolean)
            return std::nullopt;
    }
    *mark = property;
    return schema;
}

std::optional<GraphSchema> moveProperty(GraphSchema schema, const QUuid& property, const PropertyOwner& owner,
                                        int toIndex) {
    QList<PropertyDef>* properties = propertiesOf(schema, owner);
    if (!properties)
        return std::nullopt;
    for (qsizetype i = 0; i < properties->size(); ++i) {
        if ((*properties)[i].id == property) {
            properties->move(i, std::clamp<qsizetype>(toIndex, 0, properties->size() - 1));
            return schema;
        }
    }
    return std::nullopt;
}

} // namespace corvantis::ShapeEdits
