// The cards of a selected node's links, fetched from a server on 127.0.0.1.
#include "ui/links/LinkPreviewCard.h"

#include "app/app/AppModel.h"
#include "app/graph/ProjectSession.h"
#include "app/links/LinkPreviews.h"
#include "kit/links/LinkPreviewService.h"
#include "kit/projects/ExampleProject.h"
#include "tests/support/LocalHttpServer.h"
#include "tests/support/TestSupport.h"
#include "ui/links/LinkPreviewStrip.h"

#include <QBuffer>
#include <QImage>
#include <QLabel>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace corvantis;

TEST(LinkPreviewCards, SelectedNodeShowsOneCardPerLinkFetchedOnce) {
    QImage image(64, 40, QImage::Format_RGB32);
    image.fill(QColor("#2FA886"));
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    test::LocalHttpServer server([&](const test::HttpRequest& request) {
        if (request.path == "/e.png")
            return test::HttpResponse{200, png, {{"Content-Type", "image/png"}}};
        if (request.path == "/entropy")
            return test::HttpResponse{200,
                                      "<meta property='og:title' content='Entropy, explained'>"
                                      "<meta property='og:image' content='/e.png'>",
                                      {}};
        return test::HttpResponse{404, "", {}};
    });
    QTemporaryDir dir;
    ProjectExport example = ExampleProject::make();
    const QString entropy = example.nodes[1].id;
    example.nodes[1].properties.insert("reference", GraphValue::string(server.url("/entropy").toString()));
    {
        ProjectLibrary library(dir.filePath("Projects"));
        library.importProject(example);
    }
    AppModel app(std::make_unique<Settings>(dir.filePath("s.ini")), dir.filePath("Projects"));
    app.open(app.projects().first());
    ProjectSession& session = *app.session();

    LinkPreviewStrip strip;
    strip.setSources(&session, &app.linkPreviews());
    EXPECT_TRUE(strip.links().isEmpty());
    session.setSelection(GraphSelection::node(entropy));
    ASSERT_EQ(strip.links(), QStringList{server.url("/entropy").toString()});
    auto* card = strip.findChild<LinkPreviewCard*>();
    ASSERT_NE(card, nullptr);
    // A second card of the same link at the same time.
    LinkPreviewCard twin(app.linkPreviews().service(), server.url("/entropy"));
    ASSERT_TRUE(test::waitUntil([&] { return card->preview() && twin.preview(); }));
    EXPECT_EQ(card->preview()->title, QString("Entropy, explained"));
    EXPECT_EQ(twin.preview(), card->preview());
    EXPECT_EQ(server.requestCount("/entropy"), 1);
    EXPECT_EQ(server.requestCount("/e.png"), 1);
    // The page's own picture, from the cache folder.
    EXPECT_FALSE(card->findChild<QLabel*>()->pixmap().isNull());

    // Previews are kept under the project's "previews/" folder.
    EXPECT_EQ(app.linkPreviews().service()->directory(), app.library().previewsFolder(session.project().id));
    // A node without links shows no cards.
    session.setSelection(GraphSelection::node(example.nodes[0].id));
    EXPECT_TRUE(strip.links().isEmpty());
    EXPECT_FALSE(strip.findChild<LinkPreviewCard*>());
    session.close();
}
