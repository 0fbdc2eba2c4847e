#pragma once

#include "kit/support/UserFacingError.h"

#include <QString>
#include <optional>

namespace corvantis {

// The model answered, but not with something usable: it declined, the answer couldn't be read, or it
// was cut off. The message is the sentence shown to the user.
class AIError : public UserFacingError {
public:
    enum class Kind { declined, malformed, truncated };

    static AIError declined(const std::optional<QString>& explanation = std::nullopt);
    static AIError malformed(const QString& what);
    static AIError truncated();

    Kind kind() const { return m_kind; }
    // The explanation of a refusal, or what couldn't be read.
    const std::optional<QString>& payload() const { return m_payload; }

private:
    AIError(Kind kind, std::optional<QString> payload, const QString& message);

    Kind m_kind;
    std::optional<QString> m_payload;
};

} // namespace corvantis
