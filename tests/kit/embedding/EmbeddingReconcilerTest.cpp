#include "kit/embedding/EmbeddingReconciler.h"

#include "tests/support/QtPrinters.h"
#include "tests/support/ShapeBuilders.h"

#include <gtest/gtest.h>

using namespace corvantis;
using namespace corvantis::test;

namespace {

struct Graph {
    GraphSchema schema;
    QHash<QString, NodeRecord> nodes;
    QHash<QString, RelRecord> rels;
    PropertyDef name;
    PropertyDef summary;
    PropertyDef why;

    Graph() {
        name = property(QStringLiteral("Name"));
        summary = property(QStringLiteral("Summary"));
        summary.embedded = true;
        NodeType city = nodeType(QStringLiteral("City"), {name, summary});
        why = property(QStringLiteral("Why"));
        why.embedded = true;
        RelType near = relType(QStringLiteral("NEAR"), {RelEndpoint{city.id, city.id}}, {why});
        schema.nodeTypes << city;
        schema.relTypes << near;
    }
    void node(const QString& id, const QString& title, const std::optional<QString>& text) {
        NodeRecord record{id, schema.nodeTypes[0].table(), {}};
        record.properties.insert(name.column(), GraphValue::string(title));
        if (text)
            record.properties.insert(summary.column(), GraphValue::string(*text));
        nodes.insert(id, record);
    }
    EmbeddingPlan plan(const EmbeddingIndex& index, EmbeddingSource source = EmbeddingSource::Properties,
                       const std::optional<QSet<QString>>& only = std::nullopt,
                       const QString& model = QStringLiteral("model")) const {
        return EmbeddingReconciler::plan(schema, nodes, rels, index, model, only, source);
    }
};

// Carries out a plan as the service would, with a made-up vector per chunk.
void apply(EmbeddingIndex& index, const EmbeddingPlan& plan) {
    index.remove(plan.stale);
    for (const EmbeddingJob& job : plan.jobs)
        index.replace(job.key.record, job.key.property, job.hash, {job.text}, {QList<float>{1, 0}});
}

QStringList jobKeys(const EmbeddingPlan& plan) {
    QStringList keys;
    for (const EmbeddingJob& job : plan.jobs)
        keys << job.key.record;
    return keys;
}

} // namespace

TEST(EmbeddingReconciler, HashesModelTitleAndTextWithZeroBytesBetween) {
    EXPECT_EQ(EmbeddingReconciler::hash(QStringLiteral("model"), QStringLiteral("Paris"),
                                        QStringLiteral("The capital.")),
              QStringLiteral("f6371040f1bcd7ee500b90c2907026ec02ceecaad5ca4630655995879dbb7f4c"));
    EXPECT_EQ(
        EmbeddingReconciler::hash(QStringLiteral("model"), std::nullopt, QStringLiteral("The capital.")),
        QStringLiteral("c467284518e4f7a7a557a368010c3d5d287010da9a5d5b970bfa3034f5cc8638"));
    EXPECT_EQ(EmbeddingReconciler::titleProperty.toString(QUuid::WithoutBraces).toUpper(),
              QStringLiteral("00000000-0000-0000-0000-00000000717E"));
}

TEST(EmbeddingReconciler, DocumentsCarryTheRecordsTitleAndTrimmedText) {
    Graph graph;
    graph.node(QStringLiteral("N1"), QStringLiteral(" Paris "), QStringLiteral("  On the Seine.\n"));
    graph.node(QStringLiteral("N2"), QStringLiteral(""), QStringLiteral("Untitled."));
    graph.node(QStringLiteral("N3"), QStringLiteral("Blank"), QStringLiteral("   "));
    graph.node(QStringLiteral("N4"), QStringLiteral("None"), std::nullopt);
    RelRecord rel{QStringLiteral("R1"),
                  graph.schema.relTypes[0].table(),
                  QStringLiteral("N1"),
                  QStringLiteral("N2"),
                  {}};
    rel.properties.insert(graph.why.column(), GraphValue::string(QStringLiteral("Same river.")));
    graph.rels.insert(rel.id, rel);

    const auto docs = EmbeddingReconciler::documents(graph.schema, graph.nodes, graph.rels);
    ASSERT_EQ(docs.size(), 3);
    EXPECT_EQ(docs.value({QStringLiteral("N1"), graph.summary.id}),
              (EmbeddingReconciler::Document{QStringLiteral("Paris"), QStringLiteral("On the Seine.")}));
    EXPECT_EQ(docs.value({QStringLiteral("N2"), graph.summary.id}).title, std::nullopt);
    EXPECT_EQ(docs.value({QStringLiteral("R1"), graph.why.id}).text, QStringLiteral("Same river."));

    const auto titles =
        EmbeddingReconciler::titleDocuments(graph.schema, graph.nodes, QSet<QString>{"N1", "N2"});
    ASSERT_EQ(titles.size(), 1);
    EXPECT_EQ(titles.value({QStringLiteral("N1"), EmbeddingReconciler::titleProperty}),
              (EmbeddingReconciler::Document{std::nullopt, QStringLiteral("Paris")}));
}

