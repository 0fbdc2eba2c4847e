#include "tests/kit/layout/ArrangementSupport.h"

#include <QHash>
#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

using corvantis::Arrangement;
using corvantis::ArrangeValue;
using namespace corvantis::test;

using Form = Arrangement::Form;
using Spacing = Arrangement::Spacing;

namespace {

Arrangement::Options sortedRows(Spacing spacing = Spacing::value) {
    Arrangement::Options options;
    options.sorted = true;
    options.spacing = spacing;
    return options;
}

std::vector<Arrangement::Item> numbers(const std::vector<double>& values) {
    std::vector<Arrangement::Item> items;
    for (std::size_t i = 0; i < values.size(); ++i) {
        items.push_back(numbered(QStringLiteral("n%1").arg(i), values[i]));
    }
    return items;
}

} // namespace

TEST(LayoutValues, OrderPutsNumbersFirstAndReadsTextLikeAFileManager) {
    const ArrangeValue two(2.0), ten(10.0), apple(QStringLiteral("apple")), Apple(QStringLiteral("Apple"));
    const ArrangeValue item2(QStringLiteral("item 2")), item10(QStringLiteral("item 10"));
    EXPECT_TRUE(two < ten);
    EXPECT_TRUE(ten < apple);
    EXPECT_FALSE(apple < ten);
    EXPECT_TRUE(item2 < item10);
    EXPECT_FALSE(item10 < item2);
    EXPECT_TRUE(ArrangeValue(QStringLiteral("a")) < ArrangeValue(QStringLiteral("B")));

    // Case is ignored by the order, but not by equality.
    EXPECT_TRUE(apple.ties(Apple));
    EXPECT_FALSE(apple == Apple);
    EXPECT_FALSE(two.ties(ArrangeValue(QStringLiteral("2"))));
    EXPECT_TRUE(ArrangeValue(0.0) == ArrangeValue(-0.0));
    EXPECT_EQ(qHash(ArrangeValue(0.0)), qHash(ArrangeValue(-0.0)));
    EXPECT_EQ(two.number(), 2.0);
    EXPECT_FALSE(apple.number().has_value());
}

TEST(LayoutValues, FormsDecodeLeniently) {
    ASSERT_EQ(Arrangement::allForms.size(), 4u);
    for (Form form : Arrangement::allForms) {
        EXPECT_EQ(Arrangement::formFromText(Arrangement::formText(form)), form);
    }
    EXPECT_EQ(Arrangement::formFromText(QStringLiteral("bloom")), Form::spiral);
    EXPECT_EQ(Arrangement::formFromText(QStringLiteral("mosaic")), Form::rows);
    EXPECT_EQ(Arrangement::formFromText(QString()), Form::rows);
    EXPECT_EQ(Arrangement::spacingFromText(QStringLiteral("even")), Spacing::even);
    EXPECT_FALSE(Arrangement::spacingFromText(QStringLiteral("odd")).has_value());
}

TEST(LayoutValues, NiceTicks) {
    EXPECT_EQ(Arrangement::niceTicks(0, 99, 5), (std::vector<double>{0, 20, 40, 60, 80}));
    EXPECT_EQ(Arrangement::niceTicks(-7, 7, 3), (std::vector<double>{-5, 0, 5}));
    // Below 1 the ticks are built from whole numbers: 0.3, not 0.30000000000000004.
    const std::vector<double> tenths = Arrangement::niceTicks(0, 1, 10);
    ASSERT_EQ(tenths.size(), 11u);
    EXPECT_EQ(tenths[3], 0.3);
    EXPECT_EQ(tenths[10], 1.0);
    EXPECT_TRUE(Arrangement::niceTicks(NAN, 1, 5).empty());
    EXPECT_EQ(Arrangement::niceTicks(4, 4, 5), std::vector<double>{4});
    EXPECT_EQ(Arrangement::niceTicks(4, INFINITY, 5), std::vector<double>{4});
    EXPECT_EQ(Arrangement::niceTicks(1, 9, 0), std::vector<double>{1});
    EXPECT_EQ(Arrangement::niceTicks(0, 5000, 100000).size(), 1000u);
}

