#include "kit/mcp/MCPSession.h"

#include "kit/mcp/CorvantisMCP.h"
#include "tests/support/AwaitTask.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTimer>
#include <gtest/gtest.h>
#include <qcoro/qcorotimer.h>

using namespace corvantis;

namespace {

// A call that records what it was given and answers with the tool's name.
struct Recorder {
    QList<QString> names;
    QList<QJsonObject> arguments;
    QList<MCPClient> clients;
    MCPToolCall call() {
        return [this](QString name, QJsonObject args, MCPClient client) -> QCoro::Task<MCPToolResult> {
            names << name;
            arguments << args;
            clients << client;
            co_return MCPToolResult(QStringLiteral("ran ") + name, name == QLatin1String("run_cypher"));
        };
    }
};

std::optional<QByteArray> handle(MCPSession& session, const QByteArray& line, MCPToolCall call = {}) {
    if (!call)
        call = [](QString, QJsonObject, MCPClient) -> QCoro::Task<MCPToolResult> {
            co_return MCPToolResult();
        };
    return test::await(session.handle(line, call));
}

QJsonObject object(const std::optional<QByteArray>& line) {
    EXPECT_TRUE(line.has_value());
    return QJsonDocument::fromJson(line.value_or(QByteArray())).object();
}

MCPSession makeSession() {
    return MCPSession(CorvantisMCP::tools(), QStringLiteral("Read me."), QStringLiteral("1.2.3"));
}

} // namespace

TEST(MCPSession, IdsComeBackExactlyAsWritten) {
    MCPSession session = makeSession();
    EXPECT_EQ(*handle(session, R"({"jsonrpc":"2.0","id":1,"method":"ping"})"),
              R"({"id":1,"jsonrpc":"2.0","result":{}})");
    EXPECT_EQ(*handle(session, R"({"jsonrpc":"2.0","id": 1.50 ,"method":"ping"})"),
              R"({"id":1.50,"jsonrpc":"2.0","result":{}})");
    EXPECT_EQ(*handle(session, R"({"id":"a\/b \u00e9","method":"ping"})"),
              R"({"id":"a\/b \u00e9","jsonrpc":"2.0","result":{}})");
    EXPECT_EQ(*handle(session, R"({"id":12345678901234567890123,"method":"ping"})"),
              R"({"id":12345678901234567890123,"jsonrpc":"2.0","result":{}})");
    // An id of 0 is a request, and null is an id too.
    EXPECT_EQ(*handle(session, R"({"id":0,"method":"ping"})"), R"({"id":0,"jsonrpc":"2.0","result":{}})");
    EXPECT_EQ(*handle(session, R"({"id":null,"method":"ping"})"),
              R"({"id":null,"jsonrpc":"2.0","result":{}})");
    // A name written with escapes is the same member; the last of two counts, as the parser reads it.
    EXPECT_EQ(*handle(session, R"({"\u0069d":7,"method":"ping"})"),
              R"({"id":7,"jsonrpc":"2.0","result":{}})");
    EXPECT_EQ(*handle(session, R"({"id":"first","method":"ping","id":8})"),
              R"({"id":8,"jsonrpc":"2.0","result":{}})");
}

TEST(MCPSession, ParseErrorsNotificationsAndUnknownMethods) {
    MCPSession session = makeSession();
    const QByteArray parseError =
        R"({"error":{"code":-32700,"message":"Parse error"},"id":null,"jsonrpc":"2.0"})";
    EXPECT_EQ(*handle(session, "{not json"), parseError);
    EXPECT_EQ(*handle(session, R"([{"id":1,"method":"ping"}])"), parseError); // an array is not a message
    EXPECT_EQ(*handle(session, "42"), parseError);
    EXPECT_FALSE(handle(session, R"({"id":1})").has_value());            // no method
    EXPECT_FALSE(handle(session, R"({"id":1,"method":5})").has_value()); // a method that isn't text
    EXPECT_FALSE(handle(session, R"({"method":"notifications/initialized"})").has_value());
    EXPECT_FALSE(handle(session, R"({"method":"tools/list"})").has_value()); // any method without an id
    EXPECT_EQ(*handle(session, R"({"id":2,"method":"notifications/initialized"})"),
              R"({"error":{"code":-32601,"message":"Method not found: notifications/initialized"},"id":2,)"
              R"("jsonrpc":"2.0"})");
    EXPECT_EQ(*handle(session, R"({"id":3,"method":"resources/list"})"),
              R"({"id":3,"jsonrpc":"2.0","result":{"resources":[]}})");
    EXPECT_EQ(*handle(session, R"({"id":4,"method":"resources/templates/list"})"),
              R"({"id":4,"jsonrpc":"2.0","result":{"resourceTemplates":[]}})");
    EXPECT_EQ(*handle(session, R"({"id":5,"method":"prompts/list"})"),
              R"({"id":5,"jsonrpc":"2.0","result":{"prompts":[]}})");
}

