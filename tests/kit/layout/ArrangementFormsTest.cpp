#include "tests/kit/layout/ArrangementSupport.h"

#include <cmath>
#include <gtest/gtest.h>

using corvantis::Arrangement;
using corvantis::ArrangeValue;
using namespace corvantis::test;

using Form = Arrangement::Form;
using Spacing = Arrangement::Spacing;

namespace {

constexpr double twoPi = 2 * M_PI;
constexpr double spiralB = 54 / twoPi;

Arrangement::Options formOptions(Form form, bool sorted = false) {
    Arrangement::Options options;
    options.form = form;
    options.sorted = sorted;
    options.spacing = Spacing::value;
    return options;
}

std::vector<Arrangement::Item> plainItems(int count, const QString& prefix = QStringLiteral("i"),
                                          std::optional<QString> lane = std::nullopt) {
    std::vector<Arrangement::Item> items;
    for (int i = 0; i < count; ++i) {
        items.push_back(bare(prefix + QString::number(i), lane));
    }
    return items;
}

double distance(QPointF a, QPointF b) {
    return std::hypot(a.x() - b.x(), a.y() - b.y());
}

} // namespace

TEST(LayoutRings, OneItemStandsOnTheBaseRingNotInTheCentre) {
    const Arrangement arrangement({bare("only")}, formOptions(Form::rings));
    ASSERT_EQ(arrangement.rings.size(), 1u);
    EXPECT_EQ(arrangement.rings[0].inner, 70);
    const QPointF point = target(arrangement, "only");
    EXPECT_NEAR(distance(point, QPointF(0, 0)), 70, 1e-9);
    EXPECT_NEAR(clockAngle(point), M_PI, 1e-12); // the middle of the single wedge's padded span
    EXPECT_EQ(arrangement.maxX, 120);
    EXPECT_EQ(arrangement.minY, -120);
    EXPECT_EQ(arrangement.guides.value("only").delay, 0);
}

TEST(LayoutRings, AnchorStandsInTheCentreOfItsOwnRing) {
    std::vector<Arrangement::Item> items{numbered("a", 1), numbered("b", 2), numbered("hub", 9),
                                         numbered("c", 3)};
    Arrangement::Options options = formOptions(Form::rings, true);
    options.anchor = "hub";
    const Arrangement arrangement(items, options);
    EXPECT_EQ(target(arrangement, "hub"), QPointF(0, 0));
    ASSERT_GE(arrangement.rings.size(), 2u);
    EXPECT_EQ(arrangement.rings[0].outer, 0);
    EXPECT_EQ(arrangement.rings[0].level.low, ArrangeValue(9.0));
    EXPECT_EQ(arrangement.rings[0].level.count, 1);
    for (const QString id : {"a", "b", "c"}) {
        EXPECT_GE(distance(target(arrangement, id), QPointF(0, 0)), 70 - 1e-9) << qPrintable(id);
    }
    // The anchor enters first.
    EXPECT_EQ(arrangement.guides.value("hub").delay, 0);
    EXPECT_GT(arrangement.guides.value("a").delay, 0);

    // An anchor has no place in stacks.
    Arrangement::Options stacked = options;
    stacked.form = Form::stacks;
    Arrangement::Options unanchored = stacked;
    unanchored.anchor.reset();
    EXPECT_EQ(Arrangement(items, stacked), Arrangement(items, unanchored));
}

TEST(LayoutRings, WedgesShareTheCircleByWeight) {
    std::vector<Arrangement::Item> items = plainItems(6, "a", QStringLiteral("A"));
    for (const auto& item : plainItems(2, "b", QStringLiteral("B"))) {
        items.push_back(item);
    }
    Arrangement::Options options = formOptions(Form::rings);
    options.grouped = true;
    options.collapsed = {"Shut"};
    const Arrangement arrangement(items, options);
    ASSERT_EQ(arrangement.wedges.size(), 3u);
    const auto& a = arrangement.wedges[0];
    const auto& b = arrangement.wedges[1];
    const auto& shut = arrangement.wedges[2];
    EXPECT_EQ(a.key, "A");
    EXPECT_TRUE(shut.collapsed);
    EXPECT_NEAR(shut.end - shut.start, 0.07, 1e-12);
    EXPECT_DOUBLE_EQ(a.start, 0.025);
    EXPECT_DOUBLE_EQ(b.start, a.end + 0.05);
    EXPECT_DOUBLE_EQ(shut.start, b.end + 0.05);
    EXPECT_NEAR(shut.end + 0.025, twoPi, 1e-12);
    EXPECT_NEAR((a.end - a.start) / (b.end - b.start), 6.0 / 2.0, 1e-12);
    // Every member stands inside its own wedge.
    for (const auto& item : items) {
        const auto& wedge = item.lane == QStringLiteral("A") ? a : b;
        const double angle = clockAngle(target(arrangement, item.id));
        EXPECT_GE(angle, wedge.start);
        EXPECT_LE(angle, wedge.end);
    }
}

