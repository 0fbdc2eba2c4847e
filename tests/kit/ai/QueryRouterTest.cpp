#include "kit/ai/QueryRouter.h"

#include "kit/ai/AIError.h"
#include "tests/support/ShapeBuilders.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <gtest/gtest.h>

using namespace corvantis;
using namespace corvantis::test;

namespace {

GraphSchema library() {
    PropertyDef summary = property("summary");
    summary.embedded = true;
    PropertyDef title = property("title");
    title.embedded = true;
    GraphSchema shape;
    shape.nodeTypes = {nodeType("Book", {title, summary}), nodeType("Film", {property("name")})};
    return shape;
}

QJsonObject response(const QJsonObject& answer, const QJsonValue& model = "claude-haiku-5-5") {
    return QJsonObject{
        {"type", "message"},
        {"model", model},
        {"stop_reason", "end_turn"},
        {"content", QJsonArray{QJsonObject{{"type", "text"},
                                           {"text", QString::fromUtf8(QJsonDocument(answer).toJson())}}}}};
}

} // namespace

TEST(QueryRouter, PromptNamesTheShapeAndTheEmbeddedTextOnly) {
    const GraphSchema shape = library();
    const QString system = QueryRouter::system(shape, shape.embeddedProperties());
    EXPECT_TRUE(system.startsWith("You route questions about a personal knowledge graph"));
    EXPECT_TRUE(system.contains("\n\nThe graph's shape:\n\n" + PromptBuilder::renderSchema(shape) +
                                "\n\nText searchable by meaning:\n- Book.title: the title of each Book\n"
                                "- Book.summary: the summary of each Book\n\nThe strategies:\n- cypher: "));
    EXPECT_TRUE(system.contains("\"what does <Source> say about Z\", \"among <Type> nodes from before 1950"));
    EXPECT_TRUE(system.endsWith("saying how the question will be answered."));
    EXPECT_TRUE(system.contains("Rules:\n- Prefer cypher"));

    const QJsonObject body = QueryRouter::requestBody(AIModel::resolve("claude-haiku-5-5"), shape,
                                                      shape.embeddedProperties(), "What is said about time?");
    EXPECT_EQ(body.value("system").toString(), system);
    EXPECT_EQ(body.value("messages").toArray().first().toObject().value("content"),
              "What is said about time?");
    const QJsonObject schema =
        body.value("output_config").toObject().value("format").toObject().value("schema").toObject();
    EXPECT_EQ(schema.value("required").toArray(),
              (QJsonArray{"strategy", "semantic_query", "scope", "graph_question", "explanation"}));
    EXPECT_EQ(schema.value("additionalProperties"), false);
    EXPECT_EQ(body.value("output_config").toObject().value("effort"), "low");
}

TEST(QueryRouter, ReadsPlansAndDropsUnknownScopes) {
    const GraphSchema shape = library();
    const auto embedded = shape.embeddedProperties();
    const RoutePlan plan =
        QueryRouter::parse(response({{"strategy", "semantic_then_graph"},
                                     {"semantic_query", "  time and memory \n"},
                                     {"scope", QJsonArray{"BOOK.SUMMARY", "Book.nonsense", 3}},
                                     {"graph_question", ""},
                                     {"explanation", " Searching by meaning. "}}),
                           1.25, embedded);
    EXPECT_EQ(plan.strategy, RetrievalStrategy::semanticThenGraph);
    EXPECT_EQ(plan.scope, (QList<QUuid>{shape.nodeTypes[0].properties[1].id}));
    EXPECT_EQ(plan.semanticQuery, "time and memory");
    EXPECT_EQ(plan.explanation, "Searching by meaning.");
    EXPECT_EQ(plan.modelID, "claude-haiku-5-5");
    EXPECT_EQ(plan.seconds, 1.25);

    // Only unknown names: the scope is empty, which means all. No model: an empty id.
    const RoutePlan wide = QueryRouter::parse(
        response({{"strategy", "semantic"}, {"scope", QJsonArray{"Book.nonsense"}}}, QJsonValue()), 0,
        embedded);
    EXPECT_TRUE(wide.scope.isEmpty());
    EXPECT_TRUE(wide.modelID.isEmpty());

    try {
        QueryRouter::parse(response({{"strategy", "semantic_first"}}), 0, embedded);
        FAIL() << "an unknown strategy was read";
    } catch (const AIError& error) {
        EXPECT_EQ(error.message(), "The model's answer couldn't be read (no strategy in the answer).");
    }
}

TEST(QueryRouter, ContextFollowsWhatTheRouterIsTold) {
    GraphSchema shape = library();
    const QString context = QueryRouter::context(shape, shape.embeddedProperties());
    EXPECT_EQ(context.size(), 64);
    EXPECT_EQ(context, context.toLower());
    EXPECT_EQ(QueryRouter::context(library(), library().embeddedProperties()).size(), 64);
    // Renaming an embedded property changes it; fewer embedded properties change it.
    GraphSchema renamed = shape;
    renamed.nodeTypes[0].properties[1].name = "abstract";
    EXPECT_NE(QueryRouter::context(renamed, renamed.embeddedProperties()), context);
    EXPECT_NE(QueryRouter::context(shape, shape.embeddedProperties().mid(1)), context);
    EXPECT_EQ(QueryRouter::context(shape, shape.embeddedProperties()), context);
}
