#include "app/build/SessionBuilds.h"

#include "app/graph/ProjectSession.h"

namespace corvantis {

namespace {

// The session as a build chat sees it.
class SessionBuildHost final : public BuildHost {
public:
    explicit SessionBuildHost(ProjectSession& session)
        : m_session(session) {}
    const Project& project() const override { return m_session.project(); }
    QString projectFolder() const override { return m_session.library().folder(m_session.project().id); }
    const QHash<QString, NodeRecord>& nodes() const override { return m_session.nodes(); }
    const QHash<QString, RelRecord>& rels() const override { return m_session.rels(); }
    std::shared_ptr<GraphStore> store() const override { return m_session.store(); }
    GraphAdded applyGraphPlan(const GraphPlan& plan) override { return m_session.applyGraphPlan(plan); }
    ShapeMergeResult applyShapeDraft(const ShapeDraft& draft) override {
        return m_session.shape().applyShapeDraft(draft);
    }
    UndoStack* undoStack() const override { return m_session.undoStack(); }

private:
    ProjectSession& m_session;
};

} // namespace

SessionBuilds::SessionBuilds(ProjectSession& session, Settings* settings, QObject* parent)
    : QObject(parent)
    , m_host(std::make_unique<SessionBuildHost>(session))
    , m_graph(new BuildChat(BuildKind::Graph, *m_host, settings, this))
    , m_shape(new BuildChat(BuildKind::Shape, *m_host, settings, this)) {
    m_graph->restore();
    m_shape->restore();
}

SessionBuilds::~SessionBuilds() {
    // The chats save what is pending while the host is still there.
    delete m_graph;
    delete m_shape;
}

} // namespace corvantis
