#include "app/ask/SemanticSearcher.h"
#include "app/canvas/CanvasViews.h"
#include "kit/ai/QueryRouter.h"
#include "tests/app/ask/AskTestSupport.h"

#include <QJsonDocument>
#include <QRegularExpression>

using namespace corvantis;
using namespace corvantis::test;

namespace {

// Book (title, summary), Person (name, bio); "wrote" Person → Book. With `embed`, summary and bio are
// embedded.
struct Shelf {
    SessionWorld world;
    Project project;
    std::unique_ptr<ProjectSession> session;
    NodeType book;
    NodeType person;

    explicit Shelf(bool embed) {
        PropertyDef summary = property("summary");
        PropertyDef bio = property("bio");
        if (embed) {
            summary.embedded = true;
            bio.embedded = true;
        }
        GraphSchema shape;
        shape.nodeTypes = {nodeType("Book", {property("title"), summary}),
                           nodeType("Person", {property("name"), bio}, "peach")};
        shape.relTypes = {relType("wrote", {{shape.nodeTypes[1].id, shape.nodeTypes[0].id}})};
        project = world.create(shape);
        session = world.open(project);
        book = session->project().schema.nodeTypes[0];
        person = session->project().schema.nodeTypes[1];
    }

    QString add(const NodeType& type, const QString& name, const QString& text = {}) {
        PropertyMap values;
        if (!text.isEmpty())
            values.insert(type.properties[1].column(), GraphValue::string(text));
        auto id = session->createNode(type, name, values);
        EXPECT_TRUE(id);
        return id.value_or(QString());
    }
    AskEngine& engine() { return session->askEngine(); }
    QList<EmbeddedProperty> embedded() const { return session->project().schema.embeddedProperties(); }
};

QStringList rowIds(const AskEngine& engine) {
    QStringList ids;
    for (const auto& row : engine.state().output->rows)
        ids.append(row.first().asNode() ? row.first().asNode()->id : row.first().asRelationship()->id);
    return ids;
}

// An index of passages held in the test: each search gives the passages of the asked properties (and
// records) whose text holds the searched word, scored as given.
class PassageIndex : public SemanticSearcher {
public:
    QList<Hit> passages;
    bool installed = true;
    int pending = 0;
    QList<QPair<QString, QSet<QUuid>>> searches;

    bool modelInstalled() const override { return installed; }
    bool modelDownloading() const override { return false; }
    QString modelName() const override { return "Tiny Embedder"; }
    QString modelSize() const override { return "12 MB"; }
    int pendingPassages() const override { return pending; }
    QCoro::Task<QList<Hit>> search(QString text, QSet<QUuid> properties, std::optional<QSet<QString>> records,
                                   int limit) override {
        searches.append({text, properties});
        QList<Hit> found;
        for (const Hit& hit : passages)
            if (properties.contains(hit.property) && (!records || records->contains(hit.recordId)) &&
                hit.passage.contains(text, Qt::CaseInsensitive) && found.size() < limit)
                found.append(hit);
        co_return found;
    }
};

} // namespace

