#include "app/tablet/TabletBridge.h"

#include "app/tablet/LocalName.h"
#include "kit/tablet/BridgeRoute.h"
#include "kit/tablet/HttpRequest.h"

#include <QDir>
#include <QFile>
#include <QNetworkInterface>
#include <QTcpServer>
#include <QTcpSocket>

namespace corvantis {

using namespace tablet;

namespace {

// The most one read takes off a connection.
constexpr qint64 readLimit = 262144;

QString addressFor(const QString& host, quint16 port, const QString& key) {
    const QString shownPort = port == 80 ? QString() : QStringLiteral(":%1").arg(port);
    return QStringLiteral("http://%1%2/%3/").arg(host, shownPort, key);
}

} // namespace

TabletBridge::TabletBridge(Options options, QObject* parent)
    : QObject(parent)
    , m_options(std::move(options))
    , m_name(new LocalName(this)) {
    connect(m_name, &LocalName::finished, this, [this](const QString& host) {
        if (host.isEmpty() || !m_server)
            return;
        m_address.url = addressFor(host, m_server->serverPort(), *m_key);
        emit addressChanged(m_address);
    });
}

TabletBridge::~TabletBridge() {
    stop();
}

std::vector<quint16> TabletBridge::defaultPorts() {
    std::vector<quint16> ports{80};
    for (quint16 port = 5791; port <= 5810; ++port)
        ports.push_back(port);
    return ports;
}

std::optional<QString> TabletBridge::lanAddress() {
    std::optional<QString> wired, other;
    for (const QNetworkInterface& face : QNetworkInterface::allInterfaces()) {
        const auto flags = face.flags();
        if (!(flags & QNetworkInterface::IsUp) || (flags & QNetworkInterface::IsLoopBack))
            continue;
        for (const QNetworkAddressEntry& entry : face.addressEntries()) {
            const QHostAddress ip = entry.ip();
            if (ip.protocol() != QAbstractSocket::IPv4Protocol ||
                ip.toString().startsWith(QLatin1String("169.254.")))
                continue;
            const QString name = face.name();
            if (name.startsWith(QLatin1String("wl")))
                return ip.toString();
            if (name.startsWith(QLatin1String("en")) || name.startsWith(QLatin1String("eth")))
                wired = wired.value_or(ip.toString());
            else
                other = other.value_or(ip.toString());
        }
    }
    return wired ? wired : other;
}

TabletBridge::Address TabletBridge::start() {
    const std::optional<QString> ip = m_options.lanAddress();
    if (!ip)
        throw TabletBridgeError(
            TabletBridgeError::Kind::Offline,
            QStringLiteral("This computer isn't on a network. Join the same Wi-Fi as your "
                           "tablet and try again."));
    if (!QFile::exists(QDir(m_options.engine).filePath(QStringLiteral("qd/index.js"))))
        throw TabletBridgeError(
            TabletBridgeError::Kind::EngineMissing,
            QStringLiteral("The drawing engine for the tablet is missing from this build."));
    if (!m_server) {
        auto server = std::make_unique<QTcpServer>(this);
        bool listening = false;
        for (quint16 port : m_options.ports) {
            if (server->listen(m_options.listenOn, port)) {
                listening = true;
                break;
            }
        }
        if (!listening)
            throw TabletBridgeError(
                TabletBridgeError::Kind::NoPort,
                QStringLiteral("No port was free to share the drawing on. Quit an app that "
                               "might be using one and try again."));
        m_server = server.release();
        connect(m_server, &QTcpServer::newConnection, this, &TabletBridge::accept);
        m_key = newKey();
        m_address = {};
    }
    const QString direct = addressFor(*ip, m_server->serverPort(), *m_key);
    if (m_address.direct != direct) {
        m_address = {direct, direct};
        m_name->claim(LocalName::candidates(QStringLiteral("corvantis"), m_options.machineId), *ip,
                      m_options.nameWaitMs);
    }
    return m_address;
}

void TabletBridge::stop() {
    m_name->release();
    m_address = {};
    if (m_server) {
        m_server->close();
        m_server->deleteLater();
        m_server = nullptr;
    }
    for (const auto& client : m_clients) {
        if (!client->socket)
            continue;
        if (client->isSocket && !client->closing)
            client->socket->write(closeFrame(1001));
        client->socket->disconnectFromHost();
    }
    m_clients.clear();
    m_key.reset();
}

bool TabletBridge::running() const {
    return m_server != nullptr;
}

std::optional<quint16> TabletBridge::port() const {
    if (!m_server)
        return std::nullopt;
    return m_server->serverPort();
}

int TabletBridge::devices() const {
    int count = 0;
    for (const auto& client : m_clients)
        count += client->isSocket && !client->closing ? 1 : 0;
    return count;
}

void TabletBridge::send(const QString& text) {
    const QByteArray bytes = frame(Text, text.toUtf8());
    for (const auto& client : m_clients)
        if (client->isSocket && !client->closing && client->socket)
            client->socket->write(bytes);
}

void TabletBridge::accept() {
    while (QTcpSocket* socket = m_server->nextPendingConnection()) {
        socket->setParent(this); // outlives the listener, to finish its last words after a stop
        auto client = std::make_unique<Client>();
        client->socket = socket;
        m_clients.push_back(std::move(client));
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] {
            if (Client* client = clientOf(socket))
                readFrom(*client);
        });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            drop(socket);
            socket->deleteLater();
        });
    }
}

