#include "kit/support/UserFacingError.h"

namespace corvantis {

UserFacingError::UserFacingError(const QString& message)
    : std::runtime_error(message.toStdString())
    , m_message(message) {
}

} // namespace corvantis