TEST(AskSearch, WordSearchRanksTitlesBeforeTextAndStartsNoProcess) {
    Shelf s(false);
    ScriptedTools tools;
    const QString dune = s.add(s.book, "Dune", "A desert planet");
    const QString messiah = s.add(s.book, "Dune Messiah");
    const QString children = s.add(s.book, "Children of Dune");
    const QString anathem = s.add(s.book, "Anathem", "A monastery, not Dune");
    const QString frank = s.add(s.person, "Frank Herbert", "Wrote dune");
    s.add(s.book, "Emma");
    const AskSettings settings = askSettings(QueryMode::Simple);

    askAndWait(*s.session, "DÜNE", settings);
    EXPECT_EQ(stepTitles(s.engine()), (QStringList{"Searched names and text"}));
    EXPECT_TRUE(
        QRegularExpression("^5 matches · \\d+ ms$").match(s.engine().state().steps[0].meta).hasMatch());
    EXPECT_FALSE(s.engine().state().steps[0].detail); // the whole scope: nothing to summarise
    // Exact title, then titles that hold it (by the locale's order), then records whose text holds it.
    EXPECT_EQ(rowIds(s.engine()), (QStringList{dune, children, messiah, anathem, frank}));
    EXPECT_TRUE(s.engine().state().pages.ordered);
    ASSERT_TRUE(s.engine().state().textQueries);
    EXPECT_EQ(s.engine().state().textQueries->size(), 4); // title, summary, name, bio
    ASSERT_EQ(s.session->history().size(), 1);
    EXPECT_EQ(s.session->history().first().question, "DÜNE");
    EXPECT_TRUE(s.session->history().first().cypher.isEmpty());
    EXPECT_FALSE(s.session->history().first().shape);

    // The texts are folded once, but a change of the records is searched as it now stands.
    s.session->updateNode(messiah, {{"title", GraphValue::string("Messiah")}});
    const QString later = s.add(s.book, "Dune Again");
    askAndWait(*s.session, "dune", settings);
    EXPECT_EQ(rowIds(s.engine()), (QStringList{dune, children, later, anathem, frank}));
    s.session->updateNode(messiah, {{"title", GraphValue::string("Dune Messiah")}});

    // A scope: only the summaries.
    askAndWait(*s.session, "::Book:summary:: dune", settings);
    EXPECT_EQ(rowIds(s.engine()), (QStringList{anathem}));
    EXPECT_TRUE(QRegularExpression("^1 match · \\d+ ms$").match(s.engine().state().steps[0].meta).hasMatch());
    ASSERT_TRUE(s.engine().state().steps[0].detail);
    EXPECT_TRUE(s.engine().state().steps[0].detail->contains("Book"))
        << s.engine().state().steps[0].detail->toStdString();

    // Every failure is a failed step with its sentence.
    askAndWait(*s.session, "::Nope:: dune", settings);
    EXPECT_EQ(stepTitles(s.engine()), (QStringList{"Can't search that"}));
    EXPECT_EQ(s.engine().state().steps[0].status, AskStep::Status::failed);
    askAndWait(*s.session, "::Book::", settings);
    EXPECT_EQ(stepTitles(s.engine()), (QStringList{"Nothing to search for"}));
    EXPECT_EQ(s.engine().state().steps[0].detail, "Type a word, a name or a number after the scope.");
    askAndWait(*s.session, "?!", settings);
    EXPECT_EQ(stepTitles(s.engine()), (QStringList{"Nothing to search for"}));
    EXPECT_EQ(s.engine().state().steps[0].detail, "Type a word, a name or a number.");
    QSet<QUuid> all;
    for (const EmbeddedProperty& p : s.session->project().schema.textProperties())
        all.insert(p.id());
    s.session->preferences().setExcludedFromTextSearch(all);
    askAndWait(*s.session, "dune", settings);
    EXPECT_EQ(stepTitles(s.engine()), (QStringList{"Nothing to search"}));
    EXPECT_EQ(s.engine().state().steps[0].detail,
              "Every text property is unticked under “Search in”. Tick at "
              "least one, or name a type: ::Verse:: karma.");
    // A named type still searches.
    askAndWait(*s.session, "::Person:: herbert", settings);
    EXPECT_EQ(rowIds(s.engine()), (QStringList{frank}));
    EXPECT_EQ(tools.runCount(), 0);
}

