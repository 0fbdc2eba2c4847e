// LadybugGraphStore: read-only queries, on a connection of their own.
#include "kit/ladybug/Connection.h"
#include "kit/ladybug/PreparedStatement.h"
#include "kit/ladybug/QueryResult.h"
#include "kit/store/GraphValueConversion.h"
#include "kit/store/LadybugGraphStore.h"
#include "kit/store/LadybugStoreSupport.h"

#include <QElapsedTimer>
#include <QHash>
#include <algorithm>
#include <climits>

namespace corvantis {

using namespace ladybug;
using namespace LadybugStoreSupport;
namespace conversion = GraphValueConversion;

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

// On the reader's own connection, so that an edit never waits for a query that a person or an AI wrote.
QueryOutput LadybugGraphStore::runReadOnly(const QString& cypher, int rowLimit) {
    std::lock_guard guard(m_readLock);
    Connection& reader = *m_reader;
    QueryOutput output;
    std::optional<GraphStoreError> failure;
    try {
        reader.query(QStringLiteral("BEGIN TRANSACTION READ ONLY"));
        QElapsedTimer clock; // monotonic
        clock.start();
        // Prepared, so that a text of several statements is refused rather than run one by one.
        auto statement = reader.prepare(cypher);
        if (m_readObserver)
            m_readObserver();
        auto result = reader.execute(statement);
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
        lookUpNodeIds(reader, wanted, known);
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
        reader.query(QStringLiteral("ROLLBACK"));
    } catch (const std::exception& error) {
        if (!failure)
            failure = wrap(error);
    }
    if (failure)
        throw *failure;
    return output;
}

} // namespace corvantis
