#include "kit/layout/ForceLayout.h"

#include <QtGlobal>
#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <utility>

namespace corvantis {

namespace {

constexpr double velocityDecay = 0.6;
constexpr double settleAlphaDecay = 0.028;
constexpr double travellingAlphaFloor = 0.01;
constexpr double linkDamping = 0.7;
constexpr double thetaSquared = 0.81; // Barnes–Hut theta of 0.9, compared on squares
constexpr int maxTreeDepth = 40;
constexpr double collisionStrength = 0.35;
constexpr double guideApproach = 0.16;
constexpr double snapDistance = 0.5;
constexpr double horizontalHomeShare = 0.25;

// A quadtree node while the tree is being built. Children of a node are four adjacent entries.
struct Cell {
    double x0;
    double y0;
    double size;
    double mass;
    double cx; // running sums of the coordinates of the bodies below
    double cy;
    int body;     // the one body of a leaf, -1 if none
    int children; // first of four children, -1 for a leaf
};

// The same node as the walk reads it, with everything that does not depend on the walking body worked
// out once per tick: the centre of mass, the opening limit and the charge of the whole cell. Divisions
// done here give the same bits as doing them in the walk.
struct WalkCell {
    double comX;
    double comY;
    double openLimit; // size² / theta²: the cell acts as one body when the distance² exceeds it
    double weight;    // charge × mass × alpha
    int self;         // the body of a leaf holding exactly one body, -1 otherwise
    int kidCount;     // how many children hold mass; 0 for a leaf
    int kids[4];      // those children in order; empty children are never visited
};

// The bodies sorted into squares of the collision reach. When the occupied squares span a compact
// rectangle, squares are indexed densely (column by column), so that the three squares of a column next to
// a body are adjacent, members included. Otherwise an open-addressing hash numbers the occupied squares
// and remembers the nine around each. Both visit the same squares in the same order.
struct CollisionGrid {
    std::vector<std::int32_t> gx;
    std::vector<std::int32_t> gy;
    std::vector<int> bodySquare;
    std::vector<int> start; // per square index, then one more for the end
    std::vector<int> fill;
    std::vector<int> members; // body indices grouped by square, ascending within each
    bool dense = true;
    std::int64_t originX = 0;
    std::int64_t originY = 0;
    std::int64_t width = 0;
    std::int64_t height = 0;
    // The hash, used when the squares are too spread out for a dense index.
    std::vector<std::uint64_t> slotKeys;
    std::vector<int> slotSquares; // -1 for a free slot
    std::vector<int> neighbours;  // nine per square, -1 where none is occupied, -2 before the lookup
    unsigned shift = 64;
};

// Working memory of one thread's ticks, kept between ticks so that a running simulation allocates
// nothing once it has warmed up.
struct Scratch {
    std::vector<double> x, y, vx, vy;
    std::vector<unsigned char> pinned;
    std::vector<double> degree;
    std::vector<Cell> cells;
    std::vector<int> cellPlace; // a cell's index in `walk`, which holds the cells in depth-first order
    std::vector<WalkCell> walk;
    std::vector<int> stack;
    std::vector<int> walkOrder;
    std::vector<unsigned char> walked;
    CollisionGrid grid;
};

thread_local Scratch scratch;

// Scratch arrays change size from tick to tick as bodies move. They grow with headroom, so that a running
// simulation soon stops allocating, and never shrink.
template <typename T> void fit(std::vector<T>& array, std::size_t size) {
    if (size > array.capacity()) {
        array.reserve(std::max(size + size / 4, 2 * array.capacity()));
    }
    array.resize(size);
}

template <typename T> void fitFilled(std::vector<T>& array, std::size_t size, const T& value) {
    fit(array, size);
    std::fill(array.begin(), array.end(), value);
}

std::uint64_t squareKey(std::int32_t gx, std::int32_t gy) {
    return (std::uint64_t(std::uint32_t(gx)) << 32) | std::uint32_t(gy);
}

std::uint64_t mixKey(std::uint64_t key) {
    key ^= key >> 31;
    key *= 0x9E3779B97F4A7C15ull;
    key ^= key >> 29;
    return key;
}

// A position far outside any canvas, or not a number at all (a damaged saved layout), still gets a
// square at the grid's edge: its collisions are then meaningless, but nothing stops.
std::int32_t gridCoordinate(double value, double reach) {
    const double square = std::floor(value / reach);
    if (std::isnan(square))
        return 0;
    return std::int32_t(std::clamp(square, double(std::numeric_limits<std::int32_t>::min()),
                                   double(std::numeric_limits<std::int32_t>::max())));
}

int quadrant(const Cell& cell, double x, double y) {
    const double midX = cell.x0 + cell.size / 2;
    const double midY = cell.y0 + cell.size / 2;
    return (y >= midY ? 2 : 0) + (x >= midX ? 1 : 0);
}

} // namespace

ForceLayout::Guide::Guide(std::optional<double> x, double homeX, double homeY, double minX, double maxX,
                          double minY, double maxY)
    : x(x)
    , homeX(homeX)
    , homeY(homeY)
    , minX(minX)
    , maxX(maxX)
    , minY(minY)
    , maxY(maxY) {
}

ForceLayout::Guide::Guide(double x, double y, double delay)
    : x(x)
    , y(y)
    , delay(delay)
    , homeX(x)
    , homeY(y)
    , minY(y)
    , maxY(y) {
}

ForceLayout::Body::Body(double x, double y, bool pinned, std::optional<Guide> guide)
    : x(x)
    , y(y)
    , pinned(pinned)
    , guide(std::move(guide)) {
}

ForceLayout::ForceLayout(std::vector<Body> bodies, std::vector<Link> links, double alpha)
    : bodies(std::move(bodies))
    , alpha(alpha) {
    [[maybe_unused]] const int count = int(this->bodies.size());
    this->links.reserve(links.size());
    for (const Link& link : links) {
        Q_ASSERT(link.a >= 0 && link.a < count && link.b >= 0 && link.b < count);
        if (link.a != link.b) {
            this->links.push_back(link);
        }
    }
}

double ForceLayout::jitter(qint64 n) {
    // The product wraps as signed 64-bit arithmetic would; the remainder keeps the sign of the product.
    const auto product = qint64(quint64(n) * quint64(2654435761ull));
    const qint64 remainder = product % 1000;
    return (double(remainder) / 1000 - 0.5) * 0.001 + 0.0001;
}

namespace {

void applyLinks(const ForceLayout& layout, Scratch& s) {
    if (!(layout.linkStrength > 0) || layout.links.empty()) {
        return;
    }
    const std::size_t count = layout.bodies.size();
    fitFilled(s.degree, count, 0.0);
    for (const ForceLayout::Link& link : layout.links) {
        s.degree[link.a] += 1;
        s.degree[link.b] += 1;
    }
    double* x = s.x.data();
    double* y = s.y.data();
    double* vx = s.vx.data();
    double* vy = s.vy.data();
    const unsigned char* pinned = s.pinned.data();
    const double alpha = layout.alpha;
    for (const ForceLayout::Link& link : layout.links) {
        const int a = link.a;
        const int b = link.b;
        double dx = (x[b] + vx[b]) - (x[a] + vx[a]);
        double dy = (y[b] + vy[b]) - (y[a] + vy[a]);
        if (dx == 0 && dy == 0) {
            dx = ForceLayout::jitter(a);
            dy = ForceLayout::jitter(b);
        }
        const double length = std::sqrt(dx * dx + dy * dy);
        const double degreeA = s.degree[a];
        const double degreeB = s.degree[b];
        const double k = layout.linkStrength * (alpha * ((length - layout.linkDistance) / length) *
                                                (1 / std::min(degreeA, degreeB)) * linkDamping);
        const double bias = degreeA / (degreeA + degreeB);
        if (!pinned[b]) {
            vx[b] -= dx * k * bias;
            vy[b] -= dy * k * bias;
        }
        if (!pinned[a]) {
            vx[a] += dx * k * (1 - bias);
            vy[a] += dy * k * (1 - bias);
        }
    }
}

void buildTree(Scratch& s, std::size_t count) {
    const double* x = s.x.data();
    const double* y = s.y.data();
    double minX = x[0], maxX = x[0], minY = y[0], maxY = y[0];
    for (std::size_t i = 1; i < count; ++i) {
        minX = std::min(minX, x[i]);
        maxX = std::max(maxX, x[i]);
        minY = std::min(minY, y[i]);
        maxY = std::max(maxY, y[i]);
    }
    std::vector<Cell>& cells = s.cells;
    cells.clear();
    if (cells.capacity() < 3 * count) {
        cells.reserve(3 * count);
    }
    const double size = std::max({maxX - minX, maxY - minY, 1.0}) + 2;
    cells.push_back(Cell{minX - 1, minY - 1, size, 0, 0, 0, -1, -1});

    for (std::size_t i = 0; i < count; ++i) {
        const double bx = x[i];
        const double by = y[i];
        int c = 0;
        int depth = 0;
        for (;;) {
            Cell& cell = cells[c];
            cell.mass += 1;
            cell.cx += bx;
            cell.cy += by;
            if (cell.children >= 0) {
                c = cell.children + quadrant(cell, bx, by);
                ++depth;
                continue;
            }
            if (cell.body < 0) {
                cell.body = int(i);
                break;
            }
            if (depth > maxTreeDepth) {
                break; // counted in the sums above, but not stored
            }
            const int first = int(cells.size());
            const double half = cell.size / 2;
            const Cell parent = cell;
            cells[c].body = -1;
            cells[c].children = first;
            // `cell` may dangle from here on: the appends below can move the array.
            cells.push_back(Cell{parent.x0, parent.y0, half, 0, 0, 0, -1, -1});
            cells.push_back(Cell{parent.x0 + half, parent.y0, half, 0, 0, 0, -1, -1});
            cells.push_back(Cell{parent.x0, parent.y0 + half, half, 0, 0, 0, -1, -1});
            cells.push_back(Cell{parent.x0 + half, parent.y0 + half, half, 0, 0, 0, -1, -1});
            const int old = parent.body;
            Cell& moved = cells[first + quadrant(parent, x[old], y[old])];
            moved.mass = 1;
            moved.cx = x[old];
            moved.cy = y[old];
            moved.body = old;
            c = first + quadrant(parent, bx, by);
            ++depth;
        }
    }
}

// Lays the cells that hold bodies out in depth-first order (each cell's subtree in one stretch, as a
// space-filling curve orders the plane), so that a walk reads the tree front to back and the cells near the
// walking body sit together in cache. Every value is the one the cell itself gives, so the order changes
// nothing in the result.
void prepareWalk(const ForceLayout& layout, Scratch& s) {
    const std::size_t cellCount = s.cells.size();
    fit(s.walk, cellCount);
    fit(s.cellPlace, cellCount);
    fit(s.stack, cellCount + 4); // a push always writes four entries
    int placed = 0;
    int top = 0;
    s.stack[std::size_t(top++)] = 0;
    while (top > 0) {
        const int c = s.stack[std::size_t(--top)];
        s.cellPlace[std::size_t(c)] = placed++;
        const Cell& cell = s.cells[std::size_t(c)];
        if (cell.children >= 0)
            for (int k = 3; k >= 0; --k)
                if (s.cells[std::size_t(cell.children + k)].mass > 0)
                    s.stack[std::size_t(top++)] = cell.children + k;
    }
    s.walk.resize(std::size_t(placed));
    top = 0;
    s.stack[std::size_t(top++)] = 0;
    while (top > 0) {
        const int c = s.stack[std::size_t(--top)];
        const Cell& cell = s.cells[std::size_t(c)];
        WalkCell& w = s.walk[std::size_t(s.cellPlace[std::size_t(c)])];
        w.comX = cell.mass > 0 ? cell.cx / cell.mass : 0;
        w.comY = cell.mass > 0 ? cell.cy / cell.mass : 0;
        w.openLimit = cell.size * cell.size / thetaSquared;
        w.weight = layout.charge * cell.mass * layout.alpha;
        w.self = (cell.children < 0 && cell.mass == 1) ? cell.body : -1;
        w.kidCount = 0;
        w.kids[0] = w.kids[1] = w.kids[2] = w.kids[3] = 0;
        if (cell.children >= 0) {
            for (int k = 0; k < 4; ++k) {
                const int child = cell.children + k;
                if (s.cells[std::size_t(child)].mass > 0) {
                    w.kids[w.kidCount++] = s.cellPlace[std::size_t(child)];
                }
            }
            for (int k = 3; k >= 0; --k)
                if (s.cells[std::size_t(cell.children + k)].mass > 0)
                    s.stack[std::size_t(top++)] = cell.children + k;
        }
    }
}

// The order in which bodies walk the tree: leaf by leaf, depth first, so that consecutive walks take the
// same path through the upper tree and find it in cache. Each body's charge sums only over the tree, so
// the order changes nothing in the result. Bodies beyond the depth cap, stored in no leaf, come last.
void orderWalk(Scratch& s, std::size_t count) {
    s.walkOrder.clear();
    fitFilled(s.walked, count, static_cast<unsigned char>(0));
    int top = 0;
    s.stack[std::size_t(top++)] = 0;
    while (top > 0) {
        const Cell& cell = s.cells[std::size_t(s.stack[std::size_t(--top)])];
        if (cell.children >= 0) {
            for (int k = 3; k >= 0; --k) {
                s.stack[std::size_t(top++)] = cell.children + k;
            }
        } else if (cell.body >= 0) {
            s.walkOrder.push_back(cell.body);
            s.walked[std::size_t(cell.body)] = 1;
        }
    }
    for (std::size_t i = 0; i < count; ++i) {
        if (!s.walked[i]) {
            s.walkOrder.push_back(int(i));
        }
    }
}

// One walk of the tree per body, for the bodies walkOrder[from, to): the body's velocity gathers the pull
// of every cell it sees as one, in the order the walk meets them. Each body's sum depends on nothing but
// the tree and the body, so bodies can be walked on any thread, in any order, with the same bits.
struct ChargeWalk {
    const WalkCell* walk;
    const int* order;
    const double* x;
    const double* y;
    double* vx;
    double* vy;
    const unsigned char* pinned;
    std::size_t count;
    std::size_t stackSize;
    std::atomic<std::size_t> next{0}; // the first body of the next chunk to take

