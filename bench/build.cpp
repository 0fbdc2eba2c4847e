// Build's costs: review and plan of a large draft against a graph of 100,000 people (the records the
// session holds in memory for the benchmark project of bench/session.cpp: Person nodes with a name and a
// birth year, each knowing the next), and reading a 12 MB HTML page to text.
#include "kit/build/GraphBuilder.h"
#include "kit/links/PageText.h"
#include "kit/support/Json.h"
#include "tests/support/ShapeBuilders.h"

#include <QCoreApplication>
#include <benchmark/benchmark.h>

using namespace corvantis;

namespace {

using test::property;

struct Graph {
    GraphSchema schema;
    QHash<QString, NodeRecord> nodes;
    QList<RelRecord> rels;
    QStringList ids;

    explicit Graph(int count) {
        NodeType person;
        person.id = QUuid::createUuid();
        person.name = "Person";
        person.properties = {property("name", PropertyKind::Text), property("born", PropertyKind::Number)};
        person.titleProperty = person.properties[0].id;
        RelType knows;
        knows.id = QUuid::createUuid();
        knows.name = "knows";
        knows.endpoints = {{person.id, person.id}};
        schema.nodeTypes = {person};
        schema.relTypes = {knows};
        nodes.reserve(count);
        for (int i = 0; i < count; ++i) {
            ids << json::uuidText(QUuid::createUuid());
            nodes.insert(ids.last(), {ids.last(),
                                      "Person",
                                      {{"name", GraphValue::string(QStringLiteral("Person %1").arg(i))},
                                       {"born", GraphValue::number(1900 + i % 100)}}});
        }
        for (int i = 0; i + 1 < count; ++i)
            rels.append({json::uuidText(QUuid::createUuid()), "KNOWS", ids[i], ids[i + 1], {}});
    }
};

// 500 nodes, half of them people already in the graph by name, and 1,000 relationships among them and
// to existing nodes by id.
GraphDraft largeDraft(const Graph& graph) {
    GraphDraft draft;
    for (int i = 0; i < 500; ++i) {
        const QString name =
            i % 2 == 0 ? QStringLiteral("person %1").arg(i * 37) : QStringLiteral("Newcomer %1").arg(i);
        draft.nodes.append({QStringLiteral("n%1").arg(i),
                            "Person",
                            {{"name", name}, {"born", QString::number(1950 + i % 50)}}});
    }
    for (int i = 0; i < 1000; ++i) {
        const QString from = QStringLiteral("n%1").arg(i % 500);
        const QString to = i % 3 == 0 ? graph.ids[(i * 97) % graph.ids.size()]
                                      : QStringLiteral("n%1").arg((i * 7 + 1) % 500);
        draft.relationships.append({"KNOWS", from, to, {}});
    }
    draft.summary = "Many people.";
    return draft;
}

const Graph& benchmarkGraph() {
    static const Graph graph(100000);
    return graph;
}

void BM_ReviewAndPlan(benchmark::State& state) {
    const Graph& graph = benchmarkGraph();
    const GraphDraft draft = largeDraft(graph);
    qint64 planned = 0;
    for (auto _ : state) {
        const GraphReview review = GraphBuilder::review(draft, graph.schema, graph.nodes);
        const GraphPlan plan = review.plan(graph.schema, graph.nodes, graph.rels);
        planned = plan.nodes.size() + plan.relationships.size() + plan.merged.size();
        benchmark::DoNotOptimize(planned);
    }
    state.counters["planned"] = double(planned);
}
BENCHMARK(BM_ReviewAndPlan)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5)
    ->Repetitions(3)
    ->ReportAggregatesOnly(true);

void BM_ReviewOnly(benchmark::State& state) {
    const Graph& graph = benchmarkGraph();
    const GraphDraft draft = largeDraft(graph);
    for (auto _ : state)
        benchmark::DoNotOptimize(GraphBuilder::review(draft, graph.schema, graph.nodes));
}
BENCHMARK(BM_ReviewOnly)->Unit(benchmark::kMillisecond)->Iterations(5);

QString largePage(qsizetype bytes) {
    QString page =
        QStringLiteral("<!DOCTYPE html><html><head><title>A long page</title><style>p{margin:0}</style>"
                       "<script>window.x = 1;</script></head><body><nav><a href='/'>Home</a></nav><main>");
    int i = 0;
    while (page.size() < bytes) {
        page += QStringLiteral(
                    "<h2>Section %1</h2><p>Paragraph %1 with <a href=\"/x/%1\">a link</a>, <b>bold</b> text "
                    "&amp; an entity &#8212; and more words to read in the middle of the page.</p>"
                    "<ul><li>One</li><li>Two &ndash; three</li></ul><!-- a comment -->"
                    "<script>track(%1);</script><div class=\"c\"><span>cell</span></div>\n")
                    .arg(i++);
    }
    page += QStringLiteral("</main><footer>End</footer></body></html>");
    return page;
}

void BM_PageTextOf12MB(benchmark::State& state) {
    const QString page = largePage(12'000'000);
    qsizetype length = 0;
    for (auto _ : state) {
        const PageText::Extracted extracted = PageText::extract(page);
        length = extracted.text.size();
        benchmark::DoNotOptimize(length);
    }
    state.counters["textChars"] = double(length);
}
BENCHMARK(BM_PageTextOf12MB)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3)
    ->Repetitions(3)
    ->ReportAggregatesOnly(true);

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
