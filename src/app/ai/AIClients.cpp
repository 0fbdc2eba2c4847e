#include "app/ai/AIClients.h"

#include "kit/ai/ClaudeCodeTransport.h"
#include "kit/ai/CodexTransport.h"

#include <QCoreApplication>

namespace corvantis::AIClients {

AIClient make(AIProvider provider, std::optional<AIEffort> effort,
              std::function<void(const QString&)> onThinking, CancellationToken cancellation) {
    ThinkingThrottle::Callback hop;
    if (onThinking)
        hop = [onThinking](const QString& thinking) {
            QMetaObject::invokeMethod(
                QCoreApplication::instance(), [onThinking, thinking] { onThinking(thinking); },
                Qt::AutoConnection);
        };
    std::shared_ptr<AITransport> transport;
    if (provider == AIProvider::claude)
        transport = std::make_shared<ClaudeCodeTransport>(hop);
    else
        transport = std::make_shared<CodexTransport>(hop);
    return AIClient(transport, effort, std::move(cancellation));
}

} // namespace corvantis::AIClients
