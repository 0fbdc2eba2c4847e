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
    TextSearch::KeyMemo memo;
    const auto rows = TextSearch::search(nodes, {}, {{"Book", table}}, memo);
    // Within a tier by the locale's order: "Émile" sorts with the E's, before nothing else here.
    EXPECT_EQ(ids(rows), (QStringList{"a", "c", "b", "g", "d", "e"}));
    EXPECT_EQ(rows[0].tier, 0);
    EXPECT_EQ(rows[3].tier, 1);
    EXPECT_EQ(rows[4].tier, 2);
    EXPECT_FALSE(memo.isEmpty());

    // Without the title in scope, only the text counts.
    TextSearch::Table textOnly{"Book", QString("title"), {}};
    textOnly.looks.append(TextSearch::Look{{"summary"}, std::nullopt, LooseQuery("dune")});
    EXPECT_EQ(ids(TextSearch::search(nodes, {}, {{"Book", textOnly}}, memo)), (QStringList{"d", "e"}));

    // A phrase doesn't match across the seam of title and text.
    EXPECT_FALSE(TextSearch::tier(LooseQuery("dunea"), LooseQuery::key("Dune"), LooseQuery::key("A desert")));
    EXPECT_EQ(
        TextSearch::tier(LooseQuery("dune desert"), LooseQuery::key("Dune"), LooseQuery::key("A desert")), 2);

    // A cancelled search stops.
    CancellationToken token;
    token.cancel();
    EXPECT_THROW(TextSearch::search(nodes, {}, {{"Book", table}}, memo, token), Cancelled);
}
