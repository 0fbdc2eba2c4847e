#include "app/build/PopplerPdf.h"
#include "tests/app/build/BuildTestSupport.h"
#include "tests/support/LocalHttpServer.h"

#include <QBuffer>
#include <QMimeData>
#include <QPainter>
#include <QPdfWriter>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace corvantis;

namespace {

// A fixed page of the local server: its status, media type (none when empty) and body.
void serve(corvantis::test::LocalHttpServer& server, const QString& path, int status, const QByteArray& type,
           const QByteArray& body) {
    corvantis::test::HttpResponse page{status, body, {}};
    if (!type.isEmpty())
        page.headers.append({"Content-Type", type});
    server.route(path, page);
}

} // namespace
using namespace corvantis::test;

namespace {

QByteArray pdfSaying(const QString& text, const QString& title) {
    QByteArray data;
    QBuffer buffer(&data);
    buffer.open(QIODevice::WriteOnly);
    QPdfWriter writer(&buffer);
    writer.setTitle(title);
    QPainter painter(&writer);
    painter.setFont(QFont("DejaVu Sans", 12));
    painter.drawText(QRect(0, 0, 8000, 2000), text);
    painter.end();
    return data;
}

} // namespace

TEST(BuildSources, LinksAndFilesAreReadOnThisMachineAndSentBetweenSourceTags) {
    BuildWorld world;
    LocalHttpServer server;
    serve(server, "/dune", 200, "text/html",
                  "<html><head><title>Dune notes</title></head><p>Ann wrote Dune in 1965.</p></html>");
    serve(server, "/paper.pdf", 200, "application/pdf", pdfSaying("Spice flows on Arrakis", "The Paper"));
    QTemporaryDir dir;
    QFile notes(dir.filePath("notes.md"));
    ASSERT_TRUE(notes.open(QIODevice::WriteOnly));
    notes.write("# Reading\n\nEmma by Jane Austen.\n");
    notes.close();

    world.answers({draftJson({}, {}, "Nothing yet.")});
    world.chat().takeFile(QUrl::fromLocalFile(dir.filePath("notes.md")));
    ASSERT_EQ(world.chat().attachments().size(), 1);
    BuildTurn* turn = world.send("Use these: " + server.url("/dune").toString() + " " + server.url("/paper.pdf").toString() + " " +
                                 server.url("/gone").toString());
    ASSERT_EQ(turn->status, BuildTurnRecord::Status::Done) << turn->error.value_or("").toStdString();
    QStringList titles = stepTitles(*turn).mid(0, 4);
    EXPECT_EQ(titles,
              (QStringList{"Read 127.0.0.1", "Read 127.0.0.1", "Couldn't read 127.0.0.1", "Read notes.md"}));
    EXPECT_EQ(turn->steps[0].detail, "5 words");
    EXPECT_EQ(turn->steps[2].detail, "The page answered 404: not found.");
    ASSERT_TRUE(turn->message);
    ASSERT_EQ(turn->message->sources.size(), 3);
    EXPECT_EQ(turn->message->sources[1].title, "The Paper");
    EXPECT_TRUE(turn->message->sources[1].text.contains("Spice flows on Arrakis"))
        << turn->message->sources[1].text.toStdString();
    const QString content = world.lastContent().toString();
    EXPECT_TRUE(content.contains("\n\nWhat they shared:\n\n<source title=\"Dune notes\" from=\"" +
                                 server.url("/dune").toString() + "\">\nAnn wrote Dune in 1965.\n</source>"));
    EXPECT_TRUE(content.contains("<source title=\"notes.md\" from=\"" + dir.filePath("notes.md") +
                                 "\">\n# Reading\n\nEmma by Jane Austen.\n</source>"));
    // Sources are saved with the turn and sent again with the next one.
    world.answers({draftJson({}, {}, "Still nothing.")});
    world.send("And?");
    EXPECT_TRUE(world.lastContent().toString().contains("<source title=\"The Paper\""));
}

TEST(BuildSources, PopplerReadsAPdfAndRefusesWhatIsNone) {
    const auto text = PopplerPdf::read(pdfSaying("Hello from a PDF", "Greeting"));
    ASSERT_TRUE(text);
    EXPECT_TRUE(text->text.contains("Hello from a PDF"));
    EXPECT_EQ(text->title, QString("Greeting"));
    EXPECT_FALSE(PopplerPdf::read("%PDF-1.4 not really"));
}

TEST(BuildSources, DropsAndPastesTakeFilesLinksAndPictures) {
    BuildWorld world;
    QTemporaryDir dir;
    QImage image(40, 20, QImage::Format_RGB32);
    image.fill(Qt::red);
    ASSERT_TRUE(image.save(dir.filePath("board.png")));
    QMimeData drop;
    drop.setUrls({QUrl::fromLocalFile(dir.filePath("board.png")), QUrl("https://example.org/a")});
    world.chat().take(drop);
    world.chat().take(drop); // the same file is not attached twice
    ASSERT_EQ(world.chat().attachments().size(), 1);
    EXPECT_TRUE(world.chat().attachments()[0].thumbnail);
    EXPECT_EQ(world.chat().draftText(), "https://example.org/a\nhttps://example.org/a\n");
    QMimeData paste;
    paste.setImageData(image);
    world.chat().take(paste);
    EXPECT_EQ(world.chat().attachments().size(), 2);
    EXPECT_GE(world.chat().focus(), 3);
}
