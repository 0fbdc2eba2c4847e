#include "ui/settings/AIPane.h"

#include "app/ai/AIConnection.h"
#include "app/app/AppModel.h"
#include "app/app/Settings.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ToolHome.h"

#include <QLabel>
#include <QPushButton>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace corvantis;
using corvantis::test::ToolHome;
using corvantis::test::waitUntil;

TEST(AIPane, UpdateButtonCancelsARunningUpdate) {
    ToolHome home;
    ToolHome::account("signed-in");
    QTemporaryDir dir;
    AppModel app(std::make_unique<Settings>(dir.filePath("s.ini")), dir.filePath("Projects"));
    AIPane pane(app);
    AIConnection* claude = app.connection(AIProvider::claude);
    ASSERT_TRUE(waitUntil([&] { return !claude->refreshing(); }));
    auto* update = pane.findChild<QPushButton*>("update");
    ASSERT_TRUE(update);
    ASSERT_EQ(update->text(), "Update");

    // While the update runs, its button stops it, and the pane shows what the tool printed last.
    ToolHome::scenario("update-hang");
    update->click();
    ASSERT_TRUE(waitUntil([&] { return claude->updating() == QString("Downloading 2.1.200..."); }));
    EXPECT_EQ(update->text(), "Cancel Update");
    EXPECT_TRUE(update->isEnabled());
    update->click();
    ASSERT_TRUE(waitUntil([&] { return !claude->updating(); }));
    EXPECT_EQ(update->text(), "Update");
    EXPECT_FALSE(claude->updateError());

    // A failure shows the tool's last line as text.
    ToolHome::scenario("update-fail");
    update->click();
    ASSERT_TRUE(waitUntil([&] { return claude->updateError().has_value(); }));
    const auto labels = pane.findChildren<QLabel*>();
    const bool shown = std::any_of(labels.begin(), labels.end(), [](QLabel* label) {
        return label->text().contains(
            "Claude Code couldn't update.<br>Error: could not reach the update server");
    });
    EXPECT_TRUE(shown);
}
