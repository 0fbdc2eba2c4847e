#pragma once

#include "kit/ai/ThinkingStream.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <optional>

namespace corvantis {

// Reads the JSON lines that Claude Code prints for one run: the thinking as it is produced, the model
// that answered, and the final result event, which becomes a response in the messages form.
class ClaudeCodeStream : public ThinkingStream {
public:
    bool consume(const QByteArray& line) override;

    // The response of the run; fails with AICommandError when the tool failed or no result came.
    QJsonObject response(const QString& standardError, int exitCode) const;

    const QString& thinking() const override { return m_thinking; }
    const QString& model() const { return m_model; }
    const std::optional<QJsonObject>& result() const { return m_result; }

    // Whether the text is the tool's way of saying that nobody is signed in.
    static bool isAuthFailure(const QString& text);

private:
    QString m_thinking;
    QString m_model;
    std::optional<QJsonObject> m_result;
};

} // namespace corvantis
