#include "app/app/AppDelegate.h"
#include "app/app/AppModel.h"
#include "app/graph/ProjectSession.h"
#include "tests/support/TestSupport.h"
#include "ui/graph/ProjectView.h"
#include "ui/library/GalleryView.h"
#include "ui/shell/MainWindow.h"
#include "ui/shell/ToastView.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QListView>
#include <QMessageBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <gtest/gtest.h>

using namespace corvantis;

namespace {

struct Window {
    QTemporaryDir dir;
    std::unique_ptr<AppModel> app;
    std::unique_ptr<AppDelegate> delegate;
    std::unique_ptr<MainWindow> window;

    explicit Window(const QStringList& names) {
        ProjectLibrary library(dir.filePath("Projects"));
        for (const QString& name : names) {
            Project project = library.create(name);
            project.createdAt = project.createdAt.addSecs(names.indexOf(name)); // a fixed order
            library.save(project);
        }
        app = std::make_unique<AppModel>(std::make_unique<Settings>(dir.filePath("s.ini")),
                                         dir.filePath("Projects"));
        delegate = std::make_unique<AppDelegate>(*app);
        window = std::make_unique<MainWindow>(*app, *delegate);
        window->show();
        QApplication::setActiveWindow(window.get());
    }
    QListView* list() { return window->gallery()->list(); }
    QModelIndex card(int row) { return list()->model()->index(row, 0); }
};

// Answers the open delete confirmation with the button whose text is `button`.
void answerConfirmation(QWidget* window, const QString& button) {
    QMessageBox* box = nullptr;
    ASSERT_TRUE(test::waitUntil([&] {
        box = window->findChild<QMessageBox*>(QStringLiteral("deleteConfirmation"));
        return box && box->isVisible();
    }));
    for (QAbstractButton* candidate : box->buttons())
        if (candidate->text().remove('&') == button) {
            candidate->click();
            return;
        }
    FAIL() << "no button " << button.toStdString();
}

} // namespace

TEST(GalleryWindow, ShowsCardsAndOpensWithEnter) {
    Window w({"Books", "Birds"});
    EXPECT_EQ(w.window->windowTitle(), "Corvantis");
    EXPECT_EQ(w.window->size(), QSize(1440, 900));
    ASSERT_EQ(w.list()->model()->rowCount(), 3);
    EXPECT_EQ(w.card(0).data().toString(), "New Project");
    EXPECT_EQ(w.card(1).data().toString(), "Books");
    EXPECT_EQ(w.card(2).data().toString(), "Birds");

    w.list()->setFocus();
    w.list()->setCurrentIndex(w.card(2));
    QTest::keyClick(w.list(), Qt::Key_Return);
    ASSERT_NE(w.app->session(), nullptr);
    EXPECT_EQ(w.app->session()->project().name, "Birds");
    EXPECT_TRUE(w.window->projectView()->isVisible());
    EXPECT_EQ(w.window->projectView()->nameField()->text(), "Birds");
    EXPECT_EQ(w.window->windowTitle(), "Birds — Corvantis");
}

TEST(GalleryWindow, RenamesInPlaceAndDeletesAfterConfirmation) {
    Window w({"Books", "Birds"});
    w.list()->setFocus();
    w.list()->setCurrentIndex(w.card(1));
    w.window->gallery()->renameSelected();
    auto* editor = w.list()->findChild<QLineEdit*>();
    ASSERT_NE(editor, nullptr);
    editor->selectAll();
    QTest::keyClicks(editor, "Library");
    QTest::keyClick(editor, Qt::Key_Return);
    ASSERT_TRUE(test::waitUntil([&] { return w.card(1).data().toString() == "Library"; }));
    EXPECT_EQ(ProjectLibrary(w.dir.filePath("Projects")).projects().value(0).name, "Library");
    EXPECT_FALSE(w.app->renaming());

    // Cancelling keeps the project; confirming removes its folder.
    w.list()->setCurrentIndex(w.card(2));
    w.window->gallery()->deleteSelected();
    answerConfirmation(w.window.get(), "Cancel");
    ASSERT_TRUE(test::waitUntil([&] { return !w.app->deleting(); }));
    EXPECT_EQ(w.app->projects().size(), 2);

    w.list()->setCurrentIndex(w.card(2));
    w.window->gallery()->deleteSelected();
    answerConfirmation(w.window.get(), "Delete");
    ASSERT_TRUE(test::waitUntil([&] { return w.app->projects().size() == 1; }));
    EXPECT_EQ(w.card(1).data().toString(), "Library");
}

TEST(GalleryWindow, NewProjectOpensWithItsNameReadyToEditAndNoticesShowAsToasts) {
    Window w({"Books"});
    w.list()->setFocus();
    w.list()->setCurrentIndex(w.card(0));
    QTest::keyClick(w.list(), Qt::Key_Return);
    ASSERT_NE(w.app->session(), nullptr);
    QLineEdit* name = w.window->projectView()->nameField();
    EXPECT_EQ(name->text(), "Untitled project");
    EXPECT_EQ(name->selectedText(), "Untitled project");
    name->setText("Garden");
    emit name->editingFinished();
    EXPECT_EQ(w.app->session()->project().name, "Garden");
    EXPECT_FALSE(w.app->renaming());

    w.app->setNotice(QString("The project couldn't be saved."));
    EXPECT_EQ(w.window->toast()->text(), "The project couldn't be saved.");
    w.app->setNotice(std::nullopt);
    EXPECT_TRUE(w.window->toast()->text().isEmpty());
}
