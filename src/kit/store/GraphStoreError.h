#pragma once

#include "kit/support/UserFacingError.h"

namespace corvantis {

// A failure of the project's database; the message is the sentence the person reads, the kind says
// what failed, as known where the failure happened.
class GraphStoreError : public UserFacingError {
public:
    enum class Kind {
        Locked,      // another process holds the database open
        InputOutput, // the file couldn't be read or written (a full disk, no permission)
        Constraint,  // the data broke a rule of the database (a duplicate key, a missing end)
        Engine,      // any other failure of the engine
    };

    GraphStoreError(Kind kind, const QString& message)
        : UserFacingError(message)
        , m_kind(kind) {}
    Kind kind() const { return m_kind; }

private:
    Kind m_kind;
};

} // namespace corvantis
