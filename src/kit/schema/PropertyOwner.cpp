#include "kit/schema/PropertyOwner.h"

namespace corvantis {

const QList<PropertyDef>* propertiesOf(const GraphSchema& schema, const PropertyOwner& owner) {
    if (owner.isNode()) {
        const NodeType* type = schema.nodeType(owner.id);
        return type ? &type->properties : nullptr;
    }
    const RelType* type = schema.relType(owner.id);
    return type ? &type->properties : nullptr;
}

QList<PropertyDef>* propertiesOf(GraphSchema& schema, const PropertyOwner& owner) {
    if (owner.isNode()) {
        NodeType* type = schema.nodeType(owner.id);
        return type ? &type->properties : nullptr;
    }
    RelType* type = schema.relType(owner.id);
    return type ? &type->properties : nullptr;
}

const PropertyDef* propertyOf(const GraphSchema& schema, const PropertyOwner& owner, const QUuid& property) {
    const QList<PropertyDef>* properties = propertiesOf(schema, owner);
    return properties ? PropertyDef::title(property, *properties) : nullptr;
}

} // namespace corvantis
