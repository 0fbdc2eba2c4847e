#include "app/embedding/SessionEmbedding.h"

#include "app/graph/ProjectSession.h"

namespace corvantis {

SessionEmbedding::SessionEmbedding(SessionCore& core, const QString& folder, EmbeddingModelManager* models,
                                   QObject* parent)
    : QObject(parent)
    , m_core(core) {
    const auto reader = [this] {
        return graph();
    };
    m_embeddings = new EmbeddingService(EmbeddingSource::Properties, folder, models, reader, this);
    m_titles = new EmbeddingService(EmbeddingSource::Titles, folder, models, reader, this);
    m_appliedSeen = core.project().appliedSchema;
}

std::optional<EmbeddingService::Graph> SessionEmbedding::graph() const {
    if (m_core.graphUnavailable() || !m_core.project().appliedSchema)
        return std::nullopt;
    return EmbeddingService::Graph{*m_core.project().appliedSchema, m_core.nodes(), m_core.rels()};
}

void SessionEmbedding::start() {
    m_embeddings->reconcile();
    m_titles->reconcile();
}

SessionEmbedding* SessionEmbedding::attach(ProjectSession& session, EmbeddingModelManager* models) {
    if (SessionEmbedding* attached = of(session))
        return attached;
    auto* embedding =
        new SessionEmbedding(session, session.library().folder(session.project().id), models, &session);
    connect(&session, &ProjectSession::recordsChanged, embedding, &SessionEmbedding::recordsChanged);
    connect(&session, &ProjectSession::projectChanged, embedding, &SessionEmbedding::projectChanged);
    embedding->start();
    return embedding;
}

SessionEmbedding* SessionEmbedding::of(const ProjectSession& session) {
    return session.findChild<SessionEmbedding*>(QString(), Qt::FindDirectChildrenOnly);
}

void SessionEmbedding::recordsChanged(const QSet<QString>& changed, const QSet<QString>& removed) {
    if (!removed.isEmpty()) {
        m_embeddings->remove(removed);
        m_titles->remove(removed);
    }
    if (!changed.isEmpty()) {
        m_embeddings->reconcile(changed);
        m_titles->reconcile(changed);
    }
}

void SessionEmbedding::projectChanged() {
    if (m_core.project().appliedSchema == m_appliedSeen)
        return;
    m_appliedSeen = m_core.project().appliedSchema;
    start();
}

QCoro::Task<> SessionEmbedding::stop() {
    QCoro::Task<> embeddings = m_embeddings->stop();
    QCoro::Task<> titles = m_titles->stop();
    co_await embeddings;
    co_await titles;
}

} // namespace corvantis
