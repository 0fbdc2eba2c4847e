#include "kit/ai/AICommandError.h"

#include <QRegularExpression>

namespace corvantis {

AICommandError::AICommandError(Kind kind, std::optional<AIProvider> provider, const QString& message)
    : UserFacingError(message)
    , m_kind(kind)
    , m_provider(provider) {
}

AICommandError AICommandError::notInstalled(AIProvider provider) {
    return AICommandError(Kind::notInstalled, provider,
                          provider.tool() + QStringLiteral(" isn't installed."));
}

AICommandError AICommandError::notSignedIn(AIProvider provider) {
    return AICommandError(Kind::notSignedIn, provider, provider.tool() + QStringLiteral(" isn't signed in."));
}

AICommandError AICommandError::outdated(AIProvider provider, const std::optional<QString>& installed,
                                        const std::optional<QString>& required) {
    QString message = QStringLiteral("This model needs a newer ") + provider.tool();
    if (required) {
        message += QStringLiteral(" (") + *required + QStringLiteral(" or later");
        if (installed)
            message += QStringLiteral("; this computer has ") + *installed;
        message += QLatin1Char(')');
    }
    message += QStringLiteral(". Update ") + provider.tool() + QStringLiteral(", then try again.");
    AICommandError error(Kind::outdated, provider, message);
    error.m_installed = installed;
    error.m_required = required;
    return error;
}

AICommandError AICommandError::failed(const QString& message) {
    return AICommandError(Kind::failed, std::nullopt, message);
}

AICommandError AICommandError::withDetail(const QString& detail) const {
    AICommandError error = *this;
    if (!detail.isEmpty())
        error.m_detail = detail;
    return error;
}

std::optional<AICommandError> AICommandError::outdatedIn(const QString& text) {
    const QString lower = text.toLower();
    if (!lower.contains(QLatin1String("does not support this model")) &&
        !lower.contains(QLatin1String("run 'claude update'")))
        return std::nullopt;
    auto versionAfter = [&](const QString& word) -> std::optional<QString> {
        const QRegularExpression pattern(QRegularExpression::escape(word) +
                                             QStringLiteral("\\s*v?(\\d+(?:\\.\\d+)+)"),
                                         QRegularExpression::CaseInsensitiveOption);
        const QRegularExpressionMatch match = pattern.match(text);
        if (!match.hasMatch())
            return std::nullopt;
        return match.captured(1);
    };
    return outdated(AIProvider::claude, versionAfter(QStringLiteral("Claude Code")),
                    versionAfter(QStringLiteral("version")));
}

} // namespace corvantis
