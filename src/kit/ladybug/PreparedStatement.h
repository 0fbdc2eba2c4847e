#pragma once

#include <lbug.h>
#include <memory>

namespace corvantis::ladybug {

class Connection;

// A statement prepared on a connection, which it keeps alive. Bound values stay with the statement
// until they are bound again.
class PreparedStatement {
    struct Key {};
    friend class Connection;

public:
    PreparedStatement(Key, std::shared_ptr<Connection> connection, lbug_prepared_statement statement);
    ~PreparedStatement();
    PreparedStatement(const PreparedStatement&) = delete;
    PreparedStatement& operator=(const PreparedStatement&) = delete;

    lbug_prepared_statement* handle() { return &m_statement; }
    const std::shared_ptr<Connection>& connection() const { return m_connection; }

private:
    std::shared_ptr<Connection> m_connection;
    lbug_prepared_statement m_statement;
};

} // namespace corvantis::ladybug
