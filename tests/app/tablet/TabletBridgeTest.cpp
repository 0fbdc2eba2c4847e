#include "app/tablet/TabletBridge.h"

#include "app/tablet/LocalName.h"
#include "kit/tablet/WebSocketFrames.h"
#include "tests/support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace corvantis;
using namespace corvantis::tablet;

namespace {

constexpr int deadline = 30000; // ms: generous, for a loaded machine

// A port nobody listens on now, as the system hands one out.
quint16 freePort() {
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

struct Board {
    QTemporaryDir dir;
    std::unique_ptr<TabletBridge> bridge;
    TabletBridge::Address address;

    // Port 0 lets the system pick a free one.
    explicit Board(std::vector<quint16> ports = {0}) {
        const QString engine = dir.filePath("engine");
        QDir().mkpath(engine + "/qd");
        write(engine + "/qd/index.js", "board();");
        write(engine + "/tablet.html", "<html>board</html>");
        TabletBridge::Options options;
        options.ports = std::move(ports);
        options.listenOn = QHostAddress::LocalHost;
        options.engine = engine;
        options.lanAddress = [] {
            return std::optional<QString>(QStringLiteral("127.0.0.1"));
        };
        bridge = std::make_unique<TabletBridge>(options);
        address = bridge->start();
    }
    static void write(const QString& path, const QByteArray& bytes) {
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }
    QString path(const QString& rest = QString()) const { return "/" + *bridge->key() + rest; }
};

// Connects to the bridge on 127.0.0.1.
std::unique_ptr<QTcpSocket> connectTo(quint16 port) {
    auto socket = std::make_unique<QTcpSocket>();
    socket->connectToHost(QHostAddress::LocalHost, port);
    EXPECT_TRUE(socket->waitForConnected(deadline));
    return socket;
}

// Sends a request and reads everything until the bridge closes the connection.
QByteArray exchange(quint16 port, const QByteArray& request) {
    auto socket = connectTo(port);
    socket->write(request);
    QByteArray answer;
    EXPECT_TRUE(test::waitUntil(
        [&] {
            answer += socket->readAll();
            return socket->state() == QAbstractSocket::UnconnectedState;
        },
        deadline));
    return answer + socket->readAll();
}

QByteArray get(const QString& path) {
    return "GET " + path.toUtf8() + " HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";
}

QByteArray upgradeRequest(const QString& path) {
    return "GET " + path.toUtf8() +
           " HTTP/1.1\r\nHost: x\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
           "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n\r\n";
}

QByteArray masked(Opcode opcode, const QByteArray& payload) {
    QByteArray bytes = frame(opcode, payload);
    bytes[1] = static_cast<char>(bytes[1] | 0x80);
    return bytes.left(2) + QByteArray(4, '\0') + payload; // a mask of zeros leaves the payload as it is
}

} // namespace

TEST(TabletBridge, AnswersEveryRouteOverRealConnections) {
    Board board;
    const quint16 port = *board.bridge->port();
    EXPECT_EQ(board.address.direct,
              QStringLiteral("http://127.0.0.1:%1/%2/").arg(port).arg(*board.bridge->key()));

    const QByteArray redirect = exchange(port, get(board.path()));
    EXPECT_TRUE(redirect.startsWith("HTTP/1.1 301 Moved Permanently\r\n")) << redirect.toStdString();
    EXPECT_TRUE(redirect.contains("\r\nLocation: " + board.path("/").toUtf8() + "\r\n"));

    const QByteArray page = exchange(port, get(board.path("/")));
    EXPECT_TRUE(page.startsWith("HTTP/1.1 200 OK\r\nContent-Type: text/html; charset=utf-8\r\n"));
    EXPECT_TRUE(page.contains("Cache-Control: no-store\r\n"));
    EXPECT_TRUE(page.contains("Connection: close\r\n\r\n<html>board</html>"));

    const QByteArray script = exchange(port, get(board.path("/qd/index.js?v=1")));
    EXPECT_TRUE(script.contains("Content-Type: text/javascript; charset=utf-8\r\n"));
    EXPECT_TRUE(script.endsWith("\r\n\r\nboard();"));

    EXPECT_TRUE(exchange(port, get(board.path("/qd/../tablet.html"))).startsWith("HTTP/1.1 404 Not Found"));
    EXPECT_TRUE(exchange(port, get(board.path("/qd/%2e%2e/tablet.html"))).endsWith("\r\n\r\nnot found"));
    EXPECT_TRUE(exchange(port, get("/oldkey12ab/"))
                    .endsWith("This link has expired. Scan the code in Corvantis again."));
    EXPECT_TRUE(exchange(port, "POST " + board.path("/").toUtf8() + " HTTP/1.1\r\n\r\n")
                    .startsWith("HTTP/1.1 405 Method Not Allowed\r\n"));
    EXPECT_TRUE(exchange(port, QByteArray(32769, 'a'))
                    .startsWith("HTTP/1.1 431 Request Header Fields Too Large\r\n"));
}

TEST(TabletBridge, ASlowClientHoldsUpNobody) {
    Board board;
    const quint16 port = *board.bridge->port();
    auto slow = connectTo(port);
    slow->write("GE");
    slow->flush();
    // While the slow one has sent two bytes, another is answered in full.
    EXPECT_TRUE(exchange(port, get(board.path("/"))).contains("<html>board</html>"));
    slow->write("T " + board.path("/").toUtf8() + " HTTP/1.1\r\n\r\n");
    QByteArray answer;
    ASSERT_TRUE(test::waitUntil([&] { return (answer += slow->readAll()).contains("<html>board</html>"); },
                                deadline));
}

TEST(TabletBridge, BoardsJoinTradeFramesAndOldLinksAreClosed) {
    Board board;
    const quint16 port = *board.bridge->port();
    QSignalSpy messages(board.bridge.get(), &TabletBridge::messageReceived);
    QSignalSpy presence(board.bridge.get(), &TabletBridge::presenceChanged);

    auto tablet = connectTo(port);
    tablet->write(upgradeRequest(board.path("/")));
    QByteArray received;
    ASSERT_TRUE(
        test::waitUntil([&] { return (received += tablet->readAll()).contains("\r\n\r\n"); }, deadline));
    EXPECT_TRUE(received.startsWith("HTTP/1.1 101 Switching Protocols\r\n"));
    EXPECT_TRUE(received.contains("Sec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo=\r\n"));
    ASSERT_TRUE(test::waitUntil([&] { return board.bridge->devices() == 1; }, deadline));
    ASSERT_GE(messages.size(), 1);
    EXPECT_EQ(messages.first().first().toString(), "{\"type\":\"join\"}");
    EXPECT_EQ(presence.last().first().toInt(), 1);

    // A stroke from the tablet, a ping, and a message from the board the other way.
    tablet->write(masked(Text, "{\"type\":\"stroke\"}") + masked(Ping, "hi"));
    ASSERT_TRUE(test::waitUntil([&] { return messages.size() >= 2; }, deadline));
    EXPECT_EQ(messages.last().first().toString(), "{\"type\":\"stroke\"}");
    board.bridge->send("{\"type\":\"state\"}");
    received.clear();
    const QByteArray expected = frame(Pong, "hi") + frame(Text, "{\"type\":\"state\"}");
    ASSERT_TRUE(
        test::waitUntil([&] { return (received += tablet->readAll()).size() >= expected.size(); }, deadline));
    EXPECT_EQ(received, expected);

    // A board opened from an old link is let in, then told it has expired.
    auto old = connectTo(port);
    old->write(upgradeRequest("/oldkey12ab/"));
    QByteArray oldReceived;
    ASSERT_TRUE(test::waitUntil(
        [&] {
            oldReceived += old->readAll();
            return old->state() == QAbstractSocket::UnconnectedState;
        },
        deadline));
    oldReceived += old->readAll();
    EXPECT_TRUE(oldReceived.startsWith("HTTP/1.1 101 Switching Protocols\r\n"));
    EXPECT_TRUE(oldReceived.endsWith(closeFrame(4001)));
    EXPECT_EQ(board.bridge->devices(), 1);

    // The tablet leaves; then sharing stops and its key goes with it.
    tablet->write(masked(Close, QByteArray("\x03\xe8", 2)));
    ASSERT_TRUE(test::waitUntil([&] { return board.bridge->devices() == 0; }, deadline));
    EXPECT_EQ(presence.last().first().toInt(), 0);
    board.bridge->stop();
    EXPECT_FALSE(board.bridge->key().has_value());
    EXPECT_FALSE(board.bridge->running());
}

TEST(TabletBridge, TakesTheFirstFreePortAndSaysWhyItCannotStart) {
    QTcpServer taken;
    ASSERT_TRUE(taken.listen(QHostAddress::LocalHost, 0));
    const quint16 next = freePort();
    Board board({taken.serverPort(), next});
    EXPECT_EQ(board.bridge->port(), next);
    // Starting again keeps the share and its key.
    const QString key = *board.bridge->key();
    EXPECT_EQ(board.bridge->start().direct, board.address.direct);
    EXPECT_EQ(*board.bridge->key(), key);

    auto failure = [](TabletBridge::Options options) -> std::optional<TabletBridgeError::Kind> {
        TabletBridge bridge(std::move(options));
        try {
            bridge.start();
        } catch (const TabletBridgeError& error) {
            EXPECT_FALSE(error.message().isEmpty());
            return error.kind();
        }
        return std::nullopt;
    };
    TabletBridge::Options options;
    options.listenOn = QHostAddress::LocalHost;
    options.engine = board.dir.filePath("engine");
    options.ports = {taken.serverPort()};
    options.lanAddress = [] {
        return std::optional<QString>("127.0.0.1");
    };
    EXPECT_EQ(failure(options), TabletBridgeError::Kind::NoPort);
    TabletBridge::Options offline = options;
    offline.lanAddress = [] {
        return std::optional<QString>();
    };
    EXPECT_EQ(failure(offline), TabletBridgeError::Kind::Offline);
    TabletBridge::Options bare = options;
    bare.engine = board.dir.filePath("nowhere");
    EXPECT_EQ(failure(bare), TabletBridgeError::Kind::EngineMissing);
}

TEST(TabletBridge, WithoutAGrantedNameTheAddressByNumberServes) {
    // The candidates: the product's word, then with this machine's id, then with a number as well.
    const QStringList names = LocalName::candidates("corvantis", "x7k2");
    ASSERT_EQ(names.size(), 3);
    EXPECT_EQ(names[0], "corvantis");
    EXPECT_EQ(names[1], "corvantis-x7k2");
    EXPECT_TRUE(QRegularExpression("^corvantis-x7k2-[1-9][0-9]$").match(names[2]).hasMatch())
        << names[2].toStdString();
    EXPECT_EQ(LocalName::candidates("corvantis", ""), QStringList{"corvantis"});

    // An address that can't be published settles as no name at once.
    LocalName name;
    QSignalSpy finished(&name, &LocalName::finished);
    name.claim({"corvantis-test-a", "corvantis-test-b"}, "not an address", 300);
    ASSERT_TRUE(test::waitUntil([&] { return !finished.isEmpty(); }, deadline));
    EXPECT_EQ(finished.first().first().toString(), QString());
    // A real one settles within the waits, granted or not (without a name daemon, at once).
    finished.clear();
    name.claim({"corvantis-test-a", "corvantis-test-b"}, "127.0.0.1", 300);
    ASSERT_TRUE(test::waitUntil([&] { return !finished.isEmpty(); }, deadline));
    const QString host = finished.first().first().toString();
    EXPECT_TRUE(host.isEmpty() || host == "corvantis-test-a.local" || host == "corvantis-test-b.local")
        << host.toStdString();
    name.release();

    Board board;
    EXPECT_EQ(board.address.url, board.address.direct);
    EXPECT_EQ(board.bridge->address().direct, board.address.direct);
}
