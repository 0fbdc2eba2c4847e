#include "app/embedding/EmbeddingService.h"

#include "app/embedding/EmbeddingModelManager.h"
#include "kit/embedding/EmbeddingError.h"
#include "kit/embedding/TextChunker.h"
#include "kit/support/Background.h"

#include <QCoro/QCoroFuture>
#include <QThread>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace corvantis {

namespace {

// Background work of the indexes: plans, searches over copies and file writes, on threads niced below
// the interface's.
QThreadPool* utilityPool() {
    static QThreadPool* pool = [] {
        auto* created = new QThreadPool();
        created->setMaxThreadCount(2);
        created->setThreadPriority(QThread::LowPriority);
        return created;
    }();
    return pool;
}

template <typename Work> auto atUtility(Work work) {
    return runOn(utilityPool(), [work = std::move(work)]() mutable {
        static thread_local bool lowered = false;
        if (!lowered) {
            setpriority(PRIO_PROCESS, pid_t(syscall(SYS_gettid)), 10);
            lowered = true;
        }
        return work();
    });
}

} // namespace

EmbeddingService::EmbeddingService(EmbeddingSource source, const QString& folder,
                                   EmbeddingModelManager* models, std::function<std::optional<Graph>()> graph,
                                   QObject* parent)
    : QObject(parent)
    , m_source(source)
    , m_folder(folder)
    , m_name(EmbeddingSources::fileName(source))
    , m_models(models)
    , m_graph(std::move(graph))
    , m_index(EmbeddingIndex::load(folder, m_name)) {
    m_retry.setSingleShot(true);
    connect(&m_retry, &QTimer::timeout, this, [this] { reconcile(std::nullopt); });
    m_saver.setSingleShot(true);
    m_saver.setInterval(2000);
    connect(&m_saver, &QTimer::timeout, this, [this] { save(); });
}

EmbeddingService::~EmbeddingService() {
    m_stopped = true;
    m_token.cancel();
    if (m_models)
        m_models->removeReadyHandler(m_id);
}

void EmbeddingService::setTimings(int saveDelayMs, int retryUnitMs) {
    m_saver.setInterval(saveDelayMs);
    m_retryUnitMs = retryUnitMs;
}

void EmbeddingService::setPhase(const Phase& phase) {
    if (m_phase == phase)
        return;
    m_phase = phase;
    emit phaseChanged();
}

void EmbeddingService::setProgress(int completed, int total) {
    if (m_completed == completed && m_total == total)
        return;
    m_completed = completed;
    m_total = total;
    emit progressChanged();
}

void EmbeddingService::reconcile(const std::optional<QSet<QString>>& records) {
    if (m_stopped)
        return;
    if (!m_hasDirty)
        m_dirty = records;
    else if (!m_dirty || !records)
        m_dirty.reset();
    else
        m_dirty->unite(*records);
    m_hasDirty = true;
    m_retry.stop();
    if (!m_running)
        run();
}

void EmbeddingService::remove(const QSet<QString>& records) {
    qsizetype removed = 0;
    for (const QString& record : records)
        removed += m_index.remove(record);
    if (removed > 0)
        scheduleSave();
}

