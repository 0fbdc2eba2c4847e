#include "app/ai/AIClients.h"
#include "kit/ai/AIClient.h"
#include "tests/app/ask/AskTestSupport.h"

#include <QJsonDocument>
#include <QRegularExpression>

using namespace corvantis;
using namespace corvantis::test;

namespace {

QString stdinContent(const QJsonObject& run) {
    return run.value("content").toString();
}

QString option(const QJsonObject& run, const QString& flag) {
    return run.value("options").toObject().value(flag).toString();
}

} // namespace

TEST(AskEngine, TranslatesRunsRecordsAndReusesTheQuery) {
    Reading r;
    ScriptedTools tools;
    r.add(r.book, "Dune");
    r.add(r.book, "Emma");
    tools.script({ScriptedTools::query("MATCH (b:Book) RETURN b", "All the books.")});
    const AskSettings settings = askSettings(QueryMode::Cypher);
    AskEngine& engine = r.session->askEngine();

    askAndWait(*r.session, "  Which books are there?\n", settings);
    EXPECT_EQ(engine.state().question, "Which books are there?");
    EXPECT_EQ(stepTitles(engine), (QStringList{"Translated to Cypher", "Ran on your graph"}));
    const AskStep translated = engine.state().steps[0];
    EXPECT_TRUE(
        QRegularExpression("^" + QRegularExpression::escape(settings.model.title) + " · \\d+\\.\\d s$")
            .match(translated.meta)
            .hasMatch())
        << translated.meta.toStdString();
    EXPECT_EQ(translated.cypher, "MATCH (b:Book) RETURN b");
    EXPECT_EQ(translated.status, AskStep::Status::done);
    EXPECT_TRUE(translated.thinking.contains("the question.")) << translated.thinking.toStdString();
    EXPECT_TRUE(QRegularExpression("^2 rows · \\d+ ms$").match(engine.state().steps[1].meta).hasMatch());
    EXPECT_EQ(engine.state().cypher, "MATCH (b:Book) RETURN b");
    EXPECT_EQ(engine.state().explanation, "All the books.");
    EXPECT_EQ(engine.state().highlightNodes.size(), 2);
    EXPECT_TRUE(engine.state().narrowable);
    EXPECT_FALSE(engine.state().reused);
    EXPECT_EQ(engine.answerShown(), engine.state().highlightNodes);

    // Exactly what the tool was handed: the translation's prompt and schema, and the question alone.
    const QList<QJsonObject> runs = tools.modelRuns();
    ASSERT_EQ(runs.size(), 1);
    EXPECT_EQ(option(runs[0], "--system-prompt"), PromptBuilder::system(r.session->project().schema));
    EXPECT_EQ(QJsonDocument::fromJson(option(runs[0], "--json-schema").toUtf8()).object(),
              AIClient::translationSchema());
    EXPECT_EQ(option(runs[0], "--model"), settings.model.id);
    EXPECT_EQ(stdinContent(runs[0]), "Which books are there?");

    // The history entry of a translated question.
    ASSERT_EQ(r.session->history().size(), 1);
    const HistoryEntry entry = r.session->history().first();
    EXPECT_EQ(entry.question, "Which books are there?");
    EXPECT_EQ(entry.cypher, "MATCH (b:Book) RETURN b");
    EXPECT_EQ(entry.explanation, "All the books.");
    EXPECT_EQ(entry.model, settings.model);
    EXPECT_EQ(entry.shape, PromptBuilder::renderSchema(r.session->project().schema));
    EXPECT_FALSE(entry.strategy);
    ASSERT_EQ(r.world.library.history(r.project.id).size(), 1); // saved
    EXPECT_EQ(r.world.library.history(r.project.id).first().cypher, entry.cypher);

    // Other case and a trailing "?" reuse the query: no process at all.
    const int before = tools.runCount();
    askAndWait(*r.session, "which BOOKS are there", settings);
    EXPECT_EQ(tools.runCount(), before);
    EXPECT_EQ(stepTitles(engine), (QStringList{"Used cached query", "Ran on your graph"}));
    EXPECT_EQ(engine.state().steps[0].meta, settings.model.title + " · reused, not asked again");
    EXPECT_EQ(engine.state().steps[0].cypher, "MATCH (b:Book) RETURN b");
    EXPECT_TRUE(engine.state().reused);
    EXPECT_EQ(engine.state().highlightNodes.size(), 2);
    ASSERT_EQ(r.session->history().size(), 2); // a different question text, asked again
    EXPECT_EQ(r.session->history().first().question, "which BOOKS are there");

    // Asked afresh, the model is asked again and the entry of the same question (ignoring case) replaced.
    askAndWait(*r.session, "WHICH books are there?", settings, true);
    EXPECT_EQ(tools.modelRuns().size(), 2);
    EXPECT_EQ(stepTitles(engine).first(), "Translated to Cypher");
    ASSERT_EQ(r.session->history().size(), 2);
    EXPECT_EQ(r.session->history()[0].question, "WHICH books are there?");
    EXPECT_EQ(r.session->history()[1].question, "which BOOKS are there");

    // After a change of the shape that alters its rendering, the question is translated again.
    GraphSchema shape = r.session->project().schema;
    shape.nodeTypes[1].properties.append(property("year", PropertyKind::Number));
    r.session->applyShape(shape);
    askAndWait(*r.session, "Which books are there?", settings);
    EXPECT_EQ(tools.modelRuns().size(), 3);
}

