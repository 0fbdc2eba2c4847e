#pragma once

#include "kit/links/BuildSource.h"
#include "kit/support/Cancellation.h"

#include <QByteArray>
#include <QNetworkRequest>
#include <QUrl>
#include <functional>
#include <optional>
#include <qcoro/qcorotask.h>

class QNetworkAccessManager;

namespace corvantis {

// The text and title of a PDF document, as a PDF library reads them.
struct PdfText {
    QString text;
    std::optional<QString> title;
};
// Reads a PDF's text; none when the bytes are no PDF document. Supplied by the application layer.
using PdfReader = std::function<std::optional<PdfText>(const QByteArray&)>;

// What a fetch gave: the body, the status, the media type as the server named it, the final URL.
struct HTTPResponse {
    QByteArray body;
    int status = 0;
    QString contentType;
    QUrl url;
};
// Fetches one request; fails with SourceReaderError (network) or Cancelled.
using HTTPTransport = std::function<QCoro::Task<HTTPResponse>(QNetworkRequest, CancellationToken)>;

// Reads a link or a file the person shared into a BuildSource, on this machine.
namespace SourceReader {

inline constexpr qint64 maximumBytes = 12'000'000;
inline constexpr qsizetype maximumCharacters = 300'000;
QString userAgent();

// The http and https links of a text, in order, each once.
QList<QUrl> links(const QString& text);
// A GET with the reader's headers and a time-out of 30 seconds.
QNetworkRequest request(const QUrl& url);
// Fetches through `manager`, stopping past 12 MB. `offline` tells whether the machine is offline when a
// fetch fails; without it Qt's network information is asked, where it can tell.
HTTPTransport networkTransport(QNetworkAccessManager* manager, std::function<bool()> offline = {});
// Reads a link (or a file URL). Fails with SourceReaderError, or Cancelled.
QCoro::Task<BuildSource> read(QUrl url, HTTPTransport transport, PdfReader pdf,
                              CancellationToken cancellation = CancellationToken());
// Fails with SourceReaderError.
BuildSource readFile(const QString& path, const PdfReader& pdf);
// Sorts the bytes out by their media type (lowercased). Fails with SourceReaderError.
BuildSource source(const QByteArray& data, const QString& type, const QString& location,
                   const QString& fallbackTitle, const PdfReader& pdf);

} // namespace SourceReader

} // namespace corvantis
