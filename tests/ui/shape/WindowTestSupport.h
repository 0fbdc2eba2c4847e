#pragma once

// A real window over a temporary library, with one project open, for the views' tests.
#include "app/app/AppDelegate.h"
#include "app/app/AppModel.h"
#include "app/graph/ProjectSession.h"
#include "tests/support/TestSupport.h"
#include "ui/graph/ProjectView.h"
#include "ui/shell/MainWindow.h"
#include "ui/shell/ToastView.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QElapsedTimer>
#include <QMessageBox>
#include <QTemporaryDir>
#include <QTimer>
#include <functional>
#include <gtest/gtest.h>
#include <memory>

namespace corvantis::test {

struct ProjectWindow {
    QTemporaryDir dir;
    std::unique_ptr<AppModel> app;
    std::unique_ptr<AppDelegate> delegate;
    std::unique_ptr<MainWindow> window;

    explicit ProjectWindow(const GraphSchema& shape) {
        ProjectLibrary library(dir.filePath("Projects"));
        Project project = library.create("Reading");
        project.schema = shape;
        library.save(project);
        app = std::make_unique<AppModel>(std::make_unique<Settings>(dir.filePath("s.ini")),
                                         dir.filePath("Projects"));
        delegate = std::make_unique<AppDelegate>(*app);
        window = std::make_unique<MainWindow>(*app, *delegate);
        window->resize(1280, 800);
        window->show();
        QApplication::setActiveWindow(window.get());
        app->open(project);
    }
    ~ProjectWindow() {
        // Close the session as quitting would, so that the database is released before the folder goes.
        if (ProjectSession* open = app->session())
            open->close();
    }

    ProjectSession& session() { return *app->session(); }
    ProjectView& view() { return *window->projectView(); }
    QAction* action(const QString& name) { return window->findChild<QAction*>(name); }
};

// Runs `act` on the next modal dialog of type T once it shows; a dialog that never shows fails the test
// instead of hanging it.
template <typename T> void whenModalShows(std::function<void(T*)> act) {
    auto* poll = new QTimer;
    auto started = std::make_shared<QElapsedTimer>();
    started->start();
    QObject::connect(poll, &QTimer::timeout, [poll, started, act] {
        auto* dialog = qobject_cast<T*>(QApplication::activeModalWidget());
        if (!dialog) {
            // A deadline, not a pause: a loaded machine may take long to show the dialog.
            if (started->elapsed() > 60000) {
                poll->deleteLater();
                ADD_FAILURE() << "no dialog showed";
            }
            return;
        }
        poll->deleteLater();
        act(dialog);
    });
    poll->start(10);
}

// Answers the next message box with the button of that text, keeping what the box said.
inline void answerNextMessageBox(const QString& button, QString* title = nullptr,
                                 QString* message = nullptr) {
    whenModalShows<QMessageBox>([=](QMessageBox* box) {
        if (title)
            *title = box->text();
        if (message)
            *message = box->informativeText();
        for (QAbstractButton* candidate : box->buttons())
            if (candidate->text().remove('&') == button) {
                candidate->click();
                return;
            }
        box->reject();
        ADD_FAILURE() << "no button " << button.toStdString();
    });
}

} // namespace corvantis::test
