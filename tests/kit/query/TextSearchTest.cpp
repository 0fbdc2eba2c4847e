#include "kit/query/TextSearch.h"

#include <gtest/gtest.h>

using namespace corvantis;

namespace {

NodeRecord node(const QString& id, const QString& title, const QString& text = {}) {
    NodeRecord record{id, "Book", {}};
    record.properties.insert("title", GraphValue::string(title));
    if (!text.isEmpty())
        record.properties.insert("summary", GraphValue::string(text));
    return record;
}

QStringList ids(const QList<TextSearch::Row>& rows) {
    QStringList list;
    for (const auto& row : rows)
        list.append(row.id);
    return list;
}

} // namespace

TEST(TextSearch, TitlesThatAreTheQueryComeFirstThenTitlesThenText) {
    QHash<QString, NodeRecord> nodes;
    for (const NodeRecord& n : {node("a", "Dune"), node("b", "Dune Messiah"), node("c", "Children of Dune"),
                                node("d", "Anathem", "A monastery, not dune"), node("e", "Émile", "dune"),
                                node("f", "Emma", "Nothing here"), node("g", "Dunes", "")})
        nodes.insert(n.id, n);
    TextSearch::Table table{"Book", QString("title"), {}};
    table.looks.append(TextSearch::Look{{"title", "summary"}, QString("title"), LooseQuery("dune")});
    const TextSearch::Folded folded = TextSearch::fold(nodes, {}, {{"Book", table}});
    ASSERT_EQ(folded.size(), 7);
    const auto rows = TextSearch::search(folded, {{"Book", table}});
    // Within a tier by the locale's order: "Émile" sorts with the E's, before nothing else here.
    EXPECT_EQ(ids(rows), (QStringList{"a", "c", "b", "g", "d", "e"}));
    EXPECT_EQ(rows[0].tier, 0);
    EXPECT_EQ(rows[3].tier, 1);
    EXPECT_EQ(rows[4].tier, 2);
    // The folded texts are the keys of each record's values.
    for (const TextSearch::FoldedRecord& record : folded)
        if (record.id == "e") {
            EXPECT_EQ(record.keys.value("title"), LooseQuery::key("Émile"));
            EXPECT_EQ(record.keys.value("summary"), "dune");
        }

    // Without the title in scope, only the text counts.
    TextSearch::Table textOnly{"Book", QString("title"), {}};
    textOnly.looks.append(TextSearch::Look{{"summary"}, std::nullopt, LooseQuery("dune")});
    EXPECT_EQ(ids(TextSearch::search(folded, {{"Book", textOnly}})), (QStringList{"d", "e"}));

    // A phrase doesn't match across the seam of title and text.
    EXPECT_FALSE(TextSearch::tier(LooseQuery("dunea"), LooseQuery::key("Dune"), LooseQuery::key("A desert")));
    EXPECT_EQ(
        TextSearch::tier(LooseQuery("dune desert"), LooseQuery::key("Dune"), LooseQuery::key("A desert")), 2);

    // A cancelled search stops.
    CancellationToken token;
    token.cancel();
    EXPECT_THROW(TextSearch::search(folded, {{"Book", table}}, token), Cancelled);
    EXPECT_THROW(TextSearch::fold(nodes, {}, {{"Book", table}}, token), Cancelled);

    // Words spread over the title and the text match.
    TextSearch::Table words{"Book", QString("title"), {}};
    words.looks.append(
        TextSearch::Look{{"title", "summary"}, QString("title"), LooseQuery("anathem monastery")});
    EXPECT_EQ(ids(TextSearch::search(folded, {{"Book", words}})), QStringList{"d"});

    // Titles are ranked in the locale's order; equal titles share a rank; a record without a title is
    // titled by its type.
    QHash<QString, NodeRecord> more = nodes;
    more.insert("h", node("h", "Dune"));
    more.insert("i", NodeRecord{"i", "Book", {}});
    const TextSearch::Folded ranked = TextSearch::fold(more, {}, {{"Book", table}});
    QHash<QString, int> rank;
    QHash<QString, QString> title;
    for (const TextSearch::FoldedRecord& record : ranked) {
        rank.insert(record.id, record.titleRank);
        title.insert(record.id, record.title);
    }
    EXPECT_EQ(rank["a"], rank["h"]);
    EXPECT_LT(rank["d"], rank["i"]); // "Anathem" before "Book"
    EXPECT_LT(rank["i"], rank["c"]); // "Book" before "Children of Dune"
    EXPECT_EQ(title["i"], "Book");
}
