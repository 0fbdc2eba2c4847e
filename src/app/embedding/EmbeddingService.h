#pragma once

#include "kit/embedding/EmbeddingIndex.h"
#include "kit/embedding/EmbeddingReconciler.h"
#include "kit/support/Cancellation.h"
#include "kit/support/UserFacingError.h"

#include <QCoro/QCoroTask>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QTimer>
#include <QUuid>
#include <functional>
#include <memory>
#include <optional>

namespace corvantis {

class EmbeddingModelManager;

// Keeps one index of a project in step with its graph, in the background: edits mark records dirty,
// a runner plans against the index off the main thread, embeds what changed in small batches and saves
// at most once in two seconds. Lives on the main thread; the plan, the embedding, the search and the
// writes run on other threads over copies.
class EmbeddingService : public QObject {
    Q_OBJECT
public:
    struct Phase {
        enum class Kind { Failed, Idle, WaitingForModel, Embedding };
        Kind kind = Kind::Idle;
        QString failure;
        bool operator==(const Phase& other) const = default;
    };
    // What the runner reads: the shape the database holds and every record, or nothing while the graph
    // is closed.
    struct Graph {
        GraphSchema schema;
        QHash<QString, NodeRecord> nodes;
        QHash<QString, RelRecord> rels;
    };
    // A name to match against the titles index, with the records it already stands for.
    struct NameQuery {
        QString key;
        QString name;
        QSet<QString> records;
    };
    struct NameMatch {
        QString record;
        float score = 0;
        bool operator==(const NameMatch& other) const = default;
    };
    // One passage of a text with the index's best hits for it.
    struct PassageHits {
        QString passage;
        QList<EmbeddingHit> hits;
    };

    static constexpr int jobsPerBatch = 8;

    // Loads the index "{name}.json"/"{name}.vec" of `folder` (an empty one when it is missing or damaged).
    EmbeddingService(EmbeddingSource source, const QString& folder, EmbeddingModelManager* models,
                     std::function<std::optional<Graph>()> graph, QObject* parent = nullptr);
    ~EmbeddingService() override;

    EmbeddingSource source() const { return m_source; }
    const QString& folder() const { return m_folder; }
    const EmbeddingIndex& index() const { return m_index; }
    Phase phase() const { return m_phase; }
    int completed() const { return m_completed; }
    int total() const { return m_total; }
    // Consecutive failures of the model.
    int failures() const { return m_failures; }
    // Tests shorten the waits: the debounce of saves and the unit of the retry back-off (1 s).
    void setTimings(int saveDelayMs, int retryUnitMs);

    // Asks for an update of these records, or of everything.
    void reconcile(const std::optional<QSet<QString>>& records = std::nullopt);
    // Takes records out of the index at once.
    void remove(const QSet<QString>& records);

    // The best passages for a text, as a query. Fails with EmbeddingError.
    QCoro::Task<QList<EmbeddingHit>> search(QString text,
                                            std::optional<QSet<QUuid>> properties = std::nullopt,
                                            std::optional<QSet<QString>> records = std::nullopt,
                                            int limit = 60);
    // The text's passages (at most 60, sampled evenly), each with its hits in the index.
    QCoro::Task<QList<PassageHits>> passageMatches(QString text, int limit);
    // For each name, the records of the titles index scoring at least `floor`, not its own records,
    // at most `limit`, best first.
    QCoro::Task<QHash<QString, QList<NameMatch>>> similarNames(QList<NameQuery> names, float floor,
                                                               int limit);

    // Stops everything and returns the task of a last save.
    QCoro::Task<> stop();
    bool isStopped() const { return m_stopped; }

signals:
    void phaseChanged();
    void progressChanged();
    // The index was saved (or its files deleted).
    void saved();

private:
    QCoro::Task<> run();
    QCoro::Task<> save();
    void scheduleSave();
    void fail(const UserFacingError& error, bool modelMissing);
    void setPhase(const Phase& phase);
    void setProgress(int completed, int total);

    EmbeddingSource m_source;
    QString m_folder;
    QString m_name;
    QPointer<EmbeddingModelManager> m_models;
    std::function<std::optional<Graph>()> m_graph;
    QUuid m_id = QUuid::createUuid();
    EmbeddingIndex m_index;
    Phase m_phase;
    int m_completed = 0;
    int m_total = 0;
    std::optional<QSet<QString>> m_dirty;
    bool m_hasDirty = false;
    int m_failures = 0;
    bool m_running = false;
    bool m_stopped = false;
    CancellationToken m_token;
    QTimer m_retry;
    QTimer m_saver;
    int m_retryUnitMs = 1000;
};

} // namespace corvantis