    static constexpr std::size_t chunk = 128;

    void run(std::size_t from, std::size_t to, int* stack) const {
        for (std::size_t n = from; n < to; ++n) {
            const int body = order[n];
            const std::size_t i = std::size_t(body);
            if (pinned[i]) {
                continue;
            }
            const double bx = x[i];
            const double by = y[i];
            const double jx = ForceLayout::jitter(qint64(i));
            const double jy = ForceLayout::jitter(qint64(i) + 7);
            double sumX = vx[i];
            double sumY = vy[i];
            int top = 0;
            stack[top++] = 0;
            while (top > 0) {
                const WalkCell& cell = walk[stack[--top]];
                if (cell.self == body) {
                    continue;
                }
                double dx = cell.comX - bx;
                double dy = cell.comY - by;
                double d2 = dx * dx + dy * dy;
                if (cell.kidCount > 0 && !(cell.openLimit < d2)) {
                    // Children go on in order, so the last one comes off first. Writing all four slots
                    // and moving the top by the count avoids a hard-to-predict branch per child.
                    stack[top] = cell.kids[0];
                    stack[top + 1] = cell.kids[1];
                    stack[top + 2] = cell.kids[2];
                    stack[top + 3] = cell.kids[3];
                    top += cell.kidCount;
                    continue;
                }
                if (d2 < 1) {
                    dx = jx;
                    dy = jy;
                    d2 = 1;
                }
                const double w = cell.weight / d2;
                sumX += dx * w;
                sumY += dy * w;
            }
            vx[i] = sumX;
            vy[i] = sumY;
        }
    }

