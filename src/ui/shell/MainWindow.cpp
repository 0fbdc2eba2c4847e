#include "shell/MainWindow.h"

#include "app/AppDelegate.h"
#include "app/AppModel.h"
#include "design/Theme.h"
#include "graph/ProjectSession.h"
#include "graph/ProjectView.h"
#include "library/GalleryView.h"
#include "settings/SettingsWindow.h"
#include "shell/ToastView.h"

#include <QActionGroup>
#include <QApplication>
#include <QCloseEvent>
#include <QListView>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QStackedWidget>

namespace corvantis {

MainWindow::MainWindow(AppModel& app, AppDelegate& delegate, QWidget* parent)
    : QMainWindow(parent)
    , m_app(app)
    , m_delegate(delegate)
    , m_stack(new QStackedWidget(this))
    , m_gallery(new GalleryView(app, m_stack))
    , m_projectView(new ProjectView(app, m_stack))
    , m_toast(new ToastView(m_stack)) {
    setWindowTitle(QStringLiteral("Corvantis"));
    setObjectName("main");
    resize(1440, 900);
    m_stack->addWidget(m_gallery);
    m_stack->addWidget(m_projectView);
    setCentralWidget(m_stack);
    buildMenus();

    connect(&m_app, &AppModel::sessionChanged, this, &MainWindow::syncTopState);
    connect(&m_app, &AppModel::noticeChanged, this, &MainWindow::syncNotice);
    connect(&m_app, &AppModel::deletingChanged, this, &MainWindow::confirmDelete, Qt::QueuedConnection);
    connect(&m_delegate, &AppDelegate::readyToTerminate, this, [this] {
        m_mayClose = true;
        close();
        QApplication::quit();
    });
    syncTopState();
    syncNotice();
}

void MainWindow::buildMenus() {
    QMenu* file = menuBar()->addMenu(QStringLiteral("&File"));
    QAction* newProject = file->addAction(QStringLiteral("New Project"), &m_app, &AppModel::newProject);
    newProject->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_N));
    QAction* open = file->addAction(QStringLiteral("Open"), m_gallery, &GalleryView::openSelected);
    open->setShortcut(QKeySequence::Open);
    QAction* rename = file->addAction(QStringLiteral("Rename"), m_gallery, &GalleryView::renameSelected);
    rename->setShortcut(QKeySequence(Qt::Key_F2));
    rename->setShortcutContext(Qt::WidgetWithChildrenShortcut);
    m_gallery->addAction(rename);
    file->addAction(QStringLiteral("Delete…"), m_gallery, &GalleryView::deleteSelected);
    file->addSeparator();
    QAction* closeProject = file->addAction(QStringLiteral("Close Project"), &m_app, &AppModel::showGallery);
    closeProject->setShortcut(QKeySequence::Close);
    file->addSeparator();
    QAction* settings = file->addAction(QStringLiteral("Settings…"), this, &MainWindow::showSettings);
    settings->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Comma));
    settings->setMenuRole(QAction::PreferencesRole);
    QAction* quit = file->addAction(QStringLiteral("Quit"), this, &MainWindow::requestQuit);
    quit->setShortcut(QKeySequence::Quit);
    quit->setMenuRole(QAction::QuitRole);

    auto syncActions = [this, open, rename, closeProject] {
        bool inGallery = m_app.session() == nullptr;
        open->setEnabled(inGallery);
        rename->setEnabled(inGallery);
        closeProject->setEnabled(!inGallery);
    };
    connect(&m_app, &AppModel::sessionChanged, this, syncActions);
    syncActions();

    QMenu* view = menuBar()->addMenu(QStringLiteral("&View"));
    QMenu* appearance = view->addMenu(QStringLiteral("Appearance"));
    auto* group = new QActionGroup(this);
    const std::pair<Appearance, const char*> choices[] = {
        {Appearance::System, "Follow the System"}, {Appearance::Light, "Light"}, {Appearance::Dark, "Dark"}};
    for (auto [value, title] : choices) {
        QAction* action = appearance->addAction(QString::fromUtf8(title));
        action->setCheckable(true);
        action->setChecked(m_app.appearance() == value);
        group->addAction(action);
        connect(action, &QAction::triggered, this, [this, value = value] { m_app.setAppearance(value); });
    }
    connect(&m_app, &AppModel::appearanceChanged, this, [this] {
        Theme::apply(*qApp, m_app.appearance());
        update();
    });
}

void MainWindow::syncTopState() {
    m_stack->setCurrentWidget(m_app.session() ? static_cast<QWidget*>(m_projectView) : m_gallery);
    setWindowTitle(m_app.session() ? QStringLiteral("%1 — Corvantis").arg(m_app.session()->project().name)
                                   : QStringLiteral("Corvantis"));
    if (ProjectSession* session = m_app.session()) {
        connect(session, &ProjectSession::projectChanged, this, [this, session] {
            if (m_app.session() == session)
                setWindowTitle(QStringLiteral("%1 — Corvantis").arg(session->project().name));
        });
    } else {
        m_gallery->list()->setFocus();
    }
}

void MainWindow::syncNotice() {
    m_toast->show(m_app.notice(), [this] { m_app.setNotice(std::nullopt); });
}

void MainWindow::confirmDelete() {
    auto deleting = m_app.deleting();
    if (!deleting)
        return;
    QMessageBox box(this);
    box.setIcon(QMessageBox::Warning);
    box.setWindowTitle(QStringLiteral("Delete Project"));
    box.setText(QStringLiteral("Delete “%1”?").arg(deleting->name));
    box.setInformativeText(AppModel::deleteConfirmation());
    QPushButton* remove = box.addButton(QStringLiteral("Delete"), QMessageBox::DestructiveRole);
    QPushButton* cancel = box.addButton(QMessageBox::Cancel);
    box.setDefaultButton(cancel);
    box.exec();
    Project target = *deleting;
    m_app.setDeleting(std::nullopt);
    if (box.clickedButton() == remove)
        m_app.remove(target);
}

void MainWindow::showSettings() {
    if (!m_settings)
        m_settings = new SettingsWindow(m_app, this);
    m_settings->show();
    m_settings->raise();
    m_settings->activateWindow();
}

void MainWindow::requestQuit() {
    close();
}

void MainWindow::closeEvent(QCloseEvent* event) {
    if (m_mayClose) {
        event->accept();
        return;
    }
    if (m_delegate.shouldTerminate() == AppDelegate::Reply::TerminateNow) {
        event->accept();
        QApplication::quit();
        return;
    }
    event->ignore();
}

} // namespace corvantis
