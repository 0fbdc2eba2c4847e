#pragma once

#include <QPointer>
#include <QUuid>
#include <QWidget>

class QHBoxLayout;

namespace corvantis {

class CanvasView;
class ChipStrip;
class ProjectSession;

// Graph mode's centre: the strip above the canvas (filter chips, the arrange panel's button, the explore
// pager) over the canvas itself.
class CanvasPage : public QWidget {
    Q_OBJECT
public:
    explicit CanvasPage(QWidget* parent = nullptr);
    void setSession(ProjectSession* session);

    CanvasView* canvas() const { return m_canvas; }
    ChipStrip* strip() const { return m_strip; }

    // Brings the type's nodes onto the canvas and fits them.
    void showType(const QUuid& type);

private:
    QPointer<ProjectSession> m_session;
    ChipStrip* m_strip;
    CanvasView* m_canvas;
};

} // namespace corvantis
