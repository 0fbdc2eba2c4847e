#pragma once

#include "app/embedding/EmbeddingService.h"

#include <QCoro/QCoroTask>
#include <QObject>
#include <optional>

namespace corvantis {

class EmbeddingModelManager;
class ProjectSession;
class SessionCore;

// A session's two indexes: `embeddings` over the embedded properties and `titles` over the nodes' titles,
// both in the project's folder beside "project.json" and both fed by the application's one model. They
// read the graph through the core on the main thread; edits reach them as sets of record ids.
class SessionEmbedding : public QObject {
    Q_OBJECT
public:
    SessionEmbedding(SessionCore& core, const QString& folder, EmbeddingModelManager* models,
                     QObject* parent = nullptr);

    // Gives an open session its indexes (in the project's folder), wires its edits to them and starts
    // them; `of` finds them again.
    static SessionEmbedding* attach(ProjectSession& session, EmbeddingModelManager* models);
    static SessionEmbedding* of(const ProjectSession& session);

    EmbeddingService& embeddings() const { return *m_embeddings; }
    EmbeddingService& titles() const { return *m_titles; }

    // Both indexes start reconciling the whole graph.
    void start();
    // Records that were added, changed or put back, and records that left the graph.
    void recordsChanged(const QSet<QString>& changed, const QSet<QString>& removed);
    // The project changed: a new applied shape makes both indexes look at everything again.
    void projectChanged();
    // Stops both and returns a task that awaits their last saves in order.
    QCoro::Task<> stop();

private:
    std::optional<EmbeddingService::Graph> graph() const;

    SessionCore& m_core;
    EmbeddingService* m_embeddings;
    EmbeddingService* m_titles;
    std::optional<GraphSchema> m_appliedSeen;
};

} // namespace corvantis
