#pragma once

#include "kit/ladybug/Database.h"
#include "kit/ladybug/LadybugValue.h"

#include <QList>
#include <QString>
#include <lbug.h>
#include <memory>
#include <utility>

namespace corvantis::ladybug {

class PreparedStatement;
class QueryResult;

// Parameters of a prepared statement, bound by name.
using Parameters = QList<std::pair<QString, LadybugValue>>;

// One connection to a database; it keeps the database alive. Not locked: its owner serialises calls
// (the engine allows one statement at a time per connection).
class Connection : public std::enable_shared_from_this<Connection> {
    struct Key {};

public:
    // Fails with LadybugError (connectionInitializationFailed).
    static std::shared_ptr<Connection> open(std::shared_ptr<Database> database);

    Connection(Key, std::shared_ptr<Database> database, lbug_connection connection);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // Bounds every later query; a query that runs longer fails with the engine's time-out text.
    void setQueryTimeout(quint64 milliseconds);
    // How many of the engine's worker threads one query of this connection may use at once. The
    // database has one pool of workers for all its connections, and a query waits for a free one.
    void setMaxThreads(quint64 threads);
    quint64 maxThreads();
    // Runs Cypher text (one or more statements); fails with LadybugError (queryExecutionFailed) and the
    // engine's message. With several statements the result is the first one's.
    std::shared_ptr<QueryResult> query(const QString& cypher);
    // Prepares one statement; fails with LadybugError (prepareStatmentFailed) and the engine's message.
    std::shared_ptr<PreparedStatement> prepare(const QString& cypher);
    // Binds each parameter by name and runs the statement.
    std::shared_ptr<QueryResult> execute(const std::shared_ptr<PreparedStatement>& statement,
                                         const Parameters& parameters = {});
    // Asks the running query to stop; safe from another thread.
    void interrupt();

    lbug_connection* handle() { return &m_connection; }
    const std::shared_ptr<Database>& database() const { return m_database; }

private:
    std::shared_ptr<QueryResult> adopt(lbug_state state, lbug_query_result result);

    std::shared_ptr<Database> m_database;
    lbug_connection m_connection;
};

} // namespace corvantis::ladybug
