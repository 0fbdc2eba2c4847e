#include "kit/graph/GraphDerived.h"

#include <gtest/gtest.h>

using namespace corvantis;

namespace {

// A copy of `text` in storage of its own, as a text read separately would be.
QString apart(const QString& text) {
    return QString(text.constData(), text.size());
}

QStringList sorted(QStringList list) {
    list.sort();
    return list;
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
    const GraphDerived::NodeIndex& index = maps.index;
    // The five nodes first, then the one end that is no node.
    EXPECT_EQ(index.nodeCount(), 5);
    ASSERT_EQ(index.size(), 6);
    EXPECT_EQ(index.idAt(5), QStringLiteral("MISSING"));
    for (int number = 0; number < index.nodeCount(); ++number)
        EXPECT_TRUE(nodes.contains(index.idAt(number)));

    const QHash<QString, int> degrees{{"A", 3}, {"B", 3}, {"C", 2}, {"D", 0}, {"E", 0}, {"MISSING", 2}};
    for (auto it = degrees.cbegin(); it != degrees.cend(); ++it) {
        EXPECT_EQ(index.degree(it.key()), it.value()) << it.key().toStdString();
        EXPECT_EQ(index.degree(index.numberOf(it.key())), it.value()) << it.key().toStdString();
    }
    EXPECT_EQ(index.degree(QStringLiteral("nobody")), 0);
    EXPECT_EQ(index.numberOf(QStringLiteral("nobody")), -1);

    EXPECT_EQ(sorted(index.neighbourIds("A")), (QStringList{"B", "C", "MISSING"}));
    EXPECT_EQ(sorted(index.neighbourIds("B")), (QStringList{"A", "B", "B"}));
    EXPECT_EQ(sorted(index.neighbourIds("C")), (QStringList{"A", "MISSING"}));
    EXPECT_EQ(sorted(index.neighbourIds("MISSING")), (QStringList{"A", "C"}));
    EXPECT_TRUE(index.neighbourIds("D").isEmpty());

    // The numbers name each other: every neighbour of A lists A among its own neighbours.
    const int numberA = index.numberOf(a);
    for (int neighbour : index.neighbours(numberA)) {
        const auto back = index.neighbours(neighbour);
        EXPECT_NE(std::find(back.begin(), back.end(), numberA), back.end())
            << index.idAt(neighbour).toStdString();
    }

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
    EXPECT_EQ(shared.index.size(), 2);
    EXPECT_EQ(shared.index.degree(QStringLiteral("X")), 2);
    EXPECT_EQ(shared.index.degree(QStringLiteral("XY")), 0);

    GraphDerived::Maps none = GraphDerived::of({}, {});
    EXPECT_EQ(none.index.size(), 0);
    EXPECT_EQ(none.index.numberOf(QStringLiteral("A")), -1);
    EXPECT_TRUE(none.relCounts.isEmpty() && none.typeCounts.isEmpty());
}

TEST(GraphDerived, ManyEndsThatAreNoNodesAndManyLabels) {
    // More loose ends than nodes, so the tables grow while the index is made; and more labels than the
    // counter keeps in its short list, some equal in text without sharing it.
    QHash<QString, NodeRecord> nodes;
    for (int i = 0; i < 40; ++i) {
        const QString id = QStringLiteral("N%1").arg(i);
        nodes.insert(id, NodeRecord{id, QStringLiteral("Type%1").arg(i % 20), {}});
    }
    QHash<QString, RelRecord> rels;
    for (int i = 0; i < 500; ++i) {
        const QString id = QStringLiteral("R%1").arg(i);
        rels.insert(id, RelRecord{id,
                                  QStringLiteral("L%1").arg(i % 30),
                                  QStringLiteral("N%1").arg(i % 40),
                                  QStringLiteral("gone %1").arg(i),
                                  {}});
    }
    GraphDerived::Maps maps = GraphDerived::of(nodes, rels);
    EXPECT_EQ(maps.index.nodeCount(), 40);
    EXPECT_EQ(maps.index.size(), 540);
    for (int i = 0; i < 500; i += 7) {
        const QString gone = QStringLiteral("gone %1").arg(i);
        EXPECT_EQ(maps.index.neighbourIds(gone), QStringList{QStringLiteral("N%1").arg(i % 40)});
        EXPECT_EQ(maps.index.idAt(maps.index.numberOf(gone)), gone);
    }
    int ends = 0;
    for (int i = 0; i < 40; ++i)
        ends += maps.index.degree(QStringLiteral("N%1").arg(i));
    EXPECT_EQ(ends, 500);
    ASSERT_EQ(maps.typeCounts.size(), 20);
    ASSERT_EQ(maps.relCounts.size(), 30);
    for (auto it = maps.typeCounts.cbegin(); it != maps.typeCounts.cend(); ++it)
        EXPECT_EQ(it.value(), 2) << it.key().toStdString();
    int relsCounted = 0;
    for (int count : maps.relCounts)
        relsCounted += count;
    EXPECT_EQ(relsCounted, 500);
    EXPECT_EQ(maps.relCounts.value(QStringLiteral("L0")), 17);
}
