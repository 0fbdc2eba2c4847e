#include "app/app/AppModel.h"

#include "app/app/AppDelegate.h"
#include "app/graph/ProjectSession.h"
#include "kit/support/Json.h"
#include "tests/support/TestSupport.h"

#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace corvantis;

namespace {

struct Fixture {
    QTemporaryDir dir;
    QString ini() const { return dir.filePath("settings.ini"); }
    QString root() const { return dir.filePath("Corvantis/Projects"); }
    void store(const QString& key, const QVariant& value) const {
        QSettings settings(ini(), QSettings::IniFormat);
        settings.setValue(key, value);
    }
    QVariant stored(const QString& key) const {
        QSettings settings(ini(), QSettings::IniFormat);
        return settings.value(key);
    }
    std::unique_ptr<AppModel> start() const {
        return std::make_unique<AppModel>(std::make_unique<Settings>(ini()), root());
    }
};

} // namespace

TEST(AppModelSettings, UnknownOrForeignValuesFallBackToDefaults) {
    Fixture f;
    f.store("aiProvider", "gemini");
    f.store("queryMode", "telepathy");
    f.store("appearance", "neon");
    f.store("model", "gpt-6-sol"); // a ChatGPT id stored for Claude
    f.store("effort", "ultra");    // no Claude model offers ultra
    f.store("routerEffort", "nonsense");
    f.store("chatGPT.model", "claude-opus-5-5"); // a Claude id stored for ChatGPT
    f.store("apiKey", "sk-secret");
    auto app = f.start();

    EXPECT_EQ(app->provider(), AIProvider::claude);
    EXPECT_EQ(app->queryMode(), QueryMode::Auto);
    EXPECT_EQ(app->appearance(), Appearance::System);
    EXPECT_TRUE(app->allowsMCP()); // absent means allowed
    ModelChoice claude = app->choice(AIProvider::claude);
    EXPECT_EQ(claude.model.id, "claude-sonnet-5-5");
    EXPECT_EQ(claude.effort, AIEffort::max); // the nearest the model offers
    EXPECT_EQ(claude.routerEffort, AIEffort::low);
    EXPECT_EQ(app->choice(AIProvider::chatGPT).model, AIProvider(AIProvider::chatGPT).defaultModel());
    EXPECT_FALSE(f.stored("apiKey").isValid());
}

TEST(AppModelSettings, StoredChoicesAreReadAndWritten) {
    Fixture f;
    f.store("mcp.enabled", false);
    f.store("aiProvider", "chatGPT");
    f.store("queryMode", "raw");
    f.store("appearance", "dark");
    f.store("model", "claude-opus-4-1"); // an older member of a family resolves to the current one
    f.store("sidebarHidden", true);
    {
        auto app = f.start();
        EXPECT_FALSE(app->allowsMCP());
        EXPECT_EQ(app->provider(), AIProvider::chatGPT);
        EXPECT_EQ(app->queryMode(), QueryMode::Raw);
        EXPECT_EQ(app->appearance(), Appearance::Dark);
        EXPECT_TRUE(app->sidebarHidden());
        EXPECT_EQ(app->choice(AIProvider::claude).model.id, "claude-opus-5-5");

        QSignalSpy changed(app.get(), &AppModel::choiceChanged);
        app->setProvider(AIProvider::claude);
        app->setEffort(AIEffort::high);
        app->setEffort(AIEffort::high); // no change, no signal
        EXPECT_EQ(changed.count(), 2);
        app->setAllowsMCP(true);
        app->setQueryMode(QueryMode::Simple);
    }
    // Every key of the choice is written for its provider.
    EXPECT_EQ(f.stored("aiProvider").toString(), "claude");
    EXPECT_EQ(f.stored("effort").toString(), "high");
    EXPECT_EQ(f.stored("model").toString(), "claude-opus-5-5");
    EXPECT_EQ(f.stored("routerEffort").toString(), "low");
    EXPECT_FALSE(f.stored("chatGPT.effort").isValid());
    EXPECT_EQ(f.stored("mcp.enabled").toBool(), true);
    EXPECT_EQ(f.stored("queryMode").toString(), "simple");
}

