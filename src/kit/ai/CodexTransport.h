#pragma once

#include "kit/ai/AICommandError.h"
#include "kit/ai/AITransport.h"
#include "kit/ai/ThinkingThrottle.h"

#include <QByteArray>
#include <QJsonObject>
#include <QStringList>
#include <optional>

namespace corvantis {

// Answers a request with one run of the user's signed-in `codex` command: read-only, with everything
// that could act on the machine switched off and the user's own configuration ignored. The answer's
// schema and any pictures travel as files in a private folder that is removed after the run.
class CodexTransport : public AITransport {
public:
    explicit CodexTransport(ThinkingThrottle::Callback onThinking = {})
        : m_onThinking(std::move(onThinking)) {}

    struct Invocation {
        QStringList arguments;
        QByteArray input;
    };

    static QStringList candidates();
    static std::optional<QString> locate();
    // The arguments and prompt for a request, writing the schema and pictures into `folder`. Fails with
    // FileError when they can't be written.
    static Invocation invocation(const QJsonObject& body, const QString& folder);
    // A TOML basic string holding `text` (a JSON string is one).
    static QString toml(const QString& text);

    QCoro::Task<QJsonObject> send(QJsonObject body, double timeout, CancellationToken cancellation) override;

    static QCoro::Task<std::optional<AIAccount>> account();
    // The e-mail address in the tool's sign-in token, shown in Settings; the token goes nowhere.
    static std::optional<QString> signedInEmail();

    // The shell line that updates this installation of Codex, by how it came to the machine.
    static QString updateCommand();
    static QString updateCommand(const std::optional<QString>& located);

private:
    ThinkingThrottle::Callback m_onThinking;
};

} // namespace corvantis
