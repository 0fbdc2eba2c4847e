#include "kit/layout/ForceLayout.h"

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <new>
#include <random>
#include <thread>

// Counts every allocation of this test program, so that a test can tell whether ticking allocates.
namespace {
std::atomic<long> allocations{0};
}

void* operator new(std::size_t size) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}

// The nothrow form (std::stable_sort's temporary buffer) must come from the same heap as the others,
// since every form of delete here frees with std::free.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    allocations.fetch_add(1, std::memory_order_relaxed);
    return std::malloc(size == 0 ? 1 : size);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

using corvantis::ForceLayout;
using Body = ForceLayout::Body;
using Guide = ForceLayout::Guide;
using Link = ForceLayout::Link;

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

// A layout with only the forces a test names switched on.
ForceLayout onlyForces(std::vector<Body> bodies, std::vector<Link> links, bool withLinks, bool withCharge,
                       bool withCollisions) {
    ForceLayout layout(std::move(bodies), std::move(links), 1.0);
    layout.linkStrength = withLinks ? 1.0 : 0;
    layout.charge = withCharge ? -900 : 0;
    layout.collisionRadius = withCollisions ? 46 : 0;
    return layout;
}

ForceLayout randomLayout(int count, std::uint64_t seed) {
    std::mt19937_64 random(seed);
    std::uniform_real_distribution<double> coordinate(-800, 800);
    std::vector<Body> bodies;
    for (int i = 0; i < count; ++i) {
        bodies.emplace_back(std::round(coordinate(random)), std::round(coordinate(random)), i % 17 == 3);
    }
    std::vector<Link> links;
    for (int i = 0; i < count; ++i) {
        links.push_back(Link{i, int(random() % std::uint64_t(count))});
    }
    return ForceLayout(std::move(bodies), std::move(links), 1.0);
}

} // namespace

TEST(ForceLayoutTick, JitterWrapsAndKeepsTheSignOfTheRemainder) {
    EXPECT_EQ(ForceLayout::jitter(0), -0.0004);
    EXPECT_EQ(ForceLayout::jitter(1), 0.000361);
    EXPECT_EQ(ForceLayout::jitter(-1), -0.0011610000000000001);
    // 2^62 × 2654435761 overflows: the product wraps, it does not saturate.
    EXPECT_EQ(ForceLayout::jitter(qint64(1) << 62), 0.000504);
    EXPECT_EQ(ForceLayout::jitter(std::numeric_limits<qint64>::max()), -0.000353);
}

TEST(ForceLayoutTick, EmptyLayoutStaysAsItIs) {
    ForceLayout cold({}, {}, 0.005);
    cold.tick();
    EXPECT_EQ(cold.alpha, 0.005);
    EXPECT_EQ(cold.ticks, 0);
    EXPECT_TRUE(cold.isSettled());

    ForceLayout warm({}, {}, 0.5);
    warm.travelling = true;
    warm.tick();
    EXPECT_EQ(warm.alpha, 0.5);
    EXPECT_FALSE(warm.isSettled());
}

TEST(ForceLayoutTick, AlphaSettlesAfter171TicksWhenNothingTravels) {
    ForceLayout layout({Body(0, 0), Body(500, 0)}, {}, 1.0);
    double expected = 1.0;
    int settledAt = 0;
    for (int t = 1; t <= 200 && !settledAt; ++t) {
        layout.tick();
        expected += (0 - expected) * 0.028;
        ASSERT_EQ(layout.alpha, expected) << "tick " << t;
        ASSERT_EQ(layout.ticks, t);
        if (layout.isSettled()) {
            settledAt = t;
        }
    }
    EXPECT_EQ(settledAt, 171);
}

TEST(ForceLayoutTick, SelfLinksAreDroppedAndParallelLinksKept) {
    ForceLayout layout({Body(0, 0), Body(10, 0)}, {Link{0, 0}, Link{0, 1}, Link{1, 1}, Link{1, 0}}, 1.0);
    ASSERT_EQ(layout.links.size(), 2u);
    EXPECT_EQ(layout.links[0], (Link{0, 1}));
    EXPECT_EQ(layout.links[1], (Link{1, 0}));
}