TEST(AppModelStartUp, LastProjectReopensOnlyWhenItStillExists) {
    Fixture f;
    Project kept = ProjectLibrary(f.root()).create("Kept");

    f.store("lastProject", json::uuidText(QUuid::createUuid())); // a deleted project
    {
        auto app = f.start();
        EXPECT_EQ(app->session(), nullptr);
    }
    EXPECT_TRUE(f.stored("lastProject").isValid()); // stays stored

    f.store("lastProject", "not a uuid");
    {
        auto app = f.start();
        EXPECT_EQ(app->session(), nullptr);
    }
    EXPECT_EQ(f.stored("lastProject").toString(), "not a uuid");

    f.store("lastProject", json::uuidText(kept.id));
    auto app = f.start();
    ASSERT_NE(app->session(), nullptr);
    EXPECT_EQ(app->session()->project().id, kept.id);
}

TEST(AppModelProjects, OpenRenameDeleteAndGallery) {
    Fixture f;
    auto app = f.start();
    EXPECT_TRUE(app->projects().isEmpty());

    app->newProject();
    ASSERT_NE(app->session(), nullptr);
    EXPECT_EQ(app->session()->project().name, "Untitled project");
    ASSERT_TRUE(app->renaming());
    EXPECT_EQ(app->renaming()->id, app->session()->project().id);
    EXPECT_EQ(f.stored("lastProject").toString(), json::uuidText(app->session()->project().id));
    Project first = app->session()->project();

    // Opening the open project again keeps the same session.
    ProjectSession* session = app->session();
    QSignalSpy sessionChanges(app.get(), &AppModel::sessionChanged);
    app->open(first);
    EXPECT_EQ(app->session(), session);
    EXPECT_EQ(sessionChanges.count(), 0);

    app->newProject();
    EXPECT_EQ(app->session()->project().name, "Untitled project 2");
    EXPECT_TRUE(test::waitUntil([&] { return session->isClosed(); }));
    Project second = app->session()->project();

    auto listed = [&](const QList<Project>& projects) {
        for (const Project& p : projects)
            if (p.id == second.id)
                return p;
        return Project();
    };

    // Renaming to blanks changes nothing; a real rename reaches the session, the file and the list.
    app->rename(second, "   \n");
    EXPECT_EQ(app->session()->project().name, "Untitled project 2");
    app->rename(second, "  Reading list ");
    EXPECT_EQ(app->session()->project().name, "Reading list");
    EXPECT_EQ(listed(ProjectLibrary(f.root()).projects()).name, "Reading list");
    EXPECT_EQ(listed(app->projects()).name, "Reading list");
    EXPECT_EQ(listed(app->projects()).modifiedAt, second.modifiedAt); // rename leaves modifiedAt alone

    // Deleting another project leaves the session alone.
    ProjectSession* open = app->session();
    app->remove(first);
    EXPECT_EQ(app->session(), open);
    EXPECT_EQ(app->projects().size(), 1);

    // Deleting the open project returns to the gallery and forgets it as the last project.
    app->remove(app->session()->project());
    EXPECT_EQ(app->session(), nullptr);
    EXPECT_TRUE(app->projects().isEmpty());
    EXPECT_FALSE(f.stored("lastProject").isValid());

    app->newProject();
    app->showGallery();
    EXPECT_EQ(app->session(), nullptr);
    EXPECT_FALSE(f.stored("lastProject").isValid());
}

TEST(AppModelProjects, FailuresBecomeNotices) {
    Fixture f;
    auto app = f.start();
    // The projects folder is replaced by a file: creating a project must fail with a sentence.
    QDir(f.root()).removeRecursively();
    QFile blocker(f.root());
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    app->newProject();
    EXPECT_EQ(app->session(), nullptr);
    ASSERT_TRUE(app->notice());
    EXPECT_FALSE(app->notice()->isEmpty());
}

TEST(AppDelegate, QuitsInOrderAndAtOnceTheSecondTime) {
    Fixture f;
    auto app = f.start();
    app->newProject();
    ProjectSession* session = app->session();
    QSignalSpy closed(session, &ProjectSession::closed);
    AppDelegate delegate(*app);
    QSignalSpy ready(&delegate, &AppDelegate::readyToTerminate);

    EXPECT_EQ(delegate.shouldTerminate(), AppDelegate::Reply::TerminateLater);
    EXPECT_TRUE(delegate.isQuitting());
    EXPECT_EQ(delegate.shouldTerminate(), AppDelegate::Reply::TerminateNow);
    EXPECT_TRUE(test::waitUntil([&] { return ready.count() == 1; }));
    EXPECT_EQ(closed.count(), 1);
    EXPECT_EQ(app->session(), nullptr);
}
