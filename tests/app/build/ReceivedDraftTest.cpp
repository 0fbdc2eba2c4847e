#include "kit/build/ShapeDesigner.h"
#include "tests/app/build/BuildTestSupport.h"

#include <QSignalSpy>
#include <gtest/gtest.h>
#include <qcoro/qcorotask.h>

using namespace corvantis;
using namespace corvantis::test;

namespace {

GraphDraft annWroteDune() {
    return GraphDraft::fromJson(draftJson(QJsonArray{draftNodeJson("n1", "Person", "name", "Ann"),
                                                     draftNodeJson("n2", "Book", "title", "Dune")},
                                          QJsonArray{draftRelJson("WROTE", "n1", "n2")},
                                          "Ann and the book she wrote."));
}

BuildChat::Received receive(BuildChat& chat, const GraphDraft& draft, const QString& request = "Add Ann",
                            const QString& from = "Claude Desktop") {
    return QCoro::waitFor(chat.receive(draft, request, from));
}

} // namespace

TEST(ReceivedDraft, CountsNameEachNonZeroPartWithItsWord) {
    GraphDraft draft = annWroteDune();
    EXPECT_EQ(BuildChat::counts(draft), "2 nodes, 1 relationship");
    draft.nodes.removeLast();
    draft.relationships.clear();
    draft.changes.append(GraphDraft::Change{"remove", "Remove Bob", "MATCH (p) RETURN p", {}});
    EXPECT_EQ(BuildChat::counts(draft), "1 node, 1 change");
    EXPECT_EQ(BuildChat::counts(GraphDraft{}), "");

    BuildTurn* turn = BuildChat::turn("  Add my books \n", "Codex", nullptr);
    EXPECT_EQ(turn->text, "Add my books");
    EXPECT_EQ(turn->source, QString("Codex"));
    EXPECT_TRUE(turn->isRunning());
    delete turn;
}

TEST(ReceivedDraft, OpensAsTheDraftOfATurnOfItsOwnAndNothingIsWritten) {
    BuildWorld world;
    const QString ann = world.reading.add(world.reading.person, "Ann");
    QSignalSpy view(&world.chat(), &BuildChat::viewRequested);
    const auto [turn, review] = receive(world.chat(), annWroteDune(), "  Add Ann's book ");

    ASSERT_TRUE(turn);
    EXPECT_EQ(turn->status, BuildTurnRecord::Status::Done);
    EXPECT_EQ(turn->source, QString("Claude Desktop"));
    EXPECT_EQ(turn->text, "Add Ann's book");
    EXPECT_EQ(turn->summary, "Ann and the book she wrote.");
    EXPECT_FALSE(turn->message); // it never enters the model's history
    EXPECT_TRUE(world.chat().exchanges().isEmpty());
    EXPECT_EQ(stepTitles(*turn),
              (QStringList{"Received a draft from Claude Desktop", "Checked it against your graph"}));
    EXPECT_EQ(turn->steps[0].detail, "2 nodes, 1 relationship");
    EXPECT_EQ(turn->steps[1].detail, "1 already in it");
    EXPECT_EQ(view.size(), 1);
    EXPECT_TRUE(world.tools.runs().isEmpty()); // no model was asked

    ASSERT_TRUE(world.chat().review());
    EXPECT_EQ(*world.chat().review(), review);
    EXPECT_TRUE(world.chat().showsDraft());
    EXPECT_EQ(review.nodes[0].target, ann);
    EXPECT_EQ(world.chat().turn(json::uuidText(turn->id).toLower()), turn);
    EXPECT_EQ(world.chat().turn("not an id"), nullptr);
    // Nothing in the graph: Ann alone, no book, no relationship.
    EXPECT_EQ(countIn(world.session(), "Person"), 1);
    EXPECT_EQ(countIn(world.session(), "Book"), 0);
    EXPECT_EQ(countRelsIn(world.session(), "WROTE"), 0);

    // It is kept with the conversation like any turn, and comes back with its source and its draft.
    const QJsonObject saved = world.conversationFile(world.chat())["turns"].toArray()[0].toObject();
    EXPECT_EQ(saved["source"], "Claude Desktop");
    const QUuid conversation = world.chat().conversationID();
    ASSERT_TRUE(world.chat().reset());
    EXPECT_EQ(world.chat().turn(json::uuidText(turn->id)), nullptr);
    ASSERT_TRUE(world.chat().open(conversation));
    ASSERT_EQ(world.chat().turns().size(), 1);
    BuildTurn* back = world.chat().turns()[0];
    EXPECT_EQ(back->source, QString("Claude Desktop"));
    EXPECT_EQ(world.chat().review(), review);

    // Applied through the chat, it is written, and the turn carries the counts.
    const GraphAdded added = world.chat().add();
    EXPECT_EQ(added.nodes, 1);
    EXPECT_EQ(added.matched, 1);
    EXPECT_EQ(added.relationships, 1);
    EXPECT_EQ(back->added, added);
    EXPECT_EQ(countIn(world.session(), "Book"), 1);
}

