#include "kit/ai/PromptBuilder.h"
#include "kit/build/BuildPrompt.h"
#include "tests/app/build/BuildTestSupport.h"

#include <QBuffer>
#include <QImage>
#include <gtest/gtest.h>

using namespace corvantis;
using namespace corvantis::test;

namespace {

const QJsonObject annWroteDune = draftJson(
    QJsonArray{draftNodeJson("n1", "Person", "name", "Ann"), draftNodeJson("n2", "Book", "title", "Dune")},
    QJsonArray{draftRelJson("WROTE", "n1", "n2")}, "Ann and the book she wrote.");

} // namespace

TEST(BuildChatFlow, AFirstAndALaterTurnHandTheModelExactlyThePrompt) {
    BuildWorld world;
    const QString bob = world.reading.add(world.reading.person, "Bob");
    world.chat().setShareExisting(true);
    world.answers({annWroteDune, annWroteDune});

    BuildTurn* first = world.send("Ann wrote Dune.");
    ASSERT_EQ(first->status, BuildTurnRecord::Status::Done) << first->error.value_or("").toStdString();
    const GraphSchema& schema = world.session().project().schema;
    const QString shape = "The shape of the graph:\n\n" + GraphBuilder::describe(schema);
    const QString queries =
        "\n\nFor queries in changes, the database's names (labels, relationship types and "
        "property columns):\n\n" +
        PromptBuilder::renderSchema(schema) + "\n\n" + PromptBuilder::dialectNotes() + "\n\n";
    const QString existing =
        "\nNodes already in the graph (id · type · title). Point a relationship at one by its "
        "id; do not create it again:\n- " +
        bob + " · Person · Bob";
    EXPECT_EQ(world.lastContent().toString(), shape + existing + queries + "The text:\n\nAnn wrote Dune.");
    EXPECT_EQ(world.lastOptions().value("--system-prompt").toString(), GraphBuilder::systemPrompt());
    EXPECT_EQ(world.lastOptions().value("--effort").toString(), "high");

    // The later turn: no nodes shared now, the open draft described, the history, "now says".
    world.chat().setShareExisting(false);
    const QString draft = world.chat().review()->describe(schema, world.session().nodes());
    world.send("Also Emma.");
    const QString history =
        "The conversation so far:\n\n<person>\nAnn wrote Dune.\n</person>\n<you>\nAnn and the "
        "book she wrote.\n</you>\n";
    EXPECT_EQ(
        world.lastContent().toString(),
        shape + queries + history + "\n" +
            "\n\nRevise this draft as the person now asks, and return all of it, not only what changed.\n\n" +
            draft + "The person now says:\n\nAlso Emma.");
    EXPECT_TRUE(first->revised);
}

TEST(BuildChatFlow, AboveThreeHundredNodesOnlyThoseTheTextNamesGoAlong) {
    BuildWorld world;
    QList<NodeRecord> many;
    for (int i = 0; i < 300; ++i)
        many.append(
            NodeRecord{json::uuidText(QUuid::createUuid()),
                       "Person",
                       {{"name", GraphValue::string(QString("Person %1").arg(i, 3, 10, QChar('0')))}}});
    for (const NodeRecord& node : many)
        ASSERT_TRUE(world.session().insert(node));
    world.chat().setShareExisting(true);
    // Exactly 300: all go along, and no step shows.
    EXPECT_EQ(world.chat().existingNodes("anything").size(), 300);
    const QString tolkien = world.reading.add(world.reading.person, "J. R. R. Tolkien");
    world.answers({annWroteDune});
    BuildTurn* turn = world.send("Tolkien? No: person 007 and J R R Tolkien wrote this.");
    ASSERT_EQ(turn->status, BuildTurnRecord::Status::Done);
    EXPECT_EQ(stepTitles(*turn).first(), "Found the nodes it mentions");
    EXPECT_EQ(turn->steps.first().detail, "2 sent along by name");
    const QString content = world.lastContent().toString();
    EXPECT_TRUE(content.contains(" · Person · Person 007\n"));
    EXPECT_TRUE(content.contains(tolkien + " · Person · J. R. R. Tolkien"));
    EXPECT_FALSE(content.contains("Person 008"));
}

