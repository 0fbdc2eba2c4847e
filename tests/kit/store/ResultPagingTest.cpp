#include "kit/store/ResultPaging.h"

#include <QHash>
#include <gtest/gtest.h>

using namespace corvantis;

namespace {

QList<QStringList> groupsOfSizes(const QList<int>& sizes) {
    QList<QStringList> groups;
    int next = 0;
    for (int size : sizes) {
        QStringList group;
        for (int i = 0; i < size; ++i)
            group << QString::number(next++);
        groups << group;
    }
    return groups;
}

double noScore(const QString&) {
    return 0;
}

} // namespace

TEST(ResultPaging, OrderByCountsOnlyOutsideStringsAndComments) {
    EXPECT_TRUE(ResultPaging::isOrdered(QStringLiteral("MATCH (n) RETURN n order  by n.name")));
    EXPECT_TRUE(ResultPaging::isOrdered(QStringLiteral("MATCH (n) RETURN n ORDER\nBY n.name")));
    EXPECT_TRUE(ResultPaging::isOrdered(QStringLiteral("MATCH (n) // a note\nRETURN n ORDER BY n.x")));
    EXPECT_FALSE(ResultPaging::isOrdered(QStringLiteral("MATCH (n) RETURN n // ORDER BY n.name")));
    EXPECT_FALSE(ResultPaging::isOrdered(QStringLiteral("MATCH (n) WHERE n.t = 'ORDER BY' RETURN n")));
    EXPECT_FALSE(
        ResultPaging::isOrdered(QStringLiteral("MATCH (n) WHERE n.t = \"it\\\" ORDER BY\" RETURN n")));
    EXPECT_FALSE(ResultPaging::isOrdered(QStringLiteral("MATCH (n:`ORDER BY`) RETURN n")));
    EXPECT_FALSE(ResultPaging::isOrdered(QStringLiteral("MATCH (n) RETURN n.border BYE")));
    // A comment ends at its line; what follows on the next line counts again.
    EXPECT_TRUE(ResultPaging::isOrdered(QStringLiteral("RETURN 1 AS x // ORDER\nORDER BY x")));
    EXPECT_FALSE(ResultPaging::isOrdered(QStringLiteral("RETURN n.reorder BY x")));
}

TEST(ResultPaging, GroupsKeepOnlyNewIdsAndSortUnorderedRowsByScore) {
    const QList<QStringList> rows{{QStringLiteral("a"), QStringLiteral("b")},
                                  {QStringLiteral("b"), QStringLiteral("a")},
                                  {},
                                  {QStringLiteral("c"), QStringLiteral("c"), QStringLiteral("a")},
                                  {QStringLiteral("d")}};
    auto ordered = ResultPaging::groups(rows, true, noScore);
    EXPECT_EQ(ordered,
              (QList<QStringList>{
                  {QStringLiteral("a"), QStringLiteral("b")}, {QStringLiteral("c")}, {QStringLiteral("d")}}));
    EXPECT_LT(ordered.size(), rows.size());

    // d scores best; a and c tie, so their rows keep result order; the empty row scores 0.
    const QHash<QString, double> scores{{QStringLiteral("a"), 0.5},
                                        {QStringLiteral("c"), 0.5},
                                        {QStringLiteral("d"), 0.9},
                                        {QStringLiteral("b"), -1}};
    auto sorted = ResultPaging::groups(rows, false, [&](const QString& id) { return scores.value(id); });
    EXPECT_EQ(sorted,
              (QList<QStringList>{
                  {QStringLiteral("d")}, {QStringLiteral("a"), QStringLiteral("b")}, {QStringLiteral("c")}}));

    // A row of only negative scores sorts below an empty row.
    auto negative =
        ResultPaging::groups({{QStringLiteral("b")}, {}, {QStringLiteral("x")}}, false,
                             [&](const QString& id) { return id == QLatin1String("b") ? -1.0 : 0.0; });
    EXPECT_EQ(negative, (QList<QStringList>{{QStringLiteral("x")}, {QStringLiteral("b")}}));
}

TEST(ResultPaging, PagesEndOnGroupEdges) {
    // Up to forty ids are shown whole.
    EXPECT_EQ(ResultPaging::firstPageEnd(groupsOfSizes(QList<int>(10, 4))), 10);
    // Forty-one single ids: cut after thirty.
    EXPECT_EQ(ResultPaging::firstPageEnd(groupsOfSizes(QList<int>(41, 1))), 30);
    // One huge group is a single page.
    EXPECT_EQ(ResultPaging::firstPageEnd(groupsOfSizes({500})), 1);
    EXPECT_EQ(ResultPaging::pageEnd(groupsOfSizes({500, 3}), 0, 30), 1);
    // A group that crosses thirty is taken whole.
    auto groups = groupsOfSizes({20, 15, 5, 10});
    EXPECT_EQ(ResultPaging::firstPageEnd(groups), 2);
    EXPECT_EQ(ResultPaging::pageEnd(groups, 2, 30), 4);
    EXPECT_EQ(ResultPaging::pageEnd(groups, 4, 30), 4);
    EXPECT_EQ(ResultPaging::pageEnd(groups, 9, 30), 9);
    EXPECT_EQ(ResultPaging::firstPageEnd({}), 0);
}
