#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

// The WebSocket side of the tablet bridge: the handshake's answer, frames read from a client (masked
// or not, in pieces, with continuations) and frames written to it (never masked).
namespace corvantis::tablet {

// The most one message may hold, over all its frames.
constexpr quint64 messageLimit = 64ull * 1024 * 1024;

enum Opcode : quint8 { Continuation = 0, Text = 1, Binary = 2, Close = 8, Ping = 9, Pong = 10 };

// Base64 of the SHA-1 of the client's key and the protocol's fixed text.
QByteArray acceptKey(const QByteArray& clientKey);

QByteArray frame(Opcode opcode, const QByteArray& payload);
QByteArray closeFrame(quint16 code);

// What the frames in a buffer came to, in order.
struct FrameEvent {
    enum class Kind {
        Message, // a whole text or binary message, as text (invalid UTF-8 repaired)
        Ping,    // answer with a pong of the same payload
        Close,   // the client closes
        TooBig,  // a message would pass the limit: close with 1009
    };
    Kind kind;
    QByteArray payload; // the ping's
    QString text;       // the message's
};

class FrameReader {
public:
    // Reads every whole frame at the front of `buffer` and removes it; a frame not yet whole stays.
    // After `Close` or `TooBig` nothing more is read.
    QList<FrameEvent> read(QByteArray& buffer);

private:
    QByteArray m_message;
    bool m_done = false;
};

} // namespace corvantis::tablet
