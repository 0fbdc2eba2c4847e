#include "kit/tablet/BridgeRoute.h"
#include "kit/tablet/HttpRequest.h"
#include "kit/tablet/QrCode.h"
#include "kit/tablet/WebSocketFrames.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace corvantis::tablet;

namespace {

// A frame as a browser sends it: masked, FIN set or not.
QByteArray clientFrame(Opcode opcode, const QByteArray& payload, bool fin = true) {
    QByteArray bytes = frame(opcode, payload);
    if (!fin)
        bytes[0] = static_cast<char>(bytes[0] & 0x7F);
    const qsizetype head = payload.size() < 126 ? 2 : payload.size() <= 0xFFFF ? 4 : 10;
    bytes[1] = static_cast<char>(bytes[1] | 0x80);
    const QByteArray mask("\x37\xfa\x21\x3d", 4);
    QByteArray masked = payload;
    for (qsizetype i = 0; i < masked.size(); ++i)
        masked[i] = static_cast<char>(masked[i] ^ mask[i % 4]);
    return bytes.left(head) + mask + masked;
}

// The header of a frame that announces `length` bytes, without them.
QByteArray announcing(quint64 length, quint8 opcode = Binary) {
    QByteArray bytes;
    bytes.append(static_cast<char>(0x80 | opcode));
    bytes.append(static_cast<char>(127));
    for (int shift = 56; shift >= 0; shift -= 8)
        bytes.append(static_cast<char>((length >> shift) & 0xFF));
    return bytes;
}

} // namespace

TEST(TabletProtocol, HeadsAreReadWholeOrWaitedFor) {
    const QByteArray request = "GET /abc%20def/qd/x.js?v=2 HTTP/1.1\r\nHost: corvantis.local\r\n"
                               "Upgrade:  WebSocket \r\nSec-WebSocket-Key: dGhl\r\n\r\nrest";
    const HeadRead whole = readHead(request);
    ASSERT_EQ(whole.state, HeadRead::State::Complete);
    EXPECT_EQ(whole.consumed, request.size() - 4);
    EXPECT_EQ(whole.request.method, "GET");
    EXPECT_EQ(whole.request.path, "/abc def/qd/x.js");
    EXPECT_EQ(whole.request.headers.value("upgrade"), "WebSocket");
    EXPECT_EQ(whole.request.headers.value("sec-websocket-key"), "dGhl");

    EXPECT_EQ(readHead(request.left(40)).state, HeadRead::State::Incomplete);
    EXPECT_EQ(readHead("GET /only-two\r\n\r\n").state, HeadRead::State::Malformed);
    // 32,768 bytes without a blank line may still become a request; one more may not.
    EXPECT_EQ(readHead(QByteArray(headLimit, 'a')).state, HeadRead::State::Incomplete);
    EXPECT_EQ(readHead(QByteArray(headLimit + 1, 'a')).state, HeadRead::State::TooLarge);

    EXPECT_EQ(reply("301 Moved Permanently", "text/plain", "no-cache", {}, "Location: /k/\r\n"),
              QByteArray("HTTP/1.1 301 Moved Permanently\r\nContent-Type: text/plain\r\nContent-Length: 0\r\n"
                         "Cache-Control: no-cache\r\nLocation: /k/\r\nConnection: close\r\n\r\n"));
    EXPECT_EQ(contentType("a/b.JS"), "text/javascript; charset=utf-8");
    EXPECT_EQ(contentType("font.woff2"), "font/woff2");
    EXPECT_EQ(contentType("x.png"), "text/plain");
}