    // Takes chunks until none is left.
    void share(int* stack) {
        for (;;) {
            const std::size_t from = next.fetch_add(chunk, std::memory_order_relaxed);
            if (from >= count) {
                return;
            }
            run(from, std::min(from + chunk, count), stack);
        }
    }
};

// A second thread that takes chunks of the charge walk beside the thread that ticks. It is never waited
// for to start: the ticking thread takes chunks too, and waits at the end only for chunks the helper has
// taken. One helper belongs to each ticking thread and lives as long as it; once warm it allocates nothing.
class ChargeHelper {
public:
    ChargeHelper()
        : m_thread([this] { loop(); }) {}
    ~ChargeHelper() {
        {
            std::lock_guard lock(m_mutex);
            m_quit = true;
        }
        m_wake.notify_one();
        m_thread.join();
    }

    void walk(ChargeWalk& work, int* stack) {
        {
            std::lock_guard lock(m_mutex);
            m_work = &work;
            ++m_round;
        }
        m_wake.notify_one();
        work.share(stack);
        std::unique_lock lock(m_mutex);
        m_work = nullptr; // a helper that wakes only now finds nothing to do
        m_done.wait(lock, [this] { return !m_inside; });
    }

private:
    void loop() {
        std::uint64_t seen = 0;
        std::unique_lock lock(m_mutex);
        for (;;) {
            m_wake.wait(lock, [&] { return m_quit || (m_round != seen && m_work); });
            if (m_quit) {
                return;
            }
            seen = m_round;
            ChargeWalk& work = *m_work;
            m_inside = true;
            lock.unlock();
            if (m_stack.size() < work.stackSize) {
                m_stack.resize(work.stackSize + work.stackSize / 4);
            }
            work.share(m_stack.data());
            lock.lock();
            m_inside = false;
            m_done.notify_one();
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_done;
    ChargeWalk* m_work = nullptr;
    std::uint64_t m_round = 0;
    bool m_inside = false;
    bool m_quit = false;
    std::vector<int> m_stack;
    std::thread m_thread;
};

// Below this many bodies a second thread costs more than it saves.
constexpr std::size_t sharedChargeFrom = 2048;
std::atomic<bool> secondCore{std::thread::hardware_concurrency() > 1};

void applyCharge(const ForceLayout& layout, Scratch& s) {
    if (layout.charge == 0) {
        return;
    }
    const std::size_t count = layout.bodies.size();
    buildTree(s, count);
    prepareWalk(layout, s);
    orderWalk(s, count);

    ChargeWalk work;
    work.walk = s.walk.data();
    work.order = s.walkOrder.data();
    work.x = s.x.data();
    work.y = s.y.data();
    work.vx = s.vx.data();
    work.vy = s.vy.data();
    work.pinned = s.pinned.data();
    work.count = s.walkOrder.size();
    work.stackSize = s.stack.size();
    if (count >= sharedChargeFrom && secondCore.load(std::memory_order_relaxed)) {
        thread_local ChargeHelper helper;
        helper.walk(work, s.stack.data());
    } else {
        work.run(0, work.count, s.stack.data());
    }
}

void buildGrid(CollisionGrid& g, const Scratch& s, std::size_t count, double reach) {
    fit(g.gx, count);
    fit(g.gy, count);
    fit(g.bodySquare, count);
    std::int32_t lowX = 0, highX = 0, lowY = 0, highY = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::int32_t gx = gridCoordinate(s.x[i], reach);
        const std::int32_t gy = gridCoordinate(s.y[i], reach);
        g.gx[i] = gx;
        g.gy[i] = gy;
        lowX = i == 0 ? gx : std::min(lowX, gx);
        highX = i == 0 ? gx : std::max(highX, gx);
        lowY = i == 0 ? gy : std::min(lowY, gy);
        highY = i == 0 ? gy : std::max(highY, gy);
    }
    g.originX = lowX;
    g.originY = lowY;
    g.width = std::int64_t(highX) - lowX + 1;
    g.height = std::int64_t(highY) - lowY + 1;
    const std::int64_t denseLimit = 4 * std::int64_t(count) + 4096;
    g.dense = g.width <= denseLimit && g.height <= denseLimit && g.width * g.height <= denseLimit;

    std::size_t squares = 0;
    if (g.dense) {
        squares = std::size_t(g.width * g.height);
        for (std::size_t i = 0; i < count; ++i) {
            g.bodySquare[i] = int((g.gx[i] - g.originX) * g.height + (g.gy[i] - g.originY));
        }
    } else {
        const std::size_t capacity = std::bit_ceil(std::max<std::size_t>(2 * count, 16));
        g.shift = 64 - unsigned(std::countr_zero(capacity));
        fit(g.slotKeys, capacity);
        fitFilled(g.slotSquares, capacity, -1);
        const std::size_t mask = capacity - 1;
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint64_t key = squareKey(g.gx[i], g.gy[i]);
            std::size_t slot = std::size_t(mixKey(key) >> g.shift);
            while (g.slotSquares[slot] >= 0 && g.slotKeys[slot] != key) {
                slot = (slot + 1) & mask;
            }
            if (g.slotSquares[slot] < 0) {
                g.slotSquares[slot] = int(squares++);
                g.slotKeys[slot] = key;
            }
            g.bodySquare[i] = g.slotSquares[slot];
        }
        fitFilled(g.neighbours, squares * 9, -2);
    }

