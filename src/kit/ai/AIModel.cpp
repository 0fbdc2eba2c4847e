#include "kit/ai/AIModel.h"

#include "kit/ai/AIProvider.h"
#include "kit/ai/ClaudeModel.h"
#include "kit/ai/CodexModels.h"
#include "kit/support/Json.h"

#include <cstdlib>

namespace corvantis {

const QList<AIEffort>& defaultEfforts() {
    static const QList<AIEffort> efforts{AIEffort::low, AIEffort::medium, AIEffort::high, AIEffort::xhigh};
    return efforts;
}

AIModel AIModel::resolve(const QString& id) {
    if (auto claude = ClaudeModel::fromID(id))
        return claude->model();
    const QList<AIModel> catalogue = CodexModels::catalog();
    for (const AIModel& model : catalogue) {
        if (model.id == id)
            return model;
    }
    return AIModel{id, CodexModels::titleForID(id), defaultEfforts()};
}

QString AIModel::titleForID(const QString& id) {
    return resolve(id).title;
}

AIEffort AIModel::nearest(AIEffort wanted) const {
    if (efforts.contains(wanted))
        return wanted;
    if (efforts.isEmpty())
        return AIEffort::medium;
    AIEffort best = efforts.first();
    int bestDistance = std::abs(best.rank() - wanted.rank());
    for (AIEffort effort : efforts) {
        const int distance = std::abs(effort.rank() - wanted.rank());
        if (distance < bestDistance) {
            best = effort;
            bestDistance = distance;
        }
    }
    return best;
}

AIProvider AIModel::provider() const {
    return id.startsWith(QLatin1String("claude-")) ? AIProvider::claude : AIProvider::chatGPT;
}

AIModel AIModel::fromJson(const QJsonValue& value) {
    if (!value.isString())
        throw json::DecodeError("a model is written as its id");
    return resolve(value.toString());
}

} // namespace corvantis
