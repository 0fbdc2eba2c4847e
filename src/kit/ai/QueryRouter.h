#pragma once

#include "kit/ai/AIClient.h"
#include "kit/ai/RoutePlan.h"
#include "kit/schema/GraphSchema.h"

#include <QJsonObject>
#include <QList>
#include <QString>

namespace corvantis {

// One small model call that decides how a question is best answered: by Cypher, by a search by
// meaning, or by one guiding the other. The router sees the shape and the names of the embedded
// properties, never the graph's contents.
namespace QueryRouter {

// The system prompt.
QString system(const GraphSchema& schema, const QList<EmbeddedProperty>& embedded);
// The schema of the router's answer: strategy, semantic_query, scope, graph_question, explanation.
QJsonObject answerSchema();
QJsonObject requestBody(const AIModel& model, const GraphSchema& schema,
                        const QList<EmbeddedProperty>& embedded, const QString& question);
// Reads a plan; fails with AIError. Scope names that match no embedded property are dropped.
RoutePlan parse(const QJsonObject& response, double seconds, const QList<EmbeddedProperty>& embedded);
// The lowercase hexadecimal SHA-256 of the system prompt: what the router was told.
QString context(const GraphSchema& schema, const QList<EmbeddedProperty>& embedded);

// Asks the client's model for a plan, with a time-out of 120 seconds.
QCoro::Task<RoutePlan> route(AIClient client, QString question, GraphSchema schema,
                             QList<EmbeddedProperty> embedded, AIModel model);

} // namespace QueryRouter

} // namespace corvantis