QCoro::Task<> EmbeddingService::run() {
    m_running = true;
    QPointer<EmbeddingService> self = this;
    const CancellationToken token = m_token;
    try {
        while (m_hasDirty && !m_stopped) {
            const std::optional<QSet<QString>> dirty = std::exchange(m_dirty, std::nullopt);
            m_hasDirty = false;
            std::optional<Graph> graph = m_graph ? m_graph() : std::nullopt;
            if (!graph || !m_models)
                break;
            const EmbeddingModelSpec spec = m_models->spec();
            if (m_index.model() != spec.id)
                m_index.prepare(spec.id, m_index.dimension() > 0 ? m_index.dimension() : spec.dimension);
            const EmbeddingIndex snapshot = m_index;
            const EmbeddingSource source = m_source;
            QFuture<EmbeddingPlan> planning =
                atUtility([graph = std::move(*graph), snapshot, spec, dirty, source] {
                    return EmbeddingReconciler::plan(graph.schema, graph.nodes, graph.rels, snapshot, spec.id,
                                                     dirty, source);
                });
            const EmbeddingPlan plan = co_await planning;
            if (!self || m_stopped)
                co_return;
            if (m_index.remove(plan.stale) > 0)
                scheduleSave();
            if (plan.jobs.isEmpty()) {
                setPhase({});
                setProgress(0, 0);
                continue;
            }
            setProgress(0, int(plan.jobs.size()));
            QCoro::Task<std::shared_ptr<LlamaEmbedder>> loading = m_models->embedder();
            const std::shared_ptr<LlamaEmbedder> embedder = co_await loading;
            if (!self || m_stopped)
                co_return;
            if (embedder->dimension() != m_index.dimension()) {
                // Vectors of this model have another length than the index holds: start it afresh.
                m_index.prepare(spec.id, embedder->dimension());
                reconcile(std::nullopt);
                continue;
            }
            setPhase({Phase::Kind::Embedding, {}});
            bool brokeOff = false;
            for (qsizetype start = 0; start < plan.jobs.size(); start += jobsPerBatch) {
                if (m_hasDirty) {
                    brokeOff = true; // a fresh plan sees the new edits
                    break;
                }
                const QList<EmbeddingJob> batch = plan.jobs.mid(start, jobsPerBatch);
                QList<QStringList> chunks;
                QList<QList<EmbeddingDocument>> documents;
                for (const EmbeddingJob& job : batch) {
                    chunks << TextChunker::chunks(job.text);
                    QList<EmbeddingDocument> list;
                    for (const QString& chunk : std::as_const(chunks.last()))
                        list << EmbeddingDocument{job.title, chunk};
                    documents << list;
                }
                QFuture<QList<QList<QList<float>>>> embedding = atUtility([embedder, documents, token] {
                    QList<QList<QList<float>>> all;
                    for (const QList<EmbeddingDocument>& list : documents)
                        all << (list.isEmpty() ? QList<QList<float>>()
                                               : embedder->embed(list, token).result());
                    return all;
                });
                const QList<QList<QList<float>>> vectors = co_await embedding;
                if (!self || m_stopped)
                    co_return;
                for (qsizetype i = 0; i < batch.size(); ++i)
                    m_index.replace(batch[i].key.record, batch[i].key.property, batch[i].hash, chunks[i],
                                    vectors[i]);
                setProgress(m_completed + int(batch.size()), m_total);
                scheduleSave();
                m_failures = 0;
            }
            if (!brokeOff) {
                m_saver.stop();
                QCoro::Task<> saving = save();
                co_await saving;
                if (!self)
                    co_return;
                setPhase({});
            }
        }
    } catch (const Cancelled&) {
        // Stopped, or the model was unloaded under a batch: a later reconcile starts again.
    } catch (const EmbeddingError& error) {
        if (self)
            fail(error, error.kind() == EmbeddingError::Kind::ModelMissing);
    } catch (const UserFacingError& error) {
        if (self)
            fail(error, false);
    }
    if (self)
        m_running = false;
}

void EmbeddingService::fail(const UserFacingError& error, bool modelMissing) {
    if (m_stopped)
        return;
    if (modelMissing) {
        // Not a fault: the work resumes by itself once the model has been downloaded.
        if (m_phase.kind != Phase::Kind::WaitingForModel) {
            setPhase({Phase::Kind::WaitingForModel, {}});
            QPointer<EmbeddingService> self = this;
            m_models->addReadyHandler(m_id, [self] {
                if (self)
                    self->reconcile(std::nullopt);
            });
        }
        return;
    }
    ++m_failures;
    setPhase({Phase::Kind::Failed, error.message()});
    m_retry.start((15 << std::min(m_failures, 5)) * m_retryUnitMs);
}

void EmbeddingService::scheduleSave() {
    if (m_saver.isActive() || m_stopped)
        return;
    m_saver.start();
}

QCoro::Task<> EmbeddingService::save() {
    if (m_index.isEmpty()) {
        EmbeddingIndex::remove(m_folder, m_name);
        emit saved();
        co_return;
    }
    QPointer<EmbeddingService> self = this;
    QFuture<void> writing = atUtility([index = m_index, folder = m_folder, name = m_name] {
        try {
            index.save(folder, name);
        } catch (const UserFacingError&) {
            // The next change writes again.
        }
    });
    co_await writing;
    if (self)
        emit saved();
}