TEST(LayoutRings, MembersKeepTheirOrderWithoutLinksAndFollowNeighboursWithThem) {
    std::vector<Arrangement::Item> items;
    for (const QString id : {"A", "B", "C", "D"}) {
        items.push_back(numbered(id, 1));
    }
    for (const QString id : {"P", "Q", "R", "S"}) {
        items.push_back(numbered(id, 2));
    }
    Arrangement::Options options = formOptions(Form::rings, true);
    const Arrangement unlinked(items, options);
    ASSERT_EQ(unlinked.rings.size(), 2u);
    const auto angle = [](const Arrangement& arrangement, const char* id) {
        return clockAngle(target(arrangement, id));
    };
    EXPECT_LT(angle(unlinked, "P"), angle(unlinked, "Q"));
    EXPECT_LT(angle(unlinked, "R"), angle(unlinked, "S"));

    // P hangs on D (last on the inner ring) and S on A (first): they swap ends on the outer ring.
    options.links = {{"P", "D"}, {"A", "S"}, {"Q", "Q"}};
    const Arrangement linked(items, options);
    EXPECT_LT(angle(linked, "S"), angle(linked, "Q"));
    EXPECT_LT(angle(linked, "Q"), angle(linked, "R"));
    EXPECT_LT(angle(linked, "R"), angle(linked, "P"));
    EXPECT_DOUBLE_EQ(angle(linked, "S"), angle(unlinked, "P"));
    // The inner ring itself is not reordered.
    EXPECT_EQ(target(linked, "A"), target(unlinked, "A"));
}

TEST(LayoutRings, CrowdedRingsFillTracksFromTheInside) {
    const Arrangement arrangement(plainItems(100), formOptions(Form::rings));
    ASSERT_EQ(arrangement.rings.size(), 1u);
    const auto& ring = arrangement.rings[0];
    EXPECT_EQ(ring.inner, 70);
    const double span = twoPi - 1.0; // padded by 0.5 at both ends
    QHash<int, int> perTrack;
    for (int i = 0; i < 100; ++i) {
        const double radius = distance(target(arrangement, QStringLiteral("i%1").arg(i)), QPointF(0, 0));
        const int track = int(std::lround((radius - 70) / 52));
        ASSERT_NEAR(radius, 70 + track * 52, 1e-9);
        perTrack[track] += 1;
    }
    int tracks = 0;
    for (auto it = perTrack.cbegin(); it != perTrack.cend(); ++it) {
        tracks = std::max(tracks, it.key() + 1);
        EXPECT_LE(it.value(), int(std::floor(span * (70 + it.key() * 52) / 50)));
    }
    EXPECT_GT(tracks, 3);
    EXPECT_EQ(ring.outer, 70 + (tracks - 1) * 52);
    EXPECT_EQ(arrangement.maxX, ring.outer + 50);
    // Items appear in order, the last after the whole sweep.
    EXPECT_EQ(arrangement.guides.value("i0").delay, 0);
    EXPECT_DOUBLE_EQ(arrangement.guides.value("i99").delay, 34);
}

TEST(LayoutSpiral, AnglesKeepTheirDistanceAndTheCorridorFree) {
    for (bool corridor : {false, true}) {
        SCOPED_TRACE(corridor);
        const std::vector<double> angles = Arrangement::spiralAngles(200, corridor);
        ASSERT_EQ(angles.size(), 200u);
        EXPECT_EQ(angles[0], 0);
        int nearTop = 0;
        for (std::size_t i = 1; i < angles.size(); ++i) {
            const QPointF a = Arrangement::spiralPoint(angles[i - 1], 0, 0);
            const QPointF b = Arrangement::spiralPoint(angles[i], 0, 0);
            ASSERT_GE(distance(a, b), 44);
            ASSERT_GT(angles[i], angles[i - 1]);
            const double t = std::fmod(angles[i], twoPi);
            const double w = std::min(46 / (angles[i] * spiralB), 0.5);
            nearTop += (t < w || t > twoPi - w) ? 1 : 0;
        }
        if (corridor) {
            EXPECT_EQ(nearTop, 0);
        } else {
            EXPECT_GT(nearTop, 0);
        }
    }
    EXPECT_TRUE(Arrangement::spiralAngles(0, false).empty());
    EXPECT_EQ(Arrangement::polar(10, M_PI / 2, 5, 5), QPointF(15, 5));
}

