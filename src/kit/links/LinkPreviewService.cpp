#include "kit/links/LinkPreviewService.h"

#include "kit/links/HTMLMetadata.h"
#include "kit/links/LinkURL.h"
#include "kit/support/AtomicFile.h"
#include "kit/support/Json.h"
#include "kit/support/UserFacingError.h"

#include <QCoro/QCoroNetworkReply>
#include <QCoro/QCoroSignal>
#include <QCryptographicHash>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrlQuery>

namespace corvantis {

namespace {

constexpr int fetchTimeoutMs = 30 * 1000;
const QByteArray userAgent =
    "Mozilla/5.0 (Macintosh; Intel Mac OS X 10_15_7) AppleWebKit/605.1.15 (KHTML, like "
    "Gecko) Version/26.0 Safari/605.1.15";

QUrl baseFromEnvironment(const char* variable, const QString& fallback) {
    const QString set = qEnvironmentVariable(variable);
    return QUrl(set.isEmpty() ? fallback : set);
}

// `base` with `path` behind its own path.
QUrl below(const QUrl& base, const QString& path) {
    QUrl url = base;
    QString basePath = url.path();
    if (basePath.endsWith('/'))
        basePath.chop(1);
    url.setPath(basePath + path);
    return url;
}

} // namespace

// One fetch in progress, which every card of the same link awaits.
class PreviewFlight : public QObject {
    Q_OBJECT
public:
    bool done = false;
    LinkPreview result;
signals:
    void finished();
};

LinkPreviewService::LinkPreviewService(const QString& directory, QNetworkAccessManager* network,
                                       FallbackFunction fallback, QObject* parent)
    : QObject(parent)
    , m_directory(directory)
    , m_network(network)
    , m_fallback(std::move(fallback)) {
}

QString LinkPreviewService::key(const QUrl& url) {
    return QString::fromLatin1(
        QCryptographicHash::hash(url.toString().toUtf8(), QCryptographicHash::Sha256).toHex());
}

QUrl LinkPreviewService::thumbnailBase() {
    return baseFromEnvironment("CORVANTIS_VIDEO_THUMBNAIL_BASE", QStringLiteral("https://i.ytimg.com"));
}

QUrl LinkPreviewService::oEmbedBase() {
    return baseFromEnvironment("CORVANTIS_OEMBED_BASE", QStringLiteral("https://www.youtube.com"));
}

std::optional<LinkPreview> LinkPreviewService::cached(const QUrl& url) {
    const QString k = key(url);
    if (auto it = m_memory.constFind(k); it != m_memory.cend())
        return *it;
    try {
        LinkPreview preview =
            LinkPreview::fromJson(json::decodeObject(readFile(m_directory + '/' + k + ".json")));
        m_memory.insert(k, preview);
        return preview;
    } catch (const json::DecodeError&) {
    } catch (const FileError&) {
    }
    return std::nullopt;
}

QCoro::Task<LinkPreview> LinkPreviewService::preview(QUrl url, bool refresh) {
    const QString k = key(url);
    if (!refresh) {
        if (auto known = cached(url))
            co_return *known;
    }
    if (auto it = m_inFlight.constFind(k); it != m_inFlight.cend()) {
        std::shared_ptr<PreviewFlight> flight = *it;
        if (!flight->done)
            co_await qCoro(flight.get(), &PreviewFlight::finished);
        co_return flight->result;
    }
    auto flight = std::make_shared<PreviewFlight>();
    m_inFlight.insert(k, flight);
    QPointer<LinkPreviewService> self(this);
    LinkPreview result = co_await fetch(url, k);
    flight->result = result;
    flight->done = true;
    if (self) {
        m_inFlight.remove(k);
        m_memory.insert(k, result);
    }
    emit flight->finished();
    if (self)
        emit previewReady(url.toString());
    co_return result;
}

QCoro::Task<LinkPreviewService::Response> LinkPreviewService::get(QUrl url, QByteArray accept) {
    Response response;
    if (!m_network)
        co_return response;
    QNetworkRequest request(url);
    request.setRawHeader("Accept", accept);
    request.setRawHeader("User-Agent", userAgent);
    request.setTransferTimeout(fetchTimeoutMs);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    std::unique_ptr<QNetworkReply> reply(m_network->get(request));
    co_await reply.get();
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    response.ok = reply->error() == QNetworkReply::NoError && status >= 200 && status < 300;
    response.body = reply->readAll();
    response.finalUrl = reply->url();
    co_return response;
}

std::optional<QString> LinkPreviewService::storeImage(const QString& key, const QByteArray& bytes) {
    if (bytes.isEmpty())
        return std::nullopt;
    try {
        writeFileAtomically(m_directory + '/' + key, bytes);
        return key;
    } catch (const FileError&) {
        return std::nullopt;
    }
}

QCoro::Task<LinkPreview> LinkPreviewService::fetch(QUrl url, QString key) {
    QPointer<LinkPreviewService> self(this);
    LinkPreview preview;
    preview.url = url.toString();
    preview.site = LinkURL::site(url);
    std::optional<QByteArray> picture;
    bool fetched = false;

    if (auto video = LinkURL::youTubeID(url)) {
        preview.isVideo = true;
        const Response thumbnail = co_await get(
            below(thumbnailBase(), QStringLiteral("/vi/%1/hqdefault.jpg").arg(*video)), "image/*");
        if (!self)
            co_return preview;
        QUrl oEmbed = below(oEmbedBase(), QStringLiteral("/oembed"));
        QUrlQuery query;
        query.addQueryItem(QStringLiteral("url"), QString::fromUtf8(QUrl::toPercentEncoding(url.toString())));
        query.addQueryItem(QStringLiteral("format"), QStringLiteral("json"));
        oEmbed.setQuery(query);
        const Response about = co_await get(oEmbed, "application/json");
        if (!self)
            co_return preview;
        if (thumbnail.ok && !thumbnail.body.isEmpty())
            picture = thumbnail.body;
        if (about.ok) {
            const QJsonObject object = QJsonDocument::fromJson(about.body).object();
            const QString title = object.value(QStringLiteral("title")).toString().trimmed();
            if (!title.isEmpty())
                preview.title = title;
        }
        fetched = thumbnail.ok || about.ok;
    } else {
        const Response page = co_await get(url, "text/html,application/xhtml+xml");
        if (!self)
            co_return preview;
        if (page.ok) {
            fetched = true;
            const HTMLMetadata::Result meta =
                HTMLMetadata::parse(QString::fromUtf8(page.body), page.finalUrl);
            preview.title = meta.title;
            preview.isVideo = meta.isVideo;
            for (const auto& [candidate, isIcon] :
                 {std::pair{meta.image, false}, std::pair{meta.icon, true}}) {
                if (picture || !candidate)
                    continue;
                const Response image = co_await get(*candidate, "image/*");
                if (!self)
                    co_return preview;
                if (image.ok && !image.body.isEmpty()) {
                    picture = image.body;
                    preview.imageIsIcon = isIcon;
                }
            }
        }
    }

    if (fetched && m_fallback && (!preview.title || !picture)) {
        const auto extra = co_await m_fallback(url);
        if (!self)
            co_return preview;
        if (extra) {
            if (!preview.title && extra->title)
                preview.title = extra->title;
            if (!picture && extra->image) {
                picture = extra->image;
                preview.imageIsIcon = false;
            }
        }
    }
    if (!fetched)
        co_return preview; // kept in memory only: a later view tries again

    if (picture)
        preview.imageFile = storeImage(key, *picture);
    try {
        writeFileAtomically(m_directory + '/' + key + ".json", json::encode(preview.toJson()));
    } catch (const FileError&) {
        // The card still shows; the cache is tried again at the next fetch.
    }
    co_return preview;
}

} // namespace corvantis

#include "LinkPreviewService.moc"
