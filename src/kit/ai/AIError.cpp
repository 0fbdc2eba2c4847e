#include "kit/ai/AIError.h"

namespace corvantis {

AIError::AIError(Kind kind, std::optional<QString> payload, const QString& message)
    : UserFacingError(message)
    , m_kind(kind)
    , m_payload(std::move(payload)) {
}

AIError AIError::declined(const std::optional<QString>& explanation) {
    const QString message = explanation ? QStringLiteral("The model declined to answer: ") + *explanation
                                        : QStringLiteral("The model declined to answer.");
    return AIError(Kind::declined, explanation, message);
}

AIError AIError::malformed(const QString& what) {
    return AIError(Kind::malformed, what,
                   QStringLiteral("The model's answer couldn't be read (%1).").arg(what));
}

AIError AIError::truncated() {
    return AIError(Kind::truncated, std::nullopt,
                   QStringLiteral("The model's answer was cut off. Try a simpler question."));
}

} // namespace corvantis
