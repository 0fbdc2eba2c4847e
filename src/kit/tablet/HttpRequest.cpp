#include "kit/tablet/HttpRequest.h"

#include <QFileInfo>
#include <QUrl>

namespace corvantis::tablet {

HeadRead readHead(const QByteArray& buffer) {
    HeadRead read;
    const qsizetype end = buffer.indexOf("\r\n\r\n");
    if (end < 0) {
        read.state = buffer.size() > headLimit ? HeadRead::State::TooLarge : HeadRead::State::Incomplete;
        return read;
    }
    read.consumed = end + 4;
    const QString head = QString::fromUtf8(buffer.constData(), end);
    const QStringList lines = head.split(QStringLiteral("\r\n"));
    const QStringList first = lines.first().split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (first.size() != 3) {
        read.state = HeadRead::State::Malformed;
        return read;
    }
    HttpRequest& request = read.request;
    request.method = first[0];
    request.target = first[1];
    request.version = first[2];
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const qsizetype colon = lines[i].indexOf(QLatin1Char(':'));
        if (colon <= 0)
            continue;
        request.headers.insert(lines[i].left(colon).trimmed().toLower(), lines[i].mid(colon + 1).trimmed());
    }
    const qsizetype query = request.target.indexOf(QLatin1Char('?'));
    request.path = QUrl::fromPercentEncoding(request.target.left(query).toUtf8());
    read.state = HeadRead::State::Complete;
    return read;
}

QByteArray reply(const QByteArray& status, const QByteArray& type, const QByteArray& cache,
                 const QByteArray& body, const QByteArray& extraLines) {
    return "HTTP/1.1 " + status + "\r\nContent-Type: " + type +
           "\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\nCache-Control: " + cache + "\r\n" +
           extraLines + "Connection: close\r\n\r\n" + body;
}

QByteArray contentType(const QString& fileName) {
    const QString extension = QFileInfo(fileName).suffix().toLower();
    if (extension == QLatin1String("html"))
        return "text/html; charset=utf-8";
    if (extension == QLatin1String("js"))
        return "text/javascript; charset=utf-8";
    if (extension == QLatin1String("css"))
        return "text/css";
    if (extension == QLatin1String("woff2"))
        return "font/woff2";
    return "text/plain";
}

} // namespace corvantis::tablet