TEST(LayoutSpiral, OneSpiralFromTheCentreWithTurnsMarked) {
    std::vector<Arrangement::Item> items;
    for (int i = 0; i < 80; ++i) {
        items.push_back(numbered(QStringLiteral("n%1").arg(i), 100 - i));
    }
    const Arrangement arrangement(items, formOptions(Form::spiral, true));
    // Sorted ascending, so the smallest value (item n79) starts exactly in the centre.
    EXPECT_EQ(target(arrangement, "n79"), QPointF(0, 0));
    const std::vector<double> angles = Arrangement::spiralAngles(80, true);
    ASSERT_EQ(arrangement.islands.size(), 1u);
    EXPECT_EQ(arrangement.islands[0].radius, angles.back() * spiralB + 30);
    EXPECT_EQ(arrangement.islands[0].sweep, angles.back());
    EXPECT_EQ(arrangement.maxX, arrangement.islands[0].radius);

    ASSERT_GE(arrangement.turns.size(), 2u);
    for (std::size_t k = 0; k < arrangement.turns.size(); ++k) {
        const auto& turn = arrangement.turns[k];
        EXPECT_EQ(turn.radius, double(k + 1) * 54);
        ASSERT_GT(turn.count, 0);
        EXPECT_GE(angles[std::size_t(turn.count)], double(k + 1) * twoPi);
        EXPECT_LT(angles[std::size_t(turn.count) - 1], double(k + 1) * twoPi);
        EXPECT_EQ(turn.value,
                  ArrangeValue(double(turn.count + 21))); // the value of the item opening the turn
    }
}

TEST(LayoutSpiral, IslandsArePackedWithoutOverlapOrSetInRows) {
    std::vector<Arrangement::Item> items;
    const std::vector<std::pair<QString, int>> sizes{{"big", 40}, {"mid", 12}, {"small", 3}, {"one", 1}};
    for (const auto& [key, count] : sizes) {
        for (const auto& item : plainItems(count, key, key)) {
            items.push_back(item);
        }
    }
    Arrangement::Options options = formOptions(Form::spiral);
    options.grouped = true;
    options.collapsed = {"shut"};
    const Arrangement packed(items, options);
    ASSERT_EQ(packed.islands.size(), 5u);
    EXPECT_EQ(packed.islands[4].radius, 34);
    EXPECT_TRUE(packed.islands[4].collapsed);
    for (std::size_t i = 0; i < packed.islands.size(); ++i) {
        for (std::size_t j = i + 1; j < packed.islands.size(); ++j) {
            const auto& a = packed.islands[i];
            const auto& b = packed.islands[j];
            EXPECT_GE(distance(QPointF(a.x, a.y), QPointF(b.x, b.y)), a.radius + b.radius + 56 - 0.01);
        }
    }
    EXPECT_DOUBLE_EQ(packed.minX, -packed.maxX);
    EXPECT_DOUBLE_EQ(packed.minY, -packed.maxY);
    // Each group winds around its own island, its first member on the island's centre.
    EXPECT_EQ(target(packed, "big0"), QPointF(packed.islands[0].x, packed.islands[0].y));
    EXPECT_EQ(target(packed, "one0"), QPointF(packed.islands[3].x, packed.islands[3].y));

    options.ordered = true;
    const Arrangement rows(items, options);
    ASSERT_EQ(rows.islands.size(), 5u);
    for (std::size_t i = 1; i < rows.islands.size(); ++i) {
        if (rows.islands[i].y == rows.islands[i - 1].y) {
            EXPECT_DOUBLE_EQ(rows.islands[i].x - rows.islands[i].radius,
                             rows.islands[i - 1].x + rows.islands[i - 1].radius + 56);
        } else {
            EXPECT_GT(rows.islands[i].y, rows.islands[i - 1].y);
        }
    }
    EXPECT_DOUBLE_EQ(rows.minX, -rows.maxX);
}