TEST(AskSearch, AutoModeRoutesOnceAndFallsBackToMeaning) {
    ScriptedTools tools;
    {
        // Nothing embedded: the question can only be Cypher, and the router isn't asked.
        Shelf plain(false);
        plain.add(plain.book, "Dune");
        tools.script({ScriptedTools::query("MATCH (b:Book) RETURN b")});
        askAndWait(*plain.session, "Books?", askSettings(QueryMode::Auto));
        ASSERT_EQ(tools.modelRuns().size(), 1);
        EXPECT_EQ(tools.modelRuns()[0].value("options").toObject().value("--system-prompt").toString(),
                  PromptBuilder::system(plain.session->project().schema));
        EXPECT_EQ(stepTitles(plain.engine()), (QStringList{"Translated to Cypher", "Ran on your graph"}));
    }
    Shelf s(true);
    const QString dune = s.add(s.book, "Dune", "Spice and the desert");
    const int before = tools.runCount();

    // No tool signed in: vector search, said in a finished step.
    AskSettings signedOut = askSettings(QueryMode::Auto, AIProvider::claude, false);
    askAndWait(*s.session, "What is said about spice?", signedOut);
    EXPECT_EQ(tools.runCount(), before);
    ASSERT_EQ(stepTitles(s.engine()), (QStringList{AIProvider(AIProvider::claude).name() + " isn't set up",
                                                   "The embedding model isn't on this computer"}));
    const AskStep notSetUp = s.engine().state().steps[0];
    EXPECT_EQ(notSetUp.status, AskStep::Status::done);
    EXPECT_EQ(notSetUp.meta, "on this computer");
    EXPECT_EQ(notSetUp.action, AskStep::Action::openSettings);
    EXPECT_EQ(notSetUp.detail, "Set up " + AIProvider(AIProvider::claude).tool() +
                                   " for Cypher queries and for routing between the two.");
    EXPECT_EQ(s.engine().state().steps[1].action, AskStep::Action::downloadModel);

    // Routed to meaning: one call to the router and no further process.
    const AskSettings settings = askSettings(QueryMode::Auto);
    tools.script({ScriptedTools::route("semantic", "spice", {"BOOK.SUMMARY", "Book.nonsense"})});
    askAndWait(*s.session, "What is said about spice?", settings);
    ASSERT_EQ(tools.modelRuns().size(), 2);
    const QJsonObject routed = tools.modelRuns().last();
    EXPECT_EQ(routed.value("options").toObject().value("--system-prompt").toString(),
              QueryRouter::system(s.session->project().schema, s.embedded()));
    EXPECT_EQ(
        QJsonDocument::fromJson(routed.value("options").toObject().value("--json-schema").toString().toUtf8())
            .object(),
        QueryRouter::answerSchema());
    EXPECT_EQ(routed.value("content").toString(), "What is said about spice?");
    EXPECT_EQ(routed.value("options").toObject().value("--model").toString(), settings.routerModel.id);
    EXPECT_EQ(stepTitles(s.engine()), (QStringList{"Using vector search, as Searching by meaning.",
                                                   "The embedding model isn't on this computer"}));
    EXPECT_EQ(s.engine().state().strategy, RetrievalStrategy::semantic);
    ASSERT_TRUE(s.engine().state().route);
    EXPECT_EQ(s.engine().state().route->scope, (QList<QUuid>{s.book.properties[1].id}));
    const QString context = QueryRouter::context(s.session->project().schema, s.embedded());
    EXPECT_EQ(s.engine().state().routeContext, context);

    // A search by meaning that ran is recorded with its route; the same question isn't routed again.
    PassageIndex index;
    index.passages = {{"e1", dune, s.book.properties[1].id, "Spice and the desert", 0.8}};
    s.engine().setSemanticSearcher(&index);
    tools.script({ScriptedTools::route("semantic", "spice")});
    askAndWait(*s.session, "What is said about spice?", settings, true);
    ASSERT_EQ(tools.modelRuns().size(), 3);
    ASSERT_EQ(s.session->history().size(), 1);
    EXPECT_EQ(s.session->history().first().strategy, RetrievalStrategy::semantic);
    EXPECT_EQ(s.session->history().first().routeContext, context);
    askAndWait(*s.session, "what is said about SPICE", settings);
    EXPECT_EQ(tools.modelRuns().size(), 3);
    EXPECT_TRUE(s.engine().state().reused);
    EXPECT_TRUE(s.engine().state().steps[0].meta.endsWith(" · reused, not asked again"));
    EXPECT_EQ(s.engine().state().semantic->matches.size(), 1);

    // Unticking a property under "Search in" changes what the router is told: it is asked again.
    s.session->preferences().setExcludedFromSearch({s.person.properties[1].id});
    tools.script({ScriptedTools::route("cypher"), ScriptedTools::query("MATCH (b:Book) RETURN b")});
    askAndWait(*s.session, "What is said about spice?", settings);
    EXPECT_EQ(tools.modelRuns().size(), 5);
    EXPECT_EQ(stepTitles(s.engine()),
              (QStringList{"Routed to Cypher", "Translated to Cypher", "Ran on your graph"}));
    EXPECT_EQ(s.engine().state().highlightNodes, QSet<QString>{dune});

    // Cypher first, but the query finds only a number: the whole graph is searched.
    tools.script({ScriptedTools::route("graph_then_semantic", "spice", {}, "How many books?"),
                  ScriptedTools::query("MATCH (b:Book) RETURN count(b) AS n")});
    askAndWait(*s.session, "Count the books on spice", settings);
    EXPECT_EQ(stepTitles(s.engine()),
              (QStringList{"Routed to Cypher, then vector search", "Translated to Cypher",
                           "Ran on your graph", "Nothing to narrow to", "Ran vector search"}));
    EXPECT_EQ(tools.modelRuns().last().value("content").toString(), "How many books?");
}

