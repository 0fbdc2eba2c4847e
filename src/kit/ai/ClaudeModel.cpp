#include "kit/ai/ClaudeModel.h"

namespace corvantis {

QString ClaudeModel::id() const {
    switch (m_value) {
    case opus:
        return QStringLiteral("claude-opus-5-5");
    case fable:
        return QStringLiteral("claude-fable-5-1");
    case sonnet:
        return QStringLiteral("claude-sonnet-5-5");
    case haiku:
        return QStringLiteral("claude-haiku-5-5");
    }
    Q_UNREACHABLE();
}

QString ClaudeModel::family() const {
    return id().split(QLatin1Char('-')).value(1).toLower();
}

QString ClaudeModel::title() const {
    const QString name = family();
    return name.isEmpty() ? name : name.left(1).toUpper() + name.mid(1);
}

QList<AIEffort> ClaudeModel::efforts() const {
    return {AIEffort::low, AIEffort::medium, AIEffort::high, AIEffort::xhigh, AIEffort::max};
}

AIModel ClaudeModel::model() const {
    return AIModel{id(), title(), efforts()};
}

const QList<ClaudeModel>& ClaudeModel::allCases() {
    static const QList<ClaudeModel> all{opus, fable, sonnet, haiku};
    return all;
}

std::optional<ClaudeModel> ClaudeModel::fromID(const QString& id) {
    for (ClaudeModel model : allCases()) {
        if (model.id() == id)
            return model;
    }
    for (ClaudeModel model : allCases()) {
        if (id.startsWith(QStringLiteral("claude-") + model.family() + QLatin1Char('-')))
            return model;
    }
    return std::nullopt;
}

} // namespace corvantis
