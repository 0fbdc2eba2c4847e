#include "kit/ai/ClaudeCodeTransport.h"

#include "kit/ai/AIClient.h"
#include "kit/ai/AICommandError.h"
#include "kit/ai/AIError.h"
#include "kit/ai/CommandRun.h"
#include "kit/support/UserFacingError.h"
#include "tests/support/AwaitTask.h"
#include "tests/support/QtPrinters.h"
#include "tests/support/ToolHome.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <gtest/gtest.h>

using namespace corvantis;
using corvantis::test::await;
using corvantis::test::ToolHome;

namespace {

QJsonObject body(const QJsonValue& content = "Which books?") {
    return AIClient::structuredRequest("claude-opus-5-5", "You translate.", content,
                                       AIClient::translationSchema());
}

// The sentence of whatever a send fails with.
QString failureOf(ClaudeCodeTransport transport, const QJsonObject& request = body(), double timeout = 60) {
    try {
        await(transport.send(request, timeout, CancellationToken()));
    } catch (const UserFacingError& error) {
        return error.message();
    }
    return "no failure";
}

} // namespace

TEST(ClaudeCodeTransport, Invocation) {
    const auto call = ClaudeCodeTransport::invocation(body());
    EXPECT_EQ(
        call.arguments,
        (QStringList{
            "-p",
            "--input-format",
            "stream-json",
            "--output-format",
            "stream-json",
            "--verbose",
            "--include-partial-messages",
            "--thinking-display",
            "summarized",
            "--tools",
            "",
            "--strict-mcp-config",
            "--no-session-persistence",
            "--model",
            "claude-opus-5-5",
            "--effort",
            "low",
            "--system-prompt",
            "You translate.",
            "--json-schema",
            R"({"additionalProperties":false,"properties":{"cypher":{"type":"string"},"explanation":{"type":"string"}},"required":["cypher","explanation"],"type":"object"})"}));
    EXPECT_EQ(call.input, R"({"message":{"content":"Which books?","role":"user"},"type":"user"})"
                          "\n");

    // Values of the wrong type are left out; with no user message the content is empty.
    QJsonObject odd{
        {"model", 5},
        {"system", QJsonValue::Null},
        {"output_config", QJsonObject{{"effort", "max"}, {"format", QJsonObject{{"schema", "x"}}}}},
        {"messages", QJsonArray{QJsonObject{{"role", "assistant"}, {"content", "earlier"}}}},
        {"max_tokens", 100}};
    const auto bare = ClaudeCodeTransport::invocation(odd);
    EXPECT_EQ(bare.arguments.mid(13), (QStringList{"--effort", "max"}));
    EXPECT_EQ(bare.input, R"({"message":{"content":"","role":"user"},"type":"user"})"
                          "\n");

    // The last user message is taken as it stands, blocks and all.
    const QJsonArray blocks{QJsonObject{{"type", "text"}, {"text", "Look"}},
                            QJsonObject{{"type", "image"}, {"source", QJsonObject{{"data", "AAA="}}}}};
    QJsonObject turns = body();
    turns["messages"] = QJsonArray{QJsonObject{{"role", "user"}, {"content", "first"}},
                                   QJsonObject{{"role", "user"}, {"content", blocks}},
                                   QJsonObject{{"role", "assistant"}, {"content", "reply"}}};
    const QJsonObject line = QJsonDocument::fromJson(ClaudeCodeTransport::invocation(turns).input).object();
    EXPECT_EQ(line["message"]["content"].toArray(), blocks);
}

TEST(ClaudeCodeTransport, AnswersWithThinking) {
    ToolHome home;
    QStringList thinking;
    auto transport =
        std::make_shared<ClaudeCodeTransport>([&](const QString& text) { thinking.append(text); });
    const CypherTranslation translation = await(
        AIClient(transport).translate("Which books?", GraphSchema(), AIModel::resolve("claude-opus-5-5")));
    // structured_output beats the result text; malformed lines were skipped.
    EXPECT_EQ(translation.cypher, "MATCH (b:Book) RETURN b");
    EXPECT_EQ(translation.explanation, "All the books.");
    EXPECT_EQ(translation.modelID, "claude-opus-5-5");
    ASSERT_FALSE(thinking.isEmpty());
    EXPECT_EQ(thinking.last(), "Looking at the shape.\n\nBooks have titles.");
    const auto runs = home.runs();
    ASSERT_EQ(runs.size(), 1);
    EXPECT_EQ(runs[0]["problems"].toArray(), QJsonArray());
}

TEST(ClaudeCodeTransport, SubAgentThinkingAndThrottle) {
    ToolHome home;
    ToolHome::scenario("sub-agent");
    QStringList thinking;
    ClaudeCodeTransport transport([&](const QString& text) { thinking.append(text); });
    const QJsonObject response = await(transport.send(body(), 60, CancellationToken()));
    EXPECT_EQ(AIClient::parse(response, 0).cypher, "RETURN 1");
    ASSERT_FALSE(thinking.isEmpty());
    for (const QString& text : thinking)
        EXPECT_FALSE(text.contains("sub-agent"));
    EXPECT_EQ(thinking.last(), "main thoughts");

    // Two hundred deltas in a burst reach the view far fewer times, and the last call has everything.
    ToolHome::scenario("many-deltas");
    thinking.clear();
    await(transport.send(body(), 60, CancellationToken()));
    ASSERT_FALSE(thinking.isEmpty());
    EXPECT_LT(thinking.size(), 100);
    EXPECT_TRUE(thinking.last().startsWith("step 0. \n\nstep 1. "));
    EXPECT_TRUE(thinking.last().endsWith("step 199. "));
}

