#pragma once

#include "kit/ai/AIEffort.h"
#include "kit/ai/AIModel.h"

namespace corvantis {

// The model and effort chosen for one provider, for answers and for routing.
struct ModelChoice {
    AIModel model;
    AIEffort effort = AIEffort::medium;
    AIModel routerModel;
    AIEffort routerEffort = AIEffort::low;
    bool operator==(const ModelChoice& other) const = default;
};

} // namespace corvantis
