#include "tests/support/LocalHttpServer.h"

namespace corvantis::test {

LocalHttpServer::LocalHttpServer() {
    m_server.listen(QHostAddress::LocalHost, 0);
    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket* socket = m_server.nextPendingConnection()) {
            socket->setParent(this);
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { serve(socket); });
        }
    });
}

QString LocalHttpServer::url(const QString& path) const {
    return QStringLiteral("http://127.0.0.1:%1%2").arg(port()).arg(path);
}

void LocalHttpServer::serve(QTcpSocket* socket) {
    QByteArray request = socket->property("request").toByteArray() + socket->readAll();
    socket->setProperty("request", request);
    const qsizetype end = request.indexOf("\r\n\r\n");
    if (end < 0 || socket->property("answered").toBool())
        return;
    socket->setProperty("answered", true);
    m_requests.append(request.left(end));
    const QList<QByteArray> words = request.left(request.indexOf("\r\n")).split(' ');
    const QString path = words.size() > 1 ? QString::fromLatin1(words[1]) : QString();
    const Route route = m_routes.value(path, Route{404, QByteArrayLiteral("not here"), -1, -1});
    const qint64 length = route.declaredLength >= 0 ? route.declaredLength : route.body.size();
    QByteArray head =
        "HTTP/1.1 " + QByteArray::number(route.status) + (route.status == 200 ? " OK" : " Error") +
        "\r\nContent-Type: application/octet-stream\r\nContent-Length: " + QByteArray::number(length) +
        "\r\nConnection: close\r\n\r\n";
    socket->write(head);
    const QByteArray body = route.holdAfter >= 0 ? route.body.left(route.holdAfter) : route.body;
    socket->write(body);
    m_sent += body.size();
    if (route.holdAfter < 0)
        socket->disconnectFromHost();
}

} // namespace corvantis::test