TEST(ReceivedDraft, ALaterDraftReplacesTheOpenOneAndBadQueriesStayProblems) {
    BuildWorld world;
    world.reading.add(world.reading.person, "Bob");
    const auto first = receive(world.chat(), annWroteDune());
    GraphDraft changes;
    changes.changes = {{"remove", "Remove Bob", "MATCH (p:Person) WHERE p.name = 'Bob' RETURN p", {}},
                       {"remove", "Remove everyone", "MATCH (p:Person) DETACH DELETE p", {}}};
    changes.summary = "Bob goes.";
    const auto second = receive(world.chat(), changes, QString(), "Codex");

    EXPECT_TRUE(first.turn->revised);
    EXPECT_FALSE(second.turn->revised);
    EXPECT_EQ(world.chat().review(), second.review);
    ASSERT_EQ(second.review.changes.size(), 2);
    EXPECT_EQ(second.review.changes[0].nodes.size(), 1);
    EXPECT_FALSE(second.review.changes[0].problem);
    // No model stands behind it to repair the query: it keeps the guard's refusal.
    ASSERT_TRUE(second.review.changes[1].problem);
    EXPECT_EQ(second.review.changes[1].query, "MATCH (p:Person) DETACH DELETE p");
    EXPECT_TRUE(world.tools.runs().isEmpty());
    EXPECT_EQ(second.turn->steps.last().detail, "1 to remove · 1 query couldn't run");
    EXPECT_EQ(countIn(world.session(), "Person"), 1);

    world.chat().discard();
    EXPECT_TRUE(second.turn->discarded);
    EXPECT_FALSE(world.chat().review());
}

TEST(ReceivedDraft, RefusedWhileATurnRunsWhichGoesOnUndisturbed) {
    BuildWorld world;
    ToolHome::scenario("slow");
    world.chat().setDraftText("Something slow");
    ASSERT_TRUE(world.chat().send(BuildWorld::use()));
    ASSERT_TRUE(waitUntil([&] { return world.tools.runs().size() == 1; }, 30000));
    BuildTurn* running = world.chat().turns().last();
    // Awaited as the connector awaits it.
    std::optional<QString> refusal;
    bool ended = false;
    auto attempt = [&]() -> QCoro::Task<> {
        try {
            co_await world.chat().receive(annWroteDune(), "Add Ann", "Claude Desktop");
        } catch (const BuildChatError& error) {
            refusal = error.message();
        }
        ended = true;
    };
    QCoro::Task<> attempting = attempt();
    ASSERT_TRUE(waitUntil([&] { return ended; }, 30000));
    EXPECT_EQ(refusal,
              QString("Corvantis is already working on a draft in its Build panel. Try again in a moment."));
    EXPECT_EQ(world.chat().turns().size(), 1);
    EXPECT_TRUE(running->isRunning());
    world.chat().stop();
    EXPECT_EQ(running->status, BuildTurnRecord::Status::Stopped);
}

TEST(ReceivedDraft, ShapeAdditionsApplyAtOnceAndOneUndoTakesThemBack) {
    BuildWorld world;
    const GraphSchema before = world.session().project().schema;
    const ShapeDraft ideas = ShapeDraft::fromJson(QJsonObject{
        {"types", QJsonArray{QJsonObject{
                      {"name", "Idea"},
                      {"title", "name"},
                      {"properties", QJsonArray{QJsonObject{{"name", "name"}, {"kind", "text"}}}}}}},
        {"relationships", QJsonArray{}},
        {"summary", "Ideas."}});
    const ShapeMergeResult result = world.shapeChat().receive(ideas, "ideas please", "Claude Code");
    EXPECT_EQ(result, (ShapeMergeResult{1, 1, 0}));
    ASSERT_EQ(world.shapeChat().turns().size(), 1);
    BuildTurn* turn = world.shapeChat().turns()[0];
    EXPECT_EQ(turn->status, BuildTurnRecord::Status::Done);
    EXPECT_EQ(stepTitles(*turn), QStringList{"Received additions from Claude Code"});
    EXPECT_EQ(turn->summary, "Ideas.");
    EXPECT_EQ(turn->shape, result);
    EXPECT_TRUE(world.session().project().schema.nodeTypeForTable("Idea"));

    // The same again adds nothing, and has nothing to undo.
    EXPECT_TRUE(world.shapeChat().receive(ideas, QString(), "Claude Code").isEmpty());
    EXPECT_FALSE(world.shapeChat().turns().last()->undoable);
    EXPECT_EQ(world.reading.world.undo.undoActionName(), "Build Shape with AI");
    ASSERT_TRUE(world.shapeChat().undoShape(turn));
    EXPECT_EQ(world.session().project().schema, before);
}
