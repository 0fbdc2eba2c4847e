// The canvas's loop and exploring on a real session, printed as a table:
//
//   bench_canvas_loop gap [BODIES] [SECONDS]   while a simulation of BODIES nodes runs (default 10,000 for
//                                              5 s), the longest and typical gaps between the events of a
//                                              1 ms timer on the main thread, and the frames done/skipped
//   bench_canvas_loop hub [NODES] [FAN]        a project of NODES nodes (default 100,000) with a hub of FAN
//                                              neighbours (default 10,000): the time from a click on the
//                                              hub to the canvas's state being ready, and the badge count
//
// The machine's load average is printed with each table, since a loaded machine slows everything here.
#include "app/canvas/CanvasViews.h"
#include "app/graph/ProjectSession.h"
#include "kit/store/DDLBuilder.h"
#include "kit/store/LadybugGraphStore.h"
#include "kit/support/Json.h"
#include "tests/support/ShapeBuilders.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>
#include <random>

using namespace corvantis;

namespace {

QString loadAverage() {
    QFile file("/proc/loadavg");
    if (!file.open(QIODevice::ReadOnly))
        return "?";
    return QString::fromLatin1(file.readAll()).section(' ', 0, 2);
}

using test::property;

// People in a temporary project: each of the first `fan` after the hub (node 0) knows the hub, and every
// node knows one picked at random.
struct Seeded {
    QTemporaryDir dir;
    ProjectLibrary library{dir.filePath("Projects")};
    Project project;
    QStringList ids;

    Seeded(int count, int fan) {
        GraphSchema shape;
        NodeType person;
        person.id = QUuid::createUuid();
        person.name = "Person";
        person.color = "iris";
        person.properties = {property("name", PropertyKind::Text)};
        person.titleProperty = person.properties[0].id;
        RelType knows;
        knows.id = QUuid::createUuid();
        knows.name = "knows";
        knows.endpoints = {{person.id, person.id}};
        shape.nodeTypes = {person};
        shape.relTypes = {knows};
        project = library.create("Bench");
        project.schema = shape;
        LadybugGraphStore store(library.databasePath(project.id));
        store.migrate(DDLBuilder::plan(std::nullopt, shape));
        QList<NodeRecord> nodes;
        for (int i = 0; i < count; ++i) {
            ids << json::uuidText(QUuid::createUuid());
            nodes.append(
                {ids.last(), "Person", {{"name", GraphValue::string(QStringLiteral("P%1").arg(i))}}});
        }
        std::mt19937 random(5);
        std::uniform_int_distribution<int> pick(0, count - 1);
        QList<RelInsertion> rels;
        auto link = [&](int a, int b) {
            rels.append(
                {{json::uuidText(QUuid::createUuid()), "KNOWS", ids[a], ids[b], {}}, "Person", "Person"});
        };
        for (int i = 1; i <= fan && i < count; ++i)
            link(i, 0);
        for (int i = 0; i < count; ++i) {
            const int j = pick(random);
            if (j != i)
                link(i, j);
        }
        // In batches, so that no one statement meets the store's query timeout on a loaded machine.
        constexpr int batch = 5000;
        for (qsizetype i = 0; i < nodes.size(); i += batch)
            store.insertRecords(nodes.mid(i, batch), {});
        for (qsizetype i = 0; i < rels.size(); i += batch)
            store.insertRecords({}, rels.mid(i, batch));
        store.checkpoint();
        project.appliedSchema = shape;
        library.save(project);
    }
};

double percentile(std::vector<double> values, double p) {
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1, size_t(p * double(values.size())))];
}