TEST(TabletProtocol, RoutesStayUnderTheKeyAndInsideTheEngine) {
    QTemporaryDir dir;
    const QString engine = dir.filePath("engine");
    ASSERT_TRUE(QDir().mkpath(engine + "/qd/lib"));
    for (const QString& name :
         {QStringLiteral("qd/index.js"), QStringLiteral("qd/lib/ink.js"), QStringLiteral("secret.txt")}) {
        QFile file(engine + "/" + name);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    }
    const std::optional<QString> key = QStringLiteral("k3y");
    using Kind = BridgeRoute::Kind;
    EXPECT_EQ(route("/k3y", key, engine), (BridgeRoute{Kind::Redirect, "/k3y/"}));
    EXPECT_EQ(route("/k3y/", key, engine).kind, Kind::Page);
    EXPECT_EQ(route("/k3y/qd/lib/ink.js", key, engine), (BridgeRoute{Kind::File, engine + "/qd/lib/ink.js"}));
    EXPECT_EQ(route("/k3y/qd/nothing.js", key, engine).kind, Kind::Missing);
    EXPECT_EQ(route("/k3y/qd/../secret.txt", key, engine).kind, Kind::Missing);
    EXPECT_EQ(route("/k3y/qd/lib/../../secret.txt", key, engine).kind, Kind::Missing);
    EXPECT_EQ(route("/k3y/qd/", key, engine).kind, Kind::Missing);
    EXPECT_EQ(route("/k3y/other", key, engine).kind, Kind::Missing);
    EXPECT_EQ(route("/old/", key, engine).kind, Kind::Expired);
    EXPECT_EQ(route("/k3y/", std::nullopt, engine).kind, Kind::Expired);

    const QString made = newKey();
    EXPECT_EQ(made.size(), 10);
    for (QChar c : made)
        EXPECT_TRUE(QString::fromLatin1(keyAlphabet).contains(c)) << made.toStdString();
    EXPECT_NE(newKey(), made);
}

TEST(TabletProtocol, FramesAreReadInPiecesWithMasksContinuationsAndControls) {
    // The protocol's own sample handshake.
    EXPECT_EQ(acceptKey("dGhlIHNhbXBsZSBub25jZQ=="), QByteArray("s3pPLMBiTxaQ9kYGzzhZRbK+xOo="));

    const QByteArray medium(300, 'm');  // a 2-byte length
    const QByteArray large(70000, 'L'); // an 8-byte length
    QByteArray stream = clientFrame(Text, "hé", false) + clientFrame(Ping, "p?") +
                        clientFrame(Continuation, "llo") + clientFrame(Text, medium) +
                        clientFrame(Binary, large) + frame(Text, "plain") + clientFrame(Text, "\xff\xfe");
    // Fed one piece at a time, the reader answers only for whole frames and keeps the rest.
    FrameReader reader;
    QList<FrameEvent> events;
    QByteArray buffer;
    for (qsizetype at = 0; at < stream.size(); at += 997) {
        buffer.append(stream.mid(at, 997));
        events += reader.read(buffer);
    }
    EXPECT_TRUE(buffer.isEmpty());
    ASSERT_EQ(events.size(), 6);
    EXPECT_EQ(events[0].kind, FrameEvent::Kind::Ping);
    EXPECT_EQ(events[0].payload, "p?");
    EXPECT_EQ(events[1].text, QString::fromUtf8("héllo"));
    EXPECT_EQ(events[2].text, QString(medium));
    EXPECT_EQ(events[3].text, QString(large));
    EXPECT_EQ(events[4].text, "plain");
    EXPECT_EQ(events[5].text, QString(QChar::ReplacementCharacter) + QChar::ReplacementCharacter);

    // A close ends reading; what follows stays unread.
    QByteArray closing = clientFrame(Close, QByteArray("\x03\xe8", 2)) + clientFrame(Text, "late");
    FrameReader closed;
    const QList<FrameEvent> end = closed.read(closing);
    ASSERT_EQ(end.size(), 1);
    EXPECT_EQ(end[0].kind, FrameEvent::Kind::Close);
    EXPECT_TRUE(closed.read(closing).isEmpty());

    // Frames we write carry their length in 1, 3 or 9 bytes and no mask.
    EXPECT_EQ(frame(Text, "hi"), QByteArray("\x81\x02hi"));
    EXPECT_EQ(frame(Binary, medium).left(4), QByteArray("\x82\x7e\x01\x2c", 4));
    EXPECT_EQ(frame(Binary, large).left(10), QByteArray("\x82\x7f\x00\x00\x00\x00\x00\x01\x11\x70", 10));
    EXPECT_EQ(closeFrame(4001), QByteArray("\x88\x02\x0f\xa1", 4));
}

