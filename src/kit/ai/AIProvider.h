#pragma once

#include "kit/ai/AIModel.h"

#include <QHash>
#include <QList>
#include <QString>
#include <optional>

namespace corvantis {

// A vendor whose command-line tool reaches its models. Stored in settings and JSON by its id.
class AIProvider {
public:
    enum Value { claude, chatGPT };

    constexpr AIProvider(Value value)
        : m_value(value) {}

    constexpr Value value() const { return m_value; }
    QString id() const;
    QString name() const;
    // The command-line tool, as it is named in messages ("Claude Code", "Codex").
    QString tool() const;
    // The subscriptions that include the tool, for sentences like "needs {plans}".
    QString plans() const;
    QString installPage() const;
    // The vendor's one-line install command, run in a terminal on the user's behalf.
    QString installCommand() const;
    // The models in menu order; for ChatGPT, the tool's own catalogue.
    QList<AIModel> models() const;
    AIModel defaultModel() const;
    // The model that routes questions: a small one where the catalogue has one.
    AIModel defaultRouterModel() const;

    static const QList<AIProvider>& allCases();
    static std::optional<AIProvider> fromID(const QString& id);

    friend constexpr bool operator==(AIProvider a, AIProvider b) { return a.m_value == b.m_value; }
    friend constexpr bool operator==(AIProvider a, Value b) { return a.m_value == b; }

private:
    Value m_value;
};

inline size_t qHash(AIProvider provider, size_t seed = 0) {
    return ::qHash(static_cast<int>(provider.value()), seed);
}

} // namespace corvantis
