#pragma once

#include "kit/ai/AICommandError.h"
#include "kit/ai/AITransport.h"
#include "kit/ai/ThinkingThrottle.h"

#include <QByteArray>
#include <QJsonObject>
#include <QStringList>
#include <optional>

namespace corvantis {

// Answers a request with one run of the user's signed-in `claude` command: no tools, no session files,
// none of the user's connectors; the question goes in on standard input, the thinking streams out to
// `onThinking`, and the final result becomes the response.
class ClaudeCodeTransport : public AITransport {
public:
    explicit ClaudeCodeTransport(ThinkingThrottle::Callback onThinking = {})
        : m_onThinking(std::move(onThinking)) {}

    struct Invocation {
        QStringList arguments;
        QByteArray input;
    };

    // Where the program is looked for, in order; the user's PATH is never consulted.
    static QStringList candidates();
    static std::optional<QString> locate();
    static Invocation invocation(const QJsonObject& body);

    QCoro::Task<QJsonObject> send(QJsonObject body, double timeout, CancellationToken cancellation) override;

    // The signed-in account as `claude auth status --json` reports it; absent without the tool.
    static QCoro::Task<std::optional<AIAccount>> account();

private:
    ThinkingThrottle::Callback m_onThinking;
};

} // namespace corvantis
