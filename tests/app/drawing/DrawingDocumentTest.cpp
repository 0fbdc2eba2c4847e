#include "app/drawing/DrawingDocument.h"

#include "tests/support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTimer>
#include <gtest/gtest.h>

using namespace corvantis;

namespace {

// A board that answers each save with what it holds, at once or when told to.
class ScriptedPage : public DrawingPage {
public:
    BoardSnapshot holds{false, QStringLiteral("{\"items\":[1]}"), "light-png", "dark-png"};
    bool answerAtOnce = true;
    int saveRequests = 0;
    int waiting = 0;
    QStringList loaded;
    QStringList fromTablets;

    void load(const QString& source, const QString& theme) override { loaded << source + "|" + theme; }
    void setTheme(const QString&) override {}
    void fromTablet(const QString& message) override { fromTablets << message; }
    void requestSave() override {
        ++saveRequests;
        ++waiting;
        if (answerAtOnce)
            QTimer::singleShot(0, this, [this] { answer(); });
    }
    void answer() {
        ASSERT_GT(waiting, 0);
        --waiting;
        emit saved(holds);
    }
};

struct Drawing {
    QTemporaryDir dir;
    QString folder = dir.filePath("attachments");
    ScriptedPage page;
    std::unique_ptr<DrawingDocument> document;
    QString id = QStringLiteral("0B1C2D3E-0000-4000-8000-00000000000A");

    explicit Drawing(bool inNote = false) {
        document =
            std::make_unique<DrawingDocument>(DrawingRequest{id, "note", 3}, folder, inNote, &page, nullptr);
        emit page.ready(); // the board came up and was given the drawing
    }
    QString file(const QString& suffix) const { return QDir(folder).filePath(id + suffix); }
    QStringList files() const { return QDir(folder).entryList(QDir::Files); }
};

} // namespace

TEST(DrawingDocument, SavesComeSoonAfterTheLastChangeAndNeverLateAfterTheFirst) {
    EXPECT_EQ(DrawingDocument::saveDelayMs(0), 800);
    EXPECT_EQ(DrawingDocument::saveDelayMs(3000), 800);
    EXPECT_EQ(DrawingDocument::saveDelayMs(3500), 500);
    EXPECT_EQ(DrawingDocument::saveDelayMs(3990), 10);
    EXPECT_EQ(DrawingDocument::saveDelayMs(4000), 0);
    EXPECT_EQ(DrawingDocument::saveDelayMs(9000), 0);

    // Changes every half second, for longer than the latest save may wait: a save comes while they go
    // on, not only after they stop.
    Drawing d;
    QSignalSpy first(d.document.get(), &DrawingDocument::firstSaved);
    int ticks = 0;
    QTimer changes;
    QObject::connect(&changes, &QTimer::timeout, [&] {
        if (++ticks <= 20)
            d.document->changed();
    });
    changes.start(500);
    ASSERT_TRUE(test::waitUntil([&] { return d.page.saveRequests > 0 || ticks > 20; }, 30000));
    EXPECT_GE(d.page.saveRequests, 1);
    EXPECT_LE(ticks, 20) << "the first save waited for the changes to stop";
    changes.stop();
    ASSERT_TRUE(test::waitUntil([&] { return !d.document->pending(); }, 30000));
    EXPECT_EQ(first.size(), 1);
}

TEST(DrawingDocument, AChangeDuringASaveLeadsToOneMoreSave) {
    Drawing d;
    d.page.answerAtOnce = false;
    d.document->save();
    ASSERT_EQ(d.page.saveRequests, 1);
    d.document->changed(); // while the board works on the first
    d.document->save();    // asked again meanwhile: folded into the one after
    EXPECT_EQ(d.page.saveRequests, 1);
    d.page.answer();
    ASSERT_TRUE(test::waitUntil([&] { return d.page.saveRequests == 2; }, 30000));
    d.page.answer();
    ASSERT_TRUE(test::waitUntil([&] { return !d.document->pending(); }, 30000));
    EXPECT_EQ(d.page.saveRequests, 2);
}

TEST(DrawingDocument, TheFirstSaveWritesThreeFilesAndPlacesTheEmbedOnce) {
    Drawing d;
    QSignalSpy first(d.document.get(), &DrawingDocument::firstSaved);
    QSignalSpy pictures(d.document.get(), &DrawingDocument::picturesChanged);
    d.document->save();
    ASSERT_TRUE(test::waitUntil([&] { return !d.document->saving(); }, 30000));
    EXPECT_EQ(d.files().size(), 3);
    QFile source(d.file(".drawing.json"));
    ASSERT_TRUE(source.open(QIODevice::ReadOnly));
    EXPECT_EQ(source.readAll(), "{\"items\":[1]}");
    QFile dark(d.file(".drawing-dark.png"));
    ASSERT_TRUE(dark.open(QIODevice::ReadOnly));
    EXPECT_EQ(dark.readAll(), "dark-png");
    ASSERT_EQ(first.size(), 1);
    EXPECT_EQ(first.first().first().value<NoteEmbed>().file, d.id + ".drawing.png");
    EXPECT_TRUE(d.document->inNote());

    d.page.holds.source = "{\"items\":[1,2]}";
    d.document->save();
    ASSERT_TRUE(test::waitUntil([&] { return !d.document->saving(); }, 30000));
    EXPECT_EQ(first.size(), 1);
    EXPECT_EQ(pictures.size(), 2);
    // Opening again loads what was saved.
    emit d.page.ready();
    ASSERT_EQ(d.page.loaded.size(), 2);
    EXPECT_EQ(d.page.loaded.first(), "|light"); // a new drawing loads empty
    EXPECT_EQ(d.page.loaded.last(), "{\"items\":[1,2]}|light");
}

