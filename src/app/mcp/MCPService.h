#pragma once

#include "kit/mcp/MCPSession.h"

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <memory>
#include <optional>

class QTcpServer;
class QTcpSocket;

namespace corvantis {

// The connector's listener inside the running program: loopback only, on the first free port of ten,
// each connection greeted by the relay before it may speak, and given its own session. Lines of one
// connection are handled at once, each as its own task on the main thread; answers go out as they are
// ready.
class MCPService : public QObject {
    Q_OBJECT
public:
    MCPService(MCPToolCall call, QString version, QObject* parent = nullptr);
    ~MCPService() override;

    // The port listened on, or absent when stopped or every port is taken.
    std::optional<quint16> port() const { return m_port; }
    // Why there is no port, for the Connector pane.
    std::optional<QString> problem() const { return m_problem; }
    // The names of the connected apps, each once, in the order they connected.
    QStringList connected() const { return m_connected; }

    // Listens on the first free port of the ten; stopping closes the listener and every connection.
    void start();
    void stop();

signals:
    void portChanged();
    void problemChanged();
    void connectedChanged();

private:
    struct Connection {
        QTcpSocket* socket = nullptr;
        QByteArray buffer;
        bool greeted = false;
        std::shared_ptr<MCPSession> session;
        quint64 order = 0;
    };

    void accept();
    void receive(QTcpSocket* socket);
    void drop(QTcpSocket* socket);
    void refreshConnected();
    void setPort(std::optional<quint16> port);
    void setProblem(std::optional<QString> problem);

    MCPToolCall m_call;
    QString m_version;
    QTcpServer* m_server = nullptr;
    QHash<QTcpSocket*, Connection> m_sessions;
    quint64 m_nextOrder = 0;
    std::optional<quint16> m_port;
    std::optional<QString> m_problem;
    QStringList m_connected;
};

} // namespace corvantis
