#pragma once

#include "app/build/BuildChat.h"

#include <QObject>
#include <memory>

namespace corvantis {

class ProjectSession;
class Settings;

// The session's two build chats, graph and shape, over the session they apply to. Each comes back to
// the conversation the person had open last.
class SessionBuilds : public QObject {
    Q_OBJECT
public:
    SessionBuilds(ProjectSession& session, Settings* settings, QObject* parent = nullptr);
    ~SessionBuilds() override;

    BuildChat& graph() const { return *m_graph; }
    BuildChat& shape() const { return *m_shape; }
    BuildChat& chat(BuildKind kind) const { return kind == BuildKind::Graph ? graph() : shape(); }

private:
    std::unique_ptr<BuildHost> m_host;
    BuildChat* m_graph;
    BuildChat* m_shape;
};

} // namespace corvantis
