// Link previews: reading a page's head, and the service against a real server on 127.0.0.1.
#include "kit/links/HTMLMetadata.h"
#include "kit/links/LinkPreviewService.h"
#include "kit/links/LinkURL.h"
#include "kit/support/AtomicFile.h"
#include "tests/support/AwaitTask.h"
#include "tests/support/LocalHttpServer.h"

#include <QDir>
#include <QNetworkAccessManager>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace corvantis;
using test::HttpRequest;
using test::HttpResponse;
using test::LocalHttpServer;

namespace {

const QByteArray png("\x89PNG\r\n\x1a\nfake picture", 20);
const QByteArray icon("\x89PNG\r\n\x1a\nfake icon", 17);

// A site with a page that has a picture, one that has only a title element and an icon, a redirect to
// a page whose picture is relative, and a missing page.
HttpResponse site(const HttpRequest& request) {
    if (request.path == "/article")
        return {200,
                "<html><head><META property=\"og:title\" content=\"Entropy &amp; surprise\">"
                "<meta name='twitter:title' content='Not this one'>"
                "<meta property=\"og:image\" "
                "content=\"/pictures/cover.png\"><title>Ignored</title></head></html>",
                {{"Content-Type", "text/html; charset=utf-8"}}};
    if (request.path == "/plain")
        return {
            200,
            "<html><head><title>\n  A <b>plain</b> page </title><link rel=\"shortcut icon\" href=\"/i.png\">",
            {}};
    if (request.path == "/moved")
        return {302, "", {{"Location", "/deep/page.html"}}};
    if (request.path == "/deep/page.html")
        return {200,
                "<meta property='og:image' content='img/shot.png'><meta property='og:type' "
                "content='video.other'>",
                {}};
    if (request.path == "/pictures/cover.png" || request.path == "/deep/img/shot.png")
        return {200, png, {{"Content-Type", "image/png"}}};
    if (request.path == "/i.png")
        return {200, icon, {{"Content-Type", "image/png"}}};
    return {404, "missing", {}};
}

} // namespace

TEST(HTMLMetadata, ReadsTitlesPicturesIconsAndVideo) {
    const QUrl base("https://example.org/a/b.html");
    auto result = HTMLMetadata::parse(
        "<title>Only &lt;this&gt;</title><meta name=\"og:image:url\" content=\"x.png\">", base);
    EXPECT_EQ(result.title, QString("Only <this>"));
    EXPECT_EQ(result.image, QUrl("https://example.org/a/x.png"));
    EXPECT_EQ(result.icon, QUrl("https://example.org/favicon.ico"));
    EXPECT_FALSE(result.isVideo);

    result = HTMLMetadata::parse(
        "<meta property=og:title content=Bare><meta property='og:image' "
        "content='javascript:alert(1)'><meta name='twitter:image' content='//cdn.example.org/t.jpg'>"
        "<link rel='icon' href='/small.ico'><link rel='apple-touch-icon' href='/touch.png'>"
        "<meta property='og:video:url' content='https://v.example.org/1'>",
        base);
    EXPECT_EQ(result.title, QString("Bare"));
    // og:image is no web address, so the next candidate counts, resolved against the base's scheme.
    EXPECT_EQ(result.image, QUrl("https://cdn.example.org/t.jpg"));
    EXPECT_EQ(result.icon, QUrl("https://example.org/touch.png"));
    EXPECT_TRUE(result.isVideo);

    EXPECT_FALSE(HTMLMetadata::parse("<title>   </title>", base).title.has_value());
    EXPECT_EQ(HTMLMetadata::decodeEntities("&#8220;A&#x2019;s&rdquo; &unknown; &amp;amp;"),
              QString::fromUtf8("\u201cA\u2019s\u201d &unknown; &amp;"));
}

TEST(LinkURL, SitesAndVideoIds) {
    EXPECT_EQ(LinkURL::site(QUrl("https://www.example.org/x")), "example.org");
    EXPECT_EQ(LinkURL::site(QUrl("https://news.www.example.org/x")), "news.www.example.org");
    EXPECT_EQ(LinkURL::youTubeID(QUrl("https://www.youtube.com/watch?v=dQw4w9WgXcQ&t=3")),
              QString("dQw4w9WgXcQ"));
    EXPECT_EQ(LinkURL::youTubeID(QUrl("https://youtu.be/dQw4w9WgXcQ?si=x")), QString("dQw4w9WgXcQ"));
    EXPECT_EQ(LinkURL::youTubeID(QUrl("https://m.youtube.com/shorts/abcDEF_123")), QString("abcDEF_123"));
    EXPECT_FALSE(LinkURL::youTubeID(QUrl("https://notyoutube.com/watch?v=dQw4w9WgXcQ")));
    EXPECT_FALSE(LinkURL::youTubeID(QUrl("https://www.youtube.com/feed/trending")));
}

