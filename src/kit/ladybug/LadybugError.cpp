#include "kit/ladybug/LadybugError.h"

namespace corvantis::ladybug {

LadybugError::LadybugError(Kind kind, const QString& message, Cause cause)
    : UserFacingError(message)
    , m_kind(kind)
    , m_cause(cause) {
}

} // namespace corvantis::ladybug