TEST(LayoutValues, LevelsKeepFewRunsWhole) {
    const auto buckets =
        Arrangement::levels(numbers({1, 1, 2, 3, 3, 3, 4, 5}), false, Spacing::value, 12, 4, false);
    ASSERT_EQ(buckets.size(), 5u);
    EXPECT_EQ(buckets[2].level.count, 3);
    EXPECT_EQ(buckets[2].level.low, ArrangeValue(3.0));
    EXPECT_FALSE(buckets[2].level.edges.has_value());
}

TEST(LayoutValues, LevelsBinNumbersIntoRoundStretches) {
    std::vector<double> hundred;
    for (int i = 0; i < 100; ++i) {
        hundred.push_back(i);
    }
    const auto ascending = Arrangement::levels(numbers(hundred), false, Spacing::value, 12, 5, false);
    ASSERT_EQ(ascending.size(), 5u);
    EXPECT_EQ(ascending[0].level.edges, (Arrangement::Range{0, 20}));
    EXPECT_EQ(ascending[4].level.edges, (Arrangement::Range{80, 100}));
    EXPECT_EQ(ascending[4].level.low, ArrangeValue(80.0));
    EXPECT_EQ(ascending[4].level.high, ArrangeValue(99.0));
    EXPECT_EQ(ascending[1].members.size(), 20u);
    const auto descending = Arrangement::levels(numbers(hundred), true, Spacing::value, 12, 5, false);
    EXPECT_EQ(descending[0].level.edges, (Arrangement::Range{80, 100}));

    // Two clusters far apart: the empty stretches between them are kept only on request.
    std::vector<double> clusters;
    for (int i = 0; i < 10; ++i) {
        clusters.push_back(i);
        clusters.push_back(90 + i);
    }
    std::sort(clusters.begin(), clusters.end());
    EXPECT_EQ(Arrangement::levels(numbers(clusters), false, Spacing::value, 12, 5, false).size(), 2u);
    const auto kept = Arrangement::levels(numbers(clusters), false, Spacing::value, 12, 5, true);
    ASSERT_EQ(kept.size(), 5u);
    EXPECT_EQ(kept[2].level.count, 0);
    EXPECT_FALSE(kept[2].level.low.has_value());
}

TEST(LayoutValues, EvenLevelsNeverSplitATie) {
    std::vector<Arrangement::Item> items =
        numbers({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19});
    for (int i = 0; i < 10000; ++i) {
        items.push_back(
            texted(QStringLiteral("t%1").arg(i), i % 2 ? QStringLiteral("Same") : QStringLiteral("same")));
    }
    items.push_back(texted(QStringLiteral("last"), QStringLiteral("zebra")));
    const auto buckets = Arrangement::levels(items, false, Spacing::even, 12, 5, false);
    ASSERT_EQ(buckets.size(), 2u);
    EXPECT_EQ(buckets[0].level.count, 20 + 10000);
    EXPECT_EQ(buckets[0].level.high, ArrangeValue(QStringLiteral("same")));
    EXPECT_EQ(buckets[1].level.count, 1);

    // Without ties, even shares: 100 items for 4 buckets make 4 buckets of 25.
    std::vector<double> hundred;
    for (int i = 0; i < 100; ++i) {
        hundred.push_back(i);
    }
    const auto shares = Arrangement::levels(numbers(hundred), false, Spacing::even, 12, 4, false);
    ASSERT_EQ(shares.size(), 4u);
    for (const auto& bucket : shares) {
        EXPECT_EQ(bucket.level.count, 25);
        EXPECT_FALSE(bucket.level.edges.has_value());
    }
}

