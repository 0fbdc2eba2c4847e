#pragma once

#include "kit/ai/ThinkingStream.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <optional>

namespace corvantis {

// Reads the JSON events that `codex exec --json` prints for one run: reasoning as it completes, the
// agent's final message, and failures in the tool's own words.
class CodexStream : public ThinkingStream {
public:
    bool consume(const QByteArray& line) override;

    // The response of the run; fails with AICommandError when there is no answer.
    QJsonObject response(const QString& model, const QString& standardError, int exitCode) const;

    const QString& thinking() const override { return m_thinking; }
    const std::optional<QString>& answer() const { return m_answer; }
    const std::optional<QString>& failure() const { return m_failure; }
    bool completed() const { return m_completed; }

    static bool isAuthFailure(const QString& text);
    // An older tool that doesn't know an argument we pass reads as outdated.
    static bool isOutdated(const QString& text);
    // The model id that the user's plan doesn't cover, when the text says so.
    static std::optional<QString> unavailableModel(const QString& text);

private:
    QString m_thinking;
    std::optional<QString> m_answer;
    std::optional<QString> m_failure;
    bool m_completed = false;
};

} // namespace corvantis
