#include "kit/links/SourceReader.h"

#include "kit/links/LinkFinder.h"
#include "kit/links/LinkURL.h"
#include "kit/links/PageText.h"
#include "kit/links/SourceReaderError.h"

#include <QFile>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkInformation>
#include <QNetworkReply>
#include <QPointer>
#include <QStringDecoder>
#include <QUuid>
#include <QtConcurrent/QtConcurrentRun>
#include <qcoro/qcorofuture.h>
#include <qcoro/qcoronetworkreply.h>

namespace corvantis::SourceReader {

namespace {

QString decode(const QByteArray& data, bool* ok = nullptr) {
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = utf8.decode(data);
    if (!utf8.hasError()) {
        if (ok)
            *ok = true;
        return text;
    }
    if (ok)
        *ok = false;
    return QString::fromLatin1(data);
}

bool machineOffline() {
    if (!QNetworkInformation::instance())
        QNetworkInformation::loadBackendByFeatures(QNetworkInformation::Feature::Reachability);
    const QNetworkInformation* information = QNetworkInformation::instance();
    return information && information->supports(QNetworkInformation::Feature::Reachability) &&
           information->reachability() == QNetworkInformation::Reachability::Disconnected;
}

BuildSource finished(QString title, const QString& location, QString text) {
    if (text.split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts).isEmpty())
        throw SourceReaderError::empty();
    BuildSource source;
    source.id = QUuid::createUuid();
    source.title = title;
    source.location = location;
    if (text.size() > maximumCharacters) {
        text.truncate(maximumCharacters);
        source.truncated = true;
    }
    source.text = text;
    return source;
}

// Runs `work` on the thread pool. QtConcurrent would wrap a typed failure into an anonymous one, so the
// sentence travels back as a value and is thrown again here.
template <typename Work> QCoro::Task<BuildSource> offThread(Work work) {
    struct Outcome {
        std::optional<BuildSource> source;
        std::optional<SourceReaderError> error;
    };
    // Awaited futures are named first: GCC 12 may destroy temporaries of a co_await twice.
    QFuture<Outcome> future = QtConcurrent::run([work] {
        try {
            return Outcome{work(), std::nullopt};
        } catch (const SourceReaderError& error) {
            return Outcome{std::nullopt, error};
        }
    });
    Outcome outcome = co_await future;
    if (outcome.error)
        throw *outcome.error;
    co_return *outcome.source;
}

} // namespace

QString userAgent() {
    return QStringLiteral(
        "Mozilla/5.0 (Macintosh; Intel Mac OS X 10_15_7) AppleWebKit/605.1.15 (KHTML, like Gecko) "
        "Version/26.0 Safari/605.1.15");
}

QList<QUrl> links(const QString& text) {
    return LinkFinder::links(text);
}