TEST(LayoutRows, MixedValuesAreSpacedEvenlyWithNumbersFirst) {
    const std::vector<Arrangement::Item> items{texted("pear", "pear"), numbered("three", 3),
                                               texted("apple", "apple"), numbered("one", 1)};
    const Arrangement arrangement(items, sortedRows(Spacing::value));
    EXPECT_EQ(arrangement.spacing, Spacing::even);
    EXPECT_EQ(arrangement.axisLength, 560);
    EXPECT_FALSE(arrangement.domain.has_value());
    EXPECT_FALSE(arrangement.x(2).has_value());
    ASSERT_EQ(arrangement.axisSlots.size(), 4u);
    const QStringList order{"one", "three", "apple", "pear"};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(arrangement.axisSlots[std::size_t(i)].id, order[i]);
        EXPECT_EQ(arrangement.axisSlots[std::size_t(i)].x, 560 * ((i + 0.5) / 4));
    }
    EXPECT_EQ(arrangement.guides.value("apple").x, 350);
    EXPECT_EQ(arrangement.slotsBetween(400, 100).size(), 2u);
}

TEST(LayoutRows, EqualValuesMakeOneRunAcrossTheAxis) {
    const Arrangement arrangement(numbers({7, 7, 7, 7, 7}), sortedRows(Spacing::value));
    EXPECT_EQ(arrangement.spacing, Spacing::even);
    ASSERT_EQ(arrangement.runs.size(), 1u);
    EXPECT_EQ(arrangement.runs[0].count, 5);
    EXPECT_EQ(arrangement.runs[0].minX, 56);
    EXPECT_EQ(arrangement.runs[0].maxX, 504);
}

TEST(LayoutRows, ValueSpacingUsesTheDomainAndAxisCount) {
    Arrangement::Options options = sortedRows(Spacing::value);
    options.axisCount = 50;
    options.domain = Arrangement::Range{0, 4};
    const Arrangement byValue(numbers({1, 2, 3}), options);
    EXPECT_EQ(byValue.spacing, Spacing::value);
    EXPECT_EQ(byValue.axisLength, 50 * 44);
    EXPECT_EQ(byValue.domain, (Arrangement::Range{0, 4}));
    EXPECT_EQ(byValue.x(2), 1100);
    EXPECT_EQ(byValue.guides.value("n0").x, 550);

    options.descending = true;
    const Arrangement reversed(numbers({1, 2, 3}), options);
    EXPECT_EQ(reversed.x(1), 2200 - 550);
    ASSERT_EQ(reversed.axisSlots.size(), 3u);
    EXPECT_EQ(reversed.axisSlots[0].id, "n2"); // left to right even when descending
    EXPECT_LT(reversed.axisSlots[0].x, reversed.axisSlots[2].x);

    // The axis count stretches nothing under even spacing.
    options.spacing = Spacing::even;
    options.descending = false;
    const Arrangement even(numbers({1, 2, 3}), options);
    EXPECT_EQ(even.axisLength, 560);
    EXPECT_FALSE(even.x(2).has_value());
}

TEST(LayoutRows, ItemsWithoutValueWaitInTheGutter) {
    std::vector<Arrangement::Item> items = numbers({1, 2, 3});
    for (int i = 0; i < 5; ++i) {
        items.push_back(bare(QStringLiteral("b%1").arg(i)));
    }
    const Arrangement arrangement(items, sortedRows());
    ASSERT_TRUE(arrangement.gutterX.has_value());
    EXPECT_EQ(*arrangement.gutterX, 560 + 110);
    EXPECT_EQ(arrangement.gutterWidth, 2 * 44);
    EXPECT_EQ(arrangement.maxX, 670 + 88);
    EXPECT_EQ(arrangement.guides.value("b0").x, 670);
    EXPECT_EQ(arrangement.guides.value("b4").x, 670 + 44);
    // Entrance: left to right over the whole width.
    const double sweep = std::min(8 * 0.7, 34.0);
    EXPECT_EQ(arrangement.guides.value("b0").delay, sweep * 670 / 758);
    EXPECT_EQ(arrangement.guides.value("n0").delay, 0);
}