TEST(LinkPreviewService, OneFetchPerLinkCachedOnDiskFailuresInMemoryOnly) {
    QTemporaryDir dir;
    LocalHttpServer server(site);
    QNetworkAccessManager network;
    const QString cache = dir.filePath("previews");
    LinkPreviewService service(cache, &network);

    // Two cards ask for the same link at once: one request for the page, one for its picture.
    const QUrl article = server.url("/article");
    auto first = service.preview(article);
    auto second = service.preview(article);
    const LinkPreview a = test::await(std::move(first));
    const LinkPreview b = test::await(std::move(second));
    EXPECT_EQ(a, b);
    EXPECT_EQ(server.requestCount("/article"), 1);
    EXPECT_EQ(server.requestCount("/pictures/cover.png"), 1);
    EXPECT_EQ(a.title, QString("Entropy & surprise"));
    EXPECT_EQ(a.site, "127.0.0.1");
    EXPECT_FALSE(a.imageIsIcon);
    ASSERT_TRUE(a.imageFile.has_value());
    EXPECT_EQ(readFile(cache + '/' + *a.imageFile), png);
    EXPECT_TRUE(QFile::exists(cache + '/' + LinkPreviewService::key(article) + ".json"));
    EXPECT_EQ(server.requests().first().headers.value("accept"), "text/html,application/xhtml+xml");
    EXPECT_TRUE(server.requests().first().headers.value("user-agent").startsWith("Mozilla/5.0"));

    // A title element and an icon; a redirect whose relative picture resolves against where it landed.
    const LinkPreview plain = test::await(service.preview(server.url("/plain")));
    EXPECT_EQ(plain.title, QString("A plain page"));
    EXPECT_TRUE(plain.imageIsIcon);
    ASSERT_TRUE(plain.imageFile.has_value());
    EXPECT_EQ(readFile(cache + '/' + *plain.imageFile), icon);
    const LinkPreview moved = test::await(service.preview(server.url("/moved")));
    EXPECT_EQ(server.requestCount("/deep/img/shot.png"), 1);
    EXPECT_TRUE(moved.isVideo);
    EXPECT_FALSE(moved.title.has_value());
    EXPECT_TRUE(moved.imageFile.has_value());

    // A failure shows the site and the link, and writes nothing.
    const int filesBefore = QDir(cache).entryList(QDir::Files).size();
    const LinkPreview missing = test::await(service.preview(server.url("/missing")));
    EXPECT_EQ(missing.url, server.url("/missing").toString());
    EXPECT_EQ(missing.site, "127.0.0.1");
    EXPECT_FALSE(missing.title || missing.imageFile);
    EXPECT_EQ(QDir(cache).entryList(QDir::Files).size(), filesBefore);
    EXPECT_FALSE(QFile::exists(cache + '/' + LinkPreviewService::key(server.url("/missing")) + ".json"));

    // A restart: a new service over the same folder shows the card with no request; the failure is tried
    // again.
    const qsizetype requests = server.requests().size();
    LinkPreviewService restarted(cache, &network);
    EXPECT_EQ(restarted.cached(article), a);
    EXPECT_EQ(test::await(restarted.preview(article)), a);
    EXPECT_EQ(server.requests().size(), requests);
    EXPECT_FALSE(restarted.cached(server.url("/missing")).has_value());
    test::await(restarted.preview(server.url("/missing")));
    EXPECT_EQ(server.requestCount("/missing"), 2);
    // Refresh fetches again.
    test::await(restarted.preview(article, true));
    EXPECT_EQ(server.requestCount("/article"), 2);
}

TEST(LinkPreviewService, VideoLinksUseTheThumbnailAndOEmbedHosts) {
    QTemporaryDir dir;
    LocalHttpServer server([](const HttpRequest& request) {
        if (request.path == "/vi/dQw4w9WgXcQ/hqdefault.jpg")
            return HttpResponse{200, png, {}};
        if (request.path == "/oembed")
            return HttpResponse{200, R"({"title": "A video about entropy", "type": "video"})", {}};
        return HttpResponse{404, "", {}};
    });
    qputenv("CORVANTIS_VIDEO_THUMBNAIL_BASE", server.url("").toString().toUtf8());
    qputenv("CORVANTIS_OEMBED_BASE", server.url("").toString().toUtf8());
    QNetworkAccessManager network;
    LinkPreviewService service(dir.filePath("previews"), &network);
    const QUrl video("https://www.youtube.com/watch?v=dQw4w9WgXcQ");
    const LinkPreview preview = test::await(service.preview(video));
    qunsetenv("CORVANTIS_VIDEO_THUMBNAIL_BASE");
    qunsetenv("CORVANTIS_OEMBED_BASE");

    EXPECT_TRUE(preview.isVideo);
    EXPECT_EQ(preview.title, QString("A video about entropy"));
    EXPECT_EQ(preview.site, "youtube.com");
    ASSERT_TRUE(preview.imageFile.has_value());
    ASSERT_EQ(server.requests().size(), 2);
    EXPECT_EQ(server.requests()[0].headers.value("accept"), "image/*");
    const test::HttpRequest& oEmbed = server.requests()[1];
    EXPECT_EQ(oEmbed.path, "/oembed");
    EXPECT_EQ(oEmbed.query.queryItemValue("url", QUrl::FullyDecoded), video.toString());
    EXPECT_EQ(oEmbed.query.queryItemValue("format"), "json");
    EXPECT_EQ(oEmbed.headers.value("accept"), "application/json");
}
