#include "tests/support/LocalHttpServer.h"

#include <QTcpSocket>

namespace corvantis::test {

namespace {

QByteArray reason(int status) {
    switch (status) {
    case 200:
        return "OK";
    case 301:
        return "Moved Permanently";
    case 302:
        return "Found";
    case 404:
        return "Not Found";
    case 413:
        return "Payload Too Large";
    default:
        return "Status";
    }
}

// The request in `buffer` once all of it has arrived.
std::optional<HttpRequest> parse(const QByteArray& buffer) {
    const qsizetype end = buffer.indexOf("\r\n\r\n");
    if (end < 0)
        return std::nullopt;
    const QList<QByteArray> lines = buffer.left(end).split('\n');
    const QList<QByteArray> first = lines.value(0).trimmed().split(' ');
    HttpRequest request;
    request.method = first.value(0);
    const QUrl target(QString::fromUtf8(first.value(1)));
    request.path = target.path();
    request.query = QUrlQuery(target);
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const qsizetype colon = lines[i].indexOf(':');
        if (colon > 0)
            request.headers.insert(lines[i].left(colon).trimmed().toLower(),
                                   lines[i].mid(colon + 1).trimmed());
    }
    const qsizetype length = request.headers.value("content-length", "0").toLongLong();
    if (buffer.size() - (end + 4) < length)
        return std::nullopt;
    request.body = buffer.mid(end + 4, length);
    return request;
}

} // namespace

LocalHttpServer::LocalHttpServer(Handler handler, QObject* parent)
    : QObject(parent)
    , m_handler(std::move(handler)) {
    connect(&m_server, &QTcpServer::newConnection, this, &LocalHttpServer::accept);
    m_server.listen(QHostAddress::LocalHost, 0);
}

QUrl LocalHttpServer::url(const QString& path) const {
    return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(port()).arg(path));
}

int LocalHttpServer::requestCount(const QString& path) const {
    int count = 0;
    for (const HttpRequest& request : m_requests)
        count += request.path == path ? 1 : 0;
    return count;
}

void LocalHttpServer::accept() {
    while (QTcpSocket* socket = m_server.nextPendingConnection()) {
        auto buffer = std::make_shared<QByteArray>();
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QTcpSocket::readyRead, this, [this, socket, buffer] {
            buffer->append(socket->readAll());
            auto request = parse(*buffer);
            if (!request)
                return;
            buffer->clear();
            m_requests.append(*request);
            const HttpResponse response =
                m_handler ? m_handler(*request)
                          : m_routes.value(request->path, HttpResponse{404, "not found", {}});
            const qint64 length =
                response.declaredLength >= 0 ? response.declaredLength : response.body.size();
            QByteArray head =
                "HTTP/1.1 " + QByteArray::number(response.status) + ' ' + reason(response.status) + "\r\n";
            head += "Content-Length: " + QByteArray::number(length) + "\r\n";
            head += "Connection: close\r\n";
            for (const auto& [name, value] : response.headers)
                head += name + ": " + value + "\r\n";
            if (response.holdAfter >= 0) {
                // A download still under way: part of the body, then nothing until the client gives up.
                socket->write(head + "\r\n" + response.body.left(response.holdAfter));
            } else {
                socket->write(head + "\r\n" + response.body);
                socket->disconnectFromHost();
            }
            emit requestReceived();
        });
    }
}

} // namespace corvantis::test
