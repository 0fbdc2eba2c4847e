#include "kit/ai/AIProvider.h"

#include "kit/ai/ClaudeModel.h"
#include "kit/ai/CodexModels.h"

namespace corvantis {

QString AIProvider::id() const {
    return m_value == claude ? QStringLiteral("claude") : QStringLiteral("chatGPT");
}

QString AIProvider::name() const {
    return m_value == claude ? QStringLiteral("Claude") : QStringLiteral("ChatGPT");
}

QString AIProvider::tool() const {
    return m_value == claude ? QStringLiteral("Claude Code") : QStringLiteral("Codex");
}

QString AIProvider::plans() const {
    return m_value == claude ? QStringLiteral("a Claude Pro or Max plan")
                             : QStringLiteral("a ChatGPT Plus, Pro, Business or Enterprise plan");
}

QString AIProvider::installPage() const {
    return m_value == claude ? QStringLiteral("https://www.anthropic.com/claude-code")
                             : QStringLiteral("https://openai.com/codex/");
}

QString AIProvider::installCommand() const {
    return m_value == claude ? QStringLiteral("curl -fsSL https://claude.ai/install.sh | bash")
                             : QStringLiteral("npm install -g @openai/codex");
}

QList<AIModel> AIProvider::models() const {
    if (m_value == chatGPT)
        return CodexModels::catalog();
    QList<AIModel> models;
    for (ClaudeModel model : ClaudeModel::allCases())
        models.append(model.model());
    return models;
}

AIModel AIProvider::defaultModel() const {
    if (m_value == claude)
        return ClaudeModel(ClaudeModel::sonnet).model();
    const QList<AIModel> catalogue = CodexModels::catalog();
    if (catalogue.isEmpty())
        return AIModel::resolve(QStringLiteral("gpt-6.1-sol"));
    return catalogue.first();
}

AIModel AIProvider::defaultRouterModel() const {
    if (m_value == claude)
        return ClaudeModel(ClaudeModel::sonnet).model();
    const QList<AIModel> catalogue = CodexModels::catalog();
    for (const AIModel& model : catalogue) {
        if (model.id.contains(QLatin1String("mini")))
            return model;
    }
    return defaultModel();
}

const QList<AIProvider>& AIProvider::allCases() {
    static const QList<AIProvider> all{claude, chatGPT};
    return all;
}

std::optional<AIProvider> AIProvider::fromID(const QString& id) {
    for (AIProvider provider : allCases()) {
        if (provider.id() == id)
            return provider;
    }
    return std::nullopt;
}

} // namespace corvantis
