#pragma once

#include <QObject>

class QMenu;
class QWidget;

namespace corvantis {

class AppModel;
class GalleryView;
class PublishDialog;
struct Project;

// The File menu's commands that move projects in and out: a new example project, import, export and
// sharing to the web. They ask for files here and leave the work to the app model.
class TravelActions : public QObject {
    Q_OBJECT
public:
    TravelActions(AppModel& app, GalleryView* gallery, QWidget* window);

    // Adds the commands to `file`, with their shortcuts.
    void addTo(QMenu* file);

    // The project the commands act on: the open one, else the gallery's selection.
    const Project* target() const;

    void exportProject(const Project& project);
    void importProject();
    void publish(const Project& project);

    PublishDialog* publishSheet() const { return m_sheet; }

signals:
    // The publish sheet points the person at Settings › Sharing.
    void settingsRequested();

private:
    AppModel& m_app;
    GalleryView* m_gallery;
    QWidget* m_window;
    PublishDialog* m_sheet = nullptr;
};

} // namespace corvantis
