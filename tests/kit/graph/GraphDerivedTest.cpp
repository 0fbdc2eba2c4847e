#include "kit/graph/GraphDerived.h"

#include <gtest/gtest.h>

using namespace corvantis;

namespace {

// A copy of `text` in storage of its own, as a text read separately would be.
QString apart(const QString& text) {
    return QString(text.constData(), text.size());
}

} // namespace

TEST(GraphDerived, EndsCountWhetherTheyShareTheirNodesTextOrNot) {
    QHash<QString, NodeRecord> nodes;
    for (const QString& id : {QStringLiteral("A"), QStringLiteral("B"), QStringLiteral("C")})
        nodes.insert(id, NodeRecord{id, QStringLiteral("Person"), {}});
    nodes.insert(QStringLiteral("D"), NodeRecord{QStringLiteral("D"), apart(QStringLiteral("Person")), {}});
    nodes.insert(QStringLiteral("E"), NodeRecord{QStringLiteral("E"), QStringLiteral("Book"), {}});
    const QString a = nodes.constFind(QStringLiteral("A")).key();
    const QString b = nodes.constFind(QStringLiteral("B")).key();

    QHash<QString, RelRecord> rels;
    auto link = [&](const QString& id, const QString& label, const QString& from, const QString& to) {
        rels.insert(id, RelRecord{id, label, from, to, {}});
    };
    link("r1", "KNOWS", a, b);                          // ends sharing the nodes' texts
    link("r2", apart("KNOWS"), apart("A"), apart("C")); // ends equal in text only
    link("r3", "KNOWS", b, apart("B"));                 // a loop, one end shared
    link("r4", "WROTE", apart("C"), "MISSING");         // an end that is no node
    link("r5", "WROTE", apart("MISSING"), a);

    GraphDerived::Maps maps = GraphDerived::of(nodes, rels);
    EXPECT_EQ(maps.degrees, (QHash<QString, int>{{"A", 3}, {"B", 3}, {"C", 2}, {"MISSING", 2}}));
    auto neighbours = [&](const QString& id) {
        QStringList list = maps.adjacency.value(id);
        list.sort();
        return list;
    };
    EXPECT_EQ(neighbours("A"), (QStringList{"B", "C", "MISSING"}));
    EXPECT_EQ(neighbours("B"), (QStringList{"A", "B", "B"}));
    EXPECT_EQ(neighbours("C"), (QStringList{"A", "MISSING"}));
    EXPECT_EQ(neighbours("MISSING"), (QStringList{"A", "C"}));
    EXPECT_FALSE(maps.adjacency.contains("D"));
    EXPECT_FALSE(maps.degrees.contains("E"));
    EXPECT_EQ(maps.relCounts, (QHash<QString, int>{{"KNOWS", 3}, {"WROTE", 2}}));
    EXPECT_EQ(maps.typeCounts, (QHash<QString, int>{{"Person", 4}, {"Book", 1}}));

    // A shorter text over the same characters is another id.
    static const QChar letters[] = {QLatin1Char('X'), QLatin1Char('Y')};
    QHash<QString, NodeRecord> raw;
    raw.insert(QString::fromRawData(letters, 2), NodeRecord{"XY", "Person", {}});
    raw.insert("X", NodeRecord{"X", "Person", {}});
    QHash<QString, RelRecord> prefix;
    prefix.insert("p", RelRecord{"p", "KNOWS", QString::fromRawData(letters, 1), "X", {}});
    GraphDerived::Maps shared = GraphDerived::of(raw, prefix);
    EXPECT_EQ(shared.degrees, (QHash<QString, int>{{"X", 2}}));

    GraphDerived::Maps none = GraphDerived::of({}, {});
    EXPECT_TRUE(none.degrees.isEmpty() && none.adjacency.isEmpty() && none.relCounts.isEmpty() &&
                none.typeCounts.isEmpty());
}
