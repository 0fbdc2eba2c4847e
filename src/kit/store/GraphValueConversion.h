#pragma once

#include "ladybug/LadybugValue.h"
#include "schema/GraphValue.h"

#include <QHash>
#include <QSet>
#include <QString>
#include <optional>

// Between the database's native values and the plain values of the program.
namespace corvantis::GraphValueConversion {

// Node ids (the "id" column's text) by the engine's internal id; a relationship in a query result
// names its ends only by internal id.
using NodeIds = QHash<ladybug::LadybugInternalId, QString>;

// The node's record: the "id" property as text, the label, and `properties`; absent when the node has
// no text id.
std::optional<NodeRecord> nodeRecord(const ladybug::LadybugNode& node);
// The relationship's record with the given ends; absent when it has no text id.
std::optional<RelRecord> relRecord(const ladybug::LadybugRelationship& rel, const QString& from,
                                   const QString& to);
// Every property but "id" and the engine's own keys (those that begin with "_"), each converted; nulls
// stay as null.
PropertyMap properties(const ladybug::LadybugFields& fields);

// Walks a value for the node ids that it tells (`known`) and for the relationship ends that it names
// by internal id only (`wanted`).
void collectNodeIds(const ladybug::LadybugValue& value, NodeIds& known,
                    QSet<ladybug::LadybugInternalId>& wanted);

// A value of a query result as a graph value. Integers of every width are `integer`, floating point
// and decimals `number`, text `string`, lists `list`, structs and text-keyed maps `map` (a map with
// other keys is a list of [key, value] pairs), nodes, relationships and paths their records (the ends
// of a relationship looked up in `ids`), UUIDs their upper-case text, dates and timestamps ISO 8601
// text, and anything else its plain description.
GraphValue toGraphValue(const ladybug::LadybugValue& value, const NodeIds& ids = {});

// A graph value as a bound parameter: string, number, integer and bool as themselves; every other case
// is sent as null.
ladybug::LadybugValue toParameter(const GraphValue& value);

} // namespace corvantis::GraphValueConversion