int gap(int bodies, double seconds) {
    Seeded seeded(bodies, 0);
    ProjectSession session(seeded.project, seeded.library, nullptr);
    CanvasViews& views = session.canvases();
    CanvasState& canvas = views.graph();
    canvas.setViewport(Viewport(), QSizeF(1440, 900));
    // Processor time of the main thread, which a loaded machine does not inflate.
    auto cpuMs = [] {
        timespec now{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
        return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
    };
    struct {
        std::function<double()> cpu;
        double from = 0;
        void restart() { from = cpu(); }
        double nsecsElapsed() const { return (cpu() - from) * 1e6; }
    } parts{cpuMs};
    parts.restart();
    canvas.reveal(seeded.ids); // a sunflower round the middle; warms the loop to 0.8
    const double revealMs = double(parts.nsecsElapsed()) / 1e6;
    parts.restart();
    canvas.visible();
    const double visibleMs = double(parts.nsecsElapsed()) / 1e6;
    parts.restart();
    views.graphModel().relsOf(seeded.ids[0]);
    const double adjacencyMs = double(parts.nsecsElapsed()) / 1e6;
    parts.restart();
    canvas.canvasRels();
    const double relsMs = double(parts.nsecsElapsed()) / 1e6;
    std::printf(
        "main-thread processor time after revealing %d: reveal %.1f ms, visible %.1f ms, adjacency %.1f ms, "
        "canvas relationships %.1f ms\n",
        bodies, revealMs, visibleMs, adjacencyMs, relsMs);

    std::vector<double> gaps;
    QElapsedTimer clock;
    clock.start();
    qint64 last = clock.nsecsElapsed();
    QTimer probe;
    probe.setTimerType(Qt::PreciseTimer);
    probe.setInterval(1);
    QObject::connect(&probe, &QTimer::timeout, [&] {
        const qint64 now = clock.nsecsElapsed();
        gaps.push_back(double(now - last) / 1e6);
        last = now;
        // The loop must keep running for the whole measurement.
        views.simulation().reheat(0.5);
        if (double(now) / 1e9 >= seconds)
            QCoreApplication::quit();
    });
    probe.start();
    QCoreApplication::exec();
    views.simulation().stop();

    std::printf("load average: %s\n", qPrintable(loadAverage()));
    std::printf("%-8s %-9s %-9s %-9s %-7s %-8s %-9s %-9s %-10s\n", "bodies", "max gap", "p99 gap", "median",
                "frames", "skipped", "ms/frame", "frame ms", "rebuild ms");
    const CanvasSimulation& loop = views.simulation();
    const int frames = loop.framesDone();
    std::printf("%-8d %-9.2f %-9.2f %-9.2f %-7d %-8d %-9.1f %-9.2f %-10.2f\n", bodies,
                *std::max_element(gaps.begin(), gaps.end()), percentile(gaps, 0.99), percentile(gaps, 0.5),
                frames, loop.framesSkipped(), frames ? seconds * 1000 / frames : 0.0, loop.longestFrameMs(),
                loop.longestRebuildMs());
    return 0;
}

int hub(int nodes, int fan) {
    QElapsedTimer timer;
    timer.start();
    Seeded seeded(nodes, fan);
    const double seedMs = double(timer.nsecsElapsed()) / 1e6;
    timer.restart();
    ProjectSession session(seeded.project, seeded.library, nullptr);
    const double openMs = double(timer.nsecsElapsed()) / 1e6;
    CanvasState& canvas = session.canvases().graph();
    canvas.setViewport(Viewport(), QSizeF(1440, 900));
    const QString hubId = seeded.ids[0];
    canvas.reveal(QStringList{hubId});

    timer.restart();
    const auto badge = canvas.hiddenCount(hubId);
    const double badgeMs = double(timer.nsecsElapsed()) / 1e6;
    const QDateTime start = QDateTime::currentDateTimeUtc();
    timer.restart();
    canvas.click(hubId, QPointF(0, 0), start);            // first click: the `first` neighbours (none here)
    canvas.click(hubId, QPointF(0, 0), start.addSecs(5)); // second: a slice of the rest
    const int onCanvas = int(canvas.visible().size());
    const auto rels = canvas.canvasRels().size();
    canvas.arranged();
    const double clickMs = double(timer.nsecsElapsed()) / 1e6;

    std::printf("load average: %s\n", qPrintable(loadAverage()));
    std::printf("%-8s %-7s %-9s %-9s %-9s %-9s %-8s %-6s\n", "nodes", "fan", "seed ms", "open ms", "badge ms",
                "click ms", "visible", "edges");
    std::printf("%-8d %-7d %-9.0f %-9.0f %-9.2f %-9.2f %-8d %-6lld\n", nodes, fan, seedMs, openMs, badgeMs,
                clickMs, onCanvas, qlonglong(rels));
    std::printf("badge: %d automatic, %d when asked\n", badge.automatic, badge.whenAsked);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() >= 2 && args[1] == "gap")
        return gap(args.size() > 2 ? args[2].toInt() : 10000, args.size() > 3 ? args[3].toDouble() : 5.0);
    if (args.size() >= 2 && args[1] == "hub")
        return hub(args.size() > 2 ? args[2].toInt() : 100000, args.size() > 3 ? args[3].toInt() : 10000);
    std::fprintf(stderr, "usage: %s gap [BODIES] [SECONDS] | hub [NODES] [FAN]\n", argv[0]);
    return 2;
}
