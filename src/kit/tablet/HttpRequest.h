#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

// A request read off a plain HTTP/1.1 connection: the head only, since the bridge takes no bodies.
namespace corvantis::tablet {

// The most a head may take before the blank line that ends it.
constexpr qsizetype headLimit = 32768;

struct HttpRequest {
    QString method;
    QString target;
    QString version;
    QHash<QString, QString> headers; // names in lower case, values trimmed
    QString path;                    // the target up to any "?", percent-decoded
};

struct HeadRead {
    enum class State {
        Incomplete, // no blank line yet: wait for more
        TooLarge,   // over `headLimit` without one
        Malformed,  // the request line isn't three parts
        Complete,
    };
    State state = State::Incomplete;
    HttpRequest request;
    qsizetype consumed = 0; // bytes of the head with its blank line, when complete
};

HeadRead readHead(const QByteArray& buffer);

// A reply in one piece, with no body left to stream; the connection closes after it.
QByteArray reply(const QByteArray& status, const QByteArray& type, const QByteArray& cache,
                 const QByteArray& body, const QByteArray& extraLines = {});

// The content type of a served file, by its extension.
QByteArray contentType(const QString& fileName);

} // namespace corvantis::tablet
