#pragma once

#include "kit/schema/GraphSchema.h"

#include <QList>
#include <QUuid>

namespace corvantis {

// The type that holds a property: a node type or a relationship type.
struct PropertyOwner {
    enum class Kind { Node, Rel };
    Kind kind = Kind::Node;
    QUuid id;

    static PropertyOwner node(const QUuid& id) { return {Kind::Node, id}; }
    static PropertyOwner rel(const QUuid& id) { return {Kind::Rel, id}; }
    bool isNode() const { return kind == Kind::Node; }
    bool operator==(const PropertyOwner& other) const = default;
};

// The owner's properties in the shape, or nullptr when the shape has no such type.
const QList<PropertyDef>* propertiesOf(const GraphSchema& schema, const PropertyOwner& owner);
QList<PropertyDef>* propertiesOf(GraphSchema& schema, const PropertyOwner& owner);
// The owner's property with that id, or nullptr.
const PropertyDef* propertyOf(const GraphSchema& schema, const PropertyOwner& owner, const QUuid& property);

} // namespace corvantis
