#include "kit/ladybug/LadybugError.h"

namespace corvantis::ladybug {

LadybugError::LadybugError(Kind kind, const QString& message)
    : UserFacingError(message)
    , m_kind(kind) {
}

} // namespace corvantis::ladybug