TEST(AskSearch, VectorModeMergesSearchesAndFollowsConnections) {
    Shelf s(true);
    ScriptedTools tools;
    const QString dune = s.add(s.book, "Dune", "Spice, sand and the desert");
    const QString emma = s.add(s.book, "Emma", "Matchmaking in a village");
    const QString frank = s.add(s.person, "Frank", "A writer of the desert");
    const QString jane = s.add(s.person, "Jane", "A writer of villages");
    linkNodes(*s.session, "wrote", frank, dune);
    linkNodes(*s.session, "wrote", jane, emma);
    const QUuid summary = s.book.properties[1].id;
    const QUuid bio = s.person.properties[1].id;

    // No embedded property chosen at all, or the model missing: failed steps, nothing run.
    AskEngine& engine = s.engine();
    askAndWait(*s.session, "desert", askSettings(QueryMode::Vector));
    EXPECT_EQ(stepTitles(engine), (QStringList{"The embedding model isn't on this computer"}));
    PassageIndex index;
    index.installed = false;
    engine.setSemanticSearcher(&index);
    askAndWait(*s.session, "desert", askSettings(QueryMode::Vector));
    EXPECT_EQ(engine.state().steps[0].detail,
              "Vector search runs Tiny Embedder locally. Download it once (12 MB) "
              "and nothing ever leaves this computer.");
    s.session->preferences().setExcludedFromSearch({summary, bio});
    askAndWait(*s.session, "desert", askSettings(QueryMode::Vector));
    EXPECT_EQ(stepTitles(engine), (QStringList{"Nothing to search"}));
    s.session->preferences().setExcludedFromSearch({});

    // Two searches that meet the same passage count it once, with the higher score.
    index.installed = true;
    index.pending = 3;
    index.passages = {{"d", dune, summary, "Spice, sand and the desert", 0.9},
                      {"f", frank, bio, "A writer of the desert", 0.7},
                      {"e", emma, summary, "Matchmaking in a village", 0.6}};
    askAndWait(*s.session, "desert, sand", askSettings(QueryMode::Vector));
    EXPECT_EQ(index.searches.size(), 2);
    EXPECT_EQ(stepTitles(engine), (QStringList{"Ran vector search"}));
    EXPECT_TRUE(QRegularExpression("^2 matches · \\d+ ms$").match(engine.state().steps[0].meta).hasMatch());
    EXPECT_EQ(engine.state().steps[0].detail,
              "3 passages are still being embedded, so some text isn't searchable yet.");
    ASSERT_TRUE(engine.state().semantic);
    EXPECT_EQ(engine.state().semantic->query, "desert");
    ASSERT_EQ(engine.state().semantic->matches.size(), 2);
    EXPECT_EQ(engine.state().semantic->matches[0].recordId, dune);
    EXPECT_EQ(engine.state().semantic->matches[0].passages.size(), 1);
    EXPECT_TRUE(engine.state().semantic->incomplete);
    EXPECT_EQ(engine.answerShown(), (QSet<QString>{dune, frank}));
    EXPECT_EQ(s.session->history().first().strategy, RetrievalStrategy::semantic);

    // A scope names where to look.
    askAndWait(*s.session, "::Person:: writer", askSettings(QueryMode::Vector));
    EXPECT_EQ(index.searches.last().second, QSet<QUuid>{bio});
    EXPECT_EQ(engine.state().semantic->matches.size(), 1);

    // Routed to meaning and then connections: neighbours are followed and highlighted.
    tools.script({ScriptedTools::route("semantic_then_graph", "village")});
    askAndWait(*s.session, "Ideas about villages and who had them", askSettings(QueryMode::Auto));
    EXPECT_EQ(stepTitles(engine), (QStringList{"Routed to vector search, then connections",
                                               "Ran vector search", "Followed connections"}));
    EXPECT_EQ(engine.state().steps.last().meta, "1 connected node");
    EXPECT_EQ(engine.state().semantic->neighbours.value(emma), QStringList{jane});
    EXPECT_TRUE(engine.state().highlightNodes.contains(jane));
    EXPECT_EQ(engine.answerRanks().value(jane), 0.5);
}

