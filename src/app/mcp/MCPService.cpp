#include "app/mcp/MCPService.h"

#include "kit/mcp/CorvantisMCP.h"
#include "kit/mcp/MCPBridge.h"

#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <algorithm>

namespace corvantis {

namespace {

// One line's task: the answer is written when it is ready, if the connection is still there.
QCoro::Task<> answer(QPointer<QTcpSocket> socket, std::shared_ptr<MCPSession> session, QByteArray line,
                     MCPToolCall call, std::function<void()> after) {
    const std::optional<QByteArray> reply = co_await session->handle(std::move(line), std::move(call));
    if (reply && socket && socket->state() == QAbstractSocket::ConnectedState)
        socket->write(*reply + '\n');
    after();
}

} // namespace

MCPService::MCPService(MCPToolCall call, QString version, QObject* parent)
    : QObject(parent)
    , m_call(std::move(call))
    , m_version(std::move(version)) {
}

MCPService::~MCPService() {
    stop();
}

void MCPService::start() {
    if (m_server)
        return;
    const quint16 base = MCPBridge::basePort();
    for (int offset = 0; offset < MCPBridge::portCount; ++offset) {
        auto* server = new QTcpServer(this);
        // Loopback only: nothing off this computer can reach the listener.
        if (server->listen(QHostAddress(QHostAddress::LocalHost), quint16(base + offset))) {
            m_server = server;
            connect(server, &QTcpServer::newConnection, this, &MCPService::accept);
            setPort(quint16(base + offset));
            setProblem(std::nullopt);
            return;
        }
        delete server;
    }
    setPort(std::nullopt);
    setProblem(QStringLiteral("Every port Corvantis listens on for other AI apps (%1–%2) is taken.")
                   .arg(base)
                   .arg(base + MCPBridge::portCount - 1));
}

void MCPService::stop() {
    if (m_server) {
        m_server->close();
        m_server->deleteLater();
        m_server = nullptr;
    }
    const auto sockets = m_sessions.keys();
    m_sessions.clear();
    for (QTcpSocket* socket : sockets) {
        socket->disconnect(this);
        socket->abort();
        socket->deleteLater();
    }
    setPort(std::nullopt);
    refreshConnected();
}

void MCPService::accept() {
    while (m_server && m_server->hasPendingConnections()) {
        QTcpSocket* socket = m_server->nextPendingConnection();
        socket->setReadBufferSize(MCPBridge::readChunk);
        Connection connection;
        connection.socket = socket;
        connection.order = m_nextOrder++;
        m_sessions.insert(socket, connection);
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { receive(socket); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] { drop(socket); });
        connect(socket, &QTcpSocket::errorOccurred, this, [this, socket] { drop(socket); });
    }
}

void MCPService::drop(QTcpSocket* socket) {
    if (!m_sessions.remove(socket))
        return;
    socket->disconnect(this);
    socket->abort();
    socket->deleteLater();
    refreshConnected();
}

void MCPService::receive(QTcpSocket* socket) {
    while (socket->bytesAvailable() > 0) {
        auto found = m_sessions.find(socket);
        if (found == m_sessions.end())
            return;
        Connection& connection = *found;
        connection.buffer += socket->read(MCPBridge::readChunk);

        qsizetype start = 0;
        qsizetype end;
        QList<QByteArray> lines;
        bool refused = false;
        while ((end = connection.buffer.indexOf('\n', start)) >= 0) {
            QByteArray line = connection.buffer.mid(start, end - start);
            start = end + 1;
            if (!connection.greeted) {
                // The comparison is exact: a trailing carriage return is a different line.
                if (line != MCPBridge::hello()) {
                    refused = true;
                    break;
                }
                connection.greeted = true;
                connection.session = std::make_shared<MCPSession>(CorvantisMCP::tools(),
                                                                  CorvantisMCP::instructions(), m_version);
                socket->write(MCPBridge::welcome() + '\n');
                continue;
            }
            if (!line.isEmpty())
                lines << line;
        }
        if (refused) {
            drop(socket);
            return;
        }
        connection.buffer.remove(0, start);
        if (connection.buffer.size() > MCPBridge::lineCap) {
            drop(socket);
            return;
        }
        const std::shared_ptr<MCPSession> session = connection.session;
        QPointer<MCPService> self(this);
        for (QByteArray& line : lines) {
            answer(QPointer<QTcpSocket>(socket), session, std::move(line), m_call, [self] {
                if (self)
                    self->refreshConnected();
            });
        }
    }
}

void MCPService::refreshConnected() {
    QList<const Connection*> ordered;
    for (const Connection& connection : std::as_const(m_sessions))
        ordered << &connection;
    std::sort(ordered.begin(), ordered.end(),
              [](const Connection* a, const Connection* b) { return a->order < b->order; });
    QStringList names;
    for (const Connection* connection : ordered) {
        if (!connection->session)
            continue;
        if (auto client = connection->session->client(); client && !names.contains(client->name))
            names << client->name;
    }
    if (names == m_connected)
        return;
    m_connected = names;
    emit connectedChanged();
}

void MCPService::setPort(std::optional<quint16> port) {
    if (m_port == port)
        return;
    m_port = port;
    emit portChanged();
}

void MCPService::setProblem(std::optional<QString> problem) {
    if (m_problem == problem)
        return;
    m_problem = std::move(problem);
    emit problemChanged();
}

} // namespace corvantis
