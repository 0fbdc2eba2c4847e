#pragma once

#include "kit/ladybug/FlatTuple.h"

#include <QStringList>
#include <lbug.h>
#include <memory>
#include <optional>
#include <vector>

namespace corvantis::ladybug {

class Connection;

// The result of one statement; it keeps its connection alive. Rows are read once, in order.
class QueryResult : public std::enable_shared_from_this<QueryResult> {
    struct Key {};
    friend class Connection;

public:
    QueryResult(Key, std::shared_ptr<Connection> connection, lbug_query_result result);
    ~QueryResult();
    QueryResult(const QueryResult&) = delete;
    QueryResult& operator=(const QueryResult&) = delete;

    // The column names, read once and cached.
    const QStringList& getColumnNames();
    // The type of each column, read once and cached (LBUG_ANY where the engine cannot tell).
    const std::vector<lbug_data_type_id>& getColumnTypes();
    // The shared shape of the nodes or relationships in one column.
    LadybugColumnShape& columnShape(quint64 index);
    // How many rows the result holds in all, read or not.
    quint64 getRowCount();
    bool hasNext();
    // The next row, or nothing at the end. The engine reuses one row object, so a row is readable only
    // until the next call; fails with LadybugError (getFlatTupleFailed).
    std::optional<FlatTuple> getNext();

    lbug_query_result* handle() { return &m_result; }
    // Bumped by every getNext; a row checks it to catch use after its time.
    quint64 generation() const { return m_generation; }

private:
    std::shared_ptr<Connection> m_connection;
    lbug_query_result m_result;
    std::optional<QStringList> m_columns;
    std::optional<std::vector<lbug_data_type_id>> m_types;
    std::vector<LadybugColumnShape> m_shapes;
    quint64 m_generation = 0;
};

} // namespace corvantis::ladybug