TEST(AskAnswers, PagesFacetsAndTheFilter) {
    Reading r;
    ScriptedTools tools;
    const QString ada = r.add(r.person, "Ada");
    r.session->updateNode(ada, {{"status", GraphValue::string("Alive")}});
    QStringList books;
    for (int i = 0; i < 101; ++i)
        books.append(r.add(r.book, QString("Book %1").arg(i, 3, 10, QChar('0'))));
    for (int i = 0; i < 5; ++i)
        r.link("wrote", ada, books[i]);
    AskEngine& engine = r.session->askEngine();
    const AskSettings raw = askSettings(QueryMode::Raw);

    // 100 records: not large; 101: large.
    askAndWait(*r.session, "MATCH (b:Book) RETURN b ORDER BY b.title LIMIT 100", raw);
    EXPECT_FALSE(engine.answerIsLarge());
    askAndWait(*r.session, "MATCH (b:Book) RETURN b ORDER BY b.title", raw);
    EXPECT_TRUE(engine.answerIsLarge());
    EXPECT_EQ(engine.state().pages.revealed, 30);
    EXPECT_EQ(engine.answerCounts(), (AskEngine::Counts{30, 101}));
    EXPECT_EQ(engine.nextAnswerPage(), (QPair<int, int>{30, 60}));
    EXPECT_EQ(engine.answerShown().size(), 30);
    EXPECT_TRUE(engine.answerShown().contains(books[0]));
    engine.showMoreAnswer();
    EXPECT_EQ(engine.state().pages.revealed, 60);
    EXPECT_TRUE(engine.answerShown().contains(books[59]));
    EXPECT_FALSE(engine.answerShown().contains(books[60]));
    engine.showAllAnswer();
    EXPECT_EQ(engine.answerCounts(), (AskEngine::Counts{101, 101}));

    // Ids returned as text name their records too.
    askAndWait(*r.session, "MATCH (b:Book) RETURN b.id AS id", raw);
    EXPECT_EQ(engine.state().output->rows.size(), 101);
    EXPECT_EQ(engine.state().pages.groups.size(), 101); // ids as text name their records

    // Facets: types with counts, choices, and the hub most records connect to.
    askAndWait(*r.session, "MATCH (p:Person)-[w:wrote]->(b:Book) RETURN p, w, b", raw);
    const auto types = engine.answerTypes();
    ASSERT_EQ(types.size(), 2);
    EXPECT_EQ(types[0].name, "Book");
    EXPECT_EQ(types[0].count, 5);
    EXPECT_EQ(types[1].count, 1);
    const auto choices = engine.answerChoices();
    ASSERT_EQ(choices.size(), 1);
    EXPECT_EQ(choices[0].values, (QList<QPair<QString, int>>{{"Alive", 1}}));
    ASSERT_TRUE(engine.answerHub());
    EXPECT_EQ(engine.answerHub()->id, ada);
    EXPECT_EQ(engine.answerHub()->count, 5);
    EXPECT_EQ(r.session->canvases().answer().answerNeighbours(ada).size(), 5);

    // The filter narrows the groups and keeps `revealed` within them.
    AnswerFilter filter;
    filter.hiddenTypes.insert(r.person.table());
    engine.setAnswerFilter(filter);
    EXPECT_EQ(filter.title(), "1 filter hidden");
    for (const QStringList& group : engine.answerGroups())
        EXPECT_FALSE(group.contains(ada));
    EXPECT_FALSE(engine.answerShown().contains(ada));
    EXPECT_LE(engine.state().pages.revealed, engine.answerGroups().size());
    AnswerFilter near;
    near.near = books[0];
    engine.setAnswerFilter(near);
    EXPECT_EQ(engine.answerShown(), (QSet<QString>{ada, books[0]}));
    EXPECT_EQ(near.title(), "1 filter shown");
    EXPECT_EQ(tools.runCount(), 0); // filtering sends nothing
}

