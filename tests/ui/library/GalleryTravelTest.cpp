// The gallery's ways to start: the empty gallery offers the example, which opens as a project.
#include "app/app/AppDelegate.h"
#include "app/app/AppModel.h"
#include "app/graph/ProjectSession.h"
#include "tests/support/TestSupport.h"
#include "ui/library/GalleryView.h"
#include "ui/shell/MainWindow.h"

#include <QAction>
#include <QApplication>
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
