#include "app/mcp/MCPService.h"

#include "tests/app/mcp/MCPTestSupport.h"
#include "tests/support/AwaitTask.h"

#include <QNetworkInterface>
#include <QSignalSpy>
#include <QTimer>
#include <qcoro/qcorotimer.h>

using namespace corvantis;
using namespace corvantis::test;

namespace {

// A service whose every tool call waits until `release` is set, answering with the call's query.
struct SlowService {
    bool release = false;
    MCPService service{[this](QString, QJsonObject arguments, MCPClient) -> QCoro::Task<MCPToolResult> {
                           while (!release) {
                               QTimer timer;
                               timer.setSingleShot(true);
                               timer.start(5);
                               co_await timer;
                           }
                           co_return MCPToolResult(arguments.value("query").toString());
                       },
                       "9.9"};
};

} // namespace

TEST(MCPService, GreetsOnlyTheExactHelloAndListensOnLoopback) {
    OwnPorts ports;
    SlowService slow;
    slow.service.start();
    ASSERT_EQ(slow.service.port(), ports.base());
    EXPECT_FALSE(slow.service.problem().has_value());

    LineClient greeted(ports.base());
    greeted.sendRaw("\n"); // an empty line after the greeting is ignored
    EXPECT_EQ(greeted.call("ping"), QJsonObject());

    LineClient stranger(ports.base(), false);
    stranger.sendRaw("{\"corvantis-bridge\":1}\r\n");
    EXPECT_TRUE(stranger.closedByPeer());
    EXPECT_EQ(stranger.takeLine(), QByteArray()); // closed without a word

    LineClient rude(ports.base(), false);
    rude.sendRaw("{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"ping\"}\n");
    EXPECT_TRUE(rude.closedByPeer());
    EXPECT_EQ(rude.takeLine(), QByteArray());

    // The port is held on 127.0.0.1 only: another address of this machine may still take it.
    for (const QHostAddress& address : QNetworkInterface::allAddresses()) {
        if (address.isLoopback() || address.protocol() != QAbstractSocket::IPv4Protocol)
            continue;
        QTcpServer other;
        EXPECT_TRUE(other.listen(address, ports.base())) << address.toString().toStdString();
        break;
    }
}

TEST(MCPService, TakesTheNextPortAndSaysWhenAllAreTaken) {
    OwnPorts ports;
    QTcpServer squatter;
    ASSERT_TRUE(squatter.listen(QHostAddress::LocalHost, ports.base()));
    SlowService first;
    first.service.start();
    EXPECT_EQ(first.service.port(), ports.base() + 1);

    QList<std::shared_ptr<QTcpServer>> rest;
    for (int i = 2; i < MCPBridge::portCount; ++i) {
        rest << std::make_shared<QTcpServer>();
        ASSERT_TRUE(rest.last()->listen(QHostAddress::LocalHost, quint16(ports.base() + i)));
    }
    SlowService second;
    QSignalSpy problems(&second.service, &MCPService::problemChanged);
    second.service.start();
    EXPECT_FALSE(second.service.port().has_value());
    EXPECT_EQ(second.service.problem(),
              QStringLiteral("Every port Corvantis listens on for other AI apps (%1–%2) is taken.")
                  .arg(ports.base())
                  .arg(ports.base() + 9));
    EXPECT_EQ(problems.count(), 1);

    first.service.stop();
    EXPECT_FALSE(first.service.port().has_value());
}

TEST(MCPService, PingIsAnsweredWhileAToolCallWaitsAndAnswersComeByTheirIds) {
    OwnPorts ports;
    SlowService slow;
    slow.service.start();
    LineClient client(ports.base());
    client.send(QJsonObject{
        {"jsonrpc", "2.0"},
        {"id", "slow"},
        {"method", "tools/call"},
        {"params", QJsonObject{{"name", "get_shape"}, {"arguments", QJsonObject{{"query", "late"}}}}}});
    client.send(QJsonObject{{"jsonrpc", "2.0"}, {"id", 7}, {"method", "ping"}});
    QHash<QString, QJsonObject> first = client.answers(1);
    ASSERT_EQ(first.size(), 1);
    EXPECT_TRUE(first.contains(idKey(7))) << "ping waited for the tool call";
    slow.release = true;
    QHash<QString, QJsonObject> second = client.answers(1);
    ASSERT_TRUE(second.contains(idKey("slow")));
    EXPECT_EQ(second.value(idKey("slow"))
                  .value("result")
                  .toObject()
                  .value("content")
                  .toArray()
                  .first()
                  .toObject()
                  .value("text"),
              "late");
}

TEST(MCPService, ListsConnectedAppsInOrderAndForgetsThemWhenTheyGo) {
    OwnPorts ports;
    SlowService slow;
    slow.service.start();
    auto code = std::make_unique<LineClient>(ports.base());
    code->call("initialize", QJsonObject{{"clientInfo", QJsonObject{{"name", "claude-code"}}}});
    LineClient desktop(ports.base());
    desktop.call("initialize", QJsonObject{{"clientInfo", QJsonObject{{"name", "claude-ai"}}}});
    LineClient again(ports.base());
    again.call("initialize", QJsonObject{{"clientInfo", QJsonObject{{"name", "claude-code"}}}});
    EXPECT_TRUE(waitUntil([&] { return slow.service.connected().size() == 2; }));
    EXPECT_EQ(slow.service.connected(), (QStringList{"Claude Code", "Claude Desktop"}));
    code.reset();
    again.socket().disconnectFromHost();
    EXPECT_TRUE(waitUntil([&] { return slow.service.connected() == QStringList{"Claude Desktop"}; }));
}

TEST(MCPService, ALineOverTheCapClosesTheConnection) {
    OwnPorts ports;
    SlowService slow;
    slow.service.start();
    LineClient client(ports.base());
    const QByteArray block(1024 * 1024, 'x');
    for (int i = 0; i < 33; ++i)
        client.sendRaw(block);
    EXPECT_TRUE(client.closedByPeer());

    // A long line under the cap is read whole.
    LineClient patient(ports.base());
    const QByteArray query(3 * 1024 * 1024, 'q');
    patient.send(QJsonObject{{"jsonrpc", "2.0"},
                             {"id", 1},
                             {"method", "tools/call"},
                             {"params", QJsonObject{{"name", "get_shape"},
                                                    {"arguments", QJsonObject{{"query", QString(query)}}}}}});
    slow.release = true;
    const QHash<QString, QJsonObject> answers = patient.answers(1);
    ASSERT_TRUE(answers.contains(idKey(1)));
    EXPECT_EQ(answers.value(idKey(1))
                  .value("result")
                  .toObject()
                  .value("content")
                  .toArray()
                  .first()
                  .toObject()
                  .value("text")
                  .toString()
                  .size(),
              query.size());
}

TEST(MCPService, TheProgramListensOnlyWhileTheConnectorIsAllowed) {
    World world(false);
    EXPECT_FALSE(world.app->mcpService().port().has_value());
    world.app->setAllowsMCP(true);
    EXPECT_EQ(world.app->mcpService().port(), world.ports.base());
    EXPECT_EQ(QSettings(world.ini(), QSettings::IniFormat).value("mcp.enabled").toBool(), true);
    {
        LineClient client(world.ports.base());
        EXPECT_EQ(client.call("ping"), QJsonObject());
    }
    world.app->setAllowsMCP(false);
    EXPECT_FALSE(world.app->mcpService().port().has_value());
    QTcpSocket refused;
    refused.connectToHost(MCPBridge::host(), world.ports.base());
    EXPECT_FALSE(refused.waitForConnected(5000));
}
