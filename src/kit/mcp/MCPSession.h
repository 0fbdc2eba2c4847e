#pragma once

#include "kit/mcp/MCPClient.h"
#include "kit/mcp/MCPTool.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QMutex>
#include <QString>
#include <functional>
#include <optional>
#include <qcoro/qcorotask.h>

namespace corvantis {

// Carries out one tool call: (tool name, arguments, the client) to its result.
using MCPToolCall = std::function<QCoro::Task<MCPToolResult>(QString, QJsonObject, MCPClient)>;

// One connection's JSON-RPC 2.0 engine: one line in, at most one line out. It knows nothing of graphs:
// it is given the tools, the instructions and the version, and a function that carries out a call.
// Several lines of one connection may be handled at once, so that "ping" is answered while a long call
// waits; the client seen in "initialize" is the only state they share, behind a lock that is never held
// across an await.
class MCPSession {
public:
    MCPSession(QList<MCPTool> tools, QString instructions, QString version);

    // The answer to one received line, without its line feed, or nothing for a notification or a line
    // with no method. The id of a request comes back exactly as it was written.
    QCoro::Task<std::optional<QByteArray>> handle(QByteArray line, MCPToolCall call);

    // The client seen in "initialize", or absent.
    std::optional<MCPClient> client() const;

    const QList<MCPTool>& tools() const { return m_tools; }

    // The protocol version answered when the client names none.
    static QString defaultProtocolVersion() { return QStringLiteral("2025-11-25"); }

    // One line of JSON, keys sorted, slashes as they are.
    static QByteArray encode(const QJsonObject& object);
    // A success and a failure for the request whose id is `id`, given as its JSON text.
    static QByteArray result(const QByteArray& id, const QJsonValue& result);
    static QByteArray error(const QByteArray& id, int code, const QString& message);

private:
    QJsonObject initialize(const QJsonObject& params);

    const QList<MCPTool> m_tools;
    const QString m_instructions;
    const QString m_version;
    mutable QMutex m_lock;
    std::optional<MCPClient> m_client;
};

} // namespace corvantis