TEST(ForceLayoutTick, LinkPullFollowsDegreeBiasAndDamping) {
    // Body 0 has degree 2 (two links), body 1 and body 2 degree 1. Only links act, no gravity.
    ForceLayout layout =
        onlyForces({Body(0, 0), Body(300, 0), Body(0, 400)}, {Link{0, 1}, Link{0, 2}}, true, false, false);
    layout.gravity = 0;
    layout.tick();
    const double alpha = 0.972;
    // First link: delta (300, 0), length 300; min degree 1; bias = 2 / 3.
    const double k1 = 1.0 * (alpha * ((300 - 170.0) / 300) * (1 / 1.0) * 0.7);
    const double bias = 2.0 / 3;
    const double v1x = 0 - 300 * k1 * bias;
    double v0x = 0 + 300 * k1 * (1 - bias);
    // Second link sees the velocity the first gave body 0.
    const double dx = (0 + 0) - (0 + v0x);
    const double dy = 400.0;
    const double length = std::sqrt(dx * dx + dy * dy);
    const double k2 = 1.0 * (alpha * ((length - 170) / length) * (1 / 1.0) * 0.7);
    v0x += dx * k2 * (1 - bias);
    const double v0y = 0 + dy * k2 * (1 - bias);
    const double v2x = 0 - dx * k2 * bias;
    const double v2y = 0 - dy * k2 * bias;

    EXPECT_EQ(layout.bodies[1].vx, v1x * 0.6);
    EXPECT_EQ(layout.bodies[1].x, 300 + v1x * 0.6);
    EXPECT_EQ(layout.bodies[0].vx, v0x * 0.6);
    EXPECT_EQ(layout.bodies[0].vy, v0y * 0.6);
    EXPECT_EQ(layout.bodies[2].vx, v2x * 0.6);
    EXPECT_EQ(layout.bodies[2].vy, v2y * 0.6);
}

TEST(ForceLayoutTick, CoincidentBodiesSeparateDeterministicallyUnderEachForce) {
    struct Case {
        const char* name;
        bool links, charge, collisions;
    };
    for (const Case& c : {Case{"links", true, false, false}, Case{"charge", false, true, false},
                          Case{"collisions", false, false, true}}) {
        SCOPED_TRACE(c.name);
        const auto run = [&] {
            ForceLayout layout = onlyForces({Body(5, 5), Body(5, 5), Body(5, 5)}, {Link{0, 1}, Link{1, 2}},
                                            c.links, c.charge, c.collisions);
            for (int t = 0; t < 5; ++t) {
                layout.tick();
            }
            return layout;
        };
        const ForceLayout first = run();
        const ForceLayout second = run();
        EXPECT_EQ(first, second);
        EXPECT_NE(first.bodies[0].x, first.bodies[1].x);
        EXPECT_NE(first.bodies[1].y, first.bodies[2].y);
        EXPECT_TRUE(std::isfinite(first.bodies[0].x) && std::isfinite(first.bodies[2].y));
    }

    // The first collision between two coincident bodies pushes along (jitter(0), jitter(1)).
    ForceLayout layout = onlyForces({Body(0, 0), Body(0, 0)}, {}, false, false, true);
    layout.gravity = 0;
    layout.tick();
    const double dx = ForceLayout::jitter(0);
    const double dy = ForceLayout::jitter(1);
    const double length = std::sqrt(dx * dx + dy * dy);
    const double k = (92 - length) / length * 0.35;
    EXPECT_EQ(layout.bodies[1].vx, (0 + dx * k) * 0.6);
    EXPECT_EQ(layout.bodies[1].vy, (0 + dy * k) * 0.6);
    EXPECT_EQ(layout.bodies[0].vx, (0 - dx * k) * 0.6);
}