QNetworkRequest request(const QUrl& url) {
    QNetworkRequest request(url);
    request.setRawHeader("User-Agent", userAgent().toUtf8());
    request.setRawHeader("Accept",
                         "text/html,application/xhtml+xml,application/pdf,text/plain;q=0.9,*/*;q=0.5");
    request.setTransferTimeout(30'000);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    return request;
}

HTTPTransport networkTransport(QNetworkAccessManager* manager, std::function<bool()> offline) {
    QPointer<QNetworkAccessManager> guarded(manager);
    return [guarded, offline](QNetworkRequest request,
                              CancellationToken cancellation) -> QCoro::Task<HTTPResponse> {
        if (!guarded)
            throw SourceReaderError::network(QStringLiteral("Couldn't open ") + request.url().host());
        const QString host = request.url().host();
        QNetworkReply* reply = guarded->get(request);
        std::unique_ptr<QNetworkReply, void (*)(QNetworkReply*)> owned(
            reply, [](QNetworkReply* r) { r->deleteLater(); });
        bool tooLarge = false;
        QObject::connect(reply, &QNetworkReply::downloadProgress, reply,
                         [reply, &tooLarge](qint64 received, qint64 total) {
                             if (received > maximumBytes || total > maximumBytes) {
                                 tooLarge = true;
                                 reply->abort();
                             }
                         });
        CancellationHandler onCancel(cancellation, [reply] { reply->abort(); });
        co_await reply;
        cancellation.check();
        if (tooLarge)
            throw SourceReaderError::unsupported(QStringLiteral("anything this large (over 12 MB)"));
        const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
        if (reply->error() != QNetworkReply::NoError && !status.isValid()) {
            const bool isOffline = offline ? offline() : machineOffline();
            throw SourceReaderError::network(isOffline ? QStringLiteral("You're offline.")
                                                       : QStringLiteral("Couldn't open ") + host);
        }
        HTTPResponse response;
        response.status = status.toInt();
        response.contentType = reply->header(QNetworkRequest::ContentTypeHeader).toString();
        response.url = reply->url();
        response.body = reply->readAll();
        co_return response;
    };
}

QCoro::Task<BuildSource> read(QUrl url, HTTPTransport transport, PdfReader pdf,
                              CancellationToken cancellation) {
    if (url.isLocalFile()) {
        const QString path = url.toLocalFile();
        QCoro::Task<BuildSource> reading = offThread([path, pdf] { return readFile(path, pdf); });
        co_return co_await std::move(reading);
    }
    if (LinkURL::youTubeID(url))
        throw SourceReaderError::video();
    const QNetworkRequest get = request(url);
    QCoro::Task<HTTPResponse> fetching = transport(get, cancellation);
    const HTTPResponse response = co_await std::move(fetching);
    if (response.status < 200 || response.status > 299)
        throw SourceReaderError::status(response.status);
    const QString type = response.contentType.toLower();
    const QUrl finalUrl = response.url.isValid() ? response.url : url;
    const QString location = finalUrl.toString();
    const QString fallback = LinkURL::site(finalUrl);
    const QByteArray body = response.body;
    QCoro::Task<BuildSource> sorting = offThread(
        [body, type, location, fallback, pdf] { return source(body, type, location, fallback, pdf); });
    co_return co_await std::move(sorting);
}

BuildSource readFile(const QString& path, const PdfReader& pdf) {
    const QFileInfo info(path);
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw SourceReaderError::network(QStringLiteral("Couldn't open ") + info.fileName());
    if (file.size() > maximumBytes)
        throw SourceReaderError::unsupported(QStringLiteral("anything this large (over 12 MB)"));
    const QByteArray data = file.readAll();
    const QString extension = info.suffix().toLower();
    QString type = QStringLiteral("text/plain");
    if (extension == QLatin1String("pdf"))
        type = QStringLiteral("application/pdf");
    else if (extension == QLatin1String("html") || extension == QLatin1String("htm"))
        type = QStringLiteral("text/html");
    return source(data, type, info.filePath(), info.fileName(), pdf);
}

BuildSource source(const QByteArray& data, const QString& type, const QString& location,
                   const QString& fallbackTitle, const PdfReader& pdf) {
    if (data.size() > maximumBytes)
        throw SourceReaderError::unsupported(QStringLiteral("anything this large (over 12 MB)"));
    enum class Sort { Pdf, Html, Text };
    Sort sort;
    if (type.contains(QLatin1String("pdf"))) {
        sort = Sort::Pdf;
    } else if (type.contains(QLatin1String("html"))) {
        sort = Sort::Html;
    } else if (type.contains(QLatin1String("xml")) || type.contains(QLatin1String("json")) ||
               type.startsWith(QLatin1String("text/"))) {
        sort = Sort::Text;
    } else if (type.startsWith(QLatin1String("image/"))) {
        throw SourceReaderError::unsupported(
            QStringLiteral("pictures from a link; drop the picture in instead"));
    } else if (type.isEmpty()) {
        bool ok = false;
        const QString text = decode(data, &ok);
        if (!ok)
            throw SourceReaderError::unsupported(QStringLiteral("this kind of file"));
        sort = text.contains(QLatin1String("<html"), Qt::CaseInsensitive) ? Sort::Html : Sort::Text;
    } else {
        throw SourceReaderError::unsupported(type.section(QLatin1Char(';'), 0, 0).trimmed());
    }
    switch (sort) {
    case Sort::Html: {
        const PageText::Extracted page = PageText::extract(decode(data));
        return finished(page.title.value_or(fallbackTitle), location, page.text);
    }
    case Sort::Pdf: {
        std::optional<PdfText> document = pdf ? pdf(data) : std::nullopt;
        if (!document)
            throw SourceReaderError::unsupported(QStringLiteral("this PDF"));
        const QString title =
            document->title && !document->title->trimmed().isEmpty() ? *document->title : fallbackTitle;
        return finished(title, location, PageText::tidy(document->text));
    }
    case Sort::Text:
        return finished(fallbackTitle, location, PageText::tidy(decode(data)));
    }
    return {};
}

} // namespace corvantis::SourceReader
