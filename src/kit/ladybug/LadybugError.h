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

    LadybugError(Kind kind, const QString& message);
    Kind kind() const { return m_kind; }

private:
    Kind m_kind;
};

} // namespace corvantis::ladybug
