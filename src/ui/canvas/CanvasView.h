#pragma once

#include <QPointer>
#include <QUuid>
#include <QWidget>

namespace corvantis {

class ProjectSession;

// The canvas of the graph view.
class CanvasView : public QWidget {
    Q_OBJECT
public:
    explicit CanvasView(QWidget* parent = nullptr);
    void setSession(ProjectSession* session);

    bool brushTool() const { return m_brushTool; }
    void setBrushTool(bool on);
    void showType(const QUuid& type);

signals:
    void brushToolChanged();

private:
    QPointer<ProjectSession> m_session;
    bool m_brushTool = false;
};

} // namespace corvantis
