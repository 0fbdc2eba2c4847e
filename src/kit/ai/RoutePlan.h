#pragma once

#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QUuid>
#include <optional>

namespace corvantis {

// How a question is to be answered: by Cypher, by a search by meaning, or by one guiding the other.
// Coded by its raw value.
class RetrievalStrategy {
public:
    enum Value { cypher, semantic, semanticThenGraph, graphThenSemantic };

    constexpr RetrievalStrategy(Value value)
        : m_value(value) {}

    constexpr Value value() const { return m_value; }
    // "cypher", "semantic", "semantic_then_graph", "graph_then_semantic".
    QString rawValue() const;
    QString title() const;

    static const QList<RetrievalStrategy>& allCases();
    static std::optional<RetrievalStrategy> fromRawValue(const QString& raw);

    friend constexpr bool operator==(RetrievalStrategy a, RetrievalStrategy b) {
        return a.m_value == b.m_value;
    }
    friend constexpr bool operator==(RetrievalStrategy a, Value b) { return a.m_value == b; }

private:
    Value m_value;
};

// The router's decision for one question, kept in the history so that the question isn't routed twice.
struct RoutePlan {
    RetrievalStrategy strategy = RetrievalStrategy::cypher;
    // The text to search for by meaning; empty for a pure Cypher plan.
    QString semanticQuery;
    // Ids of the embedded properties to search; empty means all of them.
    QList<QUuid> scope;
    // For graph-then-semantic: the standalone question whose answer gives the nodes to search within.
    QString graphQuestion;
    // One sentence for the person who asked.
    QString explanation;
    QString modelID;
    double seconds = 0;

    QJsonObject toJson() const;
    // Every key is required; fails with json::DecodeError otherwise.
    static RoutePlan fromJson(const QJsonObject& object);

    friend bool operator==(const RoutePlan&, const RoutePlan&) = default;
};

size_t qHash(RetrievalStrategy strategy, size_t seed = 0);
size_t qHash(const RoutePlan& plan, size_t seed = 0);

} // namespace corvantis
