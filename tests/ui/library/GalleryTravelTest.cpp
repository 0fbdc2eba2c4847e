// The gallery's ways to start: the empty gallery offers the example, which opens as a project.
#include "app/app/AppDelegate.h"
#include "app/app/AppModel.h"
#include "app/graph/ProjectSession.h"
#include "tests/support/TestSupport.h"
#include "ui/library/GalleryView.h"
#include "ui/shell/MainWindow.h"

#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QListView>
#include <QPushButton>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace corvantis;

TEST(GalleryTravel, EmptyGalleryOffersTheExampleWhichOpens) {
    QTemporaryDir dir;
    AppModel app(std::make_unique<Settings>(dir.filePath("s.ini")), dir.filePath("Projects"));
    AppDelegate delegate(app);
    MainWindow window(app, delegate);
    window.show();

    auto* example = window.gallery()->findChild<QPushButton*>(QStringLiteral("exampleButton"));
    ASSERT_NE(example, nullptr);
    EXPECT_TRUE(example->isVisible());
    auto* exportAction = window.findChild<QAction*>(QStringLiteral("exportAction"));
    ASSERT_NE(exportAction, nullptr);
    EXPECT_FALSE(exportAction->isEnabled()); // nothing to export yet
    EXPECT_EQ(exportAction->shortcut(), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_E));

    example->click();
    ASSERT_NE(app.session(), nullptr);
    EXPECT_EQ(app.session()->project().name, "Ideas");
    EXPECT_EQ(app.session()->nodes().size(), 12);
    EXPECT_TRUE(exportAction->isEnabled());

    app.showGallery();
    EXPECT_FALSE(example->isVisible()); // the gallery is no longer empty
    app.prepareToQuit();
    ASSERT_TRUE(test::waitUntil([&] { return app.session() == nullptr; }));
}

namespace {

// The visible buttons of a widget that read `text`, whatever their kind.
int visibleButtons(QWidget* root, const QString& text) {
    int count = 0;
    for (QAbstractButton* button : root->findChildren<QAbstractButton*>())
        if (button->isVisible() && button->text().remove('&') == text)
            ++count;
    return count;
}

} // namespace

TEST(GalleryTravel, EmptyGalleryOffersEachWayToStartOnce) {
    QTemporaryDir dir;
    AppModel app(std::make_unique<Settings>(dir.filePath("s.ini")), dir.filePath("Projects"));
    AppDelegate delegate(app);
    MainWindow window(app, delegate);
    window.show();
    GalleryView* gallery = window.gallery();

    // One sentence, one "New Project", the example; no grid whose only card would say it again.
    EXPECT_EQ(visibleButtons(gallery, "New Project"), 1);
    EXPECT_EQ(visibleButtons(gallery, "Open the Example “Ideas”"), 1);
    EXPECT_EQ(visibleButtons(gallery, "Import Project…"), 1);
    EXPECT_FALSE(gallery->list()->isVisible());
    int sentences = 0;
    for (QLabel* label : gallery->findChildren<QLabel*>())
        if (label->isVisible() && label->text().startsWith("No projects yet."))
            ++sentences;
    EXPECT_EQ(sentences, 1);

    auto* startNew = gallery->findChild<QPushButton*>(QStringLiteral("newProjectButton"));
    ASSERT_NE(startNew, nullptr);
    startNew->click();
    ASSERT_NE(app.session(), nullptr);
    EXPECT_EQ(app.session()->project().name, "Untitled project");

    // With a project the grid is back, its first card the way to a new one, and no button repeats it.
    app.showGallery();
    ASSERT_TRUE(test::waitUntil([&] { return gallery->isVisible(); }));
    EXPECT_TRUE(gallery->list()->isVisible());
    EXPECT_EQ(gallery->list()->model()->index(0, 0).data().toString(), "New Project");
    EXPECT_EQ(visibleButtons(gallery, "New Project"), 0);
    EXPECT_FALSE(startNew->isVisible());
    app.prepareToQuit();
    ASSERT_TRUE(test::waitUntil([&] { return app.session() == nullptr; }));
}
