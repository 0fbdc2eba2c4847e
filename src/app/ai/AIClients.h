#pragma once

#include "kit/ai/AIClient.h"
#include "kit/ai/AIProvider.h"
#include "kit/support/Cancellation.h"

#include <QString>
#include <functional>
#include <optional>

// Clients for the application's flows.
namespace corvantis::AIClients {

// A client on the provider's transport (Claude Code or Codex) with the given effort. `onThinking`, when
// given, is always called on the main thread, whichever thread the transport reads on.
AIClient make(AIProvider provider, std::optional<AIEffort> effort,
              std::function<void(const QString& thinking)> onThinking = {},
              CancellationToken cancellation = CancellationToken());

} // namespace corvantis::AIClients
