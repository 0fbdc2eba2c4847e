// The canvas's paint time: a real session over a real database of N nodes and 2N relationships, all on
// the canvas, painted by CanvasView into an offscreen image of 1440×900. Two views: the whole graph fitted
// (as far out as a fit goes) and a close view at scale 1 where titles and arrowheads are drawn. Prints the
// median and the spread over the frames.
#include "app/canvas/CanvasState.h"
#include "app/graph/ProjectSession.h"
#include "kit/layout/CanvasHit.h"
#include "kit/schema/Identifier.h"
#include "kit/store/DDLBuilder.h"
#include "kit/store/LadybugGraphStore.h"
#include "kit/support/Json.h"
#include "tests/support/ShapeBuilders.h"
#include "ui/canvas/CanvasView.h"
#include "ui/design/Theme.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QImage>
#include <QPainter>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

using namespace corvantis;

namespace {

using test::property;

// A project of `count` nodes in three types and twice as many relationships, in a temporary folder.
struct Seeded {
    QTemporaryDir dir;
    ProjectLibrary library{dir.filePath("Projects")};
    Project project;

    explicit Seeded(int count) {
        GraphSchema shape;
        const char* names[] = {"Person", "Book", "Place"};
        const char* colours[] = {"iris", "peach", "mint"};
        for (int t = 0; t < 3; ++t) {
            NodeType type;
            type.id = QUuid::createUuid();
            type.name = names[t];
            type.color = colours[t];
            type.properties = {property("name", PropertyKind::Text)};
            type.titleProperty = type.properties[0].id;
            shape.nodeTypes.append(type);
        }
        RelType link;
        link.id = QUuid::createUuid();
        link.name = "links";
        for (const NodeType& from : shape.nodeTypes)
            for (const NodeType& to : shape.nodeTypes)
                link.endpoints.append({from.id, to.id});
        shape.relTypes = {link};
        project = library.create("Bench");
        project.schema = shape;
        LadybugGraphStore store(library.databasePath(project.id));
        store.migrate(DDLBuilder::plan(std::nullopt, shape));
        QList<NodeRecord> nodes;
        QStringList ids;
        QStringList labels;
        for (int i = 0; i < count; ++i) {
            ids << json::uuidText(QUuid::createUuid());
            labels << shape.nodeTypes[i % 3].table();
            nodes.append({ids.last(),
                          labels.last(),
                          {{"name", GraphValue::string(QStringLiteral("Node %1").arg(i))}}});
        }
        // Each node links to its neighbour in order and to one a little farther on: short edges, as a
        // laid-out graph has, with a few long ones.
        QRandomGenerator random(7);
        QList<RelInsertion> rels;
        for (int i = 0; i < count; ++i) {
            for (int j : {i + 1, i + 1 + int(random.bounded(40))}) {
                const int to = j % count;
                rels.append({{json::uuidText(QUuid::createUuid()), link.table(), ids[i], ids[to], {}},
                             labels[i],
                             labels[to]});
            }
        }
        store.insertRecords(nodes, rels);
        store.checkpoint();
        project.appliedSchema = shape;
        library.save(project);
    }
};

struct Figures {
    double median = 0;
    double low = 0;
    double high = 0;
    double cpuMedian = 0; // the thread's own processor time: what the paint costs, whatever the load
    CanvasView::PaintStats drawn;
};

double threadMs() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return now.tv_sec * 1e3 + now.tv_nsec / 1e6;
}

Figures measure(CanvasView& view, int frames) {
    QImage image(1440, 900, QImage::Format_ARGB32_Premultiplied);
    for (int i = 0; i < 3; ++i)
        view.render(&image);
    std::vector<double> times;
    std::vector<double> cpu;
    for (int i = 0; i < frames; ++i) {
        QElapsedTimer timer;
        const double cpuStart = threadMs();
        timer.start();
        view.render(&image);
        times.push_back(timer.nsecsElapsed() / 1e6);
        cpu.push_back(threadMs() - cpuStart);
    }
    std::sort(times.begin(), times.end());
    std::sort(cpu.begin(), cpu.end());
    return {times[times.size() / 2], times.front(), times.back(), cpu[cpu.size() / 2], view.lastPaint()};
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    Theme::apply(app, Appearance::Light);
    const int frames = 30;
    std::printf("%-8s %-8s %-10s %9s %8s %8s %9s %7s %7s %7s %7s\n", "nodes", "edges", "view", "median ms",
                "min", "max", "cpu ms", "drawn", "edges", "labels", "arrows");
    // Counts on the command line replace the two of the table (for profiling one of them).
    std::vector<int> counts;
    for (int i = 1; i < argc; ++i)
        counts.push_back(std::atoi(argv[i]));
    if (counts.empty())
        counts = {5000, 20000};
    for (int count : counts) {
        Seeded seeded(count);
        ProjectSession session(seeded.library.projects().first(), seeded.library, nullptr);
        CanvasState& canvas = session.graphCanvas();
        // Spread as the force layout leaves a graph: about one node per 46-point cell, in order.
        const auto points = Sunflower::points(int(session.nodes().size()), QPointF(0, 0), false, 0.3);
        QStringList ids = session.nodes().keys();
        std::sort(ids.begin(), ids.end());
        for (int i = 0; i < ids.size(); ++i)
            canvas.put(ids[i], points[size_t(i)]);
        canvas.cancelSave();
        CanvasView view;
        view.setSession(&session);
        view.resize(1440, 900);
        view.zoomToFit();
        const Figures fitted = measure(view, frames);
        Viewport close = view.viewport();
        close.scale = 1;
        close.offset = QPointF(720, 450);
        view.setViewport(close);
        const Figures near = measure(view, frames);
        for (const auto& [name, figures] : {std::pair{"fitted", fitted}, std::pair{"scale 1", near}})
            std::printf("%-8d %-8d %-10s %9.2f %8.2f %8.2f %9.2f %7d %7d %7d %7d\n", count,
                        int(session.rels().size()), name, figures.median, figures.low, figures.high,
                        figures.cpuMedian, figures.drawn.nodes, figures.drawn.edges, figures.drawn.labels,
                        figures.drawn.arrowheads);
        std::fflush(stdout);
        canvas.stopSaving();
        session.close();
    }
    return 0;
}
