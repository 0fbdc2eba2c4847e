#include "kit/graph/GraphDerived.h"

#include <gtest/gtest.h>
#include <random>

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

namespace {

// The maps compared as what they say of the graph: which ids they number, which of those are nodes,
// each id's neighbours, and the counts. Numbers and the order of neighbours may differ.
void expectSameMaps(const GraphDerived::Maps& made, const GraphDerived::Maps& updated, const QString& step) {
    const GraphDerived::NodeIndex& a = made.index;
    const GraphDerived::NodeIndex& b = updated.index;
    ASSERT_EQ(a.size(), b.size()) << step.toStdString();
    ASSERT_EQ(a.nodeCount(), b.nodeCount()) << step.toStdString();
    for (int number = 0; number < a.size(); ++number) {
        const QString& id = a.idAt(number);
        const int there = b.numberOf(apart(id));
        ASSERT_GE(there, 0) << step.toStdString() << " " << id.toStdString();
        EXPECT_EQ(b.idAt(there), id);
        EXPECT_EQ(number < a.nodeCount(), there < b.nodeCount()) << id.toStdString();
        EXPECT_EQ(sorted(a.neighbourIds(id)), sorted(b.neighbourIds(id)))
            << step.toStdString() << " " << id.toStdString();
        // Every neighbour's number names an id that lists this one back.
        for (int neighbour : b.neighbours(there)) {
            const auto back = b.neighbours(neighbour);
            EXPECT_NE(std::find(back.begin(), back.end(), there), back.end());
        }
    }
    EXPECT_EQ(made.typeCounts, updated.typeCounts) << step.toStdString();
    EXPECT_EQ(made.relCounts, updated.relCounts) << step.toStdString();
}

} // namespace

TEST(GraphDerived, UpdatesInPlaceAgreeWithMapsMadeAnew) {
    // A seeded walk of edits of the kinds the session makes: nodes with or without relationships,
    // relationships (loops and parallel ones among them), a node taken out with its relationships, and
    // groups of each. After every edit the updated maps must say what maps made anew say.
    std::mt19937 random(20261123);
    auto pick = [&](int below) {
        return static_cast<int>(random() % static_cast<unsigned>(below));
    };
    const QStringList types{"Person", "Book", "Place"};
    const QStringList labels{"KNOWS", "WROTE", "VISITED"};
    QHash<QString, NodeRecord> nodes;
    QHash<QString, RelRecord> rels;
    int made = 0;
    auto nodeIds = [&] {
        return QStringList(nodes.keyBegin(), nodes.keyEnd());
    };
    for (int i = 0; i < 30; ++i) {
        const QString id = QStringLiteral("n%1").arg(made++);
        nodes.insert(id, NodeRecord{id, types[pick(3)], {}});
    }
    GraphDerived::Maps maps = GraphDerived::of(nodes, rels);
    int updated = 0;
    for (int step = 0; step < 400; ++step) {
        GraphDerived::Change change;
        const int kind = pick(5);
        if (kind == 0 || nodes.size() < 3) {
            // A node, with relationships to one or two others now and then.
            const QString id = QStringLiteral("n%1").arg(made++);
            const QStringList others = nodeIds();
            const auto at = nodes.insert(id, NodeRecord{id, types[pick(3)], {}});
            change.addedNodes.append({at.key(), at->label});
            for (int k = pick(3); k > 0; --k) {
                const QString relId = QStringLiteral("r%1").arg(made++);
                const QString other = others[pick(static_cast<int>(others.size()))];
                const auto rel = rels.insert(relId, RelRecord{relId, labels[pick(3)], at.key(), other, {}});
                change.addedRels.append({rel->label, rel->from, rel->to});
            }
        } else if (kind <= 2) {
            // One to three relationships; a loop one time in five.
            const QStringList ids = nodeIds();
            for (int k = 1 + pick(3); k > 0; --k) {
                const QString relId = QStringLiteral("r%1").arg(made++);
                const QString from = ids[pick(static_cast<int>(ids.size()))];
                const QString to = pick(5) == 0 ? from : ids[pick(static_cast<int>(ids.size()))];
                const auto rel = rels.insert(relId, RelRecord{relId, labels[pick(3)], from, apart(to), {}});
                change.addedRels.append({rel->label, rel->from, rel->to});
            }
        } else if (kind == 3 && !rels.isEmpty()) {
            const QStringList ids(rels.keyBegin(), rels.keyEnd());
            const RelRecord rel = rels.take(ids[pick(static_cast<int>(ids.size()))]);
            change.removedRels.append({rel.label, rel.from, rel.to});
        } else {
            // One or two nodes with every relationship that touches them.
            const QStringList ids = nodeIds();
            QSet<QString> taken;
            for (int k = 1 + pick(2); k > 0; --k)
                taken.insert(ids[pick(static_cast<int>(ids.size()))]);
            for (auto it = rels.begin(); it != rels.end();) {
                if (taken.contains(it->from) || taken.contains(it->to)) {
                    change.removedRels.append({it->label, it->from, it->to});
                    it = rels.erase(it);
                } else {
                    ++it;
                }
            }
            for (const QString& id : taken) {
                const NodeRecord node = nodes.take(id);
                change.removedNodes.append({node.id, node.label});
            }
        }
        ASSERT_TRUE(GraphDerived::update(maps, change)) << "step " << step;
        ++updated;
        expectSameMaps(GraphDerived::of(nodes, rels), maps, QStringLiteral("step %1").arg(step));
        if (HasFatalFailure())
            return;
        for (const GraphDerived::Change::Node& node : change.removedNodes)
            EXPECT_EQ(maps.index.numberOf(node.id), -1);
    }
    EXPECT_EQ(updated, 400);
}

