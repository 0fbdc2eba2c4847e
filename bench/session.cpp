// The open project's costs on a real database: opening (every record loaded into memory), one edit of a
// node, a shape edit that migrates and reloads the graph, and a deletion with its undo.
#include "app/graph/ProjectSession.h"
#include "app/undo/UndoStack.h"
#include "kit/schema/Identifier.h"
#include "kit/store/DDLBuilder.h"
#include "kit/store/LadybugGraphStore.h"
#include "kit/support/Json.h"
#include "tests/support/ShapeBuilders.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <map>
#include <memory>

using namespace corvantis;

namespace {

using test::property;

// A project of `count` people, each knowing the next, in its own temporary folder.
struct Seeded {
    QTemporaryDir dir;
    ProjectLibrary library{dir.filePath("Projects")};
    Project project;
    QStringList ids;

    explicit Seeded(int count) {
        GraphSchema shape;
        NodeType person;
        person.id = QUuid::createUuid();
        person.name = "Person";
        person.color = "iris";
        person.properties = {property("name", PropertyKind::Text), property("born", PropertyKind::Number)};
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
            for (int i = 0; i < count; ++i) {
                ids << json::uuidText(QUuid::createUuid());
                nodes.append({ids.last(),
                              "Person",
                              {{"name", GraphValue::string(QStringLiteral("Person %1").arg(i))},
                               {"born", GraphValue::number(1900 + i % 100)}}});
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

void BM_OpenAndClose(benchmark::State& state) {
    Seeded& s = seeded(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        ProjectSession session(s.library.projects().first(), s.library, nullptr);
        benchmark::DoNotOptimize(session.nodes().size());
        session.close();
    }
    state.counters["nodes"] = static_cast<double>(state.range(0));
}

void BM_UpdateNode(benchmark::State& state) {
    Seeded& s = seeded(static_cast<int>(state.range(0)));
    UndoStack undo;
    ProjectSession session(s.library.projects().first(), s.library, nullptr);
    session.setUndoStack(&undo);
    int i = 0;
    for (auto _ : state) {
        session.updateNode(s.ids[i % s.ids.size()], {{"born", GraphValue::number(2000 + i)}});
        ++i;
    }
    session.close();
}

void BM_RenamePropertyMigratesAndReloads(benchmark::State& state) {
    Seeded& s = seeded(static_cast<int>(state.range(0)));
    UndoStack undo;
    ProjectSession session(s.library.projects().first(), s.library, nullptr);
    session.setUndoStack(&undo);
    const QUuid person = session.project().schema.nodeTypes[0].id;
    const QUuid born = session.project().schema.nodeTypes[0].properties[1].id;
    bool flip = false;
    for (auto _ : state) {
        session.shape().renameProperty(born, PropertyOwner::node(person), flip ? "born" : "year of birth");
        flip = !flip;
    }
    session.close();
}

void BM_DeleteNodeAndUndo(benchmark::State& state) {
    Seeded& s = seeded(static_cast<int>(state.range(0)));
    UndoStack undo;
    ProjectSession session(s.library.projects().first(), s.library, nullptr);
    session.setUndoStack(&undo);
    int i = 1;
    for (auto _ : state) {
        session.deleteNode(s.ids[i % (s.ids.size() - 1)]);
        undo.undo();
        ++i;
    }
    session.close();
}

} // namespace

BENCHMARK(BM_OpenAndClose)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_UpdateNode)->Arg(10000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RenamePropertyMigratesAndReloads)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DeleteNodeAndUndo)->Arg(10000)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
