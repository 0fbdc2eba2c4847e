#include "kit/ladybug/PreparedStatement.h"

#include "kit/ladybug/Connection.h"

namespace corvantis::ladybug {

PreparedStatement::PreparedStatement(Key, std::shared_ptr<Connection> connection,
                                     lbug_prepared_statement statement)
    : m_connection(std::move(connection))
    , m_statement(statement) {
}

PreparedStatement::~PreparedStatement() {
    lbug_prepared_statement_destroy(&m_statement);
}

} // namespace corvantis::ladybug
