#include "kit/ai/CodexTransport.h"

#include "kit/ai/AIClient.h"
#include "kit/ai/AICommandError.h"
#include "kit/support/UserFacingError.h"
#include "tests/support/AwaitTask.h"
#include "tests/support/QtPrinters.h"
#include "tests/support/ToolHome.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace corvantis;
using corvantis::test::await;
using corvantis::test::ToolHome;

namespace {

QJsonObject body(const QJsonValue& content = "Which books?", const QString& system = "You translate.") {
    return AIClient::structuredRequest("gpt-6-sol", system, content, AIClient::translationSchema());
}

QString failureOf(const QJsonObject& request = body(), double timeout = 60) {
    try {
        await(CodexTransport().send(request, timeout, CancellationToken()));
    } catch (const UserFacingError& error) {
        return error.message();
    }
    return "no failure";
}

// The run folders of this home's runs that are still there. (Other tests may run Codex at the same
// time, so the temporary folder as a whole says nothing.)
QStringList leftovers(const ToolHome& home) {
    QStringList left;
    for (const QJsonObject& run : home.runs()) {
        const QString folder = run["folder"].toString();
        if (!folder.isEmpty() && QFileInfo::exists(folder))
            left.append(folder);
    }
    return left;
}

} // namespace

TEST(CodexTransport, InvocationWritesSchemaAndPictures) {
    QTemporaryDir folder;
    const QString system = "Say \"hi\"\nthen \\ stop";
    const QJsonArray blocks{
        QJsonObject{{"type", "text"}, {"text", "Look at"}},
        QJsonObject{{"type", "image"},
                    {"source", QJsonObject{{"type", "base64"},
                                           {"media_type", "image/jpeg"},
                                           {"data", QString(QByteArray("JPEG!").toBase64())}}}},
        QJsonObject{{"type", "text"}, {"text", "these"}},
        QJsonObject{{"type", "image"},
                    {"source", QJsonObject{{"media_type", "image/png"},
                                           {"data", QString(QByteArray("PNG!").toBase64())}}}}};
    QJsonObject request = body(blocks, system);
    QJsonObject config = request["output_config"].toObject();
    config["effort"] = "high";
    request["output_config"] = config;
    const auto call = CodexTransport::invocation(request, folder.path());
    const QStringList tail = call.arguments.mid(28);
    EXPECT_EQ(call.arguments.mid(0, 10),
              (QStringList{"exec", "--json", "--ephemeral", "--skip-git-repo-check", "--ignore-user-config",
                           "--ignore-rules", "--sandbox", "read-only", "--cd", folder.path()}));
    EXPECT_EQ(call.arguments[27], "features.multi_agent=false");
    EXPECT_EQ(tail,
              (QStringList{"--model", "gpt-6-sol", "-c", "model_reasoning_effort=\"high\"", "-c",
                           "developer_instructions=\"Say \\\"hi\\\"\\nthen \\\\ stop\"", "--output-schema",
                           folder.filePath("schema.json"), "--image",
                           folder.filePath("picture-1.jpeg") + "," + folder.filePath("picture-2.png")}));
    EXPECT_EQ(call.input, "Look at\n\nthese");
    QFile picture(folder.filePath("picture-2.png"));
    ASSERT_TRUE(picture.open(QIODevice::ReadOnly));
    EXPECT_EQ(picture.readAll(), "PNG!");
    QFile schema(folder.filePath("schema.json"));
    ASSERT_TRUE(schema.open(QIODevice::ReadOnly));
    EXPECT_EQ(QJsonDocument::fromJson(schema.readAll()).object(), AIClient::translationSchema());

    EXPECT_EQ(CodexTransport::toml("plain"), "\"plain\"");
    EXPECT_EQ(CodexTransport::toml("tab\there"), "\"tab\\there\"");
}