TEST(ForceLayoutTick, ChargeOnASingleDistantBodyFallsWithDistance) {
    // Two bodies: each sees the other as a leaf of mass 1; the force is w = charge × alpha / d².
    ForceLayout layout = onlyForces({Body(0, 0), Body(30, 40)}, {}, false, true, false);
    layout.gravity = 0;
    layout.tick();
    const double w = -900 * 1.0 * 0.972 / 2500;
    EXPECT_EQ(layout.bodies[0].vx, (0 + 30 * w) * 0.6);
    EXPECT_EQ(layout.bodies[0].vy, (0 + 40 * w) * 0.6);
    EXPECT_EQ(layout.bodies[1].vx, (0 + -30 * w) * 0.6);
}

TEST(ForceLayoutTick, DeepCoincidenceStopsSplittingButKeepsTheMass) {
    // 300 bodies on one point split the tree down to the cap; the leaf there keeps the first body and
    // counts all 300, so every body is pushed by the whole pile along its own jitter.
    const int count = 300;
    std::vector<Body> bodies(std::size_t(count), Body(5, 5));
    ForceLayout layout = onlyForces(bodies, {}, false, true, false);
    layout.gravity = 0;
    layout.tick();
    const double w = -900.0 * count * 0.972 / 1;
    for (int i : {0, 1, 150, 299}) {
        SCOPED_TRACE(i);
        EXPECT_EQ(layout.bodies[std::size_t(i)].vx, (0 + ForceLayout::jitter(i) * w) * 0.6);
        EXPECT_EQ(layout.bodies[std::size_t(i)].vy, (0 + ForceLayout::jitter(i + 7) * w) * 0.6);
    }
}

TEST(ForceLayoutTick, PinnedBodiesRepelButNeverMove) {
    std::vector<Body> bodies{Body(0, 0, true), Body(20, 0)};
    bodies[0].vx = 0;
    ForceLayout layout(bodies, {}, 1.0);
    for (int t = 0; t < 50; ++t) {
        layout.tick();
    }
    EXPECT_EQ(layout.bodies[0].x, 0);
    EXPECT_EQ(layout.bodies[0].y, 0);
    EXPECT_EQ(layout.bodies[0].vx, 0);
    EXPECT_EQ(layout.bodies[0].vy, 0);
    EXPECT_GT(layout.bodies[1].x, 100); // pushed well away from the pinned one

    // In a link, the free end takes only its own share of the correction.
    ForceLayout linked = onlyForces({Body(0, 0, true), Body(400, 0)}, {Link{0, 1}}, true, false, false);
    linked.gravity = 0;
    linked.tick();
    const double k = 1.0 * (0.972 * ((400 - 170.0) / 400) * (1 / 1.0) * 0.7);
    EXPECT_EQ(linked.bodies[1].vx, (0 - 400 * k * 0.5) * 0.6);
    EXPECT_EQ(linked.bodies[0].x, 0);
}

TEST(ForceLayoutTick, SwitchedOffForcesBuildNothing) {
    // A body far outside what the collision grid can index is fatal only when collisions are on.
    ForceLayout layout({Body(0, 0), Body(1e300, 0), Body(3, 3)}, {Link{0, 2}}, 1.0);
    layout.collisionRadius = 0;
    layout.charge = 0;
    layout.linkStrength = 0;
    layout.gravity = 0;
    layout.tick();
    EXPECT_EQ(layout.bodies[0].x, 0);
    EXPECT_EQ(layout.bodies[2].x, 3);
    EXPECT_EQ(layout.ticks, 1);
}

TEST(ForceLayoutTick, CopiesTickAloneAndAgreeBitForBit) {
    const ForceLayout original = randomLayout(2500, 7);
    ForceLayout here = original;
    for (int t = 0; t < 12; ++t) {
        here.tick();
    }
    // A copy ticked on another thread, with its own scratch space, ends in the same place.
    ForceLayout there = original;
    std::thread worker([&there] {
        for (int t = 0; t < 12; ++t) {
            there.tick();
        }
    });
    worker.join();
    EXPECT_EQ(here, there);
    EXPECT_NE(here, original);
    for (std::size_t i = 0; i < original.bodies.size(); ++i) {
        if (original.bodies[i].pinned) {
            ASSERT_EQ(here.bodies[i].x, original.bodies[i].x);
            ASSERT_EQ(here.bodies[i].y, original.bodies[i].y);
        }
    }
}

