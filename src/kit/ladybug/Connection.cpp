#include "kit/ladybug/Connection.h"

#include "kit/ladybug/LadybugError.h"
#include "kit/ladybug/PreparedStatement.h"
#include "kit/ladybug/QueryResult.h"

namespace corvantis::ladybug {

namespace {

QString takeMessage(char* text) {
    if (text == nullptr)
        return {};
    QString message = QString::fromUtf8(text);
    lbug_destroy_string(text);
    return message;
}

const QString unknownQueryFailure = QStringLiteral("Query execution failed with an unknown error.");

} // namespace

std::shared_ptr<Connection> Connection::open(std::shared_ptr<Database> database) {
    Q_ASSERT(database);
    lbug_connection connection{};
    auto state = lbug_connection_init(database->handle(), &connection);
    if (state != LbugSuccess || connection._connection == nullptr)
        throw LadybugError(LadybugError::Kind::ConnectionInitializationFailed,
                           QStringLiteral("Connection initialization failed with error code: %1")
                               .arg(static_cast<int>(state == LbugSuccess ? LbugError : state)));
    return std::make_shared<Connection>(Key{}, std::move(database), connection);
}

Connection::Connection(Key, std::shared_ptr<Database> database, lbug_connection connection)
    : m_database(std::move(database))
    , m_connection(connection) {
}

Connection::~Connection() {
    lbug_connection_destroy(&m_connection);
}

void Connection::setQueryTimeout(quint64 milliseconds) {
    if (lbug_connection_set_query_timeout(&m_connection, milliseconds) != LbugSuccess)
        throw LadybugError(LadybugError::Kind::ConnectionInitializationFailed,
                           QStringLiteral("The query time-out could not be set."));
}

void Connection::setMaxThreads(quint64 threads) {
    if (lbug_connection_set_max_num_thread_for_exec(&m_connection, threads) != LbugSuccess)
        throw LadybugError(LadybugError::Kind::ConnectionInitializationFailed,
                           QStringLiteral("The connection's threads could not be set."));
}

quint64 Connection::maxThreads() {
    uint64_t threads = 0;
    if (lbug_connection_get_max_num_thread_for_exec(&m_connection, &threads) != LbugSuccess)
        throw LadybugError(LadybugError::Kind::ConnectionInitializationFailed,
                           QStringLiteral("The connection's threads could not be read."));
    return threads;
}

std::shared_ptr<QueryResult> Connection::query(const QString& cypher) {
    lbug_query_result result{};
    auto state = lbug_connection_query(&m_connection, cypher.toUtf8().constData(), &result);
    return adopt(state, result);
}

std::shared_ptr<PreparedStatement> Connection::prepare(const QString& cypher) {
    lbug_prepared_statement statement{};
    auto state = lbug_connection_prepare(&m_connection, cypher.toUtf8().constData(), &statement);
    if (state != LbugSuccess || statement._prepared_statement == nullptr) {
        lbug_prepared_statement_destroy(&statement);
        throw LadybugError(LadybugError::Kind::PrepareStatmentFailed, unknownQueryFailure);
    }
    if (!lbug_prepared_statement_is_success(&statement)) {
        QString message = takeMessage(lbug_prepared_statement_get_error_message(&statement));
        lbug_prepared_statement_destroy(&statement);
        throw LadybugError(LadybugError::Kind::PrepareStatmentFailed,
                           message.isEmpty() ? unknownQueryFailure : message);
    }
    return std::make_shared<PreparedStatement>(PreparedStatement::Key{}, shared_from_this(), statement);
}

std::shared_ptr<QueryResult> Connection::execute(const std::shared_ptr<PreparedStatement>& statement,
                                                 const Parameters& parameters) {
    Q_ASSERT(statement && statement->connection().get() == this);
    for (const auto& [name, value] : parameters) {
        auto bound = makeValue(value);
        auto state =
            lbug_prepared_statement_bind_value(statement->handle(), name.toUtf8().constData(), bound.get());
        if (state != LbugSuccess)
            throw LadybugError(
                LadybugError::Kind::ValueConversionFailed,
                QStringLiteral("Failed to bind value with status %1").arg(static_cast<int>(state)));
    }
    lbug_query_result result{};
    auto state = lbug_connection_execute(&m_connection, statement->handle(), &result);
    return adopt(state, result);
}

void Connection::interrupt() {
    lbug_connection_interrupt(&m_connection);
}

std::shared_ptr<QueryResult> Connection::adopt(lbug_state state, lbug_query_result result) {
    if (result._query_result == nullptr)
        throw LadybugError(LadybugError::Kind::QueryExecutionFailed, unknownQueryFailure);
    if (state != LbugSuccess || !lbug_query_result_is_success(&result)) {
        QString message = takeMessage(lbug_query_result_get_error_message(&result));
        lbug_query_result_destroy(&result);
        throw LadybugError(LadybugError::Kind::QueryExecutionFailed,
                           message.isEmpty() ? unknownQueryFailure : message);
    }
    return std::make_shared<QueryResult>(QueryResult::Key{}, shared_from_this(), result);
}

} // namespace corvantis::ladybug
