#pragma once

#include "kit/embedding/EmbeddingModelSpec.h"
#include "kit/embedding/LlamaEmbedder.h"
#include "kit/embedding/ModelDownloader.h"
#include "kit/support/Cancellation.h"

#include <QCoro/QCoroTask>
#include <QFuture>
#include <QHash>
#include <QObject>
#include <QTimer>
#include <QUuid>
#include <functional>
#include <memory>
#include <optional>

namespace corvantis {

class Settings;

// The program's one embedding model: whether its file is on the disk, its download, and one loaded
// embedder shared by every asker, unloaded after three idle minutes. Lives on the main thread.
class EmbeddingModelManager : public QObject {
    Q_OBJECT
public:
    struct Status {
        enum class Kind { Downloading, Failed, Missing, Ready };
        Kind kind = Kind::Missing;
        double fraction = 0; // while downloading, from 0 to 1
        QString failure;     // when failed, the sentence
        bool operator==(const Status& other) const = default;
    };

    static constexpr int idleUnloadMs = 180000;
    static constexpr int contextTokens = 2048;

    // `path` is the model file ("Models/{file name}" beside "Projects"); `settings` keeps whether the
    // person declined the download prompt (may be null).
    EmbeddingModelManager(const EmbeddingModelSpec& spec, const QString& path, Settings* settings,
                          QObject* parent = nullptr);
    ~EmbeddingModelManager() override;

    // The folder of the model file: "Models" beside the projects' root.
    static QString modelPath(const QString& projectsRoot, const EmbeddingModelSpec& spec);

    const EmbeddingModelSpec& spec() const { return m_spec; }
    const QString& path() const { return m_path; }
    Status status() const { return m_status; }
    bool isLoaded() const { return m_embedder != nullptr; }
    bool promptDeclined() const { return m_promptDeclined; }
    void setPromptDeclined(bool declined);
    // How many loads were started, for tests and measuring.
    int loadCount() const { return m_loads; }
    // The idle time after which a loaded model is unloaded (tests shorten it).
    void setIdleInterval(int ms);

    // The loaded embedder, loading it first (one load however many ask at once). Fails with
    // EmbeddingError: modelMissing when the file isn't there, modelFailed when it can't be loaded.
    QCoro::Task<std::shared_ptr<LlamaEmbedder>> embedder();

    void startDownload();
    void cancelDownload();
    // Unloads the model and deletes its file.
    void remove();
    // Unloads the model; the embedder closes on a thread of its own.
    void release();
    // At quit: stops the download and the idle timer, waits for a load, closes the embedder and frees
    // llama.cpp's process-wide state.
    QCoro::Task<> shutdown();

    // Called once when the model becomes ready after a download, then forgotten.
    void addReadyHandler(const QUuid& id, std::function<void()> handler);
    void removeReadyHandler(const QUuid& id);

signals:
    void statusChanged();
    void isLoadedChanged();
    void promptDeclinedChanged();

private:
    void setStatus(const Status& status);
    void touch();
    QCoro::Task<> runDownload();

    EmbeddingModelSpec m_spec;
    QString m_path;
    Settings* m_settings;
    Status m_status;
    bool m_promptDeclined = false;
    std::shared_ptr<LlamaEmbedder> m_embedder;
    std::optional<QFuture<std::shared_ptr<LlamaEmbedder>>> m_loading;
    int m_loadGeneration = 0;
    int m_loads = 0;
    QTimer m_idle;
    ModelDownloader m_downloader;
    bool m_downloading = false;
    CancellationToken m_downloadToken;
    std::shared_ptr<QCoro::Task<>> m_download;
    QHash<QUuid, std::function<void()>> m_readyHandlers;
    bool m_shutDown = false;
};

} // namespace corvantis