TEST(DrawingDocument, AnUntouchedDrawingLeavesNothingAndAnEmptiedOneGoesWithItsFiles) {
    {
        Drawing untouched;
        untouched.page.holds = BoardSnapshot{};
        QSignalSpy first(untouched.document.get(), &DrawingDocument::firstSaved);
        untouched.document->save();
        ASSERT_TRUE(test::waitUntil([&] { return !untouched.document->saving(); }, 30000));
        EXPECT_TRUE(untouched.files().isEmpty());
        EXPECT_TRUE(first.isEmpty());
    }
    Drawing d(true);
    QDir().mkpath(d.folder);
    for (const char* suffix : {".drawing.json", ".drawing.png", ".drawing-dark.png"}) {
        QFile file(d.file(suffix));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    }
    QFile other(QDir(d.folder).filePath("photo.png"));
    ASSERT_TRUE(other.open(QIODevice::WriteOnly));
    other.close();
    QSignalSpy emptied(d.document.get(), &DrawingDocument::emptied);
    d.page.holds = BoardSnapshot{};
    d.document->save();
    ASSERT_TRUE(test::waitUntil([&] { return !d.document->saving(); }, 30000));
    ASSERT_EQ(emptied.size(), 1);
    EXPECT_EQ(d.files(), QStringList{"photo.png"});
    EXPECT_FALSE(d.document->inNote());
}

TEST(DrawingDocument, ABoardThatNeverCameUpIsNotAskedToSave) {
    QTemporaryDir dir;
    ScriptedPage page;
    DrawingDocument document({"id", "note", std::nullopt}, dir.path(), false, &page, nullptr);
    document.changed();
    document.finish();
    EXPECT_EQ(page.saveRequests, 0);
    EXPECT_TRUE(document.finished());
}

TEST(DrawingDocument, FinishingWhileASaveWaitsSavesFirst) {
    Drawing d;
    d.document->changed();
    ASSERT_TRUE(d.document->pending());
    QSignalSpy finished(d.document.get(), &DrawingDocument::finishedChanged);
    d.document->finish();
    EXPECT_EQ(d.page.saveRequests, 1); // at once, not after the wait
    ASSERT_TRUE(test::waitUntil([&] { return d.document->finished(); }, 30000));
    EXPECT_EQ(d.files().size(), 3);
    EXPECT_EQ(finished.size(), 1);

    // With nothing pending, finishing is immediate and saves nothing.
    Drawing idle;
    idle.document->finish();
    EXPECT_TRUE(idle.document->finished());
    EXPECT_EQ(idle.page.saveRequests, 0);
}

TEST(DrawingDocument, SharingWithATabletSaysWhyItCannotStart) {
    QTemporaryDir dir;
    TabletBridge::Options options;
    options.ports = {0};
    options.listenOn = QHostAddress::LocalHost;
    options.engine = dir.filePath("no-engine");
    options.lanAddress = [] {
        return std::optional<QString>("127.0.0.1");
    };
    TabletBridge bridge(options);
    ScriptedPage page;
    DrawingDocument document({"id", "note", std::nullopt}, dir.path(), false, &page, &bridge);
    document.startTablet();
    EXPECT_EQ(document.tabletState(), DrawingDocument::TabletState::Failed);
    EXPECT_EQ(document.tabletFailure(), "The drawing engine for the tablet is missing from this build.");

    QDir().mkpath(dir.filePath("engine/qd"));
    QFile engine(dir.filePath("engine/qd/index.js"));
    ASSERT_TRUE(engine.open(QIODevice::WriteOnly));
    engine.close();
    options.engine = dir.filePath("engine");
    TabletBridge working(options);
    DrawingDocument shared({"id", "note", std::nullopt}, dir.path(), false, &page, &working);
    shared.startTablet();
    ASSERT_EQ(shared.tabletState(), DrawingDocument::TabletState::Sharing);
    EXPECT_TRUE(shared.tabletAddress().direct.startsWith("http://127.0.0.1:"));
    shared.stopTablet();
    EXPECT_EQ(shared.tabletState(), DrawingDocument::TabletState::Off);
    EXPECT_FALSE(working.running());
    EXPECT_EQ(page.fromTablets.last(), "{\"ipads\":0,\"type\":\"presence\"}");
}
