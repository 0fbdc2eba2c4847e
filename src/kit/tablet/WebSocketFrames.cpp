#include "kit/tablet/WebSocketFrames.h"

#include <QCryptographicHash>

namespace corvantis::tablet {

QByteArray acceptKey(const QByteArray& clientKey) {
    return QCryptographicHash::hash(clientKey + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11",
                                    QCryptographicHash::Sha1)
        .toBase64();
}

QByteArray frame(Opcode opcode, const QByteArray& payload) {
    QByteArray bytes;
    bytes.append(static_cast<char>(0x80 | opcode));
    const auto size = static_cast<quint64>(payload.size());
    if (size < 126) {
        bytes.append(static_cast<char>(size));
    } else if (size <= 0xFFFF) {
        bytes.append(static_cast<char>(126));
        bytes.append(static_cast<char>(size >> 8));
        bytes.append(static_cast<char>(size & 0xFF));
    } else {
        bytes.append(static_cast<char>(127));
        for (int shift = 56; shift >= 0; shift -= 8)
            bytes.append(static_cast<char>((size >> shift) & 0xFF));
    }
    return bytes + payload;
}

QByteArray closeFrame(quint16 code) {
    QByteArray payload;
    payload.append(static_cast<char>(code >> 8));
    payload.append(static_cast<char>(code & 0xFF));
    return frame(Close, payload);
}

QList<FrameEvent> FrameReader::read(QByteArray& buffer) {
    QList<FrameEvent> events;
    const auto* bytes = reinterpret_cast<const quint8*>(buffer.constData());
    const auto size = static_cast<quint64>(buffer.size());
    quint64 at = 0;
    while (!m_done && size - at >= 2) {
        const quint8 first = bytes[at];
        const quint8 second = bytes[at + 1];
        quint64 length = second & 0x7F;
        quint64 head = 2;
        if (length == 126) {
            if (size - at < 4)
                break;
            length = (quint64(bytes[at + 2]) << 8) | bytes[at + 3];
            head = 4;
        } else if (length == 127) {
            if (size - at < 10)
                break;
            length = 0;
            for (int i = 0; i < 8; ++i)
                length = (length << 8) | bytes[at + 2 + i];
            head = 10;
        }
        // Checked before waiting for the payload, so that nobody makes us hold more than the limit.
        const quint8 opcode = first & 0x0F;
        const bool data = opcode == Continuation || opcode == Text || opcode == Binary;
        if (length > messageLimit ||
            (data && static_cast<quint64>(m_message.size()) + length > messageLimit)) {
            events.append({FrameEvent::Kind::TooBig, {}, {}});
            m_done = true;
            break;
        }
        const bool masked = second & 0x80;
        const quint64 maskAt = at + head;
        if (masked)
            head += 4;
        if (size - at < head + length)
            break;
        QByteArray payload(reinterpret_cast<const char*>(bytes + at + head), static_cast<qsizetype>(length));
        if (masked) {
            const quint8* mask = bytes + maskAt;
            char* out = payload.data();
            for (quint64 i = 0; i < length; ++i)
                out[i] = static_cast<char>(static_cast<quint8>(out[i]) ^ mask[i % 4]);
        }
        at += head + length;
        if (data) {
            m_message.append(payload);
            if (first & 0x80) {
                events.append({FrameEvent::Kind::Message, {}, QString::fromUtf8(m_message)});
                m_message.clear();
            }
        } else if (opcode == Ping) {
            events.append({FrameEvent::Kind::Ping, payload, {}});
        } else if (opcode == Close) {
            events.append({FrameEvent::Kind::Close, {}, {}});
            m_done = true;
        }
    }
    buffer.remove(0, static_cast<qsizetype>(at));
    return events;
}

} // namespace corvantis::tablet
