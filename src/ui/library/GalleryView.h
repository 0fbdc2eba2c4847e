#pragma once

#include <QWidget>

class QListView;
class QLabel;
class QStackedLayout;

namespace corvantis {

class AppModel;
class ProjectListModel;
struct Project;

// The gallery of projects: a "New Project" card first, then one card per project. Enter or a double
// click opens, F2 renames in place, Delete asks to delete. Without projects, a sentence and the two ways
// to start (a new project, the example) stand in place of the grid.
class GalleryView : public QWidget {
    Q_OBJECT
public:
    explicit GalleryView(AppModel& app, QWidget* parent = nullptr);

    // The project of the selected card, if a project card is selected.
    const Project* selectedProject() const;
    QListView* list() const { return m_list; }

    void openSelected();
    void renameSelected();
    void deleteSelected();

signals:
    // The gallery's own ways to move projects; the window asks for files and carries them out.
    void exportRequested(const Project& project);
    void importRequested();
    void publishRequested(const Project& project);

private:
    void activate(const class QModelIndex& index);
    void showContextMenu(const QPoint& position);
    void syncEmptyState();
    void beginRenaming();

    AppModel& m_app;
    ProjectListModel* m_model;
    QListView* m_list;
    QLabel* m_emptyHint;
    QWidget* m_emptyState;
};

} // namespace corvantis
