#include "ui/shell/MainWindow.h"

#include "app/app/AppDelegate.h"
#include "app/app/AppModel.h"
#include "app/graph/ProjectSession.h"
#include "app/undo/UndoStack.h"
#include "ui/design/Theme.h"
#include "ui/graph/ProjectView.h"
#include "ui/library/GalleryView.h"
#include "ui/settings/SettingsWindow.h"
#include "ui/shell/TextFieldKeys.h"
#include "ui/shell/ToastView.h"

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
    , m_toast(new ToastView(m_stack))
    , m_undo(new UndoStack(this)) {
    setWindowTitle(QStringLiteral("Corvantis"));
    setObjectName("main");
    resize(1440, 900);
    m_stack->addWidget(m_gallery);
    m_stack->addWidget(m_projectView);
    setCentralWidget(m_stack);
    buildMenus();
    // Text fields take Ctrl+R for their own Redo before the window's Redo of the graph does.
    qApp->installEventFilter(new TextFieldKeys(this));

    connect(&m_app, &AppModel::sessionChanged, this, &MainWindow::syncTopState);
    connect(&m_app, &AppModel::noticeChanged, this, &MainWindow::syncNotice);
    connect(&m_app, &AppModel::deletingChanged, this, &MainWindow::confirmDelete, Qt::QueuedConnection);
    // A connected AI app showed the person some nodes.
    connect(&m_app, &AppModel::frontRequested, this, [this] {
        showNormal();
        raise();
        activateWindow();
    });
    connect(&m_delegate, &AppDelegate::readyToTerminate, this, [this] {
        m_mayClose = true;
        close();
        QApplication::quit();
    });
    syncTopState();
    syncNotice();
}

MainWindow::~MainWindow() {
    if (ProjectSession* session = m_app.session())
        disconnect(session, nullptr, this, nullptr);
    disconnect(&m_app, nullptr, this, nullptr);
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

    QMenu* edit = menuBar()->addMenu(QStringLiteral("&Edit"));
    QAction* undo = edit->addAction(QStringLiteral("Undo"), m_undo, &UndoStack::undo);
    undo->setObjectName(QStringLiteral("undo"));
    undo->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Z));
    QAction* redo = edit->addAction(QStringLiteral("Redo"), m_undo, &UndoStack::redo);
    redo->setObjectName(QStringLiteral("redo"));
    // Ctrl+R is Redo in this program, beside the usual Ctrl+Shift+Z.
    redo->setShortcuts({QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Z), QKeySequence(Qt::CTRL | Qt::Key_R)});
    auto syncUndo = [this, undo, redo] {
        undo->setEnabled(m_undo->canUndo());
        redo->setEnabled(m_undo->canRedo());
        const QString undoName = m_undo->undoActionName();
        const QString redoName = m_undo->redoActionName();
        undo->setText(undoName.isEmpty() || !m_undo->canUndo() ? QStringLiteral("Undo")
                                                               : QStringLiteral("Undo %1").arg(undoName));
        redo->setText(redoName.isEmpty() || !m_undo->canRedo() ? QStringLiteral("Redo")
                                                               : QStringLiteral("Redo %1").arg(redoName));
    };
    connect(m_undo, &UndoStack::changed, this, syncUndo);
    connect(edit, &QMenu::aboutToShow, this, syncUndo);
    syncUndo();

    QMenu* view = menuBar()->addMenu(QStringLiteral("&View"));
    QAction* shapeMode = view->addAction(QStringLiteral("Shape"));
    shapeMode->setObjectName(QStringLiteral("shapeModeAction"));
    shapeMode->setShortcut(QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_1));
    QAction* graphMode = view->addAction(QStringLiteral("Graph"));
    graphMode->setObjectName(QStringLiteral("graphModeAction"));
    graphMode->setShortcut(QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_2));
    auto* modeGroup = new QActionGroup(this);
    for (QAction* action : {shapeMode, graphMode}) {
        action->setCheckable(true);
        modeGroup->addAction(action);
    }
    connect(shapeMode, &QAction::triggered, this, [this] {
        if (ProjectSession* session = m_app.session())
            session->setMode(SessionMode::Shape);
    });
    connect(graphMode, &QAction::triggered, this, [this] {
        if (ProjectSession* session = m_app.session())
            session->setMode(SessionMode::Graph);
    });
    QAction* showTable = view->addAction(QStringLiteral("Show Table"));
    showTable->setObjectName(QStringLiteral("showTableAction"));
    showTable->setCheckable(true);
    showTable->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_T));
    connect(showTable, &QAction::triggered, this, [this] {
        ProjectSession* session = m_app.session();
        if (!session)
            return;
        // From Shape mode the command brings the table; in Graph mode it swaps table and overview.
        if (session->mode() != SessionMode::Graph)
            m_projectView->setShowsTable(true);
        else
            m_projectView->setShowsTable(!m_projectView->showsTable());
    });
    auto syncView = [this, shapeMode, graphMode, showTable] {
        ProjectSession* session = m_app.session();
        for (QAction* action : {shapeMode, graphMode, showTable})
            action->setEnabled(session != nullptr);
        shapeMode->setChecked(session && session->mode() == SessionMode::Shape);
        graphMode->setChecked(session && session->mode() == SessionMode::Graph);
        showTable->setChecked(session && session->mode() == SessionMode::Graph &&
                              m_projectView->showsTable());
    };
    connect(&m_app, &AppModel::sessionChanged, this, [this, syncView] {
        if (ProjectSession* session = m_app.session())
            connect(session, &ProjectSession::modeChanged, this, syncView);
        syncView();
    });
    connect(m_projectView, &ProjectView::showsTableChanged, this, syncView);
    connect(view, &QMenu::aboutToShow, this, syncView);
    syncView();
    view->addSeparator();

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
        session->setUndoStack(m_undo);
        connect(session, &ProjectSession::projectChanged, this, [this, session] {
            if (m_app.session() == session)
                setWindowTitle(QStringLiteral("%1 — Corvantis").arg(session->project().name));
        });
        connect(session, &ProjectSession::noticeChanged, this, &MainWindow::syncSessionNotice);
        syncSessionNotice();
    } else {
        m_gallery->list()->setFocus();
    }
}