TEST(GraphDerived, AChangeThatDoesNotFitLeavesTheMapsAsTheyWere) {
    QHash<QString, NodeRecord> nodes;
    for (const QString& id : {QStringLiteral("A"), QStringLiteral("B")})
        nodes.insert(id, NodeRecord{id, QStringLiteral("Person"), {}});
    QHash<QString, RelRecord> rels;
    rels.insert("r", RelRecord{"r", "KNOWS", "A", "B", {}});
    GraphDerived::Maps maps = GraphDerived::of(nodes, rels);
    const GraphDerived::Maps before = GraphDerived::of(nodes, rels);

    GraphDerived::Change toNowhere;
    toNowhere.addedRels.append(GraphDerived::Change::Rel{"KNOWS", "A", "GONE"});
    EXPECT_FALSE(GraphDerived::update(maps, toNowhere));
    GraphDerived::Change leavesAnEnd; // B goes, its relationship stays
    leavesAnEnd.removedNodes.append(GraphDerived::Change::Node{"B", "Person"});
    EXPECT_FALSE(GraphDerived::update(maps, leavesAnEnd));
    GraphDerived::Change twice;
    twice.addedNodes.append(GraphDerived::Change::Node{"A", "Person"});
    EXPECT_FALSE(GraphDerived::update(maps, twice));
    GraphDerived::Change unknown;
    unknown.removedRels.append(GraphDerived::Change::Rel{"KNOWS", "A", "C"});
    EXPECT_FALSE(GraphDerived::update(maps, unknown));
    expectSameMaps(before, maps, "refused");

    // Maps with an end that is no node are made anew rather than edited.
    rels.insert("loose", RelRecord{"loose", "KNOWS", "A", "GONE", {}});
    GraphDerived::Maps loose = GraphDerived::of(nodes, rels);
    GraphDerived::Change node;
    node.addedNodes.append(GraphDerived::Change::Node{"C", "Person"});
    EXPECT_FALSE(GraphDerived::update(loose, node));
    EXPECT_EQ(loose.index.numberOf("C"), -1);
    GraphDerived::Maps unmade;
    EXPECT_FALSE(GraphDerived::update(unmade, node));
}