TEST(LayoutRows, UnsortedLanesStackCellsInGroupOrder) {
    std::vector<Arrangement::Item> items;
    for (int i = 0; i < 5; ++i) {
        items.push_back(bare(QStringLiteral("a%1").arg(i), QStringLiteral("A")));
    }
    items.push_back(bare("b0", QStringLiteral("B")));
    items.push_back(bare("loose"));
    items.push_back(bare("b1", QStringLiteral("B")));
    Arrangement::Options options;
    options.grouped = true;
    options.lanes = {"B", Arrangement::noValue, "Z"};
    options.collapsed = {"C", "A"};
    const Arrangement arrangement(items, options);

    // Preferred lanes first (a lane without items dropped), then new keys, then shut ones, no value last.
    ASSERT_EQ(arrangement.lanes.size(), 4u);
    const QStringList keys{"B", "A", "C", Arrangement::noValue};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(arrangement.lanes[std::size_t(i)].key, keys[i]);
    }
    // wrap = ceil(sqrt(5 × 2.5)) = 4 columns per lane.
    const Arrangement::Lane& b = arrangement.lanes[0];
    const Arrangement::Lane& a = arrangement.lanes[1];
    const Arrangement::Lane& c = arrangement.lanes[2];
    EXPECT_EQ(b.maxY - b.minY, 120);
    EXPECT_EQ(a.minY, 138);
    EXPECT_EQ(a.maxY - a.minY, 2 * 76 + 44);
    EXPECT_FALSE(a.collapsed); // shut but still holding items: drawn open
    EXPECT_TRUE(c.collapsed);
    EXPECT_EQ(c.maxY - c.minY, 34);
    EXPECT_EQ(arrangement.lanes[3].minY, c.maxY + 18);

    const auto a4 = arrangement.guides.value("a4");
    EXPECT_EQ(a4.x, 0.5 * 200);
    EXPECT_EQ(a4.homeY, 138 + 22 + 1.5 * 76 - 8);
    EXPECT_EQ(a4.minY, a4.homeY);
    EXPECT_EQ(a4.maxY, a4.homeY);
    EXPECT_EQ(arrangement.guides.value("a3").x, 3.5 * 200);
    EXPECT_EQ(arrangement.guides.value("b1").x, 1.5 * 200);

    ASSERT_EQ(arrangement.groups.size(), 4u);
    EXPECT_EQ(arrangement.groups[2], (Arrangement::Group{"C", 0, true}));
    EXPECT_EQ(arrangement.groups[3].count, 1);
}

TEST(LayoutRows, SortedLanesGrowWithPiledValues) {
    std::vector<double> values(30, 5.0);
    values.push_back(6);
    const Arrangement arrangement(numbers(values), sortedRows());
    EXPECT_EQ(arrangement.axisLength, 31 * 44);
    ASSERT_EQ(arrangement.lanes.size(), 1u);
    const Arrangement::Lane& lane = arrangement.lanes[0];
    EXPECT_EQ(lane.maxY - lane.minY, 30 * 64 + 44);
    const auto guide = arrangement.guides.value("n0");
    EXPECT_EQ(guide.x, 0);
    EXPECT_EQ(guide.homeY, lane.midY());
    EXPECT_EQ(guide.minY, 22);
    EXPECT_EQ(guide.maxY, lane.maxY - 22);
    EXPECT_FALSE(guide.y.has_value());

    std::vector<double> tall(40, 5.0);
    tall.push_back(6);
    const Arrangement capped(numbers(tall), sortedRows());
    EXPECT_EQ(capped.lanes[0].maxY, 2400);
}

TEST(LayoutRows, NothingToArrange) {
    const Arrangement sortedEmpty({}, sortedRows());
    EXPECT_TRUE(sortedEmpty.guides.isEmpty());
    EXPECT_EQ(sortedEmpty.lanes.size(), 1u);
    EXPECT_EQ(sortedEmpty.axisLength, 560);
    EXPECT_EQ(sortedEmpty.top(), 0);

    Arrangement::Options grouped = sortedRows();
    grouped.grouped = true;
    const Arrangement groupedEmpty({}, grouped);
    EXPECT_TRUE(groupedEmpty.lanes.empty());
    EXPECT_EQ(groupedEmpty.bottom(), 0);
}

TEST(LayoutRows, AnchorIsIgnored) {
    const std::vector<Arrangement::Item> items = numbers({3, 1, 2});
    Arrangement::Options options = sortedRows();
    const Arrangement plain(items, options);
    options.anchor = "n1";
    EXPECT_EQ(Arrangement(items, options), plain);
}
