#pragma once

#include "kit/support/UserFacingError.h"

namespace corvantis {

// A failure of the project's database; the message is the sentence the person reads.
class GraphStoreError : public UserFacingError {
public:
    using UserFacingError::UserFacingError;
};

} // namespace corvantis
