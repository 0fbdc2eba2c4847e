#include "kit/ai/QueryRouter.h"

#include "kit/ai/AIError.h"
#include "kit/ai/PromptBuilder.h"
#include "kit/schema/Identifier.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QStringList>

namespace corvantis::QueryRouter {

namespace {

const char* const closing = R"(

The strategies:
- cypher: the question is about structure or exact facts — counts, "which X connect to Y", filters on numbers or names, sorting, everything-of-a-type, paths. Also anything that needs no text search at all.
- semantic: the question is about ideas or content expressed in words that may not match the graph's wording — "what is said about…", "anything on…", "passages about…". The user wants the relevant passages themselves. Best when the question names no specific node.
- semantic_then_graph: the question is semantic but also asks how the matches connect, who or what is behind them, or what relates to them — "what discusses X and what supports it", "ideas about Y and who proposed them". Matches are found by meaning, then expanded through their relationships.
- graph_then_semantic: the question names specific things in the graph (a particular node or its id, type, author, source, relationship, number range) to search within, and then asks something conceptual about them — "what does <Source> say about Z", "among <Type> nodes from before 1950, which discuss W". Write graph_question as a standalone question whose Cypher answer returns the nodes to search within (return whole nodes, not properties).

Rules:
- Prefer cypher when the question can be answered exactly from structure; a vector search is never a substitute for a count or a filter.
- Prefer semantic or semantic_then_graph when the user is essentially asking "find me the relevant knowledge" and the wording is free.
- semantic_query is the conceptual core of the question as a short standalone search text, in the user's language, without instructions ("the relationship between soul and body", not "find passages about…"). Leave it empty for cypher.
- scope lists the embedded properties worth searching, using the names above exactly; leave it empty to search all of them. Narrow it only when the question clearly points at some types and not others.
- explanation is one plain sentence for the person who asked, saying how the question will be answered.)";

QString reference(const EmbeddedProperty& property) {
    return property.table + QLatin1Char('.') + Identifier::property(property.property.name);
}

QString trimmedString(const QJsonObject& object, const QString& key) {
    return object.value(key).toString().trimmed();
}

} // namespace

QString system(const GraphSchema& schema, const QList<EmbeddedProperty>& embedded) {
    QStringList lines;
    for (const EmbeddedProperty& property : embedded)
        lines.append(QStringLiteral("- ") + reference(property) + QStringLiteral(": the ") +
                     property.property.name + QStringLiteral(" of each ") + property.ownerName);
    return QStringLiteral(
               "You route questions about a personal knowledge graph to the retrieval strategy that will "
               "answer them best. The graph has nodes and relationships with properties; some text "
               "properties are also embedded, so they can be searched by meaning (vector similarity) as "
               "well as queried in Cypher.\n\nThe graph's shape:\n\n") +
           PromptBuilder::renderSchema(schema) + QStringLiteral("\n\nText searchable by meaning:\n") +
           lines.join(QLatin1Char('\n')) + QString::fromUtf8(closing);
}

QJsonObject answerSchema() {
    const QJsonObject text{{QStringLiteral("type"), QStringLiteral("string")}};
    const QJsonObject strategy{
        {QStringLiteral("type"), QStringLiteral("string")},
        {QStringLiteral("enum"),
         QJsonArray{QStringLiteral("cypher"), QStringLiteral("semantic"),
                    QStringLiteral("semantic_then_graph"), QStringLiteral("graph_then_semantic")}}};
    const QJsonObject scope{{QStringLiteral("type"), QStringLiteral("array")},
                            {QStringLiteral("items"), text}};
    return QJsonObject{
        {QStringLiteral("type"), QStringLiteral("object")},
        {QStringLiteral("properties"), QJsonObject{{QStringLiteral("strategy"), strategy},
                                                   {QStringLiteral("semantic_query"), text},
                                                   {QStringLiteral("scope"), scope},
                                                   {QStringLiteral("graph_question"), text},
                                                   {QStringLiteral("explanation"), text}}},
        {QStringLiteral("required"),
         QJsonArray{QStringLiteral("strategy"), QStringLiteral("semantic_query"), QStringLiteral("scope"),
                    QStringLiteral("graph_question"), QStringLiteral("explanation")}},
        {QStringLiteral("additionalProperties"), false}};
}

QJsonObject requestBody(const AIModel& model, const GraphSchema& schema,
                        const QList<EmbeddedProperty>& embedded, const QString& question) {
    return AIClient::structuredRequest(model.id, system(schema, embedded), question, answerSchema());
}

RoutePlan parse(const QJsonObject& response, double seconds, const QList<EmbeddedProperty>& embedded) {
    const QJsonObject answer = AIClient::answer(response);
    const std::optional<RetrievalStrategy> strategy =
        answer.value(QStringLiteral("strategy")).isString()
            ? RetrievalStrategy::fromRawValue(answer.value(QStringLiteral("strategy")).toString())
            : std::nullopt;
    if (!strategy)
        throw AIError::malformed(QStringLiteral("no strategy in the answer"));
    RoutePlan plan;
    plan.strategy = *strategy;
    for (const QJsonValue& entry : answer.value(QStringLiteral("scope")).toArray()) {
        if (!entry.isString())
            continue;
        for (const EmbeddedProperty& property : embedded)
            if (entry.toString().compare(reference(property), Qt::CaseInsensitive) == 0) {
                plan.scope.append(property.id());
                break;
            }
    }
    plan.semanticQuery = trimmedString(answer, QStringLiteral("semantic_query"));
    plan.graphQuestion = trimmedString(answer, QStringLiteral("graph_question"));
    plan.explanation = trimmedString(answer, QStringLiteral("explanation"));
    const QJsonValue model = response.value(QStringLiteral("model"));
    plan.modelID = model.isString() ? model.toString() : QString();
    plan.seconds = seconds;
    return plan;
}

QString context(const GraphSchema& schema, const QList<EmbeddedProperty>& embedded) {
    return QString::fromLatin1(
        QCryptographicHash::hash(system(schema, embedded).toUtf8(), QCryptographicHash::Sha256).toHex());
}

QCoro::Task<RoutePlan> route(AIClient client, QString question, GraphSchema schema,
                             QList<EmbeddedProperty> embedded, AIModel model) {
    const QJsonObject body = requestBody(model, schema, embedded, question);
    // Named first: GCC 12 may destroy temporaries of a co_await expression twice.
    const auto reader = [embedded](const QJsonObject& response, double seconds) {
        return parse(response, seconds, embedded);
    };
    co_return co_await client.send(body, 120, reader);
}

} // namespace corvantis::QueryRouter
