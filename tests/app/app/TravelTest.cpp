// The app's travel operations: export of open and closed projects, import, the program's link and the
// example project, against real databases and a real HTTP server on 127.0.0.1.
#include "app/app/AppModel.h"
#include "app/canvas/CanvasState.h"
#include "app/graph/ProjectSession.h"
#include "app/notes/NotesModel.h"
#include "kit/notes/NoteTag.h"
#include "kit/projects/ExampleProject.h"
#include "kit/store/LadybugGraphStore.h"
#include "kit/support/AtomicFile.h"
#include "tests/support/LocalHttpServer.h"
#include "tests/support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace corvantis;
using corvantis::test::HttpRequest;
using corvantis::test::HttpResponse;
using corvantis::test::LocalHttpServer;

namespace {

struct Fixture {
    QTemporaryDir dir;
    std::unique_ptr<AppModel> app = std::make_unique<AppModel>(
        std::make_unique<Settings>(dir.filePath("settings.ini")), dir.filePath("Corvantis/Projects"));
    QString notice() const { return app->notice().value_or(QString()); }
};

const QString unusable = QStringLiteral("That link isn't a graph Corvantis can open.");

} // namespace

TEST(AppTravel, ExampleIsCreatedAndOpenedWithItsExactGraph) {
    Fixture f;
    f.app->createExample();
    ASSERT_NE(f.app->session(), nullptr) << f.notice().toStdString();
    ProjectSession& session = *f.app->session();
    EXPECT_EQ(session.project().name, "Ideas");
    EXPECT_EQ(session.project().schema.nodeTypes.size(), 3);
    EXPECT_EQ(session.project().schema.relTypes.size(), 5);
    EXPECT_EQ(session.nodes().size(), 12);
    EXPECT_EQ(session.rels().size(), 13);
    EXPECT_FALSE(session.graphUnavailable());
    const GraphLayout layout = session.graphCanvas().layout();
    EXPECT_EQ(layout.pinned, QSet<QString>(session.nodes().keyBegin(), session.nodes().keyEnd()));
    EXPECT_FALSE(session.project().schema.nodeTypes.isEmpty());

    // A second example is "Ideas 2"; the first stays as it was.
    f.app->createExample();
    ASSERT_NE(f.app->session(), nullptr);
    EXPECT_EQ(f.app->session()->project().name, "Ideas 2");
    EXPECT_EQ(f.app->projects().size(), 2);
}

TEST(AppTravel, ExportOfOpenClosedAndHeldProjects) {
    Fixture f;
    f.app->createExample();
    ASSERT_NE(f.app->session(), nullptr);
    ProjectSession& session = *f.app->session();
    const Project example = session.project();
    // The layout as the session holds it, which its debounced save may not have written yet.
    const GraphLayout live = session.graphCanvas().layout();

    const QString openPath = f.dir.filePath("open.corvantis.json");
    f.app->exportProject(example, openPath);
    EXPECT_EQ(f.notice(), "");
    const ProjectExport fromSession = ProjectExport::decode(readFile(openPath));
    EXPECT_EQ(fromSession.nodes.size(), 12);
    EXPECT_EQ(fromSession.relationships.size(), 13);
    EXPECT_EQ(fromSession.layout, live);
    EXPECT_EQ(fromSession.project.id, example.id);

    // Closed: through a store of its own, let go afterwards (the project opens again).
    f.app->showGallery();
    ASSERT_TRUE(test::waitUntil([&] { return f.app->session() == nullptr; }));
    const QString closedPath = f.dir.filePath("closed.corvantis.json");
    // The closing session lets go of the database asynchronously: wait until it can be had.
    ASSERT_TRUE(test::waitUntil([&] {
        f.app->setNotice(std::nullopt);
        f.app->exportProject(example, closedPath);
        return QFile::exists(closedPath);
    }));
    const ProjectExport closed = ProjectExport::decode(readFile(closedPath));
    EXPECT_EQ(closed.nodes.size(), 12);
    EXPECT_EQ(closed.relationships.size(), 13);

    // Held by another copy: a clear sentence, nothing written.
    {
        LadybugGraphStore other(f.app->library().databasePath(example.id));
        const QString heldPath = f.dir.filePath("held.corvantis.json");
        f.app->exportProject(example, heldPath);
        EXPECT_EQ(f.notice(), "“Ideas” is open in another copy of Corvantis, so it can't be exported here. "
                              "Quit the other copy, then export it again.");
        EXPECT_FALSE(QFile::exists(heldPath));
    }

    // Import of the export opens a copy with the same ids.
    f.app->importProject(closedPath);
    ASSERT_NE(f.app->session(), nullptr);
    EXPECT_EQ(f.app->session()->project().name, "Ideas 2");
    EXPECT_EQ(QSet<QString>(f.app->session()->nodes().keyBegin(), f.app->session()->nodes().keyEnd()),
              QSet<QString>(session.nodes().keyBegin(), session.nodes().keyEnd()));

    // A foreign file: the sentence, and no new folder.
    const QString foreign = f.dir.filePath("foreign.json");
    writeFileAtomically(foreign, "{\"hello\": \"world\"}");
    const int folders = QDir(f.app->library().root()).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
    f.app->importProject(foreign);
    EXPECT_EQ(f.notice(), "This file isn't a Corvantis project export.");
    EXPECT_EQ(QDir(f.app->library().root()).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size(), folders);
}

