#pragma once

#include <QtGlobal>
#include <limits>
#include <optional>
#include <vector>

namespace corvantis {

// The physics behind the canvas: bodies joined by springs, pushed apart by a Barnes–Hut repulsion and a
// collision radius, pulled gently towards the origin, or led by a per-body guide when an arrangement is in
// force. A plain value: the simulation loop copies it to a worker, ticks it and copies it back, so it holds
// nothing but the bodies, the links and a few numbers. Scratch space for the quadtree and the collision
// grid lives with the thread that ticks, not in the value, so copies stay cheap.
//
// Everything is deterministic: the same value ticked the same number of times gives the same positions, bit
// for bit, on one machine.
struct ForceLayout {
    // Where a body is led. Either a bounded wander (a box, a home to drift towards and perhaps a fixed
    // column) or, with both targets set, a straight approach to a point.
    struct Guide {
        std::optional<double> x;
        std::optional<double> y;
        double delay = 0; // ticks to wait before moving
        double homeX = 0;
        double homeY = 0;
        double minX = -std::numeric_limits<double>::infinity();
        double maxX = std::numeric_limits<double>::infinity();
        double minY = -std::numeric_limits<double>::infinity();
        double maxY = std::numeric_limits<double>::infinity();

        Guide() = default;
        // The bounded form: `y` absent, no delay.
        Guide(std::optional<double> x, double homeX, double homeY, double minX, double maxX, double minY,
              double maxY);
        // The target form: both targets set; the box is never read on this path, and its y bounds are
        // both `y` on purpose.
        Guide(double x, double y, double delay);

        bool operator==(const Guide&) const = default;
    };

    struct Body {
        double x = 0;
        double y = 0;
        double vx = 0;
        double vy = 0;
        bool pinned = false; // exerts forces, never moves, collects no velocity
        std::optional<Guide> guide;

        Body() = default;
        Body(double x, double y, bool pinned = false, std::optional<Guide> guide = std::nullopt);

        bool operator==(const Body&) const = default;
    };

    struct Link {
        int a = 0;
        int b = 0;
        bool operator==(const Link&) const = default;
    };

    std::vector<Body> bodies;
    std::vector<Link> links;
    double alpha = 0;
    double linkDistance = 170;
    double charge = -900;
    double collisionRadius = 46;
    double gravity = 0.012;
    double linkStrength = 1.0;
    double homeStrength = 0.06;
    int ticks = 0;
    bool travelling = false;

    ForceLayout() = default;
    // Links whose two ends are the same body are dropped; every index must lie within `bodies`.
    ForceLayout(std::vector<Body> bodies, std::vector<Link> links, double alpha);

    // One step of the simulation: cool, apply links, charge and collisions to the velocities, then move.
    void tick();

    // Below this temperature the layout counts as still.
    bool isSettled() const { return alpha < 0.008; }

    // Whether large layouts share the charge step with a second thread (on by default on a machine with
    // more than one core). Results are the same bits either way.
    static void shareCharge(bool onSecondCore);

    // The small deterministic offset that stands in for the distance of two things that coincide.
    static double jitter(qint64 n);

    bool operator==(const ForceLayout&) const = default;
};

} // namespace corvantis
