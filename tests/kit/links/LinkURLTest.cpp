#include "kit/links/LinkURL.h"

#include <gtest/gtest.h>

using namespace corvantis;

namespace {

QString normalized(const QString& text) {
    auto url = LinkURL::normalize(text);
    return url ? url->toString() : QStringLiteral("<none>");
}

} // namespace

TEST(LinkURL, NormalizeAcceptsOnlyHttpLinksWithAHost) {
    EXPECT_EQ(normalized("https://example.org/a?b=c#d"), "https://example.org/a?b=c#d");
    EXPECT_EQ(normalized("  http://example.org\n"), "http://example.org");
    EXPECT_EQ(normalized("HTTPS://Example.ORG/Path"), "https://example.org/Path");
    // No scheme but a dot: https in front.
    EXPECT_EQ(normalized("example.org"), "https://example.org");
    EXPECT_EQ(normalized("\texample.org/page\r\n"), "https://example.org/page");
    EXPECT_EQ(normalized("example.org:8080/x"), "https://example.org:8080/x");
    EXPECT_EQ(normalized("localhost.localdomain"), "https://localhost.localdomain");

    for (const char* refused : {"", "   ", "example", "not a link", "https://example.org/a b", "example .org",
                                "ftp://example.org/file", "mailto:ada@example.org", "file:///tmp/a.txt",
                                "https://", "https:///path", "javascript:alert(1)"})
        EXPECT_EQ(normalized(QString::fromUtf8(refused)), "<none>") << refused;
}

TEST(LinkURL, SiteDropsOnlyALeadingWww) {
    EXPECT_EQ(LinkURL::site(QUrl("https://www.example.org/a")), "example.org");
    EXPECT_EQ(LinkURL::site(QUrl("https://example.org")), "example.org");
    EXPECT_EQ(LinkURL::site(QUrl("https://news.www.example.org")), "news.www.example.org");
    EXPECT_EQ(LinkURL::site(QUrl("https://wwwexample.org")), "wwwexample.org");
    EXPECT_EQ(LinkURL::site(QUrl("https://WWW.Example.org")), "example.org");
    EXPECT_EQ(LinkURL::site(*LinkURL::normalize("www.example.org/x")), "example.org");
}
