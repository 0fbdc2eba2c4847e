#pragma once

// What the connector's tests share: a program with a project of people and cities, ports of the test's
// own, and a client that speaks to the service over a real socket on 127.0.0.1.
#include "app/app/AppModel.h"
#include "app/graph/ProjectSession.h"
#include "app/mcp/MCPService.h"
#include "kit/mcp/MCPBridge.h"
#include "kit/support/Json.h"
#include "tests/support/ShapeBuilders.h"
#include "tests/support/TestSupport.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <memory>

namespace corvantis::test {

// Points the service and the relay at ten free ports of this test's own (away from 47820 and from
// other test programs running at the same time) for as long as it lives.
class OwnPorts {
public:
    OwnPorts() {
        for (int attempt = 0; attempt < 50 && m_base == 0; ++attempt) {
            QTcpServer probe;
            if (!probe.listen(QHostAddress::LocalHost, 0))
                continue;
            const quint16 port = probe.serverPort();
            probe.close();
            if (port > 1024 && port + MCPBridge::portCount - 1 <= 65535 && allFree(port))
                m_base = port;
        }
        EXPECT_NE(m_base, 0) << "no ten free ports in a row";
        qputenv("CORVANTIS_MCP_PORT", QByteArray::number(m_base));
    }
    ~OwnPorts() { qunsetenv("CORVANTIS_MCP_PORT"); }
    quint16 base() const { return m_base; }

private:
    static bool allFree(quint16 base) {
        for (int i = 0; i < MCPBridge::portCount; ++i) {
            QTcpServer probe;
            if (!probe.listen(QHostAddress::LocalHost, quint16(base + i)))
                return false;
        }
        return true;
    }
    quint16 m_base = 0;
};

// A program with one open project: Person (Name, Age: number), City (Name); "lives in" Person → City.
// Ada Lovelace and Charles Babbage live in London.
struct World {
    OwnPorts ports;
    QTemporaryDir dir;
    std::unique_ptr<AppModel> app;
    Project project;
    QString ada, charles, london, adaLives;

    explicit World(bool mcpEnabled = true) {
        QSettings(ini(), QSettings::IniFormat).setValue("mcp.enabled", mcpEnabled);
        ProjectLibrary library(root());
        project = library.create("Friends");
        GraphSchema shape;
        shape.nodeTypes = {nodeType("Person", {property("Name"), property("Age", PropertyKind::Number)}),
                           nodeType("City", {property("Name")}, "mint")};
        shape.relTypes = {
            relType("lives in", {{shape.nodeTypes[0].id, shape.nodeTypes[1].id}}, {property("Since")})};
        project.schema = shape;
        library.save(project);
        library.create("Empty one");
        app = std::make_unique<AppModel>(std::make_unique<Settings>(ini()), root());
        app->open(project);
        ProjectSession& s = session();
        const NodeType person = s.project().schema.nodeTypes[0];
        const NodeType city = s.project().schema.nodeTypes[1];
        ada = s.createNode(person, "Ada Lovelace", PropertyMap{{"age", GraphValue::number(36)}}).value_or("");
        charles = s.createNode(person, "Charles Babbage").value_or("");
        london = s.createNode(city, "London").value_or("");
        adaLives = json::uuidText(QUuid::createUuid());
        EXPECT_TRUE(s.insert(RelRecord{adaLives, "LIVES_IN", ada, london,
                                       PropertyMap{{"since", GraphValue::string("1835")}}}));
        EXPECT_TRUE(
            s.insert(RelRecord{json::uuidText(QUuid::createUuid()), "LIVES_IN", charles, london, {}}));
    }

    QString ini() const { return dir.filePath("settings.ini"); }
    QString root() const { return dir.filePath("Corvantis/Projects"); }
    ProjectSession& session() const { return *app->session(); }
    int storedCount(const QString& cypher) const {
        return session().store()->runReadOnly(cypher, 100000).totalRows;
    }
};

// A client of the service over a real socket: greets it, sends lines, and collects the answers by id.
class LineClient {
public:
    explicit LineClient(quint16 port, bool greet = true) {
        m_socket.connectToHost(MCPBridge::host(), port);
        EXPECT_TRUE(waitUntil([&] { return m_socket.state() == QAbstractSocket::ConnectedState; }, 30000));
        QObject::connect(&m_socket, &QTcpSocket::readyRead, [this] { m_received += m_socket.readAll(); });
        if (greet) {
            sendRaw(MCPBridge::hello() + '\n');
            EXPECT_TRUE(waitUntil([&] { return m_received.contains('\n'); }, 30000));
            EXPECT_EQ(takeLine(), MCPBridge::welcome());
        }
    }

    QTcpSocket& socket() { return m_socket; }
    void sendRaw(const QByteArray& bytes) { m_socket.write(bytes); }
    void send(const QJsonObject& message) {
        sendRaw(QJsonDocument(message).toJson(QJsonDocument::Compact) + '\n');
    }

    // The first complete line received, without its line feed; empty when none is there.
    QByteArray takeLine() {
        const qsizetype end = m_received.indexOf('\n');
        if (end < 0)
            return {};
        const QByteArray line = m_received.left(end);
        m_received.remove(0, end + 1);
        return line;
    }
    // Waits for `count` answers and returns them by their id's text.
    QHash<QString, QJsonObject> answers(int count, int timeoutMs = 60000) {
        waitUntil([&] { return m_received.count('\n') >= count; }, timeoutMs);
        QHash<QString, QJsonObject> byId;
        QByteArray line;
        while (!(line = takeLine()).isEmpty()) {
            const QJsonObject answer = QJsonDocument::fromJson(line).object();
            byId.insert(
                QString::fromUtf8(
                    QJsonDocument(QJsonObject{{"i", answer.value("id")}}).toJson(QJsonDocument::Compact)),
                answer);
        }
        return byId;
    }
    // One request and its answer's "result".
    QJsonObject call(const QString& method, const QJsonObject& params = {}) {
        const int id = ++m_nextId;
        send(QJsonObject{{"jsonrpc", "2.0"}, {"id", id}, {"method", method}, {"params", params}});
        EXPECT_TRUE(waitUntil([&] { return m_received.contains('\n'); }, 60000));
        return QJsonDocument::fromJson(takeLine()).object().value("result").toObject();
    }
    // A tool's text and its isError flag.
    std::pair<QString, bool> tool(const QString& name, const QJsonObject& arguments = {}) {
        const QJsonObject result = call("tools/call", QJsonObject{{"name", name}, {"arguments", arguments}});
        return {result.value("content").toArray().first().toObject().value("text").toString(),
                result.value("isError").toBool()};
    }
    bool closedByPeer() {
        return waitUntil([&] { return m_socket.state() == QAbstractSocket::UnconnectedState; }, 30000);
    }

private:
    QTcpSocket m_socket;
    QByteArray m_received;
    int m_nextId = 0;
};

inline QString idKey(const QJsonValue& id) {
    return QString::fromUtf8(QJsonDocument(QJsonObject{{"i", id}}).toJson(QJsonDocument::Compact));
}

} // namespace corvantis::test
