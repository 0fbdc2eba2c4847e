// File › Share to the Web: the sheet tells what came of it, against a site on 127.0.0.1.
#include "app/app/AppDelegate.h"
#include "app/app/AppModel.h"
#include "app/app/Publisher.h"
#include "app/graph/ProjectSession.h"
#include "kit/support/Json.h"
#include "tests/support/LocalHttpServer.h"
#include "tests/support/TestSupport.h"
#include "ui/links/PublishDialog.h"
#include "ui/shell/MainWindow.h"
#include "ui/shell/TravelActions.h"

#include <QAction>
#include <QLabel>
#include <QPushButton>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace corvantis;

TEST(PublishSheet, ExplainsAMissingSiteThenShowsTheLink) {
    test::LocalHttpServer site([&](const test::HttpRequest&) {
        return test::HttpResponse{200,
                                  json::encode(QJsonObject{{"slug", "ideas"},
                                                           {"url", "http://127.0.0.1/g/ideas"},
                                                           {"nodes", 12},
                                                           {"relationships", 13},
                                                           {"updated", false}}),
                                  {}};
    });
    QTemporaryDir dir;
    AppModel app(std::make_unique<Settings>(dir.filePath("s.ini")), dir.filePath("Projects"));
    AppDelegate delegate(app);
    MainWindow window(app, delegate);
    window.show();
    app.createExample();
    app.publisher().setUsername("alice");

    QAction* share = window.findChild<QAction*>(QStringLiteral("shareAction"));
    ASSERT_NE(share, nullptr);
    EXPECT_EQ(share->shortcut(), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_P));
    share->trigger();
    PublishDialog* sheet = window.travel()->publishSheet();
    ASSERT_NE(sheet, nullptr);
    ASSERT_TRUE(test::waitUntil([&] { return !app.publisher().isPublishing(); }));
    EXPECT_TRUE(sheet->summary()->text().startsWith("Choose a sharing site in Settings › Sharing first"));
    EXPECT_FALSE(sheet->openButton()->isVisible());
    EXPECT_TRUE(site.requests().isEmpty());

    app.publisher().setSite(site.url("").toString());
    share->trigger();
    ASSERT_TRUE(test::waitUntil([&] { return sheet->heading()->text() == "Public on the web"; }));
    EXPECT_TRUE(sheet->summary()->text().startsWith(
        "http://127.0.0.1/g/ideas\n\n12 nodes and 13 relationships. “Ideas”, read-only"));
    EXPECT_TRUE(sheet->openButton()->isVisible());
    EXPECT_EQ(site.requests().size(), 1);
    app.session()->close();
}