    // Counting sort of the bodies by square, ascending by index within each square.
    fitFilled(g.start, squares + 1, 0);
    for (std::size_t i = 0; i < count; ++i) {
        g.start[std::size_t(g.bodySquare[i]) + 1] += 1;
    }
    for (std::size_t q = 0; q < squares; ++q) {
        g.start[q + 1] += g.start[q];
    }
    fit(g.fill, squares);
    std::copy(g.start.begin(), g.start.end() - 1, g.fill.begin());
    fit(g.members, count);
    for (std::size_t i = 0; i < count; ++i) {
        g.members[std::size_t(g.fill[std::size_t(g.bodySquare[i])]++)] = int(i);
    }
}

int findSquare(const CollisionGrid& g, std::int64_t gx, std::int64_t gy) {
    if (gx < std::numeric_limits<std::int32_t>::min() || gx > std::numeric_limits<std::int32_t>::max() ||
        gy < std::numeric_limits<std::int32_t>::min() || gy > std::numeric_limits<std::int32_t>::max()) {
        return -1;
    }
    const std::uint64_t key = squareKey(std::int32_t(gx), std::int32_t(gy));
    const std::size_t mask = g.slotKeys.size() - 1;
    std::size_t slot = std::size_t(mixKey(key) >> g.shift);
    while (g.slotSquares[slot] >= 0) {
        if (g.slotKeys[slot] == key) {
            return g.slotSquares[slot];
        }
        slot = (slot + 1) & mask;
    }
    return -1;
}

// Pushes apart body i and every later body j in the member range [from, to).
inline void collideRange(const CollisionGrid& g, Scratch& s, int i, int from, int to, double reach) {
    const double xi = s.x[std::size_t(i)];
    const double yi = s.y[std::size_t(i)];
    for (int m = from; m < to; ++m) {
        const int j = g.members[std::size_t(m)];
        if (j <= i) {
            continue;
        }
        double dx = s.x[std::size_t(j)] - xi;
        double dy = s.y[std::size_t(j)] - yi;
        if (dx == 0 && dy == 0) {
            dx = ForceLayout::jitter(i);
            dy = ForceLayout::jitter(j);
        }
        const double length = std::sqrt(dx * dx + dy * dy);
        if (length < reach) {
            const double k = (reach - length) / length * collisionStrength;
            if (!s.pinned[std::size_t(j)]) {
                s.vx[std::size_t(j)] += dx * k;
                s.vy[std::size_t(j)] += dy * k;
            }
            if (!s.pinned[std::size_t(i)]) {
                s.vx[std::size_t(i)] -= dx * k;
                s.vy[std::size_t(i)] -= dy * k;
            }
        }
    }
}

void applyCollisions(const ForceLayout& layout, Scratch& s) {
    if (!(layout.collisionRadius > 0)) {
        return;
    }
    const std::size_t count = layout.bodies.size();
    const double reach = 2 * layout.collisionRadius;
    CollisionGrid& g = s.grid;
    buildGrid(g, s, count, reach);

    // The squares around a body, column by column (x − 1, x, x + 1), each from y − 1 to y + 1.
    for (std::size_t i = 0; i < count; ++i) {
        if (g.dense) {
            const std::int64_t column = g.gx[i] - g.originX;
            const std::int64_t row = g.gy[i] - g.originY;
            const std::int64_t firstRow = std::max<std::int64_t>(row - 1, 0);
            const std::int64_t lastRow = std::min<std::int64_t>(row + 1, g.height - 1);
            for (std::int64_t c = std::max<std::int64_t>(column - 1, 0);
                 c <= std::min(column + 1, g.width - 1); ++c) {
                // The three squares of one column are adjacent, and so are their members.
                const int from = g.start[std::size_t(c * g.height + firstRow)];
                const int to = g.start[std::size_t(c * g.height + lastRow + 1)];
                collideRange(g, s, int(i), from, to, reach);
            }
            continue;
        }
        int* around = &g.neighbours[std::size_t(g.bodySquare[i]) * 9];
        if (around[0] == -2) {
            int k = 0;
            for (int ox = -1; ox <= 1; ++ox) {
                for (int oy = -1; oy <= 1; ++oy) {
                    around[k++] = findSquare(g, std::int64_t(g.gx[i]) + ox, std::int64_t(g.gy[i]) + oy);
                }
            }
        }
        for (int k = 0; k < 9; ++k) {
            if (around[k] >= 0) {
                collideRange(g, s, int(i), g.start[std::size_t(around[k])],
                             g.start[std::size_t(around[k]) + 1], reach);
            }
        }
    }
}

// Pulls a coordinate back into [low, high]: a quarter of the way when it is more than 1 outside, all the
// way otherwise; the velocity along that axis stops either way.
void keepInside(double& position, double& velocity, double low, double high) {
    if (position < low) {
        position = low - position > 1 ? position + (low - position) * 0.25 : low;
        velocity = 0;
    }
    if (position > high) {
        position = position - high > 1 ? position + (high - position) * 0.25 : high;
        velocity = 0;
    }
}

} // namespace

void ForceLayout::tick() {
    if (bodies.empty()) {
        return;
    }
    alpha += (0 - alpha) * settleAlphaDecay;
    if (travelling) {
        alpha = std::max(alpha, travellingAlphaFloor);
    }
    ticks += 1;
    travelling = false;

    Scratch& s = scratch;
    const std::size_t count = bodies.size();
    fit(s.x, count);
    fit(s.y, count);
    fit(s.vx, count);
    fit(s.vy, count);
    fit(s.pinned, count);
    for (std::size_t i = 0; i < count; ++i) {
        const Body& body = bodies[i];
        s.x[i] = body.x;
        s.y[i] = body.y;
        s.vx[i] = body.vx;
        s.vy[i] = body.vy;
        s.pinned[i] = body.pinned ? 1 : 0;
    }

    applyLinks(*this, s);
    applyCharge(*this, s);
    applyCollisions(*this, s);

    for (std::size_t i = 0; i < count; ++i) {
        Body& body = bodies[i];
        if (body.pinned) {
            continue;
        }
        double vx = s.vx[i];
        double vy = s.vy[i];
        if (!body.guide) {
            vx = (vx - body.x * gravity * alpha) * velocityDecay;
            vy = (vy - body.y * gravity * alpha) * velocityDecay;
            body.x += vx;
            body.y += vy;
            body.vx = vx;
            body.vy = vy;
            continue;
        }
        const Guide& g = *body.guide;
        if (g.delay > double(ticks)) {
            body.vx = 0;
            body.vy = 0;
            travelling = true;
            continue;
        }
        if (g.x && g.y) {
            const double nx = body.x + (*g.x - body.x) * guideApproach;
            const double ny = body.y + (*g.y - body.y) * guideApproach;
            if (std::abs(*g.x - nx) < snapDistance && std::abs(*g.y - ny) < snapDistance) {
                body.x = *g.x;
                body.y = *g.y;
            } else {
                travelling = true;
                body.x = nx;
                body.y = ny;
            }
            body.vx = 0;
            body.vy = 0;
            continue;
        }
        // The horizontal pull is a quarter of the vertical one and comes after the decay; the vertical
        // pull comes before it. The asymmetry is deliberate: lanes spread sideways more loosely.
        if (g.x) {
            const double nx = body.x + (*g.x - body.x) * guideApproach;
            if (std::abs(*g.x - nx) < snapDistance) {
                body.x = *g.x;
            } else {
                travelling = true;
                body.x = nx;
            }
            vx = 0;
        } else {
            vx = vx * velocityDecay + alpha * (homeStrength * (g.homeX - body.x) * horizontalHomeShare);
            body.x += vx;
        }
        if (g.minX > g.maxX) {
            body.x = (g.minX + g.maxX) / 2;
            vx = 0;
        } else {
            keepInside(body.x, vx, g.minX, g.maxX);
        }
        if (g.minY > g.maxY) {
            body.y = (g.minY + g.maxY) / 2;
            vy = 0;
        } else {
            vy = (vy + alpha * (homeStrength * (g.homeY - body.y))) * velocityDecay;
            body.y += vy;
            keepInside(body.y, vy, g.minY, g.maxY);
        }
        body.vx = vx;
        body.vy = vy;
    }
}

void ForceLayout::shareCharge(bool onSecondCore) {
    secondCore.store(onSecondCore, std::memory_order_relaxed);
}

} // namespace corvantis