TEST(AskEngine, RepairsFailedQueriesUpToThreeTranslations) {
    Reading r;
    ScriptedTools tools;
    r.add(r.book, "Dune");
    const AskSettings settings = askSettings(QueryMode::Cypher);
    AskEngine& engine = r.session->askEngine();

    // One failure, then a query that runs: the model sees the question and the failed attempt.
    tools.script(
        {ScriptedTools::query("MATCH (b:Nope) RETURN b"), ScriptedTools::query("MATCH (b:Book) RETURN b")});
    askAndWait(*r.session, "Books?", settings);
    EXPECT_EQ(stepTitles(engine), (QStringList{"Translated to Cypher", "The database rejected the query",
                                               "Repaired the query", "Ran on your graph"}));
    EXPECT_EQ(engine.state().steps[1].status, AskStep::Status::failed);
    ASSERT_TRUE(engine.state().steps[1].detail);
    const QString rejection = *engine.state().steps[1].detail;
    EXPECT_FALSE(rejection.isEmpty());
    QList<QJsonObject> runs = tools.modelRuns();
    ASSERT_EQ(runs.size(), 2);
    EXPECT_EQ(stdinContent(runs[1]), "Question: Books?\n\nAttempt 1 was:\nMATCH (b:Nope) RETURN b\n"
                                     "The database rejected it with:\n" +
                                         rejection +
                                         "\n\nWrite a corrected query that answers the question and avoids "
                                         "these errors.");
    EXPECT_EQ(engine.state().cypher, "MATCH (b:Book) RETURN b");
    EXPECT_EQ(r.session->history().first().cypher, "MATCH (b:Book) RETURN b");

    // Three failures end the flow: three translations, three failed runs, no answer, no entry.
    r.session->askEngine().clearAsk();
    tools.script(
        {ScriptedTools::query("MATCH (a:Nope1) RETURN a"), ScriptedTools::query("MATCH (a:Nope2) RETURN a"),
         ScriptedTools::query("MATCH (a:Nope3) RETURN a"), ScriptedTools::query("MATCH (b:Book) RETURN b")});
    askAndWait(*r.session, "Nothing works", settings);
    EXPECT_EQ(tools.modelRuns().size(), 5);
    EXPECT_EQ(stepTitles(engine).count("The database rejected the query"), 3);
    EXPECT_EQ(stepTitles(engine).last(), "The database rejected the query");
    EXPECT_FALSE(engine.state().output);
    EXPECT_EQ(r.session->history().size(), 1);
    const QString third = stdinContent(tools.modelRuns().last());
    EXPECT_TRUE(third.contains("Attempt 1 was:\nMATCH (a:Nope1) RETURN a"));
    EXPECT_TRUE(third.contains("Attempt 2 was:\nMATCH (a:Nope2) RETURN a"));

    // A cached query that now fails is the first failure: the first model step repairs it.
    QList<HistoryEntry> history = r.session->history();
    HistoryEntry stale =
        HistoryEntry::make("Stale question", "MATCH (x:Gone) RETURN x", "Old.", settings.model,
                           PromptBuilder::renderSchema(r.session->project().schema), std::nullopt);
    history.prepend(stale);
    r.session->setHistory(history);
    tools.script({ScriptedTools::query("MATCH (b:Book) RETURN b")});
    askAndWait(*r.session, "stale question?", settings);
    EXPECT_EQ(stepTitles(engine), (QStringList{"Used cached query", "The database rejected the query",
                                               "Repaired the query", "Ran on your graph"}));
    EXPECT_TRUE(stdinContent(tools.modelRuns().last())
                    .startsWith("Question: stale question?\n\nAttempt 1 was:\n"
                                "MATCH (x:Gone) RETURN x\n"));
}

