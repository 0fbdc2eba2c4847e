#pragma once

#include "kit/support/UserFacingError.h"

namespace corvantis::ladybug {

// A failure of the database engine's C interface. The message is the engine's own text where it gives
// one, so that it can reach the person unchanged.
class LadybugError : public UserFacingError {
public:
    // `PrepareStatmentFailed` keeps its historical spelling.
    enum class Kind {
        DatabaseInitializationFailed,
        ConnectionInitializationFailed,
        QueryExecutionFailed,
        PrepareStatmentFailed,
        ValueConversionFailed,
        GetFlatTupleFailed,
        GetNextQueryResultFailed,
        GetValueFailed,
    };
    // What the binding found out about the failure where it happened. The engine's C interface reports
    // only success or failure, so anything but `Engine` comes from a check of the binding's own: the
    // file's lock when a database does not open, the path when it cannot be reached.
    enum class Cause { Engine, Locked, InputOutput };

    LadybugError(Kind kind, const QString& message, Cause cause = Cause::Engine);
    Kind kind() const { return m_kind; }
    Cause cause() const { return m_cause; }

private:
    Kind m_kind;
    Cause m_cause;
};

} // namespace corvantis::ladybug
