#pragma once

#include "app/app/AppEnums.h"
#include "kit/ai/AIEffort.h"
#include "kit/ai/AIModel.h"
#include "kit/ai/AIProvider.h"

#include <optional>

namespace corvantis {

// What a question is put with, captured when it is put: the mode, the models and efforts of the chosen
// provider, and whether that provider's tool is installed and signed in.
struct AskSettings {
    QueryMode mode = QueryMode::Auto;
    AIModel model;
    AIModel routerModel;
    bool canUseAI = false;
    AIProvider provider = AIProvider::claude;
    std::optional<AIEffort> effort;
    std::optional<AIEffort> routerEffort;
};

} // namespace corvantis
