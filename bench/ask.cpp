// The Ask engine's own costs on a real database, without any model: a question whose query comes from
// the history, run read-only and placed as an answer; and word search over a project of 100,000 nodes.
#include "app/ask/AskEngine.h"
#include "app/graph/ProjectSession.h"
#include "kit/ai/PromptBuilder.h"
#include "kit/store/DDLBuilder.h"
#include "kit/store/LadybugGraphStore.h"
#include "kit/support/Json.h"
#include "tests/support/ShapeBuilders.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <map>
#include <memory>

using namespace corvantis;

namespace {

using test::property;

const QStringList words{"river", "mountain", "harbour", "lantern", "orchard", "meadow", "compass", "glacier"};

// A project of `count` people, each knowing the next, with a name and a line of notes.
struct Seeded {
    QTemporaryDir dir;
    ProjectLibrary library{dir.filePath("Projects")};
    Project project;

    explicit Seeded(int count) {
        GraphSchema shape;
        NodeType person;
        person.id = QUuid::createUuid();
        person.name = "Person";
        person.color = "iris";
        person.properties = {property("name", PropertyKind::Text), property("notes", PropertyKind::Text)};
        person.titleProperty = person.properties[0].id;
        RelType knows;
        knows.id = QUuid::createUuid();
        knows.name = "knows";
        knows.endpoints = {{person.id, person.id}};
        shape.nodeTypes = {person};
        shape.relTypes = {knows};
        project = library.create("Bench");
        project.schema = shape;
        {
            LadybugGraphStore store(library.databasePath(project.id));
            store.migrate(DDLBuilder::plan(std::nullopt, shape));
            QList<NodeRecord> nodes;
            QStringList ids;
            for (int i = 0; i < count; ++i) {
                ids << json::uuidText(QUuid::createUuid());
                const QString notes = QStringLiteral("Met by the %1 near the %2, year %3")
                                          .arg(words[i % 8], words[(i / 8) % 8])
                                          .arg(1900 + i % 120);
                nodes.append({ids.last(),
                              "Person",
                              {{"name", GraphValue::string(QStringLiteral("Person %1").arg(i))},
                               {"notes", GraphValue::string(notes)}}});
            }
            QList<RelInsertion> rels;
            for (int i = 0; i + 1 < count; ++i)
                rels.append({{json::uuidText(QUuid::createUuid()), "KNOWS", ids[i], ids[i + 1], {}},
                             "Person",
                             "Person"});
            store.insertRecords(nodes, rels);
            store.checkpoint();
        }
        project.appliedSchema = shape;
        library.save(project);
    }
};

Seeded& seeded(int count) {
    static std::map<int, std::unique_ptr<Seeded>> projects;
    auto& slot = projects[count];
    if (!slot)
        slot = std::make_unique<Seeded>(count);
    return *slot;
}

void waitIdle(const AskEngine& engine) {
    QEventLoop loop;
    while (engine.state().isWorking)
        loop.processEvents(QEventLoop::WaitForMoreEvents);
}

AskSettings settings(QueryMode mode) {
    AskSettings s;
    s.mode = mode;
    s.provider = AIProvider::claude;
    s.model = s.provider.defaultModel();
    s.routerModel = s.provider.defaultRouterModel();
    s.canUseAI = true;
    return s;
}

// From the question to the answer placed: the cached query found, guarded, run read-only (500 rows held
// of 1,000 matched, each a pair of people and their relationship), grouped, paged and recorded.
void BM_AskFromHistory(benchmark::State& state) {
    Seeded& s = seeded(static_cast<int>(state.range(0)));
    ProjectSession session(s.library.projects().first(), s.library, nullptr);
    const QString cypher = "MATCH (a:Person)-[k:KNOWS]->(b:Person) RETURN a, k, b LIMIT 1000";
    session.setHistory(
        {HistoryEntry::make("Who knows whom?", cypher, "Pairs.", settings(QueryMode::Cypher).model,
                            PromptBuilder::renderSchema(session.project().schema), std::nullopt)});
    AskEngine& engine = session.askEngine();
    for (auto _ : state) {
        session.ask("who knows whom", settings(QueryMode::Cypher));
        waitIdle(engine);
        if (!engine.state().reused || !engine.state().output) {
            state.SkipWithError("the cached query wasn't used");
            break;
        }
    }
    state.counters["rows"] = engine.state().output ? engine.state().output->rows.size() : 0;
    state.counters["records"] = engine.state().highlightNodes.size() + engine.state().highlightRels.size();
    state.counters["shown"] = engine.answerShown().size();
    session.close();
}

// Simple mode: the question to the answer placed, the search itself on a worker.
void BM_TextSearch(benchmark::State& state) {
    Seeded& s = seeded(static_cast<int>(state.range(0)));
    ProjectSession session(s.library.projects().first(), s.library, nullptr);
    AskEngine& engine = session.askEngine();
    const QStringList queries{"Person 4242", "harbour", "lantern orchard", "person 9", "glacier 1917"};
    int i = 0;
    qint64 matches = 0;
    double worker = 0;
    for (auto _ : state) {
        session.ask(queries[i++ % queries.size()], settings(QueryMode::Simple));
        waitIdle(engine);
        if (!engine.state().output) {
            state.SkipWithError("the search gave no answer");
            break;
        }
        matches += engine.state().output->rows.size();
        worker += engine.state().output->milliseconds;
    }
    state.counters["worker ms/query"] = benchmark::Counter(worker, benchmark::Counter::kAvgIterations);
    state.counters["matches/query"] =
        benchmark::Counter(static_cast<double>(matches), benchmark::Counter::kAvgIterations);
    session.close();
}

} // namespace

BENCHMARK(BM_AskFromHistory)->Arg(100000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_TextSearch)->Arg(100000)->Unit(benchmark::kMillisecond)->UseRealTime();

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
