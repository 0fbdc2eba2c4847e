#pragma once

#include <QByteArray>
#include <QString>
#include <QtGlobal>

// What the running program and its relay agree on: the names, the loopback address, the ten ports and
// the two lines that open a connection. The relay speaks first; a listener that answers anything but
// the welcome is not Corvantis.
namespace corvantis::MCPBridge {

inline QString serverName() {
    return QStringLiteral("corvantis");
}
inline QString helperName() {
    return QStringLiteral("corvantis-mcp");
}
inline QString host() {
    return QStringLiteral("127.0.0.1");
}

constexpr quint16 firstPort = 47820;
constexpr quint16 lastPort = 47829;
constexpr int portCount = lastPort - firstPort + 1;

// The relay's first line and the program's answer, without their line feeds, byte for byte.
inline QByteArray hello() {
    return QByteArrayLiteral("{\"corvantis-bridge\":1}");
}
inline QByteArray welcome() {
    return QByteArrayLiteral("{\"corvantis-bridge\":1,\"app\":\"app.corvantis.Corvantis\"}");
}

// A read hands over at most this much at a time; a line that grows past the cap closes the connection.
constexpr qint64 readChunk = 1024 * 1024;
constexpr qint64 lineCap = 32 * 1024 * 1024;

// The first of the ten ports: CORVANTIS_MCP_PORT when it holds a port number (so that tests and a
// second, portable copy can keep to ports of their own), else 47820.
quint16 basePort();

} // namespace corvantis::MCPBridge
