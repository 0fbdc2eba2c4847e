// PropertyMap behaves as the QMap it stands in for: keys in order, one value per key, and copies that
// share until one of them changes.
#include "kit/schema/GraphValue.h"

#include <QMap>
#include <gtest/gtest.h>
#include <random>

using namespace corvantis;

namespace {

QList<std::pair<QString, GraphValue>> entries(const PropertyMap& map) {
    QList<std::pair<QString, GraphValue>> out;
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        out.append({it.key(), it.value()});
    return out;
}

QList<std::pair<QString, GraphValue>> entries(const QMap<QString, GraphValue>& map) {
    QList<std::pair<QString, GraphValue>> out;
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        out.append({it.key(), it.value()});
    return out;
}

} // namespace

TEST(PropertyMap, FollowsQMapThroughRandomChanges) {
    // The same random inserts, removals, takes and erasures on both; after each step they hold the same
    // entries in the same order.
    std::mt19937 random(7);
    PropertyMap map;
    QMap<QString, GraphValue> reference;
    for (int step = 0; step < 2000; ++step) {
        const QString key = QStringLiteral("k%1").arg(random() % 12);
        const GraphValue value = GraphValue::integer(step);
        switch (random() % 6) {
        case 0:
        case 1:
            EXPECT_EQ(map.insert(key, value).key(), key);
            reference.insert(key, value);
            break;
        case 2:
            EXPECT_EQ(map.remove(key), reference.remove(key));
            break;
        case 3:
            EXPECT_EQ(map.take(key), reference.take(key));
            break;
        case 4:
            map[key] = value;
            reference[key] = value;
            break;
        case 5:
            if (auto it = map.find(key); it != map.end()) {
                auto next = map.erase(it);
                auto expected = reference.erase(reference.find(key));
                EXPECT_EQ(next == map.end(), expected == reference.end());
                if (next != map.end()) {
                    EXPECT_EQ(next.key(), expected.key());
                }
            }
            break;
        }
        ASSERT_EQ(entries(map), entries(reference)) << "step " << step;
        ASSERT_EQ(map.size(), reference.size());
        EXPECT_EQ(map.contains(key), reference.contains(key));
        EXPECT_EQ(map.value(key), reference.value(key));
    }
    EXPECT_EQ(map.keys(), reference.keys());
    EXPECT_EQ(map.values(), reference.values());
}

TEST(PropertyMap, CopiesShareUntilOneChanges) {
    PropertyMap map{{QStringLiteral("b"), GraphValue::integer(2)},
                    {QStringLiteral("a"), GraphValue::integer(1)},
                    {QStringLiteral("b"), GraphValue::integer(3)}};
    // A later entry of the same key wins, and the keys come out in order.
    EXPECT_EQ(map.keys(), (QStringList{QStringLiteral("a"), QStringLiteral("b")}));
    EXPECT_EQ(map.value(QStringLiteral("b")), GraphValue::integer(3));
    EXPECT_EQ(map.value(QStringLiteral("c"), GraphValue::boolean(true)), GraphValue::boolean(true));

    PropertyMap copy = map;
    EXPECT_EQ(copy, map);
    *copy.begin() = GraphValue::string(QStringLiteral("changed"));
    copy[QStringLiteral("c")];
    EXPECT_EQ(map.value(QStringLiteral("a")), GraphValue::integer(1));
    EXPECT_FALSE(map.contains(QStringLiteral("c")));
    EXPECT_TRUE(copy.value(QStringLiteral("c")).isNull());
    EXPECT_NE(copy, map);

    // Merging takes the other's value for a shared key; removeIf sees each entry once.
    copy.insert(
        PropertyMap{{QStringLiteral("a"), GraphValue::integer(9)}, {QStringLiteral("d"), GraphValue()}});
    EXPECT_EQ(copy.value(QStringLiteral("a")), GraphValue::integer(9));
    EXPECT_EQ(copy.removeIf([](PropertyMap::iterator it) { return it.value().isNull(); }), 2);
    EXPECT_EQ(copy.keys(), (QStringList{QStringLiteral("a"), QStringLiteral("b")}));

    // A range over the map gives the values; a constant iterator compares with a mutable one.
    QList<GraphValue> values;
    for (const GraphValue& value : map)
        values.append(value);
    EXPECT_EQ(values, (QList<GraphValue>{GraphValue::integer(1), GraphValue::integer(3)}));
    PropertyMap::const_iterator found = map.find(QStringLiteral("b"));
    EXPECT_TRUE(found != map.cend());
    EXPECT_EQ(found.key(), QStringLiteral("b"));
    EXPECT_EQ(map.firstKey(), QStringLiteral("a"));
    EXPECT_EQ(map.lastKey(), QStringLiteral("b"));
}

TEST(PropertyMap, MapsMadeWithAnothersKeysShareThemAndStayApart) {
    const PropertyMap model{{QStringLiteral("a"), GraphValue::integer(1)},
                            {QStringLiteral("b"), GraphValue()}};
    QList<GraphValue> values{GraphValue::string(QStringLiteral("x")), GraphValue::number(2)};
    PropertyMap row(model, values);
    EXPECT_TRUE(values.isEmpty());
    EXPECT_EQ(row.keys(), model.keys());
    EXPECT_EQ(row.values(),
              (QList<GraphValue>{GraphValue::string(QStringLiteral("x")), GraphValue::number(2)}));
    // The names are one list for both maps...
    EXPECT_EQ(&row.cbegin().key(), &model.cbegin().key());

    // ...until one map's names change; its values change apart from the other's too.
    PropertyMap other(model, values = {GraphValue::integer(7), GraphValue::integer(8)});
    row.insert(QStringLiteral("c"), GraphValue::boolean(true));
    row.remove(QStringLiteral("a"));
    other[QStringLiteral("b")] = GraphValue::integer(9);
    EXPECT_EQ(row.keys(), (QStringList{QStringLiteral("b"), QStringLiteral("c")}));
    EXPECT_EQ(model.keys(), (QStringList{QStringLiteral("a"), QStringLiteral("b")}));
    EXPECT_EQ(other, (PropertyMap{{QStringLiteral("a"), GraphValue::integer(7)},
                                  {QStringLiteral("b"), GraphValue::integer(9)}}));
    EXPECT_EQ(model.value(QStringLiteral("a")), GraphValue::integer(1));
    EXPECT_TRUE(model.value(QStringLiteral("b")).isNull());

    // Maps equal by content are equal whether or not they share names; an empty one takes no keys.
    PropertyMap apart{{QStringLiteral("b"), GraphValue::number(2)},
                      {QStringLiteral("c"), GraphValue::boolean(true)}};
    EXPECT_EQ(row, apart);
    QList<GraphValue> none;
    EXPECT_TRUE(PropertyMap(PropertyMap(), none).isEmpty());
    PropertyMap moved = std::move(apart);
    EXPECT_EQ(moved, row);
    PropertyMap assigned;
    assigned = moved;
    assigned.clear();
    EXPECT_EQ(moved, row);
    EXPECT_TRUE(assigned.isEmpty() && assigned.keys().isEmpty());
}