TEST(AskEngine, RefusesWritesAndDeclinedQuestions) {
    Reading r;
    ScriptedTools tools;
    const QString ada = r.add(r.person, "Ada");
    const AskSettings settings = askSettings(QueryMode::Cypher);
    AskEngine& engine = r.session->askEngine();

    // A model that answers with a write gets "Not run" and no second attempt; the graph is untouched.
    tools.script(
        {ScriptedTools::query("MATCH (p:Person) DETACH DELETE p"), ScriptedTools::query("RETURN 1")});
    askAndWait(*r.session, "Remove everyone", settings);
    EXPECT_EQ(stepTitles(engine), (QStringList{"Translated to Cypher", "Not run"}));
    EXPECT_EQ(engine.state().steps[1].status, AskStep::Status::failed);
    EXPECT_TRUE(engine.state().steps[1].detail && !engine.state().steps[1].detail->isEmpty());
    EXPECT_EQ(tools.modelRuns().size(), 1);
    EXPECT_EQ(countIn(*r.session, "Person"), 1);
    EXPECT_TRUE(r.session->nodes().contains(ada));
    EXPECT_TRUE(r.session->history().isEmpty());

    // An empty query with a reason: "No query for this", nothing run, nothing recorded.
    tools.script({ScriptedTools::query("", "The graph holds no weather.")});
    askAndWait(*r.session, "Will it rain?", settings);
    EXPECT_EQ(stepTitles(engine), (QStringList{"No query for this"}));
    EXPECT_EQ(engine.state().steps[0].status, AskStep::Status::done);
    EXPECT_EQ(engine.state().steps[0].detail, "The graph holds no weather.");
    EXPECT_EQ(engine.state().explanation, "The graph holds no weather.");
    EXPECT_TRUE(r.session->history().isEmpty());

    // A failed model call: "Couldn't translate", with the settings action when no tool is signed in.
    tools.script({QJsonObject{{"standin", "fail"}}});
    AskSettings signedOut = settings;
    signedOut.canUseAI = false;
    askAndWait(*r.session, "Anything", signedOut);
    ASSERT_EQ(stepTitles(engine), (QStringList{"Couldn't translate"}));
    EXPECT_EQ(engine.state().steps[0].status, AskStep::Status::failed);
    EXPECT_EQ(engine.state().steps[0].action, AskStep::Action::openSettings);
    EXPECT_TRUE(engine.state().steps[0].detail && !engine.state().steps[0].detail->isEmpty());

    // An empty question does nothing.
    const int runs = tools.runCount();
    r.session->ask("  \n", settings);
    EXPECT_FALSE(engine.state().isWorking);
    EXPECT_EQ(engine.state().question, "Anything");
    EXPECT_EQ(tools.runCount(), runs);
}

TEST(AskEngine, RawModeRunsTheTypedQueryWithoutAnyTool) {
    Reading r;
    ScriptedTools tools;
    r.add(r.book, "Dune");
    const AskSettings settings = askSettings(QueryMode::Raw);
    AskEngine& engine = r.session->askEngine();

    askAndWait(*r.session, "MATCH (b:Book) RETURN b", settings);
    EXPECT_EQ(stepTitles(engine), (QStringList{"Your query", "Ran on your graph"}));
    EXPECT_EQ(engine.state().steps[0].meta, "no AI step");
    EXPECT_TRUE(QRegularExpression("^1 row · \\d+ ms$").match(engine.state().steps[1].meta).hasMatch())
        << engine.state().steps[1].meta.toStdString();
    EXPECT_FALSE(engine.state().narrowable);
    ASSERT_EQ(r.session->history().size(), 1);
    const HistoryEntry entry = r.session->history().first();
    EXPECT_EQ(entry.question, "MATCH (b:Book) RETURN b");
    EXPECT_EQ(entry.cypher, "MATCH (b:Book) RETURN b");
    EXPECT_TRUE(entry.explanation.isEmpty());
    EXPECT_FALSE(entry.shape);
    EXPECT_FALSE(entry.strategy);

    // A write typed by hand isn't run; a query the database refuses says so.
    askAndWait(*r.session, "CREATE (b:Book {id: 'X', title: 'New'})", settings);
    EXPECT_EQ(stepTitles(engine), (QStringList{"Your query", "Not run"}));
    EXPECT_EQ(countIn(*r.session, "Book"), 1);
    askAndWait(*r.session, "MATCH (b:Nope) RETURN b", settings);
    EXPECT_EQ(stepTitles(engine), (QStringList{"Your query", "The database rejected the query"}));
    EXPECT_EQ(r.session->history().size(), 1);
    EXPECT_EQ(tools.runCount(), 0);

    // At most 100 entries, newest first.
    QList<HistoryEntry> many;
    for (int i = 0; i < 100; ++i)
        many.append(HistoryEntry::make(QString("Q%1").arg(i), "RETURN 1", {}, settings.model, {}, {}));
    r.session->setHistory(many);
    askAndWait(*r.session, "RETURN 2 AS two", settings);
    ASSERT_EQ(r.session->history().size(), 100);
    EXPECT_EQ(r.session->history().first().question, "RETURN 2 AS two");
    EXPECT_EQ(r.session->history().last().question, "Q98");
    r.session->askEngine().removeHistory(r.session->history().first().id);
    EXPECT_EQ(r.session->history().first().question, "Q0");
    EXPECT_EQ(r.world.library.history(r.project.id).size(), 99);

    // A replayed entry runs in the same frame, without a model.
    engine.runCypher("MATCH (b:Book) RETURN b", "Which books?", "All the books.", "Saved question");
    waitUntilIdle(engine);
    EXPECT_EQ(stepTitles(engine), (QStringList{"Saved question", "Ran on your graph"}));
    EXPECT_EQ(engine.state().explanation, "All the books.");
    EXPECT_EQ(engine.state().highlightNodes.size(), 1);
    EXPECT_EQ(tools.runCount(), 0);

    engine.clearAsk();
    EXPECT_TRUE(engine.state().steps.isEmpty());
    EXPECT_TRUE(engine.answerShown().isEmpty());
}