QCoro::Task<> EmbeddingService::stop() {
    const bool pending = m_saver.isActive();
    m_stopped = true;
    m_token.cancel();
    m_retry.stop();
    m_saver.stop();
    if (m_models)
        m_models->removeReadyHandler(m_id);
    if (pending)
        return save();
    return []() -> QCoro::Task<> {
        co_return;
    }();
}

QCoro::Task<QList<EmbeddingHit>> EmbeddingService::search(QString text, std::optional<QSet<QUuid>> properties,
                                                          std::optional<QSet<QString>> records, int limit) {
    if (!m_models)
        throw EmbeddingError::modelMissing();
    QCoro::Task<std::shared_ptr<LlamaEmbedder>> loading = m_models->embedder();
    const std::shared_ptr<LlamaEmbedder> embedder = co_await loading;
    QFuture<QList<float>> embedding = embedder->embed(text);
    const QList<float> vector = co_await embedding;
    QFuture<QList<EmbeddingHit>> searching = atUtility([index = m_index, vector, properties, records, limit] {
        return index.search(vector, properties, records, limit);
    });
    QList<EmbeddingHit> hits = co_await searching;
    co_return hits;
}

QCoro::Task<QList<EmbeddingService::PassageHits>> EmbeddingService::passageMatches(QString text, int limit) {
    if (m_index.isEmpty() || !m_models)
        co_return {};
    QStringList chunks = TextChunker::chunks(text);
    if (chunks.size() > 60) {
        QStringList sampled;
        for (qsizetype i = 0; i < 60; ++i)
            sampled << chunks[i * chunks.size() / 60];
        chunks = sampled;
    }
    if (chunks.isEmpty())
        co_return {};
    QCoro::Task<std::shared_ptr<LlamaEmbedder>> loading = m_models->embedder();
    const std::shared_ptr<LlamaEmbedder> embedder = co_await loading;
    QFuture<QList<QList<float>>> embedding = embedder->embedQueries(chunks);
    const QList<QList<float>> vectors = co_await embedding;
    QFuture<QList<PassageHits>> searching = atUtility([index = m_index, chunks, vectors, limit] {
        QList<PassageHits> found;
        for (qsizetype i = 0; i < chunks.size(); ++i)
            found << PassageHits{chunks[i], index.search(vectors[i], std::nullopt, std::nullopt, limit)};
        return found;
    });
    QList<PassageHits> found = co_await searching;
    co_return found;
}

QCoro::Task<QHash<QString, QList<EmbeddingService::NameMatch>>>
EmbeddingService::similarNames(QList<NameQuery> names, float floor, int limit) {
    QHash<QString, QList<NameMatch>> found;
    if (names.isEmpty() || m_index.isEmpty() || !m_models)
        co_return found;
    QPointer<EmbeddingService> self = this;
    QCoro::Task<std::shared_ptr<LlamaEmbedder>> loading = m_models->embedder();
    const std::shared_ptr<LlamaEmbedder> embedder = co_await loading;
    for (qsizetype start = 0; start < names.size(); start += 16) {
        const QList<NameQuery> slice = names.mid(start, 16);
        QStringList texts;
        for (const NameQuery& name : slice)
            texts << name.name;
        QFuture<QList<QList<float>>> embedding = embedder->embedQueries(texts);
        const QList<QList<float>> vectors = co_await embedding;
        if (!self)
            throw Cancelled();
        QFuture<QHash<QString, QList<NameMatch>>> searching =
            atUtility([index = m_index, slice, vectors, floor, limit] {
                QHash<QString, QList<NameMatch>> part;
                for (qsizetype i = 0; i < slice.size(); ++i) {
                    QList<NameMatch> kept;
                    // Enough hits that `limit` survive the name's own records.
                    const auto hits = index.search(vectors[i], std::nullopt, std::nullopt,
                                                   limit + int(slice[i].records.size()));
                    for (const EmbeddingHit& hit : hits) {
                        if (hit.score < floor || slice[i].records.contains(hit.entry.record))
                            continue;
                        if (kept.size() >= limit)
                            break;
                        kept << NameMatch{hit.entry.record, hit.score};
                    }
                    part.insert(slice[i].key, kept);
                }
                return part;
            });
        const QHash<QString, QList<NameMatch>> matches = co_await searching;
        found.insert(matches);
    }
    co_return found;
}

} // namespace corvantis