TEST(AskAnswers, GoOnTheAnswerCanvasAndLeaveItWhenCleared) {
    Reading r;
    const QString ada = r.add(r.person, "Ada");
    QStringList books;
    for (int i = 0; i < 120; ++i)
        books.append(r.add(r.book, QString("Book %1").arg(i, 3, 10, QChar('0'))));
    r.link("wrote", ada, books[0]);
    r.link("wrote", ada, books[1]);
    AskEngine& engine = r.session->askEngine();
    CanvasViews& canvases = r.session->canvases();
    const QSet<QString> graphBefore = canvases.graph().shown();
    const AskSettings raw = askSettings(QueryMode::Raw);

    // A first page of the answer on the answer's canvas, which becomes the one in use.
    askAndWait(*r.session, "MATCH (b:Book) RETURN b ORDER BY b.title", raw);
    EXPECT_TRUE(canvases.showsAnswer());
    EXPECT_EQ(&canvases.current(), &canvases.answer());
    EXPECT_EQ(canvases.answer().shown(), engine.answerShown());
    EXPECT_EQ(canvases.answer().shown().size(), 30);
    EXPECT_TRUE(canvases.answer().shown().contains(books[0]));
    EXPECT_FALSE(canvases.answer().shown().contains(books[30]));
    EXPECT_EQ(canvases.answer().answerIds().size(), 120);
    EXPECT_EQ(canvases.answer().answerRanks().value(books[0]), 0);
    EXPECT_EQ(canvases.answer().answerRanks().value(books[119]), 119);
    EXPECT_EQ(canvases.graph().shown(), graphBefore); // the graph's canvas is left as it was

    // More pages come onto it; the filter takes off what it hides.
    engine.showMoreAnswer();
    EXPECT_EQ(canvases.answer().shown().size(), 60);
    EXPECT_TRUE(canvases.answer().shown().contains(books[59]));
    EXPECT_FALSE(canvases.answer().shown().contains(books[60]));
    askAndWait(*r.session, "MATCH (p:Person)-[w:wrote]->(b:Book) RETURN p, w, b", raw);
    EXPECT_EQ(canvases.answer().shown(), (QSet<QString>{ada, books[0], books[1]}));
    AnswerFilter filter;
    filter.hiddenTypes.insert(r.person.table());
    engine.setAnswerFilter(filter);
    EXPECT_EQ(canvases.answer().shown(), (QSet<QString>{books[0], books[1]}));
    EXPECT_EQ(canvases.answer().shown(), engine.answerShown());
    engine.setAnswerFilter(AnswerFilter());
    EXPECT_EQ(canvases.answer().shown(), (QSet<QString>{ada, books[0], books[1]}));

    // An answer without records (a count) leaves the graph in view.
    askAndWait(*r.session, "MATCH (b:Book) RETURN count(b) AS n", raw);
    EXPECT_FALSE(canvases.showsAnswer());

    // Clearing goes back to the graph's canvas and empties the answer's.
    askAndWait(*r.session, "MATCH (b:Book) RETURN b LIMIT 3", raw);
    EXPECT_TRUE(canvases.showsAnswer());
    engine.clearAsk();
    EXPECT_FALSE(canvases.showsAnswer());
    EXPECT_EQ(&canvases.current(), &canvases.graph());
    EXPECT_TRUE(canvases.answer().shown().isEmpty());
    EXPECT_TRUE(canvases.answer().answerIds().isEmpty());
    EXPECT_EQ(canvases.graph().shown(), graphBefore);
}
