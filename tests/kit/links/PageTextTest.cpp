#include "kit/links/PageText.h"

#include "kit/links/LinkFinder.h"
#include "kit/links/LinkURL.h"
#include "tests/support/QtPrinters.h"

#include <gtest/gtest.h>

using namespace corvantis;

TEST(PageText, PagesLoseTheirChromeAndKeepTheirText) {
    const QString page = R"(<!DOCTYPE html><html><head><title>Dune &amp; Sons &#8211; Review</title>
<style>p { color: red }</style><script>var x = "<p>not text</p>";</script></head>
<body><nav><a href="/">Home</a></nav><header>Site</header>
<!-- <p>commented out</p> -->
<h1>Dune</h1><p>A book by <b>Frank&nbsp;Herbert</b>.<br/>Published 1965.</p>
<ul><li>Spice</li><li>Sand</li></ul>
<table><tr><td>Pages</td><td>412</td></tr></table>
<p>&unknown; &#x1F600; caf&eacute; &zwj;</p>
<footer>© us</footer></body></html>)";
    const PageText::Extracted extracted = PageText::extract(page);
    EXPECT_EQ(extracted.title, QString("Dune & Sons – Review"));
    EXPECT_EQ(extracted.text,
              "Dune\n\nA book by Frank Herbert.\nPublished 1965.\n\n- Spice\n- Sand\n\nPages 412\n\n"
              "&unknown; 😀 café");
}

TEST(PageText, AnArticleCountsFromFourHundredCharacters) {
    const QString filler399 = QString(399, 'a');
    const QString page =
        "<body><article>" + filler399 + "</article><main>" + QString(400, 'm') + "</main></body>";
    EXPECT_EQ(PageText::extract(page).text, QString(400, 'm'));
    const QString both = "<body><article>" + filler399 + "</article><main>short</main><p>rest</p></body>";
    EXPECT_EQ(PageText::extract(both).text, filler399 + "short\nrest");
    const QString page400 = "<body><article>" + QString(400, 'a') + "</article><main>Main text</main></body>";
    EXPECT_EQ(PageText::extract(page400).text, QString(400, 'a'));
    EXPECT_EQ(PageText::extract("<body><script>only(code)</script></body>").text, "");
}

TEST(PageText, TidyJoinsSpacesAndEmptyLines) {
    EXPECT_EQ(PageText::tidy("\r\n\n  a \t b  \r-\r\n\n\n c\n\n"), "a b\n\nc");
}

TEST(LinkFinding, FindsLinksInRealText) {
    const QString text =
        "Read https://en.wikipedia.org/wiki/Dune_(novel), then (see http://example.com/a?b=1&c=2). "
        "Also www.tolkien.co.uk/books! Not ftp://files.example.com or mailto:ann@example.com; "
        "again https://en.wikipedia.org/wiki/Dune_(novel) and “https://x.org/quoted”.";
    QStringList found;
    for (const QUrl& url : LinkFinder::links(text))
        found.append(url.toString());
    EXPECT_EQ(found,
              (QStringList{"https://en.wikipedia.org/wiki/Dune_(novel)", "http://example.com/a?b=1&c=2",
                           "http://www.tolkien.co.uk/books", "https://x.org/quoted"}));
    EXPECT_TRUE(LinkFinder::links("no links here, just a.b and example").isEmpty());
}

TEST(LinkFinding, YouTubeLinksAreKnown) {
    EXPECT_EQ(LinkURL::youTubeID(QUrl("https://www.youtube.com/watch?v=dQw4w9WgXcQ&t=1")),
              QString("dQw4w9WgXcQ"));
    EXPECT_EQ(LinkURL::youTubeID(QUrl("https://youtu.be/dQw4w9WgXcQ")), QString("dQw4w9WgXcQ"));
    EXPECT_EQ(LinkURL::youTubeID(QUrl("https://youtube.com/shorts/abcdefghijk")), QString("abcdefghijk"));
    EXPECT_FALSE(LinkURL::youTubeID(QUrl("https://example.com/watch?v=dQw4w9WgXcQ")));
}
