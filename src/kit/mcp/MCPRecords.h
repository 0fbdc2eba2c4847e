#pragma once

#include "kit/schema/GraphSchema.h"
#include "kit/schema/GraphValue.h"

#include <QJsonObject>
#include <QJsonValue>

// Records as a connected app sees them: under the names a person sees, not the database's.
namespace corvantis::CorvantisMCP {

// A cell: scalars as themselves, whole numbers as integers, records as below, lists and maps as arrays
// and objects, a path as its nodes and relationships.
QJsonValue json(const GraphValue& value, const GraphSchema& schema);
// {"id", "type", "title", "properties"}.
QJsonObject json(const NodeRecord& node, const GraphSchema& schema);
// {"id", "relationship", "from", "to", "properties"}, with "title" when the relationship has one.
QJsonObject json(const RelRecord& rel, const GraphSchema& schema);
// Values by the shown name of their property; a column no property claims keeps its own name.
QJsonObject named(const PropertyMap& properties, const QList<PropertyDef>* defs, const GraphSchema& schema);

} // namespace corvantis::CorvantisMCP
