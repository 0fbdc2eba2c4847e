// LadybugGraphStore: loading whole tables of records, as an opening does.
#include "kit/ladybug/Connection.h"
#include "kit/ladybug/QueryResult.h"
#include "kit/store/GraphValueConversion.h"
#include "kit/store/LadybugGraphStore.h"
#include "kit/store/LadybugStoreSupport.h"

#include <algorithm>
#include <unordered_map>
#include <vector>

namespace corvantis {

using namespace ladybug;
using namespace LadybugStoreSupport;
namespace conversion = GraphValueConversion;

namespace {

// Records of several tables, one list per table, joined at the end: growing one list table by table
// would copy every record loaded so far.
template <typename Record> QList<Record> joined(QList<QList<Record>>& parts) {
    if (parts.size() == 1)
        return std::move(parts.first());
    qsizetype total = 0;
    for (const auto& part : parts)
        total += part.size();
    QList<Record> all;
    all.reserve(total);
    for (auto& part : parts)
        for (auto& record : part)
            all.append(std::move(record));
    return all;
}

// The property columns of a table, in the order of their names: the order of a record's properties, so
// that each value read appends to its record's map.
QStringList propertyColumns(Connection& connection, const QString& table) {
    QStringList names;
    auto result = connection.query(QStringLiteral("CALL table_info('%1') RETURN name").arg(table));
    while (auto row = result->getNext()) {
        if (auto name = row->getText(0)) {
            requireName(*name);
            names << *name;
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

// How one table is read: `pattern` matches its records as `variable` (the table's name for %1), and
// `leading` are the columns asked for before the properties, the last of them the record's label.
struct TableRead {
    QString pattern;
    QString variable;
    QStringList leading;
};

// Reads the records of each table in turn. The properties are asked for as columns of their own: a whole
// node or relationship as one value costs the engine far more to hand over. The label is read on a
// table's first row only, since every row of one table bears it. `readRow` makes a record from a row and
// the reader that holds its id and properties, appending it in place to the table's records, or makes
// none.
template <typename Record, typename ReadRow>
QList<Record> readTables(Connection& connection, const QStringList& tables, const TableRead& read,
                         ReadRow readRow) {
    const auto lead = static_cast<quint64>(read.leading.size());
    QList<QList<Record>> parts;
    for (const auto& table : tables) {
        requireName(table);
        const QStringList names = propertyColumns(connection, table);
        QString query =
            read.pattern.arg(table) + QStringLiteral(" RETURN ") + read.leading.join(QStringLiteral(", "));
        // Quoted, so that a column named like a keyword still reads as a column.
        for (const QString& name : names)
            query += QStringLiteral(", %1.`%2`").arg(read.variable, name);
        auto result = connection.query(query);
        QList<Record>& records = parts.emplace_back();
        records.reserve(static_cast<qsizetype>(result->getRowCount()));
        const std::vector<lbug_data_type_id> types = result->getColumnTypes();
        conversion::RecordReader reader(names);
        std::optional<QString> label;
        while (auto row = result->getNext()) {
            if (!label)
                label = row->getText(lead - 1).value_or(table);
            for (qsizetype i = 0; i < names.size(); ++i) {
                const quint64 column = lead + static_cast<quint64>(i);
                lbug_value value = row->rawValue(column);
                reader.add(i, &value, column < types.size() ? types[column] : LBUG_ANY);
            }
            readRow(*row, *label, reader, records);
        }
    }
    return joined(parts);
}

// Node ids by the engine's own id of each node: its table, then its offset in the table.
class IdsByEngine {
public:
    void put(const LadybugInternalId& engine, const QString& id) {
        std::vector<QString>& table = m_tables[engine.tableId];
        if (table.size() <= engine.offset)
            table.resize(engine.offset + 1);
        table[engine.offset] = id;
    }
    const QString* find(const LadybugInternalId& engine) const {
        const QString* slot = slotOf(engine);
        return slot && !slot->isNull() ? slot : nullptr;
    }
    // Asks for the place of an id to be fetched, ahead of `find`.
    void prefetch(const LadybugInternalId& engine) const {
        if (const QString* slot = slotOf(engine))
            __builtin_prefetch(slot);
    }

private:
    const QString* slotOf(const LadybugInternalId& engine) const {
        auto table = m_tables.find(engine.tableId);
        if (table == m_tables.end() || table->second.size() <= engine.offset)
            return nullptr;
        return &table->second[engine.offset];
    }

    std::unordered_map<quint64, std::vector<QString>> m_tables;
};

// How far ahead of the record in hand `shareEnds` asks for memory to be fetched.
constexpr size_t ahead = 16;

// Asks for the count of users of a text's characters to be fetched. Reading where the count lies
// changes nothing.
void prefetchCount(const QString& text) {
    __builtin_prefetch(const_cast<QString&>(text).data_ptr().d_ptr());
}

// Gives each relationship the texts of its ends' ids from `ids`, so that they share the nodes' texts.
// Sharing a text touches its count of users, which lies with the text, apart from every other; so the
// places of the ids are fetched ahead, then the texts. False when an end is not in `ids`.
bool shareEnds(QList<RelRecord>& records,
               const std::vector<std::pair<LadybugInternalId, LadybugInternalId>>& ends,
               const IdsByEngine& ids) {
    const size_t count = ends.size();
    std::vector<std::pair<const QString*, const QString*>> texts(count);
    for (size_t i = 0; i < count; ++i) {
        if (i + ahead < count) {
            ids.prefetch(ends[i + ahead].first);
            ids.prefetch(ends[i + ahead].second);
        }
        texts[i] = {ids.find(ends[i].first), ids.find(ends[i].second)};
        if (!texts[i].first || !texts[i].second)
            return false;
    }
    for (size_t i = 0; i < count; ++i) {
        if (i + ahead < count) {
            prefetchCount(*texts[i + ahead].first);
            prefetchCount(*texts[i + ahead].second);
        }
        RelRecord& record = records[static_cast<qsizetype>(i)];
        record.from = *texts[i].first;
        record.to = *texts[i].second;
    }
    return true;
}

// The nodes of each table; with `ids`, each node's id is noted there by its engine id.
QList<NodeRecord> readNodes(Connection& connection, const QStringList& tables, IdsByEngine* ids) {
    return readTables<NodeRecord>(connection, tables,
                                  TableRead{QStringLiteral("MATCH (n:%1)"),
                                            QStringLiteral("n"),
                                            {QStringLiteral("id(n)"), QStringLiteral("label(n)")}},
                                  [&](FlatTuple& row, const QString& label, conversion::RecordReader& reader,
                                      QList<NodeRecord>& records) {
                                      auto id = reader.takeId();
                                      auto properties = reader.takeProperties();
                                      if (!id)
                                          return;
                                      if (ids) {
                                          if (auto engine = row.getInternalId(0))
                                              ids->put(*engine, *id);
                                      }
                                      records.emplaceBack(std::move(*id), label, std::move(properties));
                                  });
}

// The relationships of each table with the texts of their ends, which the engine joins in.
QList<RelRecord> readRelsWithEnds(Connection& connection, const QStringList& tables) {
    return readTables<RelRecord>(
        connection, tables,
        TableRead{QStringLiteral("MATCH (a)-[r:%1]->(b)"),
                  QStringLiteral("r"),
                  {QStringLiteral("a.id"), QStringLiteral("b.id"), QStringLiteral("label(r)")}},
        [&](FlatTuple& row, const QString& label, conversion::RecordReader& reader,
            QList<RelRecord>& records) {
            auto id = reader.takeId();
            auto properties = reader.takeProperties();
            auto from = row.getText(0);
            auto to = row.getText(1);
            if (id && from && to)
                records.emplaceBack(std::move(*id), label, std::move(*from), std::move(*to),
                                    std::move(properties));
        });
}

// The relationships of each table with their ends found in `ids`, so that they share the nodes' texts. A
// table with an end that `ids` lacks is read again with the texts from the engine.
QList<RelRecord> readRelsByEngine(Connection& connection, const QStringList& tables, const IdsByEngine& ids) {
    QList<QList<RelRecord>> parts;
    for (const QString& table : tables) {
        bool unknownEnd = false;
        std::vector<std::pair<LadybugInternalId, LadybugInternalId>> ends;
        QList<RelRecord> records = readTables<RelRecord>(
            connection, {table},
            TableRead{QStringLiteral("MATCH (a)-[r:%1]->(b)"),
                      QStringLiteral("r"),
                      {QStringLiteral("id(a)"), QStringLiteral("id(b)"), QStringLiteral("label(r)")}},
            [&](FlatTuple& row, const QString& label, conversion::RecordReader& reader,
                QList<RelRecord>& records) {
                auto id = reader.takeId();
                auto properties = reader.takeProperties();
                if (!id)
                    return;
                const auto source = row.getInternalId(0);
                const auto target = row.getInternalId(1);
                if (!source || !target) {
                    unknownEnd = true;
                    return;
                }
                ends.push_back({*source, *target});
                records.emplaceBack(std::move(*id), label, QString(), QString(), std::move(properties));
            });
        if (unknownEnd || !shareEnds(records, ends, ids))
            records = readRelsWithEnds(connection, {table});
        parts.append(std::move(records));
    }
    return joined(parts);
}

} // namespace

QList<NodeRecord> LadybugGraphStore::loadNodes(const QStringList& labels) {
    std::lock_guard guard(m_lock);
    return guarded([&] { return readNodes(*m_connection, labels, nullptr); });
}

QList<RelRecord> LadybugGraphStore::loadRels(const QStringList& labels) {
    std::lock_guard guard(m_lock);
    return guarded([&] { return readRelsWithEnds(*m_connection, labels); });
}

GraphRecords LadybugGraphStore::loadGraph(const QStringList& nodeLabels, const QStringList& relLabels) {
    std::lock_guard guard(m_lock);
    return guarded([&] {
        IdsByEngine ids;
        GraphRecords graph;
        graph.nodes = readNodes(*m_connection, nodeLabels, &ids);
        graph.rels = readRelsByEngine(*m_connection, relLabels, ids);
        return graph;
    });
}

} // namespace corvantis