TEST(BuildChatFlow, PicturesGoFirstInTheContentScaledToTheirLimit) {
    BuildWorld world;
    world.answers({annWroteDune});
    QImage big(3000, 1500, QImage::Format_RGB32);
    big.fill(Qt::darkCyan);
    world.chat().attach(BuildAttachment{QUuid::createUuid(), std::nullopt, big, "Picture", std::nullopt});
    BuildTurn* turn = world.send("");
    ASSERT_EQ(turn->status, BuildTurnRecord::Status::Done) << turn->error.value_or("").toStdString();
    const QJsonArray content = world.lastContent().toArray();
    ASSERT_EQ(content.size(), 2);
    const QJsonObject source = content[0].toObject()["source"].toObject();
    EXPECT_EQ(source["media_type"], "image/jpeg");
    const QImage sent =
        QImage::fromData(QByteArray::fromBase64(source["data"].toString().toLatin1()), "JPEG");
    EXPECT_EQ(sent.size(), QSize(1568, 784));
    EXPECT_TRUE(content[1].toObject()["text"].toString().endsWith(
        "The text:\n\n(A picture is attached above.)\n(No words: build from what they shared.)"));
    // Saved without its bytes.
    EXPECT_EQ(world.conversationFile(world.chat())["turns"]
                  .toArray()[0]
                  .toObject()["message"]
                  .toObject()["pictures"],
              1);

    // A small picture is not enlarged.
    world.answers({annWroteDune});
    QImage small(200, 100, QImage::Format_ARGB32);
    small.fill(Qt::transparent);
    world.chat().attach(BuildAttachment{QUuid::createUuid(), std::nullopt, small, "Picture", std::nullopt});
    world.send("small");
    const QJsonObject smallSource = world.lastContent().toArray()[0].toObject()["source"].toObject();
    EXPECT_EQ(QImage::fromData(QByteArray::fromBase64(smallSource["data"].toString().toLatin1())).size(),
              QSize(200, 100));
}

TEST(BuildChatFlow, ApplyingIsOneUndoStepAndUndoReturnsToTheEditedDraft) {
    BuildWorld world;
    world.answers({annWroteDune});
    BuildTurn* turn = world.send("Ann wrote Dune.");
    ASSERT_TRUE(world.chat().review());
    EXPECT_TRUE(world.chat().showsDraft());
    EXPECT_EQ(countIn(world.session(), "Person"), 0); // nothing before applying
    EXPECT_EQ(stepTitles(*turn),
              (QStringList{"Drafted nodes and relationships", "Checked it against your graph"}));
    EXPECT_EQ(turn->steps[0].detail, BuildWorld::use().model.title + " · high effort");

    GraphReview edited = *world.chat().review();
    edited.nodes[0].properties.insert("name", GraphValue::string("Ann Leckie"));
    world.chat().setReview(edited);
    const GraphAdded added = world.chat().add();
    EXPECT_EQ(added.nodes, 2);
    EXPECT_EQ(added.relationships, 1);
    EXPECT_EQ(countIn(world.session(), "Person"), 1);
    EXPECT_TRUE(nodeNamed(world.session(), "Person", "Ann Leckie"));
    EXPECT_EQ(countRelsIn(world.session(), "WROTE"), 1);
    EXPECT_FALSE(world.chat().review());
    EXPECT_TRUE(turn->undoable);
    EXPECT_EQ(world.reading.world.undo.undoActionName(), "Build Graph with AI");

    ASSERT_TRUE(world.chat().undoAdd(turn));
    EXPECT_EQ(countIn(world.session(), "Person"), 0);
    EXPECT_EQ(countIn(world.session(), "Book"), 0);
    EXPECT_EQ(countRelsIn(world.session(), "WROTE"), 0);
    EXPECT_EQ(world.chat().review(), edited);
    EXPECT_TRUE(turn->undone);
    EXPECT_FALSE(turn->added);
    // The history tells the model it was applied and undone.
    EXPECT_EQ(
        world.chat().exchanges().last().reply,
        "Ann and the book she wrote. (The person applied this draft to the graph.) (The person undid this.)");
}