TEST(CodexTransport, AnswersAndCleansUp) {
    ToolHome home;
    QStringList thinking;
    auto transport = std::make_shared<CodexTransport>([&](const QString& text) { thinking.append(text); });
    const auto translation =
        await(AIClient(transport).translate("Which books?", GraphSchema(), AIModel::resolve("gpt-6-sol")));
    EXPECT_EQ(translation.cypher, "MATCH (b:Book) RETURN b");
    EXPECT_EQ(translation.modelID, "gpt-6-sol");
    ASSERT_FALSE(thinking.isEmpty());
    EXPECT_EQ(thinking.last(), "**Reading the shape**\n\nBooks have titles.");
    const auto runs = home.runs();
    ASSERT_EQ(runs.size(), 1);
    EXPECT_EQ(runs[0]["problems"].toArray(), QJsonArray());
    EXPECT_EQ(runs[0]["files"].toObject().keys(), QStringList{"schema.json"});
    EXPECT_FALSE(QDir(runs[0]["folder"].toString()).exists());

    // An answer counts even with a non-zero exit.
    ToolHome::scenario("agent-nonzero");
    EXPECT_EQ(AIClient::parse(await(CodexTransport().send(body(), 60, CancellationToken())), 0).cypher,
              "RETURN 1");

    ToolHome::scenario("turn-failed-empty");
    EXPECT_EQ(failureOf(), "Codex stopped.");
    ToolHome::scenario("unavailable");
    EXPECT_EQ(failureOf(),
              "GPT-6 Sol isn't available with your ChatGPT plan in Codex. Pick another model in Settings.");
    ToolHome::scenario("signed-out");
    EXPECT_EQ(failureOf(), "Codex isn't signed in.");
    ToolHome::scenario("outdated"); // the real tool's words for an argument it doesn't know
    EXPECT_EQ(failureOf(), "This model needs a newer Codex. Update Codex, then try again.");
    ToolHome::scenario("slow");
    EXPECT_EQ(failureOf(body(), 1), "The answer took too long. Try again, or a lower effort.");

    // The folders are gone after failures too, pictures and all.
    const QJsonArray blocks{QJsonObject{
        {"type", "image"}, {"source", QJsonObject{{"media_type", "image/gif"}, {"data", "R0lG"}}}}};
    ToolHome::scenario("signed-out");
    EXPECT_EQ(failureOf(body(blocks)), "Codex isn't signed in.");
    EXPECT_EQ(home.runs().last()["files"].toObject().keys(), (QStringList{"picture-1.gif", "schema.json"}));
    EXPECT_GE(home.runs().size(), 8);
    EXPECT_EQ(leftovers(home), QStringList());

    ToolHome empty(false);
    EXPECT_EQ(failureOf(), "Codex isn't installed.");
}

TEST(CodexTransport, RunFolderIsTheUsersAlone) {
    ToolHome home;
    // Under the usual mask a new folder is readable by everyone; the run's folder must not be.
    struct Mask {
        mode_t old = umask(022);
        ~Mask() { umask(old); }
    } mask;
    const QJsonArray blocks{QJsonObject{
        {"type", "image"}, {"source", QJsonObject{{"media_type", "image/png"}, {"data", "UE5H"}}}}};
    await(CodexTransport().send(body(blocks), 60, CancellationToken()));
    const auto runs = home.runs();
    ASSERT_EQ(runs.size(), 1);
    EXPECT_EQ(runs[0]["folderMode"].toString(), "700");
    EXPECT_EQ(runs[0]["files"].toObject().keys(), (QStringList{"picture-1.png", "schema.json"}));
}

TEST(CodexTransport, FailuresAreReadFromTheLastLine) {
    ToolHome home;
    // Earlier log lines that mention signing in and upgrading don't decide an unrelated failure.
    ToolHome::scenario("failure-after-warnings");
    EXPECT_EQ(failureOf(), "Error: stream disconnected before completion: connection reset by peer");
    // The whole of standard error stays with the error.
    try {
        await(CodexTransport().send(body(), 60, CancellationToken()));
        ADD_FAILURE() << "no failure";
    } catch (const AICommandError& error) {
        EXPECT_EQ(error.kind(), AICommandError::Kind::failed);
        ASSERT_TRUE(error.detail());
        EXPECT_TRUE(error.detail()->startsWith("2026-11-23T10:00:00Z WARN codex_core::auth:"));
        EXPECT_TRUE(error.detail()->endsWith("connection reset by peer"));
    }
    // The last line still tells a sign-out however much came before it.
    ToolHome::scenario("signed-out-after-noise");
    EXPECT_EQ(failureOf(), "Codex isn't signed in.");
}

TEST(CodexTransport, UpdateCommands) {
    EXPECT_EQ(CodexTransport::updateCommand(std::nullopt), AIProvider(AIProvider::chatGPT).installCommand());
    EXPECT_EQ(CodexTransport::updateCommand("/opt/homebrew/Caskroom/codex/1/codex"),
              "brew upgrade --cask codex");
    EXPECT_EQ(CodexTransport::updateCommand("/opt/homebrew/Cellar/codex/1/bin/codex"), "brew upgrade codex");
    EXPECT_EQ(CodexTransport::updateCommand("/usr/lib/node_modules/@openai/codex/bin/codex.js"),
              "npm install -g @openai/codex@latest");
    EXPECT_EQ(CodexTransport::updateCommand("/home/a/.bun/bin/codex"), "bun install -g @openai/codex@latest");
    EXPECT_EQ(CodexTransport::updateCommand("/Applications/ChatGPT.app/Contents/Resources/codex"),
              "echo 'This Codex comes with the ChatGPT app: update the app to update it.'");
    EXPECT_EQ(CodexTransport::updateCommand("/opt/codex/codex"), "'/opt/codex/codex' update");

    // A link is followed to where the tool really lives.
    QTemporaryDir dir;
    QDir().mkpath(dir.filePath("node_modules/.bin"));
    QFile real(dir.filePath("node_modules/codex.js"));
    ASSERT_TRUE(real.open(QIODevice::WriteOnly));
    real.close();
    QFile::link(dir.filePath("node_modules/codex.js"), dir.filePath("codex"));
    EXPECT_EQ(CodexTransport::updateCommand(dir.filePath("codex")), "npm install -g @openai/codex@latest");
}
