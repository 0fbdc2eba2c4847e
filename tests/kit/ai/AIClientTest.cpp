#include "kit/ai/AIClient.h"

#include "kit/ai/AIError.h"
#include "tests/support/QtPrinters.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <gtest/gtest.h>

using namespace corvantis;

namespace {

// Hands back a canned response and keeps what it was sent.
class CannedTransport : public AITransport {
public:
    explicit CannedTransport(QJsonObject response)
        : m_response(std::move(response)) {}
    QCoro::Task<QJsonObject> send(QJsonObject body, double timeout, CancellationToken) override {
        sent = body;
        sentTimeout = timeout;
        co_return m_response;
    }
    QJsonObject sent;
    double sentTimeout = 0;

private:
    QJsonObject m_response;
};

QJsonObject textResponse(const QString& text, const QString& stop = "end_turn") {
    return QJsonObject{{"type", "message"},
                       {"model", "claude-sonnet-5-5"},
                       {"stop_reason", stop},
                       {"content", QJsonArray{QJsonObject{{"type", "text"}, {"text", text}}}}};
}

QString failure(const QJsonObject& response) {
    try {
        AIClient::parse(response, 0);
    } catch (const AIError& error) {
        return error.message();
    }
    return "no failure";
}

GraphSchema bookShape() {
    PropertyDef title;
    title.id = QUuid::createUuid();
    title.name = "Title";
    NodeType book;
    book.id = QUuid::createUuid();
    book.name = "Book";
    book.properties = {title};
    book.titleProperty = title.id;
    GraphSchema schema;
    schema.nodeTypes = {book};
    return schema;
}

} // namespace

TEST(AIClient, ReadingAnswers) {
    QJsonObject refusal{{"stop_reason", "refusal"}};
    EXPECT_EQ(failure(refusal), "The model declined to answer.");
    refusal["stop_details"] = QJsonObject{{"explanation", "x"}};
    EXPECT_EQ(failure(refusal), "The model declined to answer: x");
    refusal["stop_details"] = QJsonObject{{"explanation", 3}};
    EXPECT_EQ(failure(refusal), "The model declined to answer.");
    EXPECT_EQ(failure(textResponse("{}", "max_tokens")),
              "The model's answer was cut off. Try a simpler question.");

    EXPECT_EQ(failure(textResponse(R"({"cypher": 7})")),
              "The model's answer couldn't be read (no query in the answer).");
    EXPECT_EQ(failure(textResponse("{}")), "The model's answer couldn't be read (no query in the answer).");
    EXPECT_EQ(failure(textResponse("[1]")), "The model's answer couldn't be read (no JSON in the answer).");
    EXPECT_EQ(failure(textResponse("not json")),
              "The model's answer couldn't be read (no JSON in the answer).");
    EXPECT_EQ(failure(QJsonObject{{"content", "nope"}}),
              "The model's answer couldn't be read (no JSON in the answer).");
    EXPECT_EQ(failure(QJsonObject{{"content", QJsonArray{QJsonObject{{"type", "text"}, {"text", 5}}}}}),
              "The model's answer couldn't be read (no JSON in the answer).");

    // The last text block wins; blocks of other types are passed over.
    QJsonObject two = textResponse(R"({"cypher": "first"})");
    QJsonArray content = two["content"].toArray();
    content.append(QJsonObject{{"type", "text"},
                               {"text", R"({"cypher": "  MATCH (n) RETURN n\n", "explanation": " All. "})"}});
    content.append(QJsonObject{{"type", "thinking"}, {"thinking", "hmm"}});
    two["content"] = content;
    const CypherTranslation translation = AIClient::parse(two, 1.5);
    EXPECT_EQ(translation, (CypherTranslation{"MATCH (n) RETURN n", "All.", "claude-sonnet-5-5", 1.5}));

    // An empty query is still returned: the guard refuses it later.
    const auto empty = AIClient::parse(textResponse(R"({"cypher": "  ", "explanation": 4})"), 0);
    EXPECT_EQ(empty.cypher, "");
    EXPECT_EQ(empty.explanation, "");
}

TEST(AIClient, RequestBodyAndEffort) {
    const GraphSchema schema = bookShape();
    const QJsonObject body =
        AIClient::requestBody(AIModel::resolve("claude-opus-5-5"), schema, "Which books?",
                              {{"MATCH (b:Book) RETURN x", "Unknown variable x"}});
    EXPECT_EQ(body.keys(), (QStringList{"messages", "model", "output_config", "system"}));
    EXPECT_EQ(body["model"].toString(), "claude-opus-5-5");
    EXPECT_EQ(body["system"].toString(), PromptBuilder::system(schema));
    const QJsonArray messages = body["messages"].toArray();
    ASSERT_EQ(messages.size(), 1);
    EXPECT_EQ(messages[0]["role"].toString(), "user");
    EXPECT_TRUE(messages[0]["content"].toString().startsWith("Question: Which books?\n"));
    const QJsonObject config = body["output_config"].toObject();
    EXPECT_EQ(config["effort"].toString(), "low");
    EXPECT_EQ(config["format"]["type"].toString(), "json_schema");
    EXPECT_EQ(
        QJsonDocument(config["format"]["schema"].toObject()).toJson(QJsonDocument::Compact),
        R"({"additionalProperties":false,"properties":{"cypher":{"type":"string"},"explanation":{"type":"string"}},"required":["cypher","explanation"],"type":"object"})");

    // Without an effort the body goes out untouched; with one, only output_config.effort changes.
    auto plain =
        std::make_shared<CannedTransport>(textResponse(R"({"cypher": "RETURN 1", "explanation": "One."})"));
    const auto result = QCoro::waitFor(AIClient(plain).translate("q", schema, AIModel::resolve("gpt-6-sol")));
    EXPECT_EQ(result.cypher, "RETURN 1");
    EXPECT_GE(result.seconds, 0);
    EXPECT_EQ(plain->sentTimeout, 120);
    EXPECT_EQ(plain->sent, AIClient::requestBody(AIModel::resolve("gpt-6-sol"), schema, "q"));

    auto high = std::make_shared<CannedTransport>(textResponse(R"({"cypher": "RETURN 1"})"));
    QCoro::waitFor(AIClient(high, AIEffort::xhigh).translate("q", schema, AIModel::resolve("gpt-6-sol")));
    QJsonObject expected = AIClient::requestBody(AIModel::resolve("gpt-6-sol"), schema, "q");
    QJsonObject expectedConfig = expected["output_config"].toObject();
    expectedConfig["effort"] = "xhigh";
    expected["output_config"] = expectedConfig;
    EXPECT_EQ(high->sent, expected);

    // A body without output_config gets one holding only the effort.
    EXPECT_EQ(AIClient::withEffort(QJsonObject{{"output_config", 3}}, AIEffort::max),
              (QJsonObject{{"output_config", QJsonObject{{"effort", "max"}}}}));
}
