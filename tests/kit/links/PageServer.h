#pragma once

// A small HTTP/1.0 server on 127.0.0.1 for the reader's tests: each path answers with a status, a media
// type and a body; the request headers of every request are kept. Named apart from tests/support's
// LocalHttpServer, which the same test program links.
#include <QHash>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>

namespace corvantis::test {

class PageServer : public QObject {
public:
    struct Page {
        int status = 200;
        QByteArray type;
        QByteArray body;
    };

    PageServer() {
        m_server.listen(QHostAddress::LocalHost, 0);
        QObject::connect(&m_server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* socket = m_server.nextPendingConnection()) {
                QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { answer(socket); });
                QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            }
        });
    }

    QString url(const QString& path) const {
        return QStringLiteral("http://127.0.0.1:%1%2").arg(m_server.serverPort()).arg(path);
    }
    void serve(const QByteArray& path, Page page) { m_pages.insert(path, std::move(page)); }
    // Header names in lower case.
    QList<QHash<QByteArray, QByteArray>> requests;

private:
    void answer(QTcpSocket* socket) {
        QByteArray& buffer = m_buffers[socket];
        buffer += socket->readAll();
        const qsizetype end = buffer.indexOf("\r\n\r\n");
        if (end < 0)
            return;
        const QList<QByteArray> lines = buffer.left(end).split('\n');
        const QByteArray path = lines.value(0).split(' ').value(1);
        QHash<QByteArray, QByteArray> headers;
        for (qsizetype i = 1; i < lines.size(); ++i) {
            const qsizetype colon = lines[i].indexOf(':');
            if (colon > 0)
                headers.insert(lines[i].left(colon).trimmed().toLower(), lines[i].mid(colon + 1).trimmed());
        }
        requests.append(headers);
        m_buffers.remove(socket);
        const Page page = m_pages.value(path, Page{404, "text/plain", "missing"});
        QByteArray response = "HTTP/1.0 " + QByteArray::number(page.status) + " X\r\n";
        if (!page.type.isEmpty())
            response += "Content-Type: " + page.type + "\r\n";
        response +=
            "Content-Length: " + QByteArray::number(page.body.size()) + "\r\nConnection: close\r\n\r\n";
        socket->write(response);
        socket->write(page.body);
        socket->disconnectFromHost();
    }

    QTcpServer m_server;
    QHash<QByteArray, Page> m_pages;
    QHash<QTcpSocket*, QByteArray> m_buffers;
};

} // namespace corvantis::test
