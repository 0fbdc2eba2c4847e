#pragma once

#include "kit/support/UserFacingError.h"

#include <QSet>
#include <QString>

// Ask only reads. Every query from the Ask bar, typed or written by a model, passes check() before it
// reaches the database: no word that writes, loads, attaches or calls a procedure, and one statement.
namespace corvantis::CypherGuard {

// A query the guard refused; the message says why, for the person who asked.
class Violation : public UserFacingError {
public:
    using UserFacingError::UserFacingError;
};

// Upper-case words that never pass, wherever they stand outside strings, comments, labels and properties.
const QSet<QString>& forbidden();

// Returns when the query may run; fails with Violation otherwise.
void check(const QString& text);

} // namespace corvantis::CypherGuard
