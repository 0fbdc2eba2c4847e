#include "kit/store/LadybugGraphStore.h"

#include "kit/ladybug/Connection.h"
#include "kit/ladybug/Database.h"
#include "kit/ladybug/PreparedStatement.h"
#include "kit/ladybug/QueryResult.h"
#include "kit/store/GraphStoreError.h"
#include "kit/store/GraphValueConversion.h"

#include <QElapsedTimer>
#include <QHash>
#include <QRegularExpression>
#include <algorithm>
#include <climits>
#include <unordered_map>
#include <vector>

namespace corvantis {

using namespace ladybug;
namespace conversion = GraphValueConversion;

const QString LadybugGraphStore::placeholderId = QStringLiteral("corvantis.placeholder");

namespace {

constexpr quint64 queryTimeoutMs = 30000;

// A GraphStoreError keeps its message, a binding error gives the message it carries, and anything
// else its own description.
GraphStoreError wrap(const std::exception& error) {
    if (auto store = dynamic_cast<const GraphStoreError*>(&error))
        return *store;
    if (auto facing = dynamic_cast<const UserFacingError*>(&error))
        return GraphStoreError(GraphStoreError::Kind::Engine, facing->message());
    return GraphStoreError(GraphStoreError::Kind::Engine, QString::fromUtf8(error.what()));
}

// Runs `body` and turns whatever it throws into a GraphStoreError.
template <typename Body> auto guarded(Body&& body) -> decltype(body()) {
    try {
        return body();
    } catch (const std::exception& error) {
        throw wrap(error);
    }
}

// Table and column names come from the shape's identifiers and are written into Cypher as they are,
// so anything else is refused before it reaches the text.
void requireName(const QString& name) {
    static const QRegularExpression plain(QStringLiteral("^[A-Za-z_][A-Za-z0-9_]*$"));
    if (!plain.match(name).hasMatch())
        throw GraphStoreError(
            GraphStoreError::Kind::Engine, QStringLiteral("“%1” can't be used as a table or column name in the database.").arg(name));
}

QString rowVariableHead(const QString& table, bool isNode) {
    return isNode ? QStringLiteral("MATCH (x:%1)").arg(table)
                  : QStringLiteral("MATCH ()-[x:%1]->()").arg(table);
}

using GraphParameters = QList<std::pair<QString, GraphValue>>;

// "k: $p_k" for each property that is not null, keys sorted, with the parameters they name.
QString propertyList(const PropertyMap& properties, GraphParameters& parameters) {
    QStringList pieces;
    for (auto it = properties.cbegin(); it != properties.cend(); ++it) {
        if (it.value().isNull())
            continue;
        requireName(it.key());
        pieces << QStringLiteral("%1: $p_%1").arg(it.key());
        parameters.append({QStringLiteral("p_") + it.key(), it.value()});
    }
    return pieces.join(QStringLiteral(", "));
}

// "v.k = NULL" or "v.k = $p_k" for each entry, keys sorted.
QString assignments(const QString& variable, const PropertyMap& set, GraphParameters& parameters) {
    QStringList pieces;
    for (auto it = set.cbegin(); it != set.cend(); ++it) {
        requireName(it.key());
        if (it.value().isNull()) {
            pieces << QStringLiteral("%1.%2 = NULL").arg(variable, it.key());
        } else {
            pieces << QStringLiteral("%1.%2 = $p_%2").arg(variable, it.key());
            parameters.append({QStringLiteral("p_") + it.key(), it.value()});
        }
    }
    return pieces.join(QStringLiteral(", "));
}

std::optional<qint64> firstInteger(QueryResult& result) {
    auto row = result.getNext();
    if (!row)
        return std::nullopt;
    return row->getValue(0).integer();
}

} // namespace

LadybugGraphStore::LadybugGraphStore(const QString& path) {
    guarded([&] {
        m_database = Database::open(path);
        m_connection = Connection::open(m_database);
        m_connection->setQueryTimeout(queryTimeoutMs);
    });
    std::lock_guard guard(m_lock);
    guarded([&] { removeLeftPlaceholders(); });
}

LadybugGraphStore::~LadybugGraphStore() = default;

QString LadybugGraphStore::engineVersion() {
    return Database::engineVersion();
}

void LadybugGraphStore::setMigrationObserver(std::function<void(MigrationStep)> observer) {
    std::lock_guard guard(m_lock);
    m_observer = std::move(observer);
}

void LadybugGraphStore::notify(MigrationStep step) {
    if (m_observer)
        m_observer(step);
}

// -- Statements (the lock is held by the caller) ----------------------------------------------------

void LadybugGraphStore::run(const QString& cypher) {
    m_connection->query(cypher);
}

void LadybugGraphStore::runPrepared(const QString& cypher, const GraphParameters& parameters) {
    Parameters bound;
    bound.reserve(parameters.size());
    for (const auto& [name, value] : parameters)
        bound.append({name, conversion::toParameter(value)});
    m_connection->execute(m_connection->prepare(cypher), bound);
}

void LadybugGraphStore::transaction(const std::function<void()>& body) {
    run(QStringLiteral("BEGIN TRANSACTION"));
    try {
        body();
        run(QStringLiteral("COMMIT"));
    } catch (const std::exception&) {
        try {
            run(QStringLiteral("ROLLBACK"));
        } catch (const std::exception&) {
            // The first error is the one that matters; the engine may have ended the transaction itself.
        }
        throw;
    }
}

void LadybugGraphStore::transaction(const QStringList& statements) {
    transaction([&] {
        for (const auto& statement : statements)
            run(statement);
    });
}

void LadybugGraphStore::removeLeftPlaceholders() {
    std::optional<qint64> count;
    try {
        auto result = m_connection->query(
            QStringLiteral("MATCH (n) WHERE n.id = '%1' RETURN count(n)").arg(placeholderId));
        count = firstInteger(*result);
    } catch (const std::exception&) {
        // A database without node tables cannot answer; it holds no placeholder either.
    }
    if (count && *count >= 1) {
        run(QStringLiteral("CHECKPOINT"));
        deletePlaceholders();
    }
}

void LadybugGraphStore::deletePlaceholders() {
    runPrepared(QStringLiteral("MATCH (n) WHERE n.id = $id DELETE n"),
                {{QStringLiteral("id"), GraphValue::string(placeholderId)}});
}

QSet<QString> LadybugGraphStore::tablesLosingColumns(const QStringList& statements) {
    QSet<QString> tables;
    QHash<QString, QString> namesBefore; // lower-cased new name -> the name before the batch
    for (const auto& statement : statements) {
        const QStringList pieces = statement.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        if (pieces.size() < 5 || pieces[0] != QLatin1String("ALTER") || pieces[1] != QLatin1String("TABLE"))
            continue;
        const QString earlier = namesBefore.value(pieces[2].toLower(), pieces[2]);
        if (pieces.size() == 6 && pieces[3] == QLatin1String("RENAME") && pieces[4] == QLatin1String("TO"))
            namesBefore.insert(pieces[5].toLower(), earlier);
        else if (pieces.size() == 5 && pieces[3] == QLatin1String("DROP"))
            tables.insert(earlier);
    }
    return tables;
}

// The engine cannot safely drop a column of an empty node table, so each such table holds a
// placeholder row for the time of the drop. A crash can leave the row behind; the next opening
// removes it.
void LadybugGraphStore::dropColumns(const QStringList& statements, const QSet<QString>& tables) {
    run(QStringLiteral("CHECKPOINT"));

    QSet<QString> lowered;
    for (const auto& table : tables)
        lowered.insert(table.toLower());
    QStringList nodeTables;
    {
        auto result =
            m_connection->query(QStringLiteral("CALL show_tables() WHERE type = 'NODE' RETURN name"));
        while (auto row = result->getNext())
            if (auto name = row->getValue(0).text())
                nodeTables << *name;
    }
    QStringList empty;
    for (const auto& name : nodeTables) {
        if (!tables.contains(name) && !lowered.contains(name.toLower()))
            continue;
        requireName(name);
        auto result = m_connection->query(QStringLiteral("MATCH (n:%1) RETURN count(n)").arg(name));
        if (firstInteger(*result) == 0)
            empty << name;
    }

    if (!empty.isEmpty()) {
        transaction([&] {
            for (const auto& name : empty)
                run(QStringLiteral("CREATE (n:%1 {id: '%2'})").arg(name, placeholderId));
        });
        run(QStringLiteral("CHECKPOINT"));
        notify(MigrationStep::PlaceholdersInserted);
    }

    try {
        transaction(statements);
    } catch (const std::exception&) {
        if (!empty.isEmpty()) {
            try {
                deletePlaceholders();
            } catch (const std::exception&) {
                // The next opening removes what is left; the batch's error is the one to report.
            }
        }
        throw;
    }
    run(QStringLiteral("CHECKPOINT"));
    notify(MigrationStep::StatementsCommitted);
    if (!empty.isEmpty())
        deletePlaceholders();
}

// -- Migration ---------------------------------------------------------------------------------------

void LadybugGraphStore::execute(const QStringList& statements) {
    if (statements.isEmpty())
        return;
    std::lock_guard guard(m_lock);
    guarded([&] {
        auto tables = tablesLosingColumns(statements);
        if (tables.isEmpty())
            transaction(statements);
        else
            dropColumns(statements, tables);
    });
}

void LadybugGraphStore::fill(const QList<DefaultFill>& fills) {
    if (fills.isEmpty())
        return;
    std::lock_guard guard(m_lock);
    guarded([&] {
        transaction([&] {
            for (const auto& fill : fills) {
                requireName(fill.table);
                requireName(fill.column);
                const QString head = rowVariableHead(fill.table, fill.isNode);
                if (fill.replacing)
                    runPrepared(
                        QStringLiteral("%1 WHERE x.%2 IS NULL OR x.%2 = $old SET x.%2 = $value")
                            .arg(head, fill.column),
                        {{QStringLiteral("old"), *fill.replacing}, {QStringLiteral("value"), fill.value}});
                else
                    runPrepared(
                        QStringLiteral("%1 WHERE x.%2 IS NULL SET x.%2 = $value").arg(head, fill.column),
                        {{QStringLiteral("value"), fill.value}});
            }
        });
    });
}

void LadybugGraphStore::replace(const QList<ValueReplacement>& replacements) {
    if (replacements.isEmpty())
        return;
    std::lock_guard guard(m_lock);
    guarded([&] {
        transaction([&] {
            for (const auto& replacement : replacements) {
                requireName(replacement.table);
                requireName(replacement.column);
                runPrepared(
                    QStringLiteral("%1 WHERE x.%2 = $from SET x.%2 = $to")
                        .arg(rowVariableHead(replacement.table, replacement.isNode), replacement.column),
                    {{QStringLiteral("from"), GraphValue::string(replacement.from)},
                     {QStringLiteral("to"), GraphValue::string(replacement.to)}});
            }
        });
    });
}

// -- Records -----------------------------------------------------------------------------------------

void LadybugGraphStore::insertNodeUnlocked(const NodeRecord& record) {
    requireName(record.label);
    GraphParameters parameters{{QStringLiteral("id"), GraphValue::string(record.id)}};
    const QString list = propertyList(record.properties, parameters);
    runPrepared(QStringLiteral("CREATE (n:%1 {id: $id%2})")
                    .arg(record.label, list.isEmpty() ? QString() : QStringLiteral(", ") + list),
                parameters);
}

void LadybugGraphStore::insertRelUnlocked(const RelRecord& record, const QString& fromLabel,
                                          const QString& toLabel) {
    requireName(record.label);
    requireName(fromLabel);
    requireName(toLabel);
    GraphParameters parameters{{QStringLiteral("from"), GraphValue::string(record.from)},
                               {QStringLiteral("to"), GraphValue::string(record.to)},
                               {QStringLiteral("id"), GraphValue::string(record.id)}};
    const QString list = propertyList(record.properties, parameters);
    runPrepared(
        QStringLiteral("MATCH (a:%1 {id: $from}), (b:%2 {id: $to}) CREATE (a)-[:%3 {id: $id%4}]->(b)")
            .arg(fromLabel, toLabel, record.label, list.isEmpty() ? QString() : QStringLiteral(", ") + list),
        parameters);
}

void LadybugGraphStore::deleteNodeUnlocked(const QString& id, const QString& label) {
    requireName(label);
    runPrepared(QStringLiteral("MATCH (n:%1 {id: $id}) DETACH DELETE n").arg(label),
                {{QStringLiteral("id"), GraphValue::string(id)}});
}

void LadybugGraphStore::deleteRelUnlocked(const QString& id, const QString& label) {
    requireName(label);
    runPrepared(QStringLiteral("MATCH ()-[r:%1]->() WHERE r.id = $id DELETE r").arg(label),
                {{QStringLiteral("id"), GraphValue::string(id)}});
}

void LadybugGraphStore::insertNode(const NodeRecord& record) {
    std::lock_guard guard(m_lock);
    guarded([&] { insertNodeUnlocked(record); });
}

void LadybugGraphStore::updateNode(const QString& id, const QString& label, const PropertyMap& set) {
    if (set.isEmpty())
        return;
    std::lock_guard guard(m_lock);
    guarded([&] {
        requireName(label);
        GraphParameters parameters{{QStringLiteral("id"), GraphValue::string(id)}};
        const QString list = assignments(QStringLiteral("n"), set, parameters);
        runPrepared(QStringLiteral("MATCH (n:%1 {id: $id}) SET %2").arg(label, list), parameters);
    });
}

void LadybugGraphStore::deleteNode(const QString& id, const QString& label) {
    std::lock_guard guard(m_lock);
    guarded([&] { deleteNodeUnlocked(id, label); });
}

void LadybugGraphStore::insertRel(const RelRecord& record, const QString& fromLabel, const QString& toLabel) {
    std::lock_guard guard(m_lock);
    guarded([&] { insertRelUnlocked(record, fromLabel, toLabel); });
}

void LadybugGraphStore::updateRel(const QString& id, const QString& label, const PropertyMap& set) {
    if (set.isEmpty())
        return;
    std::lock_guard guard(m_lock);
    guarded([&] {
        requireName(label);
        GraphParameters parameters{{QStringLiteral("id"), GraphValue::string(id)}};
        const QString list = assignments(QStringLiteral("r"), set, parameters);
        runPrepared(QStringLiteral("MATCH ()-[r:%1]->() WHERE r.id = $id SET %2").arg(label, list),
                    parameters);
    });
}

void LadybugGraphStore::deleteRel(const QString& id, const QString& label) {
    std::lock_guard guard(m_lock);
    guarded([&] { deleteRelUnlocked(id, label); });
}

void LadybugGraphStore::deleteRecords(const QList<RecordKey>& nodes, const QList<RecordKey>& rels) {
    if (nodes.isEmpty() && rels.isEmpty())
        return;
    std::lock_guard guard(m_lock);
    guarded([&] {
        transaction([&] {
            for (const auto& rel : rels)
                deleteRelUnlocked(rel.id, rel.label);
            for (const auto& node : nodes)
                deleteNodeUnlocked(node.id, node.label);
        });
    });
}

void LadybugGraphStore::insertRecords(const QList<NodeRecord>& nodes, const QList<RelInsertion>& rels) {
    if (nodes.isEmpty() && rels.isEmpty())
        return;
    std::lock_guard guard(m_lock);
    guarded([&] {
        transaction([&] {
            for (const auto& node : nodes)
                insertNodeUnlocked(node);
            for (const auto& rel : rels)
                insertRelUnlocked(rel.rel, rel.fromLabel, rel.toLabel);
        });
    });
}

void LadybugGraphStore::checkpoint() {
    std::lock_guard guard(m_lock);
    guarded([&] { run(QStringLiteral("CHECKPOINT")); });
}

// -- Reading -----------------------------------------------------------------------------------------

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

// The property columns of a table, in the engine's order.
QStringList propertyColumns(Connection& connection, const QString& table) {
    QStringList names;
    auto result = connection.query(QStringLiteral("CALL table_info('%1') RETURN name").arg(table));
    while (auto row = result->getNext()) {
        if (auto name = row->getText(0)) {
            requireName(*name);
            names << *name;
        }
    }
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
// the reader that holds its id and properties, or nothing.
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
        conversion::RecordReader reader;
        std::optional<QString> label;
        while (auto row = result->getNext()) {
            if (!label)
                label = row->getText(lead - 1).value_or(table);
            for (qsizetype i = 0; i < names.size(); ++i) {
                const quint64 column = lead + static_cast<quint64>(i);
                lbug_value value = row->rawValue(column);
                reader.add(i, names[i], &value, column < types.size() ? types[column] : LBUG_ANY);
            }
            if (auto record = readRow(*row, *label, reader))
                records.append(std::move(*record));
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
        auto table = m_tables.find(engine.tableId);
        if (table == m_tables.end() || table->second.size() <= engine.offset)
            return nullptr;
        const QString& id = table->second[engine.offset];
        return id.isNull() ? nullptr : &id;
    }

private:
    std::unordered_map<quint64, std::vector<QString>> m_tables;
};

// The nodes of each table; with `ids`, each node's id is noted there by its engine id.
QList<NodeRecord> readNodes(Connection& connection, const QStringList& tables, IdsByEngine* ids) {
    return readTables<NodeRecord>(connection, tables,
                                  TableRead{QStringLiteral("MATCH (n:%1)"),
                                            QStringLiteral("n"),
                                            {QStringLiteral("id(n)"), QStringLiteral("label(n)")}},
                                  [&](FlatTuple& row, const QString& label,
                                      conversion::RecordReader& reader) -> std::optional<NodeRecord> {
                                      auto id = reader.takeId();
                                      auto properties = reader.takeProperties();
                                      if (!id)
                                          return std::nullopt;
                                      if (ids) {
                                          if (auto engine = row.getInternalId(0))
                                              ids->put(*engine, *id);
                                      }
                                      return NodeRecord{std::move(*id), label, std::move(properties)};
                                  });
}

// The relationships of each table with the texts of their ends, which the engine joins in.
QList<RelRecord> readRelsWithEnds(Connection& connection, const QStringList& tables) {
    return readTables<RelRecord>(
        connection, tables,
        TableRead{QStringLiteral("MATCH (a)-[r:%1]->(b)"),
                  QStringLiteral("r"),
                  {QStringLiteral("a.id"), QStringLiteral("b.id"), QStringLiteral("label(r)")}},
        [&](FlatTuple& row, const QString& label,
            conversion::RecordReader& reader) -> std::optional<RelRecord> {
            auto id = reader.takeId();
            auto properties = reader.takeProperties();
            auto from = row.getText(0);
            auto to = row.getText(1);
            if (!id || !from || !to)
                return std::nullopt;
            return RelRecord{std::move(*id), label, std::move(*from), std::move(*to), std::move(properties)};
        });
}

// The relationships of each table with their ends found in `ids`, so that they share the nodes' texts. A
// table with an end that `ids` lacks is read again with the texts from the engine.
QList<RelRecord> readRelsByEngine(Connection& connection, const QStringList& tables, const IdsByEngine& ids) {
    QList<QList<RelRecord>> parts;
    for (const QString& table : tables) {
        bool unknownEnd = false;
        parts.append(readTables<RelRecord>(
            connection, {table},
            TableRead{QStringLiteral("MATCH (a)-[r:%1]->(b)"),
                      QStringLiteral("r"),
                      {QStringLiteral("id(a)"), QStringLiteral("id(b)"), QStringLiteral("label(r)")}},
            [&](FlatTuple& row, const QString& label,
                conversion::RecordReader& reader) -> std::optional<RelRecord> {
                auto id = reader.takeId();
                auto properties = reader.takeProperties();
                if (!id)
                    return std::nullopt;
                const auto source = row.getInternalId(0);
                const auto target = row.getInternalId(1);
                const QString* from = source ? ids.find(*source) : nullptr;
                const QString* to = target ? ids.find(*target) : nullptr;
                if (!from || !to) {
                    unknownEnd = true;
                    return std::nullopt;
                }
                return RelRecord{std::move(*id), label, *from, *to, std::move(properties)};
            }));
        if (unknownEnd)
            parts.last() = readRelsWithEnds(connection, {table});
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

namespace {

// Finds the "id" text of nodes that a result names only by internal id, table by table, inside the
// caller's transaction. What cannot be found stays unknown.
void lookUpNodeIds(Connection& connection, const QSet<LadybugInternalId>& wanted,
                   conversion::NodeIds& known) {
    QHash<quint64, QList<quint64>> offsetsByTable;
    for (const auto& id : wanted)
        if (!known.contains(id))
            offsetsByTable[id.tableId].append(id.offset);
    if (offsetsByTable.isEmpty())
        return;
    QHash<quint64, QString> nodeTables;
    auto tables = connection.query(QStringLiteral("CALL show_tables() WHERE type = 'NODE' RETURN id, name"));
    while (auto row = tables->getNext()) {
        auto id = row->getValue(0).integer();
        auto name = row->getValue(1).text();
        if (id && name)
            nodeTables.insert(static_cast<quint64>(*id), *name);
    }
    for (auto it = offsetsByTable.cbegin(); it != offsetsByTable.cend(); ++it) {
        const QString table = nodeTables.value(it.key());
        if (table.isEmpty())
            continue;
        LadybugList offsets;
        for (auto offset : it.value())
            offsets.append(static_cast<qint64>(offset));
        try {
            auto statement = connection.prepare(
                QStringLiteral("MATCH (n:`%1`) WHERE offset(id(n)) IN $offsets RETURN offset(id(n)), n.id")
                    .arg(table));
            auto result =
                connection.execute(statement, {{QStringLiteral("offsets"), LadybugValue::list(offsets)}});
            while (auto row = result->getNext()) {
                auto offset = row->getValue(0).integer();
                auto id = row->getValue(1).text();
                if (offset && id)
                    known.insert({it.key(), static_cast<quint64>(*offset)}, *id);
            }
        } catch (const std::exception&) {
            // A table without an "id" column: its nodes stay unnamed.
        }
    }
}

} // namespace

QueryOutput LadybugGraphStore::runReadOnly(const QString& cypher, int rowLimit) {
    std::lock_guard guard(m_lock);
    QueryOutput output;
    std::optional<GraphStoreError> failure;
    try {
        run(QStringLiteral("BEGIN TRANSACTION READ ONLY"));
        QElapsedTimer clock; // monotonic
        clock.start();
        // Prepared, so that a text of several statements is refused rather than run one by one.
        auto result = m_connection->execute(m_connection->prepare(cypher));
        output.columns = result->getColumnNames();
        QList<LadybugList> rows;
        while (rows.size() < rowLimit) {
            auto row = result->getNext();
            if (!row)
                break;
            rows.append(row->getAsArray());
        }
        output.totalRows = static_cast<int>(std::min<quint64>(result->getRowCount(), INT_MAX));

        conversion::NodeIds known;
        QSet<LadybugInternalId> wanted;
        for (const auto& row : rows)
            for (const auto& value : row)
                conversion::collectNodeIds(value, known, wanted);
        lookUpNodeIds(*m_connection, wanted, known);
        output.rows.reserve(rows.size());
        for (const auto& row : rows) {
            QList<GraphValue> converted;
            converted.reserve(row.size());
            for (const auto& value : row)
                converted.append(conversion::toGraphValue(value, known));
            output.rows.append(std::move(converted));
        }
        output.milliseconds = static_cast<double>(clock.nsecsElapsed()) / 1e6;
    } catch (const std::exception& error) {
        failure = wrap(error);
    }
    try {
        run(QStringLiteral("ROLLBACK"));
    } catch (const std::exception& error) {
        if (!failure)
            failure = wrap(error);
    }
    if (failure)
        throw *failure;
    return output;
}

} // namespace corvantis