TEST(TabletProtocol, AMessageOfSixtyFourMebibytesPassesAndOneByteMoreCloses) {
    {
        QByteArray exact = announcing(messageLimit) + QByteArray(static_cast<qsizetype>(messageLimit), 'x');
        FrameReader reader;
        const QList<FrameEvent> events = reader.read(exact);
        ASSERT_EQ(events.size(), 1);
        EXPECT_EQ(events[0].kind, FrameEvent::Kind::Message);
        EXPECT_EQ(events[0].text.size(), qsizetype(messageLimit));
    }
    // Refused on the header alone: nobody makes us wait for (or hold) the bytes.
    QByteArray over = announcing(messageLimit + 1);
    FrameReader reader;
    const QList<FrameEvent> events = reader.read(over);
    ASSERT_EQ(events.size(), 1);
    EXPECT_EQ(events[0].kind, FrameEvent::Kind::TooBig);

    // Frames that each fit but together pass the limit.
    QByteArray pieces =
        clientFrame(Text, QByteArray(10, 'a'), false) + announcing(messageLimit - 9, Continuation);
    FrameReader joined;
    const QList<FrameEvent> joinedEvents = joined.read(pieces);
    ASSERT_EQ(joinedEvents.size(), 1);
    EXPECT_EQ(joinedEvents[0].kind, FrameEvent::Kind::TooBig);

    // A length whose top bit is set is no huge allocation either.
    QByteArray absurd = announcing(~quint64(0));
    EXPECT_EQ(FrameReader().read(absurd).value(0).kind, FrameEvent::Kind::TooBig);
}

TEST(TabletProtocol, RandomBytesNeverCrashTheReaders) {
    // A short pass of the fuzzing done outside the suite: random and mutated heads and frames.
    std::srand(5791);
    const QByteArray seeds[] = {"GET /k/ HTTP/1.1\r\nUpgrade: websocket\r\n\r\n",
                                clientFrame(Text, "hello", false) + clientFrame(Continuation, "!")};
    for (int round = 0; round < 20000; ++round) {
        QByteArray bytes = seeds[round % 2];
        for (int flips = 1 + std::rand() % 8; flips > 0; --flips) {
            const int at = std::rand() % (bytes.size() + 1);
            if (std::rand() % 2)
                bytes.insert(at, static_cast<char>(std::rand() % 256));
            else if (at < bytes.size())
                bytes[at] = static_cast<char>(std::rand() % 256);
        }
        readHead(bytes);
        FrameReader reader;
        QByteArray buffer = bytes;
        reader.read(buffer);
        EXPECT_LE(buffer.size(), bytes.size());
    }
}

TEST(TabletProtocol, AddressesBecomeQrCodesWithTheirFinderSquares) {
    const auto code = qrCode("http://corvantis.local:5791/abcdefghjk/");
    ASSERT_TRUE(code.has_value());
    // Versions grow by four modules a side from 21.
    EXPECT_GE(code->size, 21);
    EXPECT_EQ((code->size - 21) % 4, 0);
    // A finder square in three corners: a dark ring, a light ring, a dark core of three.
    auto finderAt = [&](int left, int top) {
        for (int y = 0; y < 7; ++y)
            for (int x = 0; x < 7; ++x) {
                const int ring = std::max(std::abs(x - 3), std::abs(y - 3));
                if (code->at(left + x, top + y) != (ring != 2))
                    return false;
            }
        return true;
    };
    EXPECT_TRUE(finderAt(0, 0));
    EXPECT_TRUE(finderAt(code->size - 7, 0));
    EXPECT_TRUE(finderAt(0, code->size - 7));
    EXPECT_FALSE(finderAt(code->size - 7, code->size - 7));
    // Another text, another code; one far too long for any version, none.
    EXPECT_NE(qrCode("http://192.168.1.20:5791/abcdefghjk/")->dark, code->dark);
    EXPECT_FALSE(qrCode(QString(8000, QLatin1Char('x'))).has_value());
}
