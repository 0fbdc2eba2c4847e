#include "app/embedding/EmbeddingModelManager.h"

#include "app/app/Settings.h"
#include "kit/embedding/EmbeddingError.h"
#include "kit/support/Background.h"

#include <QCoro/QCoroFuture>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPointer>

namespace corvantis {

namespace {
const QString declinedKey = QStringLiteral("embedding.promptDeclined");
} // namespace

EmbeddingModelManager::EmbeddingModelManager(const EmbeddingModelSpec& spec, const QString& path,
                                             Settings* settings, QObject* parent)
    : QObject(parent)
    , m_spec(spec)
    , m_path(path)
    , m_settings(settings) {
    m_status.kind = QFileInfo::exists(path) ? Status::Kind::Ready : Status::Kind::Missing;
    if (m_settings)
        m_promptDeclined = m_settings->value(declinedKey).toBool();
    m_idle.setSingleShot(true);
    m_idle.setInterval(idleUnloadMs);
    connect(&m_idle, &QTimer::timeout, this, &EmbeddingModelManager::release);
}

EmbeddingModelManager::~EmbeddingModelManager() {
    m_downloadToken.cancel();
    release();
}

QString EmbeddingModelManager::modelPath(const QString& projectsRoot, const EmbeddingModelSpec& spec) {
    QDir root(projectsRoot);
    root.cdUp();
    return root.filePath(QStringLiteral("Models/") + spec.fileName);
}

void EmbeddingModelManager::setPromptDeclined(bool declined) {
    if (m_promptDeclined == declined)
        return;
    m_promptDeclined = declined;
    if (m_settings)
        m_settings->setValue(declinedKey, declined);
    emit promptDeclinedChanged();
}

void EmbeddingModelManager::setIdleInterval(int ms) {
    m_idle.setInterval(ms);
}

void EmbeddingModelManager::setStatus(const Status& status) {
    if (m_status == status)
        return;
    m_status = status;
    emit statusChanged();
}

void EmbeddingModelManager::touch() {
    m_idle.start();
}

QCoro::Task<std::shared_ptr<LlamaEmbedder>> EmbeddingModelManager::embedder() {
    if (m_embedder) {
        touch();
        // A copy: co_return moves from what it is given.
        co_return std::shared_ptr<LlamaEmbedder>(m_embedder);
    }
    if (m_shutDown)
        throw EmbeddingError::modelMissing();
    if (!m_loading) {
        if (!QFileInfo::exists(m_path))
            throw EmbeddingError::modelMissing();
        ++m_loads;
        m_loading = runOn(QThreadPool::globalInstance(), [path = m_path, id = m_spec.id] {
            return std::make_shared<LlamaEmbedder>(path, id, contextTokens);
        });
    }
    QPointer<EmbeddingModelManager> self = this;
    const QFuture<std::shared_ptr<LlamaEmbedder>> loading = *m_loading;
    const int generation = m_loadGeneration;
    std::shared_ptr<LlamaEmbedder> loaded;
    try {
        loaded = co_await loading;
    } catch (...) {
        if (self && m_loadGeneration == generation && m_loading) {
            m_loading.reset();
            ++m_loadGeneration;
        }
        throw;
    }
    if (!self)
        throw Cancelled();
    // The first asker to resume stores what the load made; the others find it stored.
    if (m_loadGeneration == generation && m_loading) {
        m_loading.reset();
        ++m_loadGeneration;
        m_embedder = loaded;
        emit isLoadedChanged();
    }
    touch();
    co_return loaded;
}

void EmbeddingModelManager::release() {
    m_idle.stop();
    if (!m_embedder)
        return;
    std::shared_ptr<LlamaEmbedder> closing = std::move(m_embedder);
    m_embedder.reset();
    emit isLoadedChanged();
    closing->close();
    // The last reference goes on a thread of its own, after any batch still running let go of it.
    QThreadPool::globalInstance()->start([closing = std::move(closing)]() mutable { closing.reset(); });
}

void EmbeddingModelManager::remove() {
    release();
    cancelDownload();
    QFile::remove(m_path);
    QFile::remove(ModelDownloader::partPath(m_path));
    if (!m_downloading)
        setStatus({Status::Kind::Missing, 0, {}});
}

void EmbeddingModelManager::startDownload() {
    if (m_downloading || m_status.kind == Status::Kind::Ready || m_shutDown)
        return;
    m_downloading = true;
    m_downloadToken = CancellationToken();
    setStatus({Status::Kind::Downloading, 0, {}});
    m_download = std::make_shared<QCoro::Task<>>(runDownload());
}

void EmbeddingModelManager::cancelDownload() {
    if (m_downloading)
        m_downloadToken.cancel();
}

QCoro::Task<> EmbeddingModelManager::runDownload() {
    QPointer<EmbeddingModelManager> self = this;
    const CancellationToken token = m_downloadToken;
    std::optional<Status> outcome;
    try {
        // Named before awaiting: GCC 12 mishandles temporaries inside a co_await expression.
        std::function<void(double)> progress = [self](double fraction) {
            if (self && self->m_status.kind == Status::Kind::Downloading)
                self->setStatus({Status::Kind::Downloading, fraction, {}});
        };
        QCoro::Task<> downloading = m_downloader.download(m_spec, m_path, progress, token);
        co_await downloading;
        outcome = Status{Status::Kind::Ready, 0, {}};
    } catch (const Cancelled&) {
        outcome = Status{Status::Kind::Missing, 0, {}};
    } catch (const UserFacingError& error) {
        outcome = Status{Status::Kind::Failed, 0, error.message()};
    }
    if (!self)
        co_return;
    m_downloading = false;
    setStatus(*outcome);
    if (outcome->kind == Status::Kind::Ready) {
        const auto handlers = std::exchange(m_readyHandlers, {});
        for (const auto& handler : handlers)
            handler();
    }
}

QCoro::Task<> EmbeddingModelManager::shutdown() {
    QPointer<EmbeddingModelManager> self = this;
    m_shutDown = true;
    cancelDownload();
    m_idle.stop();
    if (m_loading) {
        const QFuture<std::shared_ptr<LlamaEmbedder>> loading = *m_loading;
        try {
            const std::shared_ptr<LlamaEmbedder> loaded = co_await loading;
            if (self && m_loading) {
                m_loading.reset();
                ++m_loadGeneration;
                m_embedder = loaded;
            }
        } catch (const UserFacingError&) {
            // Nothing was loaded: nothing to close.
        }
        if (!self)
            co_return;
    }
    if (m_embedder) {
        std::shared_ptr<LlamaEmbedder> closing = std::move(m_embedder);
        m_embedder.reset();
        emit isLoadedChanged();
        QFuture<void> closed = closing->close();
        co_await closed;
    }
    LlamaEmbedder::shutDownEngine();
}

void EmbeddingModelManager::addReadyHandler(const QUuid& id, std::function<void()> handler) {
    m_readyHandlers.insert(id, std::move(handler));
}

void EmbeddingModelManager::removeReadyHandler(const QUuid& id) {
    m_readyHandlers.remove(id);
}

} // namespace corvantis
