#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>

namespace corvantis::test {

// A small HTTP/1.1 server on 127.0.0.1 for tests: each path answers with a status and a body. A route
// may declare a length other than the body's (a short file), or send only its first bytes and then keep
// the connection open without sending more (a download that is still running).
class LocalHttpServer : public QObject {
public:
    struct Route {
        int status = 200;
        QByteArray body;
        qint64 declaredLength = -1; // -1: the body's length
        qint64 holdAfter = -1;      // -1: send everything at once
    };

    LocalHttpServer();
    quint16 port() const { return m_server.serverPort(); }
    QString url(const QString& path) const;
    void route(const QString& path, const Route& route) { m_routes.insert(path, route); }

    // The request lines and headers received, one request a string, in order.
    const QList<QByteArray>& requests() const { return m_requests; }
    // How many bytes of bodies went out.
    qint64 bytesSent() const { return m_sent; }

private:
    void serve(QTcpSocket* socket);

    QTcpServer m_server;
    QHash<QString, Route> m_routes;
    QList<QByteArray> m_requests;
    qint64 m_sent = 0;
};

} // namespace corvantis::test