TEST(BuildChatFlow, LaterWorkTakesAwayTheDraftsOwnUndo) {
    BuildWorld world;
    world.answers({annWroteDune});
    BuildTurn* turn = world.send("Ann wrote Dune.");
    world.chat().add();
    ASSERT_TRUE(turn->undoable);
    world.reading.add(world.reading.book, "Emma"); // the person's own later work
    EXPECT_FALSE(turn->undoable);
    ASSERT_TRUE(turn->undoGone);
    EXPECT_FALSE(world.chat().undoAdd(turn));
    EXPECT_EQ(countIn(world.session(), "Book"), 2); // nothing was taken back
}

TEST(BuildChatFlow, TheGraphMayChangeBetweenDraftAndApply) {
    BuildWorld world;
    const QString ann = world.reading.add(world.reading.person, "Ann");
    world.answers({annWroteDune});
    world.send("Ann wrote Dune.");
    ASSERT_EQ(world.chat().review()->node("n1")->target, ann);
    world.session().deleteNode(ann);
    const GraphAdded added = world.chat().add();
    EXPECT_EQ(added.nodes, 1); // the book; Ann is gone, and so is the relationship to her
    EXPECT_EQ(added.relationships, 0);
    EXPECT_EQ(countIn(world.session(), "Person"), 0);
}

TEST(BuildChatFlow, ChangesRunTheirQueriesAndAreRepairedAtMostTwice) {
    BuildWorld world;
    const QString ann = world.reading.add(world.reading.person, "Ann");
    const QString bob = world.reading.add(world.reading.person, "Bob");
    const QJsonArray changes{
        QJsonObject{{"action", "remove"},
                    {"description", "Remove Bob"},
                    {"query", "MATCH (p:Person) WHERE p.name = 'Bob' RETURN p.name"},
                    {"properties", QJsonArray{}}},
        QJsonObject{{"action", "update"},
                    {"description", "Ann was born in 1950"},
                    {"query", "MATCH (p:Person) WHERE p.name = 'Ann' RETURN p"},
                    {"properties", QJsonArray{QJsonObject{{"name", "born"}, {"value", "1950"}}}}},
        QJsonObject{{"action", "remove"},
                    {"description", "Remove everyone"},
                    {"query", "MATCH (p:Person) DETACH DELETE p"},
                    {"properties", QJsonArray{}}}};
    auto repair = [](const QString& cypher) {
        return QJsonObject{{"cypher", cypher}, {"explanation", "x"}};
    };
    world.answers({draftJson({}, {}, "Changes.", changes),
                   repair("MATCH (p:Person) WHERE p.name = 'Bob' RETURN p"), repair("MATCH (p) RETURN p.id"),
                   repair("RETURN 1")});
    BuildTurn* turn = world.send("Remove Bob, Ann was born in 1950, and remove everyone");
    ASSERT_EQ(turn->status, BuildTurnRecord::Status::Done) << turn->error.value_or("").toStdString();
    const GraphReview review = *world.chat().review();
    ASSERT_EQ(review.changes.size(), 3);
    EXPECT_EQ(review.changes[0].nodes, QStringList{bob});
    EXPECT_FALSE(review.changes[0].problem);
    EXPECT_EQ(review.changes[1].nodes, QStringList{ann});
    // The guard refused the third; two repairs returned values, then it stops with its problem.
    EXPECT_EQ(review.changes[2].query, "RETURN 1");
    EXPECT_EQ(review.changes[2].problem,
              QString("It returned values (1), not the nodes or relationships themselves."));
    EXPECT_EQ(world.tools.runs().size(), 4);
    EXPECT_EQ(turn->steps.last().title, "Found what to change in your graph");
    EXPECT_EQ(turn->steps.last().detail, "1 to remove · 1 to edit · 1 query couldn't run");

    const GraphAdded added = world.chat().add();
    EXPECT_EQ(added.removedNodes, 1);
    EXPECT_EQ(added.changed, 1);
    EXPECT_FALSE(nodeNamed(world.session(), "Person", "Bob"));
    EXPECT_EQ(world.reading.stored(ann, "born"), GraphValue::number(1950));
    EXPECT_EQ(world.reading.world.undo.undoActionName(), "Change Graph with AI");
}

