#pragma once

#include <QPointer>
#include <QWidget>

class QLabel;
class QStackedWidget;

namespace corvantis {

class Inspector;
class ProjectSession;

// The panel right of the centre: one face at a time (the inspector of the selection, the Ask steps, the
// Build conversation), under a title with a close button. Faces are added by the areas that own them; the
// inspector is its own. Selecting something in the graph brings the inspector forward.
class RightPanel : public QWidget {
    Q_OBJECT
public:
    explicit RightPanel(QWidget* parent = nullptr);

    void setSession(ProjectSession* session);

    // Adds a face under its title; the panel takes ownership.
    void addFace(QWidget* face, const QString& title);
    // Brings the face forward and opens the panel.
    void showFace(QWidget* face);
    QWidget* currentFace() const;
    Inspector* inspector() const { return m_inspector; }

    bool isOpen() const { return !isHidden(); }
    void setOpen(bool open);

signals:
    void openChanged();

private:
    QLabel* m_title;
    QStackedWidget* m_faces;
    Inspector* m_inspector;
    QPointer<ProjectSession> m_session;
};

} // namespace corvantis