TEST(LayoutSpiral, EmptyBoundsAreWidened) {
    Arrangement::Options options = formOptions(Form::spiral);
    options.grouped = true;
    const Arrangement empty({}, options);
    EXPECT_TRUE(empty.islands.empty());
    EXPECT_EQ(empty.minX, -60);
    EXPECT_EQ(empty.maxX, 60);
    EXPECT_EQ(empty.minY, -60);
}

TEST(LayoutStacks, SortedColumnsPileUpwardsPerLevel) {
    std::vector<Arrangement::Item> items;
    for (int i = 0; i < 30; ++i) {
        items.push_back(numbered(QStringLiteral("n%1").arg(i), i));
    }
    items.push_back(bare("none"));
    const Arrangement arrangement(items, formOptions(Form::stacks, true));
    // 30 runs are more than 24: levels of ten, and one more column for the item without a value.
    ASSERT_EQ(arrangement.columns.size(), 4u);
    EXPECT_EQ(arrangement.columns[0].level->edges, (Arrangement::Range{0, 10}));
    EXPECT_EQ(arrangement.columns[1].minX, 34 + 44);
    EXPECT_EQ(arrangement.columns[0].top, -340);
    EXPECT_EQ(arrangement.columns[3].count, 1);
    EXPECT_EQ(arrangement.axisLength, 3 * 78 + 34);
    EXPECT_EQ(arrangement.maxX, arrangement.axisLength);
    EXPECT_EQ(arrangement.minY, -340 - 34);
    EXPECT_EQ(arrangement.maxY, 0);
    EXPECT_EQ(target(arrangement, "n0"), QPointF(17, -17));
    EXPECT_EQ(target(arrangement, "n13"), QPointF(78 + 17, -3.5 * 34));
    EXPECT_EQ(arrangement.axisSlots.size(), 30u);
    EXPECT_EQ(arrangement.axisSlots[12].x, arrangement.columns[1].midX());
}

TEST(LayoutStacks, EmptyLevelsKeepTheirWidth) {
    std::vector<Arrangement::Item> items;
    for (int i = 0; i < 15; ++i) {
        items.push_back(numbered(QStringLiteral("low%1").arg(i), i));
        items.push_back(numbered(QStringLiteral("high%1").arg(i), 45 + i));
    }
    const Arrangement arrangement(items, formOptions(Form::stacks, true));
    ASSERT_EQ(arrangement.columns.size(), 3u);
    EXPECT_EQ(arrangement.columns[1].count, 0);
    EXPECT_EQ(arrangement.columns[1].maxX - arrangement.columns[1].minX, 34);
    EXPECT_EQ(arrangement.columns[2].minX, 2 * 78);
    EXPECT_EQ(arrangement.columns[1].top, 0);
}

TEST(LayoutStacks, GroupsFormBandsOrColumns) {
    std::vector<Arrangement::Item> items;
    // Within one level, the lanes arrive mixed; the column sorts them into bands in group order.
    items.push_back(numbered("y1", 1, QStringLiteral("Y")));
    items.push_back(numbered("x1", 1, QStringLiteral("X")));
    items.push_back(numbered("y2", 1, QStringLiteral("Y")));
    items.push_back(numbered("x2", 1, QStringLiteral("X")));
    Arrangement::Options options = formOptions(Form::stacks, true);
    options.grouped = true;
    options.lanes = {"X", "Y"};
    const Arrangement bands(items, options);
    ASSERT_EQ(bands.columns.size(), 1u);
    EXPECT_EQ(target(bands, "x1").y(), -17);
    EXPECT_EQ(target(bands, "x2").y(), -17 - 34);
    EXPECT_EQ(target(bands, "y1").y(), -17 - 68);

    options.sorted = false;
    options.collapsed = {"Z"};
    const Arrangement perGroup(items, options);
    ASSERT_EQ(perGroup.columns.size(), 3u);
    EXPECT_EQ(perGroup.columns[0].key, "X");
    EXPECT_EQ(perGroup.columns[0].count, 2);
    EXPECT_TRUE(perGroup.columns[2].collapsed);
    EXPECT_EQ(perGroup.columns[2].maxX - perGroup.columns[2].minX, 34);
    EXPECT_EQ(target(perGroup, "y2"), QPointF(78 + 17, -51));
    EXPECT_TRUE(perGroup.axisSlots.empty());
}