TEST(ClaudeCodeTransport, Failures) {
    ToolHome home;
    ToolHome::scenario("error-list");
    EXPECT_EQ(failureOf(ClaudeCodeTransport()), "a\nb");
    ToolHome::scenario("error-empty");
    EXPECT_EQ(failureOf(ClaudeCodeTransport()), "Claude Code stopped.");
    ToolHome::scenario("exit1");
    EXPECT_EQ(failureOf(ClaudeCodeTransport()), "Claude Code stopped (exit 1).");
    ToolHome::scenario("signed-out"); // the real tool's recorded stream
    EXPECT_EQ(failureOf(ClaudeCodeTransport()), "Claude Code isn't signed in.");
    ToolHome::scenario("outdated");
    EXPECT_EQ(failureOf(ClaudeCodeTransport()), "This model needs a newer Claude Code (2.1.0 or later; this "
                                                "computer has 2.0.14). Update Claude Code, "
                                                "then try again.");
    ToolHome::scenario("refusal");
    auto transport = std::make_shared<ClaudeCodeTransport>();
    try {
        await(AIClient(transport).translate("q", GraphSchema(), AIModel::resolve("claude-haiku-5-5")));
        ADD_FAILURE() << "a refusal must fail";
    } catch (const AIError& error) {
        EXPECT_EQ(error.message(), "The model declined to answer.");
    }

    ToolHome empty(false);
    EXPECT_EQ(failureOf(ClaudeCodeTransport()), "Claude Code isn't installed.");
    // A program that can't be started at all.
    empty.link("claude", "/nonexistent/claude");
    EXPECT_EQ(failureOf(ClaudeCodeTransport()), "Claude Code isn't installed.");
    // An executable file that can't be started.
    const QString broken = empty.path() + "/broken";
    QFile script(broken);
    ASSERT_TRUE(script.open(QIODevice::WriteOnly));
    script.write("#!/nonexistent/interpreter\n");
    script.close();
    script.setPermissions(script.permissions() | QFileDevice::ExeOwner);
    QFile::remove(empty.path() + "/.local/bin/claude");
    empty.link("claude", broken);
    EXPECT_TRUE(failureOf(ClaudeCodeTransport()).startsWith("Couldn't start Claude Code: "));
}

TEST(ClaudeCodeTransport, OutdatedWording) {
    const auto both =
        AICommandError::outdatedIn("Claude Code v2.0.14 does not support this model; needs version 2.1");
    ASSERT_TRUE(both);
    EXPECT_EQ(both->installed(), QString("2.0.14"));
    EXPECT_EQ(both->required(), QString("2.1"));
    const auto neither = AICommandError::outdatedIn("Please RUN 'CLAUDE UPDATE' first");
    ASSERT_TRUE(neither);
    EXPECT_EQ(neither->message(),
              "This model needs a newer Claude Code. Update Claude Code, then try again.");
    const auto installedOnly = AICommandError::outdatedIn("claude code 1.2.3 does not support this model");
    EXPECT_EQ(installedOnly->message(),
              "This model needs a newer Claude Code. Update Claude Code, then try again.");
    EXPECT_FALSE(AICommandError::outdatedIn("Claude Code 2.0 failed"));
}

TEST(CommandRun, TimeLimitCancellationAndStandardError) {
    ToolHome home;
    ToolHome::scenario("slow");
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(failureOf(ClaudeCodeTransport(), body(), 1),
              "The answer took too long. Try again, or a lower effort.");
    EXPECT_LT(clock.elapsed(), 20000);

    // Cancelling ends the process, and the caller sees a cancellation, not a failure of the tool.
    // The run is cancelled once the tool has begun to think.
    CancellationToken token;
    ClaudeCodeTransport cancelled([token](const QString&) { token.cancel(); });
    clock.restart();
    EXPECT_THROW(await(cancelled.send(body(), 60, token)), Cancelled);
    EXPECT_LT(clock.elapsed(), 20000);

    // 9,000 bytes of standard error keep their end and stay small.
    ToolHome::scenario("stderr9000");
    const auto call = ClaudeCodeTransport::invocation(body());
    auto run = CommandRun::make(*ClaudeCodeTransport::locate(), call.arguments, call.input, "Claude Code");
    const auto outcome =
        await(run->guarded<CommandRun::Outcome>(60, [&] { return run->start([](const QByteArray&) {}); }));
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_LE(outcome.standardError.size(), 4000 + 1000);
    EXPECT_TRUE(outcome.standardError.endsWith("y\nLAST LINE\n"));
    EXPECT_FALSE(outcome.standardError.startsWith(QString(999, 'x')));
    ToolHome::scenario("stderr9000");
    EXPECT_EQ(failureOf(ClaudeCodeTransport()), "LAST LINE");
}
