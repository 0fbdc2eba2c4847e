// The model menus ask for the ChatGPT catalogue on every redraw, and every Ask text passes the guard
// and the loose matching: these should cost microseconds.
#include "kit/ai/CodexModels.h"
#include "kit/query/CypherGuard.h"
#include "kit/query/LooseQuery.h"

#include <QByteArray>
#include <QFile>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

using namespace corvantis;

static void catalogueFromMemo(benchmark::State& state) {
    QTemporaryDir home;
    qputenv("CODEX_HOME", home.path().toUtf8());
    QFile cache(home.filePath("models_cache.json"));
    cache.open(QIODevice::WriteOnly);
    QByteArray models = R"({"models": [)";
    for (int i = 0; i < 12; ++i)
        models += QByteArray(i ? "," : "") + R"({"slug": "gpt-7-m)" + QByteArray::number(i) +
                  R"(", "priority": )" + QByteArray::number(i) +
                  R"(, "supported_reasoning_levels": [{"effort": "low"}, {"effort": "high"}]})";
    cache.write(models + "]}");
    cache.close();
    CodexModels::catalog(); // the first read parses the file
    for (auto _ : state)
        benchmark::DoNotOptimize(CodexModels::catalog());
}
BENCHMARK(catalogueFromMemo);

static void guardOnATypicalQuery(benchmark::State& state) {
    const QString query = "MATCH (p:Person)-[r:WROTE]->(b:Book) WHERE lower(b.title) CONTAINS lower('dune') "
                          "AND p.age > 30 RETURN p, r, b ORDER BY b.title LIMIT 25;";
    for (auto _ : state)
        CypherGuard::check(query);
}
BENCHMARK(guardOnATypicalQuery);

static void looseMatchingOverKeys(benchmark::State& state) {
    QStringList keys;
    for (int i = 0; i < 10000; ++i)
        keys.append(LooseQuery::key(QStringLiteral("Café-Crème number %1 of the collection").arg(i)));
    const LooseQuery query("creme 9999");
    for (auto _ : state) {
        int hits = 0;
        for (const QString& key : keys)
            hits += query.matches(key);
        benchmark::DoNotOptimize(hits);
    }
    state.SetItemsProcessed(state.iterations() * keys.size());
}
BENCHMARK(looseMatchingOverKeys);

BENCHMARK_MAIN();
