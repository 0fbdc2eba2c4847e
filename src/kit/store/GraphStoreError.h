#pragma once

#include "kit/support/UserFacingError.h"

namespace corvantis {

// A failure of the project's database; the message is the sentence the person reads. The kind is set
// where the failure is known, never read back from the message:
// - Locked: another copy of the program (or this one) has the database open;
// - InputOutput: the database's file or folder cannot be reached;
// - Constraint: the store refused what it was given before it reached the engine (a name that cannot be
//   a table or column);
// - Engine: the engine refused or failed (its own text is the message).
class GraphStoreError : public UserFacingError {
public:
    enum class Kind { Locked, InputOutput, Constraint, Engine };

    GraphStoreError(Kind kind, const QString& message)
        : UserFacingError(message)
        , m_kind(kind) {}
    Kind kind() const { return m_kind; }

private:
    Kind m_kind;
};

} // namespace corvantis
