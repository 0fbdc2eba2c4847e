// Times one ForceLayout tick on seeded random graphs, for comparison with d3-force (bench/layout.sh).
//
//   bench_layout --write DIR          write graph-1000.json, graph-10000.json, graph-100000.json into DIR
//   bench_layout --time DIR [SIZE...] print "SIZE MEDIAN_MS TICKS" per graph, from the files in DIR
//   bench_layout --time DIR --one-core [SIZE...]   the same with the charge step on the ticking thread only
//
// Both sides read the same files, start from alpha 1 and tick with the same parameters. Each size warms up
// for a few ticks, then times every tick on its own; the median of those is printed.

#include "kit/layout/ForceLayout.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

using corvantis::ForceLayout;

namespace {

const std::vector<int> defaultSizes{1000, 10000, 100000};
constexpr int warmupTicks = 3;

int timedTicks(int size) {
    if (size <= 1000) {
        return 300;
    }
    if (size <= 10000) {
        return 60;
    }
    return 8;
}

QString graphPath(const QString& dir, int size) {
    return dir + QStringLiteral("/graph-%1.json").arg(size);
}

// Bodies scattered evenly over a square with room for about one body per 100 × 100, each sending two
// links to bodies picked at random (never itself).
bool writeGraph(const QString& dir, int size) {
    std::mt19937_64 random(0xC0FFEEull + std::uint64_t(size));
    const double side = 100 * std::sqrt(double(size));
    std::uniform_real_distribution<double> coordinate(-side / 2, side / 2);
    std::uniform_int_distribution<int> other(0, size - 2);
    QJsonArray xs;
    QJsonArray ys;
    QJsonArray links;
    for (int i = 0; i < size; ++i) {
        // Whole multiples of 1/1024 print exactly in decimal, so both readers get the same doubles.
        xs.append(std::round(coordinate(random) * 1024) / 1024);
        ys.append(std::round(coordinate(random) * 1024) / 1024);
    }
    for (int i = 0; i < size; ++i) {
        for (int k = 0; k < 2; ++k) {
            int j = other(random);
            if (j >= i) {
                j += 1;
            }
            links.append(QJsonArray{i, j});
        }
    }
    QFile file(graphPath(dir, size));
    if (!file.open(QIODevice::WriteOnly)) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(file.fileName()));
        return false;
    }
    const QJsonObject graph{{"n", size}, {"x", xs}, {"y", ys}, {"links", links}};
    file.write(QJsonDocument(graph).toJson(QJsonDocument::Compact));
    return true;
}

std::optional<ForceLayout> readGraph(const QString& dir, int size) {
    QFile file(graphPath(dir, size));
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "cannot read %s\n", qPrintable(file.fileName()));
        return std::nullopt;
    }
    const QJsonObject graph = QJsonDocument::fromJson(file.readAll()).object();
    const QJsonArray xs = graph.value("x").toArray();
    const QJsonArray ys = graph.value("y").toArray();
    std::vector<ForceLayout::Body> bodies;
    bodies.reserve(std::size_t(xs.size()));
    for (qsizetype i = 0; i < xs.size(); ++i) {
        bodies.emplace_back(xs[i].toDouble(), ys[i].toDouble());
    }
    std::vector<ForceLayout::Link> links;
    for (const QJsonValue& link : graph.value("links").toArray()) {
        const QJsonArray ends = link.toArray();
        links.push_back(ForceLayout::Link{ends[0].toInt(), ends[1].toInt()});
    }
    return ForceLayout(std::move(bodies), std::move(links), 1.0);
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments();
    if (args.removeAll(QStringLiteral("--one-core")) > 0)
        ForceLayout::shareCharge(false);
    if (args.size() < 3 || (args[1] != "--write" && args[1] != "--time")) {
        std::fprintf(stderr, "usage: %s --write DIR | --time DIR [SIZE...]\n", argv[0]);
        return 2;
    }
    const QString dir = args[2];
    std::vector<int> sizes;
    for (qsizetype i = 3; i < args.size(); ++i) {
        sizes.push_back(args[i].toInt());
    }
    if (sizes.empty()) {
        sizes = defaultSizes;
    }
    if (args[1] == "--write") {
        for (int size : sizes) {
            if (!writeGraph(dir, size)) {
                return 1;
            }
        }
        return 0;
    }
    for (int size : sizes) {
        std::optional<ForceLayout> layout = readGraph(dir, size);
        if (!layout) {
            return 1;
        }
        for (int t = 0; t < warmupTicks; ++t) {
            layout->tick();
        }
        std::vector<double> times;
        const int count = timedTicks(size);
        for (int t = 0; t < count; ++t) {
            const auto start = std::chrono::steady_clock::now();
            layout->tick();
            const auto end = std::chrono::steady_clock::now();
            times.push_back(std::chrono::duration<double, std::milli>(end - start).count());
        }
        // Keeps the result alive, so that no tick can be optimised away.
        double checksum = 0;
        for (const ForceLayout::Body& body : layout->bodies) {
            checksum += body.x + body.y;
        }
        std::printf("%d %.4f %d %.6g\n", size, median(times), count, checksum);
        std::fflush(stdout);
    }
    return 0;
}