TEST(MCPSession, InitializeEchoesTheVersionAndKeepsTheClient) {
    MCPSession session = makeSession();
    EXPECT_FALSE(session.client().has_value());
    QJsonObject reply = object(handle(session, R"({"id":1,"method":"initialize","params":{}})"));
    QJsonObject result = reply.value("result").toObject();
    EXPECT_EQ(result.value("protocolVersion").toString(), "2025-11-25");
    EXPECT_EQ(result.value("capabilities").toObject(), (QJsonObject{{"tools", QJsonObject()}}));
    EXPECT_EQ(result.value("serverInfo").toObject(),
              (QJsonObject{{"name", "corvantis"}, {"title", "Corvantis"}, {"version", "1.2.3"}}));
    EXPECT_EQ(result.value("instructions").toString(), "Read me.");
    EXPECT_EQ(session.client()->name, "An AI app");

    reply =
        object(handle(session, R"({"id":2,"method":"initialize","params":{"protocolVersion":"1999-01-01",)"
                               R"("clientInfo":{"name":"claude-ai","version":"0.9"}}})"));
    EXPECT_EQ(reply.value("result").toObject().value("protocolVersion").toString(), "1999-01-01");
    EXPECT_EQ(*session.client(), MCPClient("Claude Desktop", "0.9"));
}

TEST(MCPSession, ClientsAreNamedByWhatTheySay) {
    auto named = [](const QJsonObject& info) {
        return MCPClient(info).name;
    };
    EXPECT_EQ(named({{"name", "Claude-AI"}}), "Claude Desktop");
    EXPECT_EQ(named({{"title", "My Claude Desktop build"}}), "Claude Desktop");
    EXPECT_EQ(named({{"name", "claude-code"}, {"title", "Something"}}), "Claude Code");
    EXPECT_EQ(named({{"name", "x"}, {"title", "ChatGPT for Linux"}}), "ChatGPT");
    EXPECT_EQ(named({{"name", "codex-mcp-client"}}), "Codex");
    EXPECT_EQ(named({{"name", "zed"}, {"title", "Zed Editor"}}), "Zed Editor");
    EXPECT_EQ(named({{"name", "zed"}}), "zed");
    EXPECT_EQ(named({{"name", 5}}), "An AI app");
    EXPECT_EQ(MCPClient(std::nullopt).name, "An AI app");
    EXPECT_EQ(MCPClient(QJsonObject{{"name", "a"}, {"version", "2"}}).version, "2");
}

TEST(MCPSession, ToolsAreListedInOrderWithAnnotations) {
    MCPSession session = makeSession();
    const QJsonArray tools = object(handle(session, R"({"id":1,"method":"tools/list"})"))
                                 .value("result")
                                 .toObject()
                                 .value("tools")
                                 .toArray();
    QStringList names;
    for (const QJsonValue& tool : tools)
        names << tool.toObject().value("name").toString();
    EXPECT_EQ(names, (QStringList{"list_projects", "open_project", "create_project", "get_shape", "search",
                                  "run_cypher", "get_node", "propose_changes", "check_proposal",
                                  "design_shape", "show_nodes"}));
    const QJsonObject open = tools.at(1).toObject();
    EXPECT_EQ(open.value("annotations").toObject(), (QJsonObject{{"title", "Open a project"},
                                                                 {"readOnlyHint", false},
                                                                 {"destructiveHint", false},
                                                                 {"idempotentHint", false},
                                                                 {"openWorldHint", false}}));
    const QJsonObject shape = tools.at(3).toObject().value("annotations").toObject();
    EXPECT_TRUE(shape.value("readOnlyHint").toBool());
    EXPECT_TRUE(shape.value("idempotentHint").toBool());
    EXPECT_EQ(open.value("inputSchema").toObject().value("required").toArray(), QJsonArray{"project"});
}