void MainWindow::syncNotice() {
    m_toast->show(m_app.notice(), [this] { m_app.setNotice(std::nullopt); });
}

// The session's notice shares the toast with the app's: the newer one shows.
void MainWindow::syncSessionNotice() {
    ProjectSession* session = m_app.session();
    if (!session || (sender() && sender() != session))
        return;
    if (!session->notice()) {
        if (!m_sessionToast.isEmpty() && m_toast->text() == m_sessionToast)
            m_toast->show(std::nullopt, {});
        m_sessionToast.clear();
        return;
    }
    m_sessionToast = *session->notice();
    m_toast->show(session->notice(), [this, session] {
        if (m_app.session() == session)
            session->setNotice(std::nullopt);
    });
}

// The confirmation is window-modal and answers through a signal, without a nested event loop, so that
// nothing else runs half-way through it.
void MainWindow::confirmDelete() {
    auto deleting = m_app.deleting();
    if (!deleting || findChild<QMessageBox*>(QStringLiteral("deleteConfirmation")))
        return;
    auto* box = new QMessageBox(this);
    box->setObjectName(QStringLiteral("deleteConfirmation"));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::WindowModal);
    box->setIcon(QMessageBox::Warning);
    box->setWindowTitle(QStringLiteral("Delete Project"));
    box->setText(QStringLiteral("Delete “%1”?").arg(deleting->name));
    box->setInformativeText(AppModel::deleteConfirmation());
    QPushButton* remove = box->addButton(QStringLiteral("Delete"), QMessageBox::DestructiveRole);
    QPushButton* cancel = box->addButton(QMessageBox::Cancel);
    box->setDefaultButton(cancel);
    Project target = *deleting;
    connect(box, &QMessageBox::finished, this, [this, box, remove, target] {
        bool confirmed = box->clickedButton() == remove;
        box->setObjectName(QString());
        m_app.setDeleting(std::nullopt);
        if (confirmed)
            m_app.remove(target);
    });
    box->open();
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
