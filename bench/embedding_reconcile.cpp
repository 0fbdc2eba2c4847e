// What one edit costs in a project of 100,000 nodes whose summaries are embedded, apart from the
// model: the plan for the edited record, replacing its passage in the index, and writing the index
// again. The full plan that opening a project makes is measured too.
#include "kit/embedding/EmbeddingReconciler.h"
#include "kit/embedding/Vectors.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>
#include <random>

using namespace corvantis;

namespace {

double loadAverage() {
    double load = 0;
    if (FILE* file = std::fopen("/proc/loadavg", "r")) {
        if (std::fscanf(file, "%lf", &load) != 1)
            load = 0;
        std::fclose(file);
    }
    return load;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const int count = 100000;
    const int dimension = 768;
    const QString model = QStringLiteral("embeddinggemma-2-q8_0");
    PropertyDef name;
    name.id = QUuid::createUuid();
    name.name = QStringLiteral("name");
    PropertyDef summary;
    summary.id = QUuid::createUuid();
    summary.name = QStringLiteral("summary");
    summary.embedded = true;
    NodeType type;
    type.id = QUuid::createUuid();
    type.name = QStringLiteral("Note");
    type.properties = {name, summary};
    type.titleProperty = name.id;
    GraphSchema schema;
    schema.nodeTypes = {type};

    QHash<QString, NodeRecord> nodes;
    EmbeddingIndex index(model, dimension);
    std::mt19937 random(9);
    std::normal_distribution<float> normal;
    QList<float> row(dimension);
    QStringList ids;
    for (int i = 0; i < count; ++i) {
        const QString id = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
        ids << id;
        const QString title = QStringLiteral("Note %1").arg(i);
        const QString text = QStringLiteral("Summary number %1 of a note, a sentence or two long.").arg(i);
        NodeRecord node{id, type.table(), {}};
        node.properties.insert(name.column(), GraphValue::string(title));
        node.properties.insert(summary.column(), GraphValue::string(text));
        nodes.insert(id, node);
        for (float& x : row)
            x = normal(random);
        index.replace(id, summary.id, EmbeddingReconciler::hash(model, title, text), {text},
                      {Vectors::normalized(row)});
    }
    QTemporaryDir folder;
    index.save(folder.path(), QStringLiteral("embeddings"));
    std::printf("load average: %.2f\n", loadAverage());

    std::vector<double> plans, replaces, saves, totals, fulls;
    for (int run = 0; run < 7; ++run) {
        const QString edited = ids[run * 1000];
        nodes[edited].properties.insert(
            summary.column(), GraphValue::string(QStringLiteral("Edited text, round %1.").arg(run)));
        QElapsedTimer timer;
        timer.start();
        const EmbeddingPlan plan = EmbeddingReconciler::plan(
            schema, nodes, {}, index, model, QSet<QString>{edited}, EmbeddingSource::Properties);
        plans.push_back(timer.nsecsElapsed() / 1e6);
        if (plan.jobs.size() != 1)
            return 1;
        timer.restart();
        for (float& x : row)
            x = normal(random); // stands in for the model's vector
        index.remove(plan.stale);
        index.replace(plan.jobs[0].key.record, plan.jobs[0].key.property, plan.jobs[0].hash,
                      {plan.jobs[0].text}, {Vectors::normalized(row)});
        replaces.push_back(timer.nsecsElapsed() / 1e6);
        timer.restart();
        index.save(folder.path(), QStringLiteral("embeddings"));
        saves.push_back(timer.nsecsElapsed() / 1e6);
        totals.push_back(plans.back() + replaces.back() + saves.back());
        timer.restart();
        const EmbeddingPlan full = EmbeddingReconciler::plan(schema, nodes, {}, index, model, std::nullopt,
                                                             EmbeddingSource::Properties);
        fulls.push_back(timer.nsecsElapsed() / 1e6);
        if (!full.jobs.isEmpty())
            return 1;
    }
    std::printf("%-40s %10s\n", "step (median of 7)", "ms");
    std::printf("%-40s %10.2f\n", "plan for the edited record", median(plans));
    std::printf("%-40s %10.2f\n", "replace its passage in the index", median(replaces));
    std::printf("%-40s %10.2f\n", "save the index (100,000 x 768)", median(saves));
    std::printf("%-40s %10.2f\n", "edit to saved, without model and debounce", median(totals));
    std::printf("%-40s %10.2f\n", "full plan of the graph (at opening)", median(fulls));
    return 0;
}