TEST(AppTravel, NotesTravelWithTheProjectAndOpenInTheImportedCopy) {
    Fixture f;
    f.app->createExample();
    ASSERT_NE(f.app->session(), nullptr);
    NotesModel& notes = f.app->session()->notes();
    const QString tagged = f.app->session()->nodes().keys().value(0);
    ASSERT_FALSE(tagged.isEmpty());
    const QString picture = f.dir.filePath("chart.png");
    writeFileAtomically(picture, QByteArray("\x89PNG\r\n", 6));
    const QString id = notes.newNote(std::nullopt, "Questions");
    notes.setBody(id, "What does @" + tagged + " explain?\n");
    const QList<NoteEmbed> embeds = notes.addFiles({picture});
    ASSERT_EQ(embeds.size(), 1);
    notes.insertEmbed(embeds[0], id);
    // Exported before the notes' debounced save: the export writes them first.
    ASSERT_TRUE(notes.isSavePending());
    const NoteBook book = notes.book();

    const QString path = f.dir.filePath("ideas.corvantis.json");
    f.app->exportProject(f.app->session()->project(), path);
    EXPECT_EQ(f.notice(), "");
    f.app->importProject(path);
    ASSERT_NE(f.app->session(), nullptr) << f.notice().toStdString();
    EXPECT_EQ(f.app->session()->project().name, "Ideas 2");

    // The copy's notes panel opens the same notes, its tag finds the node and the picture is there.
    const NotesModel& copied = f.app->session()->notes();
    ASSERT_NE(copied.book().item(id), nullptr);
    EXPECT_EQ(copied.book().items, book.items);
    const NoteTag tag = copied.noteTag(NoteTag::find(copied.book().item(id)->body).value(0).token);
    EXPECT_FALSE(tag.missing);
    EXPECT_EQ(tag.id, tagged);
    EXPECT_EQ(readFile(copied.attachmentsFolder() + '/' + embeds[0].file), QByteArray("\x89PNG\r\n", 6));
}

TEST(AppTravel, ImportLinkFetchesOnlyUsableLinks) {
    Fixture f;
    const QByteArray exportFile = ExampleProject::make().encode();
    LocalHttpServer server([&](const HttpRequest& request) {
        if (request.path == "/ideas.corvantis.json")
            return HttpResponse{200, exportFile, {{"Content-Type", "application/json"}}};
        return HttpResponse{404, "gone", {}};
    });

    // Links that are refused before any request.
    f.app->handle(QUrl("https://example.org/import?url=x")); // another scheme: ignored without a word
    EXPECT_EQ(f.notice(), "");
    for (const QString& link :
         {QStringLiteral("corvantis://open?url=%1").arg(server.url("/ideas.corvantis.json").toString()),
          QStringLiteral("corvantis://import"), QStringLiteral("corvantis://import?url="),
          QStringLiteral("corvantis://import?url=ftp://127.0.0.1:%1/ideas.corvantis.json").arg(server.port()),
          QStringLiteral("corvantis://import?url=file:///etc/passwd")}) {
        f.app->setNotice(std::nullopt);
        f.app->handle(QUrl(link));
        EXPECT_EQ(f.notice(), unusable) << link.toStdString();
    }

    // A status other than 200.
    f.app->setNotice(std::nullopt);
    const QString missing =
        QString::fromLatin1(QUrl::toPercentEncoding(server.url("/missing.json").toString()));
    f.app->handle(QUrl("corvantis://import?url=" + missing));
    EXPECT_EQ(f.notice(), "Bringing in 127.0.0.1…");
    ASSERT_TRUE(test::waitUntil([&] { return f.notice() == "The graph couldn't be fetched."; }));
    EXPECT_EQ(f.app->session(), nullptr);
    EXPECT_TRUE(f.app->projects().isEmpty());

    // 200: imported, opened, and the notice cleared.
    const QString good =
        QString::fromLatin1(QUrl::toPercentEncoding(server.url("/ideas.corvantis.json").toString()));
    f.app->handle(QUrl("corvantis://import?url=" + good));
    ASSERT_TRUE(test::waitUntil([&] { return f.app->session() != nullptr; }));
    EXPECT_EQ(f.app->session()->project().name, "Ideas");
    EXPECT_EQ(f.app->session()->nodes().size(), 12);
    EXPECT_EQ(f.notice(), "");

    // Exactly the two fetches were made, both GETs.
    ASSERT_EQ(server.requests().size(), 2);
    EXPECT_EQ(server.requests()[0].method, "GET");
    EXPECT_EQ(server.requests()[0].path, "/missing.json");
    EXPECT_EQ(server.requests()[1].path, "/ideas.corvantis.json");
}
