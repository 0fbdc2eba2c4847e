#pragma once

// A small HTTP/1.1 server on 127.0.0.1 for tests: it records every request and answers each with what
// the test's handler gives, or the answer routed to its path. One request per connection; the
// connection closes after the answer, unless the answer holds back the rest of its body.
#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QTcpServer>
#include <QUrl>
#include <QUrlQuery>
#include <functional>

namespace corvantis::test {

struct HttpRequest {
    QByteArray method;
    QString path;
    QUrlQuery query;
    QHash<QByteArray, QByteArray> headers; // names in lower case
    QByteArray body;
};

struct HttpResponse {
    int status = 200;
    QByteArray body;
    QList<std::pair<QByteArray, QByteArray>> headers;
    qint64 declaredLength = -1; // the Content-Length sent; -1: the body's (another makes a short file)
    qint64 holdAfter = -1;      // send only this much of the body and keep the connection open; -1: all
};

class LocalHttpServer : public QObject {
    Q_OBJECT
public:
    using Handler = std::function<HttpResponse(const HttpRequest&)>;

    explicit LocalHttpServer(Handler handler = {}, QObject* parent = nullptr);
    void setHandler(Handler handler) { m_handler = std::move(handler); }
    // A fixed answer for a path, served when no handler is set.
    void route(const QString& path, const HttpResponse& response) { m_routes.insert(path, response); }

    quint16 port() const { return m_server.serverPort(); }
    // "http://127.0.0.1:{port}" with `path` behind it.
    QUrl url(const QString& path = QStringLiteral("/")) const;
    const QList<HttpRequest>& requests() const { return m_requests; }
    int requestCount(const QString& path) const;

signals:
    void requestReceived();

private:
    void accept();

    QTcpServer m_server;
    Handler m_handler;
    QHash<QString, HttpResponse> m_routes;
    QList<HttpRequest> m_requests;
};

} // namespace corvantis::test
