#include "kit/query/LooseQuery.h"

#include "tests/support/QtPrinters.h"

#include <gtest/gtest.h>

using namespace corvantis;

namespace {

QStringList marked(const QString& text, const LooseQuery& query) {
    QStringList out;
    for (const TextRange& range : query.ranges(text))
        out.append(text.mid(range.location, range.length));
    return out;
}

} // namespace

TEST(LooseQuery, KeysIgnoreCaseAccentsWidthAndPunctuation) {
    EXPECT_EQ(LooseQuery::key("Café-Crème"), "cafecreme");
    EXPECT_EQ(LooseQuery::key("cafe creme"), "cafecreme");
    EXPECT_EQ(LooseQuery::key(QString::fromUtf8("Cafe\u0301")), "cafe");  // decomposed accent
    EXPECT_EQ(LooseQuery::key(QString::fromUtf8("ＡＢＣ１２")), "abc12"); // full width
    EXPECT_EQ(LooseQuery::key("STRASSE"), LooseQuery::key(QString::fromUtf8("straße")));
    EXPECT_EQ(LooseQuery::key("Ωμέγα!"), "ωμεγα");
    EXPECT_EQ(LooseQuery::key("!!! ..."), "");
}

TEST(LooseQuery, MatchingWholeOrAllWords) {
    EXPECT_FALSE(LooseQuery("").matches("x"));
    EXPECT_TRUE(LooseQuery("!!!").isEmpty());
    EXPECT_FALSE(LooseQuery("!!!").matches(""));

    const LooseQuery redBook("red book");
    EXPECT_EQ(redBook.whole(), "redbook");
    EXPECT_EQ(redBook.words(), (QStringList{"red", "book"}));
    EXPECT_TRUE(redBook.matches("bookred"));
    EXPECT_TRUE(redBook.matches("theredbookshelf"));
    EXPECT_FALSE(redBook.matches("bookblue"));
    EXPECT_FALSE(LooseQuery("red").matches("book"));
    // A single word is never split: "redbook" as one word must be contained whole.
    EXPECT_FALSE(LooseQuery("redbook").matches("bookred"));

    EXPECT_TRUE(LooseQuery("Dune").isExact("dune"));
    EXPECT_FALSE(LooseQuery("Dune").isExact("dunemessiah"));
    EXPECT_FALSE(LooseQuery("").isExact(""));
}

TEST(LooseQuery, Alternatives) {
    const LooseQuery names = LooseQuery::anyOf("Ann, ann ,Bob");
    ASSERT_EQ(names.alternatives().size(), 2);
    EXPECT_EQ(names.whole(), "ann,bob");
    EXPECT_TRUE(names.words().isEmpty());
    EXPECT_TRUE(names.matches("bobby"));
    EXPECT_TRUE(names.isExact("ann"));
    EXPECT_FALSE(names.isExact("annie"));
    EXPECT_FALSE(names.matches("carl"));

    // Nested alternatives flatten; a single survivor is the query itself; nothing left is empty.
    const LooseQuery nested = LooseQuery::either({names, LooseQuery("carl"), LooseQuery("bob")});
    EXPECT_EQ(nested.whole(), "ann,bob,carl");
    EXPECT_EQ(LooseQuery::anyOf(QStringList{"x", "", "!"}), LooseQuery("x"));
    EXPECT_TRUE(LooseQuery::anyOf(", ,").isEmpty());
    EXPECT_EQ(qHash(LooseQuery::anyOf("a,b")), qHash(LooseQuery::either({LooseQuery("a"), LooseQuery("b")})));
}

TEST(LooseQuery, RangesPointAtTheSourceText) {
    EXPECT_EQ(marked("The Café-Crème, café crème", LooseQuery("cafe creme")),
              (QStringList{"Café-Crème", "café crème"}));
    // Matches don't overlap: "aa" in "aaaa" is found twice.
    EXPECT_EQ(marked("aaaa", LooseQuery("aa")), (QStringList{"aa", "aa"}));
    // The whole isn't there: each word is marked, in text order.
    EXPECT_EQ(marked("book of red", LooseQuery("red book")), (QStringList{"book", "red"}));
    // Alternatives: sorted, and a range that starts inside a kept one is dropped.
    EXPECT_EQ(marked("Bob and Ann, bobann", LooseQuery::anyOf("ann,bob,obanna")),
              (QStringList{"Bob", "Ann", "bob", "ann"}));
    EXPECT_TRUE(LooseQuery("x").ranges("").isEmpty());
    EXPECT_TRUE(LooseQuery("").ranges("x").isEmpty());
    // A decomposed accent belongs to its letter's character, so the range covers both units.
    const QString text = QString::fromUtf8("Cafe\u0301!");
    const auto ranges = LooseQuery("café").ranges(text);
    ASSERT_EQ(ranges.size(), 1);
    EXPECT_EQ(ranges.first(), (TextRange{0, 5}));
}