TabletBridge::Client* TabletBridge::clientOf(QTcpSocket* socket) {
    for (const auto& client : m_clients)
        if (client->socket == socket)
            return client.get();
    return nullptr;
}

void TabletBridge::readFrom(Client& client) {
    QTcpSocket* socket = client.socket;
    while (socket && !client.closing && socket->bytesAvailable() > 0) {
        client.buffer.append(socket->read(readLimit));
        if (client.isSocket)
            readFrames(client);
        else
            readRequest(client);
        // Answering may have dropped the client.
        if (clientOf(socket) != &client)
            return;
    }
}

void TabletBridge::readRequest(Client& client) {
    const HeadRead head = readHead(client.buffer);
    switch (head.state) {
    case HeadRead::State::Incomplete:
        return;
    case HeadRead::State::TooLarge:
        answer(client, reply("431 Request Header Fields Too Large", "text/plain", "no-cache", {}));
        return;
    case HeadRead::State::Malformed:
        answer(client, reply("404 Not Found", "text/plain", "no-cache", "not found"));
        return;
    case HeadRead::State::Complete:
        break;
    }
    const HttpRequest& request = head.request;
    if (request.method != QLatin1String("GET")) {
        answer(client, reply("405 Method Not Allowed", "text/plain", "no-cache", {}));
        return;
    }
    const BridgeRoute to = route(request.path, m_key, m_options.engine);
    const QString clientKey = request.headers.value(QStringLiteral("sec-websocket-key"));
    if (request.headers.value(QStringLiteral("upgrade"))
                .compare(QLatin1String("websocket"), Qt::CaseInsensitive) == 0 &&
        !clientKey.isEmpty()) {
        client.buffer.remove(0, head.consumed);
        upgrade(client, clientKey.toLatin1(), to.kind == BridgeRoute::Kind::Page);
        return;
    }
    switch (to.kind) {
    case BridgeRoute::Kind::Redirect:
        answer(client, reply("301 Moved Permanently", "text/plain", "no-cache", {},
                             "Location: " + to.target.toUtf8() + "\r\n"));
        return;
    case BridgeRoute::Kind::Page: {
        QFile page(QDir(m_options.engine).filePath(QStringLiteral("tablet.html")));
        if (!page.open(QIODevice::ReadOnly)) {
            answer(client, reply("404 Not Found", "text/plain", "no-cache", "not found"));
            return;
        }
        answer(client, reply("200 OK", "text/html; charset=utf-8", "no-store", page.readAll()));
        return;
    }
    case BridgeRoute::Kind::File: {
        QFile file(to.target);
        if (!file.open(QIODevice::ReadOnly)) {
            answer(client, reply("404 Not Found", "text/plain", "no-cache", "not found"));
            return;
        }
        answer(client, reply("200 OK", contentType(to.target), "no-cache", file.readAll()));
        return;
    }
    case BridgeRoute::Kind::Expired:
        answer(client, reply("404 Not Found", "text/plain; charset=utf-8", "no-cache",
                             "This link has expired. Scan the code in Corvantis again."));
        return;
    case BridgeRoute::Kind::Missing:
        answer(client, reply("404 Not Found", "text/plain", "no-cache", "not found"));
        return;
    }
}

void TabletBridge::answer(Client& client, const QByteArray& bytes) {
    client.closing = true;
    client.buffer.clear();
    client.socket->write(bytes);
    // Qt writes what is pending before it closes.
    client.socket->disconnectFromHost();
}

void TabletBridge::upgrade(Client& client, const QByteArray& clientKey, bool live) {
    client.socket->write("HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                         "Sec-WebSocket-Accept: " +
                         acceptKey(clientKey) + "\r\n\r\n");
    client.isSocket = true;
    if (!live) {
        close(client, 4001); // a board from an old link learns that it has expired
        return;
    }
    emit presenceChanged(devices());
    emit messageReceived(QStringLiteral("{\"type\":\"join\"}"));
    if (clientOf(client.socket) == &client)
        readFrames(client);
}

void TabletBridge::readFrames(Client& client) {
    const QList<FrameEvent> events = client.frames.read(client.buffer);
    QPointer<QTcpSocket> socket = client.socket;
    for (const FrameEvent& event : events) {
        switch (event.kind) {
        case FrameEvent::Kind::Message:
            emit messageReceived(event.text);
            break;
        case FrameEvent::Kind::Ping:
            client.socket->write(frame(Pong, event.payload));
            break;
        case FrameEvent::Kind::Close:
            close(client, 1000);
            return;
        case FrameEvent::Kind::TooBig:
            close(client, 1009);
            return;
        }
        // A listener may have stopped the bridge.
        if (!socket || clientOf(socket) != &client)
            return;
    }
}

void TabletBridge::close(Client& client, quint16 code) {
    if (client.closing)
        return;
    client.closing = true;
    QTcpSocket* socket = client.socket;
    if (client.isSocket)
        socket->write(closeFrame(code));
    socket->disconnectFromHost();
    drop(socket);
}

void TabletBridge::drop(QTcpSocket* socket) {
    for (auto it = m_clients.begin(); it != m_clients.end(); ++it) {
        if ((*it)->socket != socket)
            continue;
        const bool wasSocket = (*it)->isSocket;
        m_clients.erase(it);
        if (wasSocket)
            emit presenceChanged(devices());
        return;
    }
}

} // namespace corvantis
