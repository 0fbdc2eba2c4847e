#include "kit/links/SourceReader.h"

#include "kit/links/SourceReaderError.h"
#include "tests/kit/links/PageServer.h"
#include "tests/support/AwaitTask.h"
#include "tests/support/QtPrinters.h"

#include <QFile>
#include <QNetworkAccessManager>
#include <QTcpServer>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace corvantis;
using corvantis::test::await;
using corvantis::test::PageServer;

namespace {

struct Reader {
    QNetworkAccessManager manager;
    bool offline = false;
    HTTPTransport transport = SourceReader::networkTransport(&manager, [this] { return offline; });

    BuildSource read(const QString& url) { return await(SourceReader::read(QUrl(url), transport, {})); }
    // The sentence a failed read gives, with its kind.
    std::pair<SourceReaderError::Kind, QString> failure(const QString& url) {
        try {
            read(url);
        } catch (const SourceReaderError& error) {
            return {error.kind(), error.message()};
        }
        ADD_FAILURE() << "the read succeeded: " << url.toStdString();
        return {};
    }
};

} // namespace

TEST(SourceReading, PagesAreFetchedAsADesktopBrowserAndSortedByType) {
    PageServer server;
    server.serve("/page",
                 {200, "text/html; charset=utf-8",
                  "<html><head><title>Dune</title></head><body><p>Arrakis is a desert.</p></body></html>"});
    server.serve("/notes.txt", {200, "text/plain", "  one\r\n\r\n\r\n two  "});
    server.serve("/data", {200, "", "plain words"});
    server.serve("/pic", {200, "image/png", "\x89PNG"});
    server.serve("/zip", {200, "application/zip", "PK"});
    server.serve("/forbidden", {403, "text/html", "no"});
    server.serve("/empty", {200, "text/html", "<html><script>app()</script></html>"});
    server.serve("/big", {200, "text/html", QByteArray(12'000'001, 'a')});

    Reader reader;
    const BuildSource page = reader.read(server.url("/page"));
    EXPECT_EQ(page.title, "Dune");
    EXPECT_EQ(page.text, "Arrakis is a desert.");
    EXPECT_EQ(page.location, server.url("/page"));
    EXPECT_EQ(page.words(), 4);
    EXPECT_FALSE(page.truncated);
    ASSERT_EQ(server.requests.size(), 1);
    EXPECT_EQ(server.requests[0].value("user-agent"),
              "Mozilla/5.0 (Macintosh; Intel Mac OS X 10_15_7) AppleWebKit/605.1.15 (KHTML, like Gecko) "
              "Version/26.0 Safari/605.1.15");
    EXPECT_EQ(server.requests[0].value("accept"),
              "text/html,application/xhtml+xml,application/pdf,text/plain;q=0.9,*/*;q=0.5");
    EXPECT_EQ(SourceReader::request(QUrl("https://x.org")).transferTimeout(), 30000);

    const BuildSource notes = reader.read(server.url("/notes.txt"));
    EXPECT_EQ(notes.text, "one\n\ntwo");
    EXPECT_EQ(notes.title, "127.0.0.1"); // the site stands in for a missing title
    EXPECT_EQ(reader.read(server.url("/data")).text, "plain words");

    using Kind = SourceReaderError::Kind;
    EXPECT_EQ(reader.failure(server.url("/missing")),
              std::make_pair(Kind::Status, QString("The page answered 404: not found.")));
    EXPECT_EQ(reader.failure(server.url("/forbidden")).second,
              "The page answered 403: it doesn't let apps read it.");
    EXPECT_EQ(reader.failure(server.url("/pic")).second,
              "Corvantis can't read pictures from a link; drop the picture in instead yet.");
    EXPECT_EQ(reader.failure(server.url("/zip")).first, Kind::Unsupported);
    EXPECT_EQ(reader.failure(server.url("/empty")),
              std::make_pair(Kind::Empty,
                             QString("There's no readable text in it. If the page needs a browser, copy "
                                     "its text and paste that instead.")));
    EXPECT_EQ(reader.failure(server.url("/big")).second,
              "Corvantis can't read anything this large (over 12 MB) yet.");
}

TEST(SourceReading, VideosFailAtOnceAndAFailedConnectionSaysWhy) {
    Reader reader;
    EXPECT_EQ(reader.failure("https://www.youtube.com/watch?v=dQw4w9WgXcQ"),
              std::make_pair(SourceReaderError::Kind::Video,
                             QString("Videos can't be read. Paste the transcript or your notes instead.")));

    // A port nobody listens on.
    QTcpServer closed;
    closed.listen(QHostAddress::LocalHost, 0);
    const QString url = QStringLiteral("http://127.0.0.1:%1/").arg(closed.serverPort());
    closed.close();
    EXPECT_EQ(reader.failure(url),
              std::make_pair(SourceReaderError::Kind::Network, QString("Couldn't open 127.0.0.1")));
    reader.offline = true;
    EXPECT_EQ(reader.failure(url).second, "You're offline.");
}

TEST(SourceReading, FilesAreReadByTheirExtensionAndLongTextIsCut) {
    QTemporaryDir dir;
    auto write = [&](const QString& name, const QByteArray& data) {
        QFile file(dir.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(data);
        return dir.filePath(name);
    };
    const BuildSource html = SourceReader::readFile(write("a.htm", "<p>Hello &amp; welcome</p>"), {});
    EXPECT_EQ(html.text, "Hello & welcome");
    EXPECT_EQ(html.title, "a.htm");
    const BuildSource latin = SourceReader::readFile(write("b.md", "caf\xe9"), {});
    EXPECT_EQ(latin.text, "café");

    const BuildSource longText = SourceReader::readFile(write("long.txt", QByteArray(300'001, 'x')), {});
    EXPECT_EQ(longText.text.size(), 300'000);
    EXPECT_TRUE(longText.truncated);

    try {
        SourceReader::readFile(write("huge.txt", QByteArray(13'000'000, 'x')), {});
        ADD_FAILURE() << "a 13 MB file was read";
    } catch (const SourceReaderError& error) {
        EXPECT_EQ(error.kind(), SourceReaderError::Kind::Unsupported);
    }
    try {
        SourceReader::readFile(dir.filePath("nothing.txt"), {});
        ADD_FAILURE() << "a missing file was read";
    } catch (const SourceReaderError& error) {
        EXPECT_EQ(error.message(), "Couldn't open nothing.txt");
    }
    // Without a PDF reader, or with bytes that are no PDF, the PDF can't be read.
    try {
        SourceReader::readFile(write("c.pdf", "%PDF-nonsense"),
                               [](const QByteArray&) { return std::nullopt; });
        ADD_FAILURE() << "a broken PDF was read";
    } catch (const SourceReaderError& error) {
        EXPECT_EQ(error.message(), "Corvantis can't read this PDF yet.");
    }
}