TEST(AskEngine, CancellingKillsTheToolAndLeavesTheStep) {
    Reading r;
    ScriptedTools tools;
    tools.script({QJsonObject{{"standin", "hang"}}});
    AskEngine& engine = r.session->askEngine();
    r.session->ask("A slow question", askSettings(QueryMode::Cypher));
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return !engine.state().steps.isEmpty() && !engine.state().steps.last().thinking.isEmpty(); },
        60000));
    EXPECT_EQ(childrenRunning("claude"), 1);

    // A question put while another works is ignored.
    r.session->ask("Another question", askSettings(QueryMode::Raw));
    EXPECT_EQ(engine.state().question, "A slow question");

    engine.cancel();
    EXPECT_FALSE(engine.state().isWorking);
    ASSERT_EQ(engine.state().steps.size(), 1);
    EXPECT_EQ(engine.state().steps[0].title, "Translating to Cypher");
    EXPECT_EQ(engine.state().steps[0].status, AskStep::Status::working);
    EXPECT_TRUE(QTest::qWaitFor([] { return childrenRunning("claude") == 0; }, 30000))
        << "the tool still runs";
    // The ended run changed nothing after the cancel.
    QCoreApplication::processEvents();
    EXPECT_EQ(engine.state().steps.size(), 1);
    EXPECT_TRUE(r.session->history().isEmpty());
}

TEST(AskEngine, NarrowingShowsTheModelTheQueryAndItsRowCount) {
    Reading r;
    ScriptedTools tools;
    for (int i = 0; i < 120; ++i)
        r.add(r.book, QString("Book %1").arg(i));
    const AskSettings settings = askSettings(QueryMode::Cypher);
    AskEngine& engine = r.session->askEngine();
    tools.script(
        {ScriptedTools::query("MATCH (b:Book) RETURN b"),
         ScriptedTools::query("MATCH (b:Book) RETURN b ORDER BY b.title LIMIT 25", "The first 25.")});
    askAndWait(*r.session, "All books", settings);
    EXPECT_TRUE(engine.answerIsLarge());
    EXPECT_EQ(engine.state().pages.groups.size(), 120);
    EXPECT_EQ(engine.state().pages.revealed, 30);

    AnswerFilter filter;
    filter.hiddenTypes.insert("Book");
    engine.setAnswerFilter(filter);
    EXPECT_TRUE(engine.answerGroups().isEmpty());
    engine.narrowAnswer(settings);
    EXPECT_TRUE(engine.answerFilter().isEmpty()); // reset before anything is asked
    waitUntilIdle(engine);
    const QList<QJsonObject> runs = tools.modelRuns();
    ASSERT_EQ(runs.size(), 2);
    EXPECT_EQ(stdinContent(runs[1]), PromptBuilder::narrowing("All books", "MATCH (b:Book) RETURN b", 120));
    EXPECT_EQ(stepTitles(engine).mid(stepTitles(engine).size() - 2),
              (QStringList{"Narrowed the query", "Ran on your graph"}));
    EXPECT_TRUE(engine.state().narrowed);
    EXPECT_TRUE(engine.state().pages.ordered);
    EXPECT_EQ(engine.state().pages.groups.size(), 25);
    EXPECT_FALSE(engine.answerIsLarge());
}