TEST(BuildChatFlow, FailedAndStoppedTurnsNeverReachALaterPrompt) {
    BuildWorld world;
    ToolHome::scenario("exit1");
    BuildTurn* failed = world.send("First try");
    EXPECT_EQ(failed->status, BuildTurnRecord::Status::Failed);
    EXPECT_TRUE(failed->error);

    ToolHome::scenario("slow");
    world.chat().setDraftText("Second try");
    ASSERT_TRUE(world.chat().send(BuildWorld::use()));
    EXPECT_FALSE(world.chat().canSend());
    ASSERT_TRUE(waitUntil([&] { return world.tools.runs().size() == 2; }, 30000));
    world.chat().stop();
    BuildTurn* stopped = world.chat().turns().last();
    EXPECT_EQ(stopped->status, BuildTurnRecord::Status::Stopped);
    EXPECT_EQ(stopped->steps.last().status, BuildStep::Status::Failed);
    EXPECT_FALSE(world.chat().review());

    world.answers({annWroteDune});
    world.send("Third");
    const QString content = world.lastContent().toString();
    EXPECT_FALSE(content.contains("First try"));
    EXPECT_FALSE(content.contains("Second try"));
    EXPECT_TRUE(content.endsWith("The text:\n\nThird"));

    // The step titles stand in the conversation file as the person saw them.
    const QJsonArray turns = world.conversationFile(world.chat())["turns"].toArray();
    ASSERT_EQ(turns.size(), 3);
    EXPECT_EQ(turns[1].toObject()["status"], "stopped");
    QStringList titles;
    for (const QJsonValue& step : turns[2].toObject()["steps"].toArray())
        titles.append(step.toObject()["title"].toString());
    EXPECT_EQ(titles, (QStringList{"Drafted nodes and relationships", "Checked it against your graph"}));
}

TEST(BuildChatFlow, NothingToReadIsOneSentence) {
    BuildWorld world;
    world.chat().setDraftText("https://www.youtube.com/watch?v=dQw4w9WgXcQ");
    ASSERT_TRUE(world.chat().send(BuildWorld::use()));
    ASSERT_TRUE(waitUntil([&] { return !world.chat().isRunning(); }, 30000));
    BuildTurn* turn = world.chat().turns().last();
    EXPECT_EQ(stepTitles(*turn), QStringList{"Couldn't read youtube.com"});
    EXPECT_EQ(turn->error, QString("Nothing could be read from that, so there's nothing to build from."));
    EXPECT_TRUE(world.tools.runs().isEmpty()); // no model was asked
}

TEST(BuildChatFlow, TheShapeDesignerAddsAtOnceAndUndoTakesItBack) {
    BuildWorld world;
    const GraphSchema before = world.session().project().schema;
    world.answers({QJsonObject{
        {"types", QJsonArray{QJsonObject{
                      {"name", "Idea"},
                      {"title", "name"},
                      {"properties", QJsonArray{QJsonObject{{"name", "name"}, {"kind", "text"}}}}}}},
        {"relationships",
         QJsonArray{QJsonObject{
             {"name", "INSPIRED"}, {"from", "Idea"}, {"to", "Book"}, {"properties", QJsonArray{}}}}},
        {"summary", "Ideas that inspire books."}}});
    BuildTurn* turn = world.send(world.shapeChat(), "Ideas");
    ASSERT_EQ(turn->status, BuildTurnRecord::Status::Done) << turn->error.value_or("").toStdString();
    EXPECT_EQ(stepTitles(*turn), QStringList{"Designed the shape"});
    EXPECT_EQ(turn->shape, (ShapeMergeResult{1, 1, 1}));
    EXPECT_TRUE(world.session().project().schema.nodeTypeForTable("Idea"));
    EXPECT_EQ(world.reading.world.undo.undoActionName(), "Build Shape with AI");
    EXPECT_TRUE(world.lastContent().toString().startsWith("The graph already has this shape."));

    ASSERT_TRUE(world.shapeChat().undoShape(turn));
    EXPECT_EQ(world.session().project().schema, before);
    EXPECT_TRUE(turn->undone);
    EXPECT_EQ(world.conversationFile(world.shapeChat())["turns"].toArray()[0].toObject()["undone"], true);
}
