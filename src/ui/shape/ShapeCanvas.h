#pragma once

#include <QPointer>
#include <QWidget>

namespace corvantis {

class ProjectSession;

// The drawn shape.
class ShapeCanvas : public QWidget {
    Q_OBJECT
public:
    explicit ShapeCanvas(QWidget* parent = nullptr);
    void setSession(ProjectSession* session);

private:
    QPointer<ProjectSession> m_session;
};

} // namespace corvantis