TEST(MCPSession, ToolCallsReachTheCallWithTheirArgumentsAndClient) {
    MCPSession session = makeSession();
    Recorder recorder;
    // Before "initialize" the client is the unnamed one.
    QJsonObject reply = object(handle(
        session, R"({"id":"c1","method":"tools/call","params":{"name":"get_shape"}})", recorder.call()));
    EXPECT_EQ(reply.value("result").toObject(),
              (QJsonObject{{"content", QJsonArray{QJsonObject{{"type", "text"}, {"text", "ran get_shape"}}}},
                           {"isError", false}}));
    EXPECT_EQ(recorder.arguments.last(), QJsonObject());
    EXPECT_EQ(recorder.clients.last().name, "An AI app");

    handle(session,
           R"({"id":1,"method":"initialize","params":{"clientInfo":{"name":"claude-code","version":"2"}}})");
    reply = object(handle(session,
                          R"({"id":2,"method":"tools/call","params":{"name":"run_cypher",)"
                          R"("arguments":{"query":"MATCH (n) RETURN n"}}})",
                          recorder.call()));
    EXPECT_TRUE(reply.value("result").toObject().value("isError").toBool()); // a failing tool is a result
    EXPECT_EQ(recorder.arguments.last().value("query").toString(), "MATCH (n) RETURN n");
    EXPECT_EQ(recorder.clients.last(), MCPClient("Claude Code", "2"));
    // Arguments that aren't an object read as none.
    handle(session, R"({"id":3,"method":"tools/call","params":{"name":"get_shape","arguments":[1]}})",
           recorder.call());
    EXPECT_EQ(recorder.arguments.last(), QJsonObject());
}

TEST(MCPSession, UnknownToolsAreProtocolErrors) {
    MCPSession session = makeSession();
    Recorder recorder;
    EXPECT_EQ(
        *handle(session, R"({"id":1,"method":"tools/call","params":{"name":"drop_everything"}})",
                recorder.call()),
        R"({"error":{"code":-32602,"message":"Unknown tool: drop_everything"},"id":1,"jsonrpc":"2.0"})");
    EXPECT_EQ(*handle(session, R"({"id":2,"method":"tools/call","params":{}})", recorder.call()),
              R"({"error":{"code":-32602,"message":"Unknown tool: none"},"id":2,"jsonrpc":"2.0"})");
    EXPECT_EQ(*handle(session, R"({"id":3,"method":"tools/call","params":{"name":7}})", recorder.call()),
              R"({"error":{"code":-32602,"message":"Unknown tool: none"},"id":3,"jsonrpc":"2.0"})");
    EXPECT_TRUE(recorder.names.isEmpty());
}

TEST(MCPSession, SlashesStayAsTheyAreAndKeysSorted) {
    MCPToolResult result =
        MCPToolResult::json(QJsonObject{{"z", "a/b"}, {"a", 1}, {"m", QJsonArray{2.5, true}}});
    EXPECT_EQ(result.text, R"({"a":1,"m":[2.5,true],"z":"a/b"})");
    EXPECT_FALSE(result.isError);
    EXPECT_EQ(MCPSession::encode(QJsonObject{{"url", "https://x.org/a"}}), R"({"url":"https://x.org/a"})");
}

TEST(MCPSession, PingIsAnsweredWhileACallWaits) {
    MCPSession session = makeSession();
    bool release = false;
    MCPToolCall slow = [&](QString, QJsonObject, MCPClient) -> QCoro::Task<MCPToolResult> {
        while (!release) {
            QTimer timer;
            timer.setSingleShot(true);
            timer.start(5);
            co_await timer;
        }
        co_return MCPToolResult(QStringLiteral("slow done"));
    };
    std::optional<QByteArray> slowReply;
    bool slowDone = false;
    // The coroutines' lambdas are kept in variables: a frame refers to its lambda's captures.
    auto runSlow = [&]() -> QCoro::Task<> {
        slowReply = co_await session.handle(
            R"({"id":"long","method":"tools/call","params":{"name":"get_shape"}})", slow);
        slowDone = true;
    };
    auto running = runSlow();
    // The ping's task completes on its own while the call is still waiting.
    EXPECT_EQ(*handle(session, R"({"id":"p","method":"ping"})"), R"({"id":"p","jsonrpc":"2.0","result":{}})");
    EXPECT_FALSE(slowDone);
    release = true;
    auto finished = [&]() -> QCoro::Task<bool> {
        while (!slowDone) {
            QTimer timer;
            timer.setSingleShot(true);
            timer.start(5);
            co_await timer;
        }
        co_return true;
    };
    ASSERT_TRUE(test::await(finished()));
    EXPECT_TRUE(slowReply->contains("slow done"));
}