TEST(EmbeddingReconciler, PlansOnlyWhatChangedShortTextsFirst) {
    Graph graph;
    graph.node(QStringLiteral("B"), QStringLiteral("Bonn"), QStringLiteral("A longer text about Bonn."));
    graph.node(QStringLiteral("A"), QStringLiteral("Aachen"), QStringLiteral("Short text."));
    graph.node(QStringLiteral("C"), QStringLiteral("Cologne"), QStringLiteral("Short text."));
    EmbeddingIndex index(QStringLiteral("model"), 2);
    const EmbeddingPlan first = graph.plan(index);
    EXPECT_TRUE(first.stale.isEmpty());
    EXPECT_EQ(jobKeys(first), (QStringList{"A", "C", "B"}));
    apply(index, first);
    EXPECT_TRUE(graph.plan(index).isEmpty()); // unchanged graph, empty plan

    // A renamed node: its text's hash covers the title, so it is embedded again, alone.
    graph.nodes[QStringLiteral("A")].properties.insert(graph.name.column(),
                                                       GraphValue::string(QStringLiteral("Aix")));
    const EmbeddingPlan renamed = graph.plan(index);
    EXPECT_EQ(jobKeys(renamed), QStringList{"A"});
    EXPECT_EQ(renamed.jobs[0].title, QStringLiteral("Aix"));
    EXPECT_EQ(renamed.jobs[0].hash, EmbeddingReconciler::hash(QStringLiteral("model"), QStringLiteral("Aix"),
                                                              QStringLiteral("Short text.")));
    // Titles index: the rename is one job under the title property.
    EmbeddingIndex titles(QStringLiteral("model"), 2);
    apply(titles, graph.plan(titles, EmbeddingSource::Titles));
    EXPECT_EQ(titles.count(), 3);
    graph.nodes[QStringLiteral("B")].properties.insert(graph.name.column(),
                                                       GraphValue::string(QStringLiteral("Berlin")));
    const EmbeddingPlan titlePlan = graph.plan(titles, EmbeddingSource::Titles);
    ASSERT_EQ(titlePlan.jobs.size(), 1);
    EXPECT_EQ(titlePlan.jobs[0].key, (EmbeddingKey{QStringLiteral("B"), EmbeddingReconciler::titleProperty}));
    EXPECT_EQ(titlePlan.jobs[0].text, QStringLiteral("Berlin"));

    apply(index, renamed);
    // Emptied text: stale, no job.
    graph.nodes[QStringLiteral("C")].properties.insert(graph.summary.column(), GraphValue::null());
    const EmbeddingPlan emptied = graph.plan(index);
    EXPECT_EQ(emptied.stale, (QSet<EmbeddingKey>{{QStringLiteral("C"), graph.summary.id}}));
    EXPECT_EQ(jobKeys(emptied), QStringList{"B"}); // Bonn's rename to Berlin still waits

    // Another model: everything is a job.
    EXPECT_EQ(
        graph.plan(index, EmbeddingSource::Properties, std::nullopt, QStringLiteral("other")).jobs.size(), 2);
}

TEST(EmbeddingReconciler, EmbedOffMakesKeysStaleAndOnlyScopesTheDiff) {
    Graph graph;
    graph.node(QStringLiteral("A"), QStringLiteral("Aachen"), QStringLiteral("One."));
    graph.node(QStringLiteral("B"), QStringLiteral("Bonn"), QStringLiteral("Two."));
    EmbeddingIndex index(QStringLiteral("model"), 2);
    apply(index, graph.plan(index));
    ASSERT_EQ(index.count(), 2);

    // With `only`, keys of other records are never stale, and only its records are looked at.
    graph.nodes.remove(QStringLiteral("B"));
    graph.nodes[QStringLiteral("A")].properties.insert(graph.summary.column(),
                                                       GraphValue::string(QStringLiteral("Uno.")));
    const EmbeddingPlan scoped = graph.plan(index, EmbeddingSource::Properties, QSet<QString>{"A"});
    EXPECT_TRUE(scoped.stale.isEmpty());
    EXPECT_EQ(jobKeys(scoped), QStringList{"A"});
    const EmbeddingPlan scopedB = graph.plan(index, EmbeddingSource::Properties, QSet<QString>{"B"});
    EXPECT_EQ(scopedB.stale, (QSet<EmbeddingKey>{{QStringLiteral("B"), graph.summary.id}}));
    EXPECT_TRUE(scopedB.jobs.isEmpty());

    // Embed off for the property: every key of it is stale.
    graph.schema.nodeTypes[0].properties[1].embedded = false;
    const EmbeddingPlan off = graph.plan(index);
    EXPECT_EQ(off.stale.size(), 2);
    EXPECT_TRUE(off.jobs.isEmpty());
}
