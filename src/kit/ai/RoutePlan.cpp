#include "kit/ai/RoutePlan.h"

#include "kit/support/Json.h"

#include <QJsonArray>

namespace corvantis {

QString RetrievalStrategy::rawValue() const {
    switch (m_value) {
    case cypher:
        return QStringLiteral("cypher");
    case semantic:
        return QStringLiteral("semantic");
    case semanticThenGraph:
        return QStringLiteral("semantic_then_graph");
    case graphThenSemantic:
        return QStringLiteral("graph_then_semantic");
    }
    Q_UNREACHABLE();
}

QString RetrievalStrategy::title() const {
    switch (m_value) {
    case cypher:
        return QStringLiteral("Cypher");
    case semantic:
        return QStringLiteral("Vector search");
    case semanticThenGraph:
        return QStringLiteral("Vector search, then connections");
    case graphThenSemantic:
        return QStringLiteral("Cypher, then vector search");
    }
    Q_UNREACHABLE();
}

const QList<RetrievalStrategy>& RetrievalStrategy::allCases() {
    static const QList<RetrievalStrategy> all{cypher, semantic, semanticThenGraph, graphThenSemantic};
    return all;
}

std::optional<RetrievalStrategy> RetrievalStrategy::fromRawValue(const QString& raw) {
    for (RetrievalStrategy strategy : allCases()) {
        if (strategy.rawValue() == raw)
            return strategy;
    }
    return std::nullopt;
}

QJsonObject RoutePlan::toJson() const {
    QJsonArray ids;
    for (const QUuid& id : scope)
        ids.append(json::uuidText(id));
    return QJsonObject{{QStringLiteral("strategy"), strategy.rawValue()},
                       {QStringLiteral("semanticQuery"), semanticQuery},
                       {QStringLiteral("scope"), ids},
                       {QStringLiteral("graphQuestion"), graphQuestion},
                       {QStringLiteral("explanation"), explanation},
                       {QStringLiteral("modelID"), modelID},
                       {QStringLiteral("seconds"), seconds}};
}

RoutePlan RoutePlan::fromJson(const QJsonObject& object) {
    RoutePlan plan;
    const QString raw = json::requireString(object, QStringLiteral("strategy"));
    const auto strategy = RetrievalStrategy::fromRawValue(raw);
    if (!strategy)
        throw json::DecodeError("unknown retrieval strategy \"" + raw.toStdString() + "\"");
    plan.strategy = *strategy;
    plan.semanticQuery = json::requireString(object, QStringLiteral("semanticQuery"));
    for (const QJsonValue& value : json::requireArray(object, QStringLiteral("scope"))) {
        const auto id = value.isString() ? json::parseUuid(value.toString()) : std::nullopt;
        if (!id)
            throw json::DecodeError("a scope entry isn't a UUID");
        plan.scope.append(*id);
    }
    plan.graphQuestion = json::requireString(object, QStringLiteral("graphQuestion"));
    plan.explanation = json::requireString(object, QStringLiteral("explanation"));
    plan.modelID = json::requireString(object, QStringLiteral("modelID"));
    plan.seconds = json::requireDouble(object, QStringLiteral("seconds"));
    return plan;
}

size_t qHash(RetrievalStrategy strategy, size_t seed) {
    return ::qHash(static_cast<int>(strategy.value()), seed);
}

size_t qHash(const RoutePlan& plan, size_t seed) {
    return qHashMulti(seed, static_cast<int>(plan.strategy.value()), plan.semanticQuery,
                      qHashRange(plan.scope.begin(), plan.scope.end()), plan.graphQuestion, plan.explanation,
                      plan.modelID, plan.seconds);
}

} // namespace corvantis