TEST(ForceLayoutTick, WarmTicksAllocateNothing) {
    // Bodies close together (the dense collision grid) and spread far apart (the hashed grid).
    for (double spread : {800.0, 5e7}) {
        SCOPED_TRACE(spread);
        std::mt19937_64 random(11);
        std::uniform_real_distribution<double> coordinate(-spread, spread);
        std::vector<Body> bodies;
        std::vector<Link> links;
        for (int i = 0; i < 3000; ++i) {
            bodies.emplace_back(coordinate(random), coordinate(random));
            links.push_back(Link{i, (i * 7 + 1) % 3000});
        }
        ForceLayout layout(std::move(bodies), std::move(links), 1.0);
        // While the bodies spread out or gather, the scratch space grows a few times, then stays.
        for (int t = 0; t < 60; ++t) {
            layout.tick();
        }
        const long before = allocations.load();
        for (int t = 0; t < 40; ++t) {
            layout.tick();
        }
        EXPECT_EQ(allocations.load() - before, 0);
    }
}

TEST(ForceLayoutGuides, TargetsAreApproachedThenSnappedWhileAlphaStaysWarm) {
    ForceLayout layout({Body(0, 0, false, Guide(100, -50, 0))}, {}, 1.0);
    layout.tick();
    EXPECT_EQ(layout.bodies[0].x, 0 + (100 - 0) * 0.16);
    EXPECT_EQ(layout.bodies[0].y, 0 + (-50 - 0) * 0.16);
    EXPECT_TRUE(layout.travelling);

    int arrivedAt = 0;
    for (int t = 2; t <= 400 && !arrivedAt; ++t) {
        layout.tick();
        if (layout.travelling) {
            ASSERT_GE(layout.alpha, 0.01);
            ASSERT_FALSE(layout.isSettled());
        } else {
            arrivedAt = t;
        }
    }
    ASSERT_GT(arrivedAt, 0);
    EXPECT_EQ(layout.bodies[0].x, 100);
    EXPECT_EQ(layout.bodies[0].y, -50);
    EXPECT_EQ(layout.bodies[0].vx, 0);
    // Once arrived, nothing holds the temperature up.
    while (!layout.isSettled()) {
        layout.tick();
        ASSERT_LT(layout.ticks, 1000);
    }
}

TEST(ForceLayoutGuides, DelayedBodiesWaitAndKeepTheSimulationWarm) {
    Guide late(100, 100, 300);
    ForceLayout layout({Body(0, 0, false, late), Body(50, 50)}, {}, 0.02);
    layout.charge = 0;
    layout.collisionRadius = 0;
    for (int t = 0; t < 299; ++t) {
        layout.tick();
        ASSERT_EQ(layout.bodies[0].x, 0);
        ASSERT_EQ(layout.bodies[0].vx, 0);
        ASSERT_TRUE(layout.travelling);
        if (t > 0) {
            ASSERT_GE(layout.alpha, 0.01);
        }
    }
    layout.tick(); // tick 300: the delay is no longer above the tick count
    EXPECT_EQ(layout.bodies[0].x, 16);
}

TEST(ForceLayoutGuides, HorizontalPullIsAQuarterAndComesAfterTheDecay) {
    // Bounded guide with no column: home (100, 100), a box that does not bind.
    Body body(0, 0, false, Guide(std::nullopt, 100, 100, -infinity, infinity, -infinity, infinity));
    body.vx = 10;
    body.vy = 10;
    ForceLayout layout({body}, {}, 1.0);
    layout.tick();
    const double alpha = 0.972;
    const double vx = 10 * 0.6 + alpha * (0.06 * (100 - 0) * 0.25);
    const double vy = (10 + alpha * (0.06 * (100 - 0))) * 0.6;
    EXPECT_EQ(layout.bodies[0].vx, vx);
    EXPECT_EQ(layout.bodies[0].vy, vy);
    EXPECT_EQ(layout.bodies[0].x, vx);
    EXPECT_EQ(layout.bodies[0].y, vy);
}

