#pragma once

#include "kit/support/UserFacingError.h"

namespace corvantis {

// A tool that can't do what it was asked; the sentence tells the model what to do next and comes back as
// a result with isError true.
class MCPToolError : public UserFacingError {
public:
    using UserFacingError::UserFacingError;
};

} // namespace corvantis
