#pragma once

#include "kit/links/LinkPreview.h"

#include <QCoro/QCoroTask>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QUrl>
#include <functional>
#include <memory>

class QNetworkAccessManager;

namespace corvantis {

class PreviewFlight;

// Fetches what link cards show, once per link, and keeps it in a cache folder so that a card shows at
// once on later views and offline. Lives on the main thread, which is its one executor: network waits
// suspend it, so many cards load side by side. Failures are kept in memory only, so a later view tries
// again.
class LinkPreviewService : public QObject {
    Q_OBJECT
public:
    // The platform's own link metadata, asked when a page gave no title or no picture; none on Linux.
    struct Fallback {
        std::optional<QString> title;
        std::optional<QByteArray> image;
    };
    using FallbackFunction = std::function<QCoro::Task<std::optional<Fallback>>(QUrl)>;

    LinkPreviewService(const QString& directory, QNetworkAccessManager* network,
                       FallbackFunction fallback = {}, QObject* parent = nullptr);

    QString directory() const { return m_directory; }
    // The SHA-256 of the URL's text in lower-case hex: the cache's file names.
    static QString key(const QUrl& url);
    // What is known without the network: from memory, else from the cache folder.
    std::optional<LinkPreview> cached(const QUrl& url);
    // Always gives a preview; with `refresh`, fetches again even when one is known.
    QCoro::Task<LinkPreview> preview(QUrl url, bool refresh = false);

    // The hosts of the video special case; the environment's CORVANTIS_VIDEO_THUMBNAIL_BASE and
    // CORVANTIS_OEMBED_BASE replace them when set.
    static QUrl thumbnailBase();
    static QUrl oEmbedBase();

signals:
    // A preview was fetched (or failed); cards of the same link may show it.
    void previewReady(const QString& url);

private:
    struct Response {
        bool ok = false;
        QByteArray body;
        QUrl finalUrl;
    };
    QCoro::Task<Response> get(QUrl url, QByteArray accept);
    QCoro::Task<LinkPreview> fetch(QUrl url, QString key);
    // Writes the picture as the key's file; its name, or none when it can't be written.
    std::optional<QString> storeImage(const QString& key, const QByteArray& bytes);

    QString m_directory;
    QPointer<QNetworkAccessManager> m_network;
    FallbackFunction m_fallback;
    QHash<QString, LinkPreview> m_memory;
    QHash<QString, std::shared_ptr<PreviewFlight>> m_inFlight;
};

} // namespace corvantis
