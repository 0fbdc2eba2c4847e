// The line the Ask bar shows, proven: "Only your question and the shape of your graph are sent. What's
// in the graph stays on this computer." Every mode runs against the stand-in tools, with a repair and a
// narrowing, over a graph whose every text carries a marker; no marker may reach a tool in its
// arguments, standard input, environment, working folder or the files it was handed.
#include "app/ask/SemanticSearcher.h"
#include "tests/app/ask/AskTestSupport.h"

#include <QJsonDocument>

using namespace corvantis;
using namespace corvantis::test;

namespace {

const QString marker = QStringLiteral("SECRET-7f3a");

// Finds every passage whose text holds the searched word, so that vector mode really searches.
class MarkedIndex : public SemanticSearcher {
public:
    QList<Hit> passages;
    bool modelInstalled() const override { return true; }
    bool modelDownloading() const override { return false; }
    QString modelName() const override { return "Tiny Embedder"; }
    QString modelSize() const override { return "12 MB"; }
    int pendingPassages() const override { return 0; }
    QCoro::Task<QList<Hit>> search(QString text, QSet<QUuid> properties, std::optional<QSet<QString>> records,
                                   int) override {
        QList<Hit> found;
        for (const Hit& hit : passages)
            if (properties.contains(hit.property) && (!records || records->contains(hit.recordId)) &&
                hit.passage.contains(text, Qt::CaseInsensitive))
                found.append(hit);
        co_return found;
    }
};

} // namespace

TEST(AskPrivacy, NoTextOfTheGraphReachesATool) {
    for (const AIProvider provider : AIProvider::allCases()) {
        SCOPED_TRACE(provider.id().toStdString());
        ScriptedTools tools;
        SessionWorld world;
        PropertyDef notes = property("notes");
        notes.embedded = true;
        GraphSchema shape;
        shape.nodeTypes = {nodeType("Book", {property("title"), notes}),
                           nodeType("Person", {property("name")}, "peach")};
        shape.relTypes = {relType("wrote", {{shape.nodeTypes[1].id, shape.nodeTypes[0].id}})};
        Project project = world.create(shape);
        auto session = world.open(project);
        const NodeType book = session->project().schema.nodeTypes[0];
        const NodeType person = session->project().schema.nodeTypes[1];
        MarkedIndex index;
        QStringList ids;
        for (int i = 0; i < 150; ++i) {
            const QString text = QString("%1-%2 river notes").arg(marker).arg(i);
            PropertyMap values;
            values.insert("notes", GraphValue::string(text));
            const auto id = session->createNode(book, QString("%1 title %2").arg(marker).arg(i), values);
            ASSERT_TRUE(id);
            ids.append(*id);
            index.passages.append({*id, *id, notes.id, text, 0.5 + i / 1000.0});
        }
        const auto author = session->createNode(person, marker + " author");
        ASSERT_TRUE(author);
        linkNodes(*session, "wrote", *author, ids[0]);
        AskEngine& engine = session->askEngine();
        engine.setSemanticSearcher(&index);

        auto runsOf = [&] {
            return tools.runCount();
        };
        auto settings = [&](QueryMode mode) {
            return askSettings(mode, provider);
        };

        // Cypher with a repair, then a narrowing of its large answer.
        tools.script({ScriptedTools::query("MATCH (b:Nope) RETURN b"),
                      ScriptedTools::query("MATCH (b:Book) RETURN b"),
                      ScriptedTools::query("MATCH (b:Book) RETURN b ORDER BY b.title LIMIT 25")});
        askAndWait(*session, "Which books mention rivers?", settings(QueryMode::Cypher));
        ASSERT_TRUE(stepTitles(engine).contains("Repaired the query"));
        ASSERT_TRUE(engine.answerIsLarge());
        engine.narrowAnswer(settings(QueryMode::Cypher));
        waitUntilIdle(engine);
        ASSERT_TRUE(engine.state().narrowed);
        EXPECT_EQ(tools.modelRuns().size(), 3);

        // Auto: each strategy, with a route of meaning and one guided by a query.
        tools.script({ScriptedTools::route("semantic", "river"),
                      ScriptedTools::route("semantic_then_graph", "river"),
                      ScriptedTools::route("graph_then_semantic", "river", {}, "Which books are there?"),
                      ScriptedTools::query("MATCH (b:Book) RETURN b LIMIT 3"), ScriptedTools::route("cypher"),
                      ScriptedTools::query("MATCH (p:Person) RETURN p")});
        askAndWait(*session, "What is said about rivers?", settings(QueryMode::Auto));
        ASSERT_EQ(stepTitles(engine).last(), "Ran vector search");
        askAndWait(*session, "Ideas about rivers and who had them", settings(QueryMode::Auto));
        ASSERT_EQ(stepTitles(engine).last(), "Followed connections");
        askAndWait(*session, "Among the books, what is said about rivers?", settings(QueryMode::Auto));
        ASSERT_TRUE(stepTitles(engine).contains("Ran vector search within 3 results"))
            << stepTitles(engine).join(" | ").toStdString();
        askAndWait(*session, "Who wrote books?", settings(QueryMode::Auto));
        ASSERT_EQ(stepTitles(engine).last(), "Ran on your graph");
        EXPECT_EQ(tools.modelRuns().size(), 9);

        // Raw, vector and simple modes start no process at all.
        const int before = runsOf();
        askAndWait(*session, "MATCH (b:Book) RETURN b", settings(QueryMode::Raw));
        ASSERT_EQ(stepTitles(engine).last(), "Ran on your graph");
        askAndWait(*session, "river", settings(QueryMode::Vector));
        ASSERT_EQ(stepTitles(engine).last(), "Ran vector search");
        askAndWait(*session, "river", settings(QueryMode::Simple));
        ASSERT_EQ(stepTitles(engine).last(), "Searched names and text");
        askAndWait(*session, marker, settings(QueryMode::Simple));
        ASSERT_EQ(engine.state().output->rows.size(), 151);
        EXPECT_EQ(runsOf(), before);

        // Nothing the tools saw holds a marker: arguments, input, environment, folder, handed files.
        const QList<QJsonObject> runs = tools.home.runs();
        ASSERT_FALSE(runs.isEmpty());
        for (const QJsonObject& run : runs) {
            QJsonObject seen = run;
            QJsonObject files = seen.value("files").toObject();
            for (auto it = files.begin(); it != files.end(); ++it)
                it.value() = QString::fromUtf8(QByteArray::fromBase64(it.value().toString().toLatin1()));
            seen.insert("files", files);
            const QString text = QString::fromUtf8(QJsonDocument(seen).toJson());
            EXPECT_FALSE(text.contains("SECRET", Qt::CaseInsensitive)) << text.toStdString();
            EXPECT_TRUE(run.value("problems").toArray().isEmpty()) << text.toStdString();
        }
    }
}