TEST(ForceLayoutGuides, BoxesHoldBodiesAndAStrayYIsIgnored) {
    // minX above maxX: held on the midpoint with no velocity.
    Body held(500, 0, false, Guide(std::nullopt, 0, 0, 10, -10, -infinity, infinity));
    held.vx = 30;
    // Below minX by more than 1: a quarter of the way back; by less, onto the edge.
    Body far(0, 0, false, Guide(std::nullopt, 0, 0, 100, 200, -infinity, infinity));
    Body near(99.5, 0, false, Guide(std::nullopt, 99.5, 0, 100, 200, -infinity, infinity));
    // A y target without an x target is ignored: the body drifts to its home y within the box.
    Guide strayY(std::nullopt, 0, 40, -infinity, infinity, 0, 50);
    strayY.y = -1000;
    Body stray(0, 20, false, strayY);
    ForceLayout layout({held, far, near, stray}, {}, 1.0);
    layout.charge = 0;
    layout.collisionRadius = 0;
    layout.tick();
    EXPECT_EQ(layout.bodies[0].x, 0);
    EXPECT_EQ(layout.bodies[0].vx, 0);
    EXPECT_EQ(layout.bodies[1].x, 0 + (100 - 0) * 0.25);
    EXPECT_EQ(layout.bodies[1].vx, 0);
    EXPECT_EQ(layout.bodies[2].x, 100);
    EXPECT_GT(layout.bodies[3].y, 20);
    EXPECT_FALSE(layout.travelling);
    for (int t = 0; t < 300; ++t) {
        layout.tick();
    }
    EXPECT_EQ(layout.bodies[0].x, 0);
    EXPECT_NEAR(layout.bodies[3].y, 40, 1);
}

TEST(ForceLayoutTick, PositionsFromADamagedLayoutNeverStopTheTick) {
    // Positions read from a damaged file may lie far outside any grid; the tick goes on, and bodies
    // near each other still settle as usual.
    ForceLayout layout({Body(0, 0), Body(1e300, -1e300), Body(40, 40)}, {}, 1.0);
    for (int i = 0; i < 5; ++i)
        layout.tick();
    EXPECT_TRUE(std::isfinite(layout.bodies[0].x));
    EXPECT_TRUE(std::isfinite(layout.bodies[2].y));
    EXPECT_GT(std::hypot(layout.bodies[2].x - layout.bodies[0].x, layout.bodies[2].y - layout.bodies[0].y),
              std::hypot(40.0, 40.0)); // the near pair pushed apart
}

TEST(ForceLayoutTick, TheChargeSharedWithASecondThreadGivesTheSameBits) {
    std::mt19937_64 random(23);
    std::uniform_real_distribution<double> coordinate(-3000, 3000);
    std::vector<Body> bodies;
    std::vector<Link> links;
    for (int i = 0; i < 6000; ++i) {
        bodies.emplace_back(coordinate(random), coordinate(random), i % 97 == 0);
        links.push_back(Link{i, (i * 13 + 5) % 6000});
    }
    // A few bodies on one point, so that the jitter and the depth cap take part.
    for (int i = 0; i < 5; ++i)
        bodies[size_t(100 + i)] = Body(12.5, -7.25);
    const ForceLayout start(std::move(bodies), std::move(links), 1.0);
    ForceLayout alone = start;
    ForceLayout shared = start;
    ForceLayout::shareCharge(false);
    for (int t = 0; t < 4; ++t)
        alone.tick();
    ForceLayout::shareCharge(true);
    for (int t = 0; t < 4; ++t)
        shared.tick();
    EXPECT_TRUE(alone == shared);
    EXPECT_FALSE(alone == start);
}
