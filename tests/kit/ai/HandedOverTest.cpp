// What leaves the machine on a translation and on a repair: the question, the shape and, on a repair,
// the failed query with the database's error. The stand-in tools record everything they are handed,
// and the record must hold exactly that.
#include "kit/ai/AIClient.h"
#include "kit/ai/ClaudeCodeTransport.h"
#include "kit/ai/CodexTransport.h"
#include "tests/support/AwaitTask.h"
#include "tests/support/QtPrinters.h"
#include "tests/support/ToolHome.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <gtest/gtest.h>

using namespace corvantis;
using corvantis::test::await;
using corvantis::test::ToolHome;

namespace {

GraphSchema shape() {
    PropertyDef title;
    title.id = QUuid::createUuid();
    title.name = "Title";
    NodeType book;
    book.id = QUuid::createUuid();
    book.name = "Book";
    book.properties = {title};
    book.titleProperty = title.id;
    PropertyDef name;
    name.id = QUuid::createUuid();
    name.name = "Name";
    NodeType person;
    person.id = QUuid::createUuid();
    person.name = "Person";
    person.properties = {name};
    RelType wrote;
    wrote.id = QUuid::createUuid();
    wrote.name = "wrote";
    wrote.endpoints = {{person.id, book.id}};
    GraphSchema schema;
    schema.nodeTypes = {book, person};
    schema.relTypes = {wrote};
    return schema;
}

const QString question = "Which books did Ann write?";
const QList<QueryFailure> failures{
    {"MATCH (p:Person)-[:WROTE]->(b:Book) RETURN x", "Binder exception: Variable x is not in scope."}};

QString compactSchema() {
    return QString::fromUtf8(QJsonDocument(AIClient::translationSchema()).toJson(QJsonDocument::Compact));
}

} // namespace

TEST(HandedOver, ClaudeCodeGetsTheQuestionShapeAndFailuresOnly) {
    ToolHome home;
    const GraphSchema schema = shape();
    auto transport = std::make_shared<ClaudeCodeTransport>();
    const AIModel model = AIModel::resolve("claude-sonnet-5-5");
    await(AIClient(transport).translate(question, schema, model));
    await(AIClient(transport, AIEffort::high).translate(question, schema, model, failures));

    const auto runs = home.runs();
    ASSERT_EQ(runs.size(), 2);
    const QStringList fixed = ClaudeCodeTransport::invocation(QJsonObject()).arguments;
    for (int i = 0; i < 2; ++i) {
        const QJsonObject& run = runs[i];
        EXPECT_EQ(run["problems"].toArray(), QJsonArray());
        const QStringList expected = fixed + QStringList{"--model",         "claude-sonnet-5-5",
                                                         "--effort",        i == 0 ? "low" : "high",
                                                         "--system-prompt", PromptBuilder::system(schema),
                                                         "--json-schema",   compactSchema()};
        EXPECT_EQ(run["arguments"].toVariant().toStringList(), expected);
        EXPECT_EQ(run["content"].toString(),
                  PromptBuilder::user(question, i == 0 ? QList<QueryFailure>() : failures));
    }
    // The shape is in the system text, the question in the message, and the repair carries the failure.
    EXPECT_TRUE(runs[0]["options"]["--system-prompt"].toString().contains(
        "- Person: id STRING (unique key), name STRING\n"));
    EXPECT_EQ(runs[0]["content"].toString(), question);
    const QString repair = runs[1]["content"].toString();
    EXPECT_TRUE(repair.contains(failures[0].cypher));
    EXPECT_TRUE(repair.contains(failures[0].error));
    EXPECT_TRUE(repair.startsWith("Question: " + question));
}

TEST(HandedOver, CodexGetsTheQuestionShapeAndFailuresOnly) {
    ToolHome home;
    const GraphSchema schema = shape();
    auto transport = std::make_shared<CodexTransport>();
    const AIModel model = AIModel::resolve("gpt-6-sol");
    await(AIClient(transport).translate(question, schema, model));
    await(AIClient(transport).translate(question, schema, model, failures));

    const auto runs = home.runs();
    ASSERT_EQ(runs.size(), 2);
    for (int i = 0; i < 2; ++i) {
        const QJsonObject& run = runs[i];
        EXPECT_EQ(run["problems"].toArray(), QJsonArray());
        const QString folder = run["folder"].toString();
        QStringList expected = CodexTransport::invocation(QJsonObject(), folder).arguments;
        expected += {"--model",
                     "gpt-6-sol",
                     "-c",
                     "model_reasoning_effort=\"low\"",
                     "-c",
                     "developer_instructions=" + CodexTransport::toml(PromptBuilder::system(schema)),
                     "--output-schema",
                     folder + "/schema.json"};
        EXPECT_EQ(run["arguments"].toVariant().toStringList(), expected);
        EXPECT_EQ(run["options"]["developer_instructions"].toString(), PromptBuilder::system(schema));
        EXPECT_EQ(run["input"].toString(),
                  PromptBuilder::user(question, i == 0 ? QList<QueryFailure>() : failures));
        const QJsonObject files = run["files"].toObject();
        EXPECT_EQ(files.keys(), QStringList{"schema.json"});
        EXPECT_EQ(QJsonDocument::fromJson(QByteArray::fromBase64(files["schema.json"].toString().toLatin1()))
                      .object(),
                  AIClient::translationSchema());
    }
    EXPECT_TRUE(runs[1]["input"].toString().contains(failures[0].error));
}
