#pragma once

#include "kit/ladybug/LadybugValue.h"
#include "kit/ladybug/TextPool.h"
#include "kit/schema/GraphValue.h"

#include <QHash>
#include <QSet>
#include <QString>
#include <optional>
#include <vector>

// Between the database's native values and the plain values of the program.
namespace corvantis::GraphValueConversion {

// Node ids (the "id" column's text) by the engine's internal id; a relationship in a query result
// names its ends only by internal id.
using NodeIds = QHash<ladybug::LadybugInternalId, QString>;

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

// An engine value read in place as a graph value, by the same rules as toGraphValue; a text through
// `texts` when given.
GraphValue fromEngine(lbug_value* value, lbug_data_type_id type, ladybug::TextPool* texts = nullptr);

// Builds the id and properties of records whose properties are read in place, one engine value each,
// by the rule of every record: the "id" property's text is the id, the engine's own "_" keys are left
// out. The columns are told once, and the maps of all rows share their names. The texts of each
// property column go through a pool of their own, so that texts repeating down it are shared.
class RecordReader {
public:
    // The names of the columns, by position; every row gives a value for each.
    explicit RecordReader(const QStringList& columns);
    void add(qsizetype position, lbug_value* value, lbug_data_type_id type);
    // The row's id (absent when it has no text id) and properties; the reader is then ready for the next row.
    std::optional<QString> takeId();
    PropertyMap takeProperties();

private:
    enum class Role { Id, Skip, Keep };
    std::vector<Role> m_roles;              // by position
    std::vector<qsizetype> m_slots;         // by position: where a kept value stands among the names
    std::vector<ladybug::TextPool> m_texts; // by position
    PropertyMap m_names;                    // every kept name, each with null: the names rows share
    std::optional<QString> m_id;
    QList<GraphValue> m_values; // the row's values, in the order of the names
};

// A graph value as a bound parameter: string, number, integer and bool as themselves; every other case
// is sent as null.
ladybug::LadybugValue toParameter(const GraphValue& value);

} // namespace corvantis::GraphValueConversion
