#include "tests/app/mcp/MCPTestSupport.h"

#include <QFile>
#include <QJsonArray>
#include <QProcess>
#include <QStandardPaths>

using namespace corvantis;
using namespace corvantis::test;

namespace {

const QString relay = QStringLiteral(CORVANTIS_BIN_DIR "/corvantis-mcp");

QList<QJsonObject> lines(const QByteArray& output) {
    QList<QJsonObject> out;
    for (const QByteArray& line : output.split('\n'))
        if (!line.isEmpty())
            out << QJsonDocument::fromJson(line).object();
    return out;
}

} // namespace

TEST(MCPRelay, RelaysLinesBothWaysToTheRunningProgram) {
    World world;
    QProcess helper;
    helper.start(relay, {});
    ASSERT_TRUE(helper.waitForStarted());
    helper.write(
        R"({"jsonrpc":"2.0","id":1,"method":"initialize","params":{"clientInfo":{"name":"claude-code"}}})"
        "\n"
        R"({"jsonrpc":"2.0","method":"notifications/initialized"})"
        "\n"
        R"({"jsonrpc":"2.0","id":"two","method":"tools/call","params":{"name":"search","arguments":{"query":"london"}}})"
        "\n");
    QByteArray output;
    ASSERT_TRUE(waitUntil(
        [&] {
            output += helper.readAllStandardOutput();
            return output.count('\n') >= 2;
        },
        60000));
    const QList<QJsonObject> answers = lines(output);
    ASSERT_EQ(answers.size(), 2);
    QHash<QString, QJsonObject> byId;
    for (const QJsonObject& answer : answers)
        byId.insert(idKey(answer.value("id")), answer);
    EXPECT_EQ(byId.value(idKey(1)).value("result").toObject().value("serverInfo").toObject().value("name"),
              "corvantis");
    EXPECT_TRUE(byId.value(idKey("two"))
                    .value("result")
                    .toObject()
                    .value("content")
                    .toArray()
                    .first()
                    .toObject()
                    .value("text")
                    .toString()
                    .contains("London"));
    EXPECT_TRUE(waitUntil([&] { return world.app->mcpService().connected() == QStringList{"Claude Code"}; }));

    helper.closeWriteChannel();
    EXPECT_TRUE(waitUntil([&] { return helper.state() == QProcess::NotRunning; }, 30000));
    EXPECT_EQ(helper.exitCode(), 0);
    EXPECT_TRUE(waitUntil([&] { return world.app->mcpService().connected().isEmpty(); }));
}

TEST(MCPRelay, AnswersEveryRequestWithAnErrorWhenCorvantisCantBeStarted) {
    OwnPorts ports; // nothing listens there
    QTemporaryDir dir;
    const QString marker = dir.filePath("started");
    const QString launcher = dir.filePath("corvantis");
    {
        QFile script(launcher);
        ASSERT_TRUE(script.open(QIODevice::WriteOnly));
        script.write(QStringLiteral("#!/bin/sh\ntouch '%1'\n").arg(marker).toUtf8());
    }
    QFile::setPermissions(launcher, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);

    QProcess helper;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("CORVANTIS_MCP_LAUNCH", launcher);
    environment.insert("CORVANTIS_MCP_WAIT_MS", "300");
    helper.setProcessEnvironment(environment);
    helper.start(relay, {});
    ASSERT_TRUE(helper.waitForStarted());
    helper.write("{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"initialize\"}\n"
                 "{\"jsonrpc\":\"2.0\",\"method\":\"notifications/initialized\"}\n"
                 "{\"jsonrpc\":\"2.0\",\"id\":\"x/y\",\"method\":\"tools/list\"}");
    helper.closeWriteChannel(); // the last line has no line feed: the end of input ends it
    ASSERT_TRUE(waitUntil([&] { return helper.state() == QProcess::NotRunning; }, 60000));
    EXPECT_EQ(helper.exitCode(), 0);
    EXPECT_TRUE(QFileInfo::exists(marker)) << "the relay didn't try to start Corvantis";
    const QByteArray output = helper.readAllStandardOutput();
    EXPECT_EQ(
        output,
        "{\"error\":{\"code\":-32000,\"message\":\"Corvantis isn't running, and it couldn't be started.\"},"
        "\"id\":1,\"jsonrpc\":\"2.0\"}\n"
        "{\"error\":{\"code\":-32000,\"message\":\"Corvantis isn't running, and it couldn't be started.\"},"
        "\"id\":\"x/y\",\"jsonrpc\":\"2.0\"}\n");
}

TEST(MCPRelay, KeepsToTheProgramThatAnswersTheWelcome) {
    World world;
    // Something else holds the first port and answers with the wrong words.
    world.app->mcpService().stop();
    QTcpServer impostor;
    ASSERT_TRUE(impostor.listen(QHostAddress::LocalHost, world.ports.base()));
    QObject::connect(&impostor, &QTcpServer::newConnection, [&] {
        QTcpSocket* socket = impostor.nextPendingConnection();
        QObject::connect(socket, &QTcpSocket::readyRead, socket,
                         [socket] { socket->write("{\"hello\":\"no\"}\n"); });
    });
    world.app->mcpService().start();
    ASSERT_EQ(world.app->mcpService().port(), world.ports.base() + 1);

    QProcess helper;
    helper.start(relay, {});
    ASSERT_TRUE(helper.waitForStarted());
    helper.write("{\"jsonrpc\":\"2.0\",\"id\":5,\"method\":\"ping\"}\n");
    QByteArray output;
    ASSERT_TRUE(waitUntil(
        [&] {
            output += helper.readAllStandardOutput();
            return output.contains('\n');
        },
        60000));
    EXPECT_EQ(output, "{\"id\":5,\"jsonrpc\":\"2.0\",\"result\":{}}\n");
    helper.closeWriteChannel();
    EXPECT_TRUE(waitUntil([&] { return helper.state() == QProcess::NotRunning; }, 30000));
}

// The official MCP TypeScript SDK client drives the relay (tests/mcp-client, installed by `make test`).
TEST(MCPRelay, TheOfficialClientReadsTheProjectThroughTheRelay) {
    const QString node = QStandardPaths::findExecutable("node");
    if (node.isEmpty())
        GTEST_SKIP() << "Node.js isn't installed, so the MCP SDK client test is skipped.";
    const QString folder = QStringLiteral(CORVANTIS_SOURCE_DIR "/tests/mcp-client");
    if (!QFileInfo::exists(folder + "/node_modules/@modelcontextprotocol/sdk/package.json"))
        GTEST_SKIP() << "The MCP SDK isn't installed in tests/mcp-client; `make test` installs it (npm ci).";
    World world;
    QProcess client;
    client.setWorkingDirectory(folder);
    client.start(node, {folder + "/client.mjs", relay});
    ASSERT_TRUE(client.waitForStarted());
    ASSERT_TRUE(waitUntil([&] { return client.state() == QProcess::NotRunning; }, 120000));
    const QByteArray errors = client.readAllStandardError();
    ASSERT_EQ(client.exitCode(), 0) << errors.toStdString();
    const QJsonObject seen = QJsonDocument::fromJson(client.readAllStandardOutput().trimmed()).object();
    EXPECT_EQ(seen.value("tools").toInt(), 11);
    EXPECT_EQ(seen.value("searched").toString(), world.charles);
    // The refused write left the graph as it was.
    EXPECT_EQ(world.storedCount("MATCH (p:Person) RETURN p.id"), 2);
    EXPECT_EQ(world.session().nodes().size(), 3);
}
