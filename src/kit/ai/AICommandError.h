#pragma once

#include "kit/ai/AIProvider.h"
#include "kit/support/UserFacingError.h"

#include <QString>
#include <optional>

namespace corvantis {

// A command-line tool couldn't give an answer: it isn't there, isn't signed in, is too old for the model,
// or failed in its own words. The message is the sentence shown to the user.
class AICommandError : public UserFacingError {
public:
    enum class Kind { notInstalled, notSignedIn, outdated, failed };

    static AICommandError notInstalled(AIProvider provider);
    static AICommandError notSignedIn(AIProvider provider);
    static AICommandError outdated(AIProvider provider,
                                   const std::optional<QString>& installed = std::nullopt,
                                   const std::optional<QString>& required = std::nullopt);
    static AICommandError failed(const QString& message);

    // Claude Code's words for a tool too old for the model, with the versions it names; absent otherwise.
    static std::optional<AICommandError> outdatedIn(const QString& text);

    // The same error with the tool's own words kept beside the sentence: what it printed, for whoever
    // wants to know more than the sentence says.
    AICommandError withDetail(const QString& detail) const;

    Kind kind() const { return m_kind; }
    const std::optional<QString>& detail() const { return m_detail; }
    std::optional<AIProvider> provider() const { return m_provider; }
    const std::optional<QString>& installed() const { return m_installed; }
    const std::optional<QString>& required() const { return m_required; }

private:
    AICommandError(Kind kind, std::optional<AIProvider> provider, const QString& message);

    Kind m_kind;
    std::optional<AIProvider> m_provider;
    std::optional<QString> m_installed;
    std::optional<QString> m_required;
    std::optional<QString> m_detail;
};

// Whether a tool is signed in, and as whom when it says.
struct AIAccount {
    bool signedIn = false;
    std::optional<QString> name;

    static AIAccount signedOut() { return AIAccount{}; }
    friend bool operator==(const AIAccount&, const AIAccount&) = default;
};

} // namespace corvantis
