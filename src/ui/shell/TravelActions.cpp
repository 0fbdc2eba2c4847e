#include "ui/shell/TravelActions.h"

#include "app/app/AppModel.h"
#include "app/graph/ProjectSession.h"
#include "ui/library/GalleryView.h"
#include "ui/links/PublishDialog.h"

#include <QAction>
#include <QDir>
#include <QFileDialog>
#include <QMenu>

namespace corvantis {

TravelActions::TravelActions(AppModel& app, GalleryView* gallery, QWidget* window)
    : QObject(window)
    , m_app(app)
    , m_gallery(gallery)
    , m_window(window) {
    connect(gallery, &GalleryView::exportRequested, this, &TravelActions::exportProject);
    connect(gallery, &GalleryView::importRequested, this, &TravelActions::importProject);
    connect(gallery, &GalleryView::publishRequested, this, &TravelActions::publish);
}

const Project* TravelActions::target() const {
    if (ProjectSession* session = m_app.session())
        return &session->project();
    return m_gallery->selectedProject();
}

void TravelActions::addTo(QMenu* file) {
    QAction* example =
        file->addAction(QStringLiteral("New Example Project"), &m_app, &AppModel::createExample);
    example->setObjectName(QStringLiteral("newExampleAction"));
    QAction* import = file->addAction(QStringLiteral("Import Project…"), this, &TravelActions::importProject);
    import->setObjectName(QStringLiteral("importAction"));
    QAction* exportAction = file->addAction(QStringLiteral("Export Project…"), this, [this] {
        if (const Project* project = target())
            exportProject(*project);
    });
    exportAction->setObjectName(QStringLiteral("exportAction"));
    exportAction->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_E));
    QAction* share = file->addAction(QStringLiteral("Share to the Web…"), this, [this] {
        if (const Project* project = target())
            publish(*project);
    });
    share->setObjectName(QStringLiteral("shareAction"));
    share->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_P));
    auto sync = [this, exportAction, share] {
        const bool has = target() != nullptr;
        exportAction->setEnabled(has);
        share->setEnabled(has);
    };
    connect(file, &QMenu::aboutToShow, this, sync);
    connect(&m_app, &AppModel::sessionChanged, this, sync);
    connect(&m_app, &AppModel::projectsChanged, this, sync);
    sync();
}

void TravelActions::exportProject(const Project& project) {
    const Project chosen = project;
    const QString suggested = QDir::home().filePath(AppModel::exportFileName(chosen));
    const QString path = QFileDialog::getSaveFileName(
        m_window,
        QStringLiteral("Exports the shape, every node and relationship, and the layout as plain JSON."),
        suggested, QStringLiteral("JSON files (*.json)"));
    if (!path.isEmpty())
        m_app.exportProject(chosen, path);
}

void TravelActions::importProject() {
    const QString path =
        QFileDialog::getOpenFileName(m_window, QStringLiteral("Choose a Corvantis project export."),
                                     QDir::homePath(), QStringLiteral("JSON files (*.json)"));
    if (!path.isEmpty())
        m_app.importProject(path);
}

void TravelActions::publish(const Project& project) {
    if (!m_sheet) {
        m_sheet = new PublishDialog(m_app, m_window);
        connect(m_sheet, &PublishDialog::settingsRequested, this, &TravelActions::settingsRequested);
    }
    m_sheet->publish(project);
}

} // namespace corvantis
