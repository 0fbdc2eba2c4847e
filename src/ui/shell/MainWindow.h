#pragma once

#include <QMainWindow>

class QStackedWidget;

namespace corvantis {

class AppModel;
class AppDelegate;
class GalleryView;
class ProjectView;
class SettingsWindow;
class ToastView;
class TravelActions;
class UndoStack;

// The one window: the gallery while no project is open, the project's views while one is. Closing it
// quits the program in order: the app model closes everything first.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    MainWindow(AppModel& app, AppDelegate& delegate, QWidget* parent = nullptr);
    // Lets go of the session first: the views that close with the window may still send it edits.
    ~MainWindow() override;

    GalleryView* gallery() const { return m_gallery; }
    ProjectView* projectView() const { return m_projectView; }
    ToastView* toast() const { return m_toast; }
    // The window's undo stack, which the open session registers its steps on.
    UndoStack* undoStack() const { return m_undo; }
    TravelActions* travel() const { return m_travel; }

    // The Quit command, SIGTERM and SIGINT all come here.
    void requestQuit();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void buildMenus();
    void syncTopState();
    void syncNotice();
    void syncSessionNotice();
    void confirmDelete();
    void showSettings();

    AppModel& m_app;
    AppDelegate& m_delegate;
    QStackedWidget* m_stack;
    GalleryView* m_gallery;
    ProjectView* m_projectView;
    ToastView* m_toast;
    SettingsWindow* m_settings = nullptr;
    TravelActions* m_travel = nullptr;
    UndoStack* m_undo;
    QString m_sessionToast; // the session's notice that the toast shows, if it shows one
    bool m_mayClose = false;
};

} // namespace corvantis
