#include "app/build/SessionBuilds.h"
#include "app/undo/UndoStack.h"
#include "tests/app/mcp/MCPTestSupport.h"
#include "tests/support/QtPrinters.h"
#include "tests/support/ToolHome.h"

#include <QJsonArray>

using namespace corvantis;
using namespace corvantis::test;

namespace {

QJsonObject parsed(const QString& text) {
    return QJsonDocument::fromJson(text.toUtf8()).object();
}

// A client that said who it is, so that its drafts carry its name.
struct NamedClient : LineClient {
    explicit NamedClient(quint16 port)
        : LineClient(port) {
        call("initialize", QJsonObject{{"protocolVersion", "2025-06-18"},
                                       {"capabilities", QJsonObject{}},
                                       {"clientInfo", QJsonObject{{"name", "claude-ai"}, {"version", "1"}}}});
        send(QJsonObject{{"jsonrpc", "2.0"}, {"method", "notifications/initialized"}});
    }
};

const QJsonObject eve{
    {"ref", "n1"}, {"type", "Person"}, {"properties", QJsonObject{{"Name", "Eve"}, {"Age", 41}}}};
const QJsonObject paris{{"ref", "n2"}, {"type", "City"}, {"properties", QJsonObject{{"Name", "Paris"}}}};
const QJsonObject eveInParis{{"type", "LIVES_IN"}, {"from", "n1"}, {"to", "n2"}};

QJsonObject proposal(const QString& summary) {
    return QJsonObject{{"nodes", QJsonArray{eve, paris}},
                       {"relationships", QJsonArray{eveInParis}},
                       {"summary", summary},
                       {"request", "  Add Eve, who lives in Paris "}};
}

} // namespace

TEST(MCPReceivedDrafts, AProposalWaitsInTheBuildPanelUntilThePersonAppliesIt) {
    World world;
    NamedClient client(world.ports.base());
    BuildChat& chat = world.session().builds().graph();
    world.session().setMode(SessionMode::Shape);
    const int people = world.storedCount("MATCH (p:Person) RETURN p.id");

    auto [text, isError] = client.tool("propose_changes", proposal("Eve and her city."));
    ASSERT_FALSE(isError) << text.toStdString();
    const QJsonObject answer = parsed(text);
    EXPECT_EQ(answer["status"], "waiting for review");
    EXPECT_EQ(answer["nodes"], 2);
    EXPECT_EQ(answer["relationships"], 1);
    EXPECT_EQ(answer["already_in_graph"], QJsonArray());
    EXPECT_EQ(answer["possible_duplicates"], QJsonArray());
    EXPECT_FALSE(answer.contains("changes"));
    EXPECT_FALSE(answer.contains("did_not_fit_the_shape"));
    EXPECT_TRUE(answer["message"].toString().startsWith("The draft is open in Corvantis's Build panel."));

    // The Build chat of the graph holds it, in view; the graph itself is as it was.
    EXPECT_EQ(world.session().mode(), SessionMode::Graph);
    ASSERT_EQ(chat.turns().size(), 1);
    BuildTurn* turn = chat.turns()[0];
    EXPECT_EQ(json::uuidText(turn->id), answer["id"].toString());
    EXPECT_EQ(turn->source, QString("Claude Desktop"));
    EXPECT_EQ(turn->text, "Add Eve, who lives in Paris");
    EXPECT_EQ(turn->steps[0].title, "Received a draft from Claude Desktop");
    ASSERT_TRUE(chat.review());
    EXPECT_EQ(chat.review()->nodes.size(), 2);
    EXPECT_EQ(world.storedCount("MATCH (p:Person) RETURN p.id"), people);
    EXPECT_EQ(world.storedCount("MATCH (c:City) RETURN c.id"), 1);
    EXPECT_EQ(world.session().nodes().size(), 3);

    std::tie(text, isError) = client.tool("check_proposal", {{"id", answer["id"]}});
    EXPECT_FALSE(isError);
    EXPECT_EQ(parsed(text), (QJsonObject{{"status", "waiting for review"},
                                         {"message", "The person hasn't added or discarded it yet."}}));

    // The person's Apply is the one thing that writes.
    chat.add();
    EXPECT_EQ(world.storedCount("MATCH (p:Person) WHERE p.name = 'Eve' RETURN p.age"), 1);
    EXPECT_EQ(world.session()
                  .store()
                  ->runReadOnly("MATCH (p:Person) WHERE p.name = 'Eve' RETURN p.age", 1)
                  .rows[0][0],
              GraphValue::number(41));
    std::tie(text, isError) = client.tool("check_proposal", {{"id", answer["id"]}});
    EXPECT_EQ(parsed(text), (QJsonObject{{"status", "added"},
                                         {"nodes_added", 2},
                                         {"relationships_added", 1},
                                         {"matched_to_existing", 0},
                                         {"properties_added", 0},
                                         {"nodes_removed", 0},
                                         {"relationships_removed", 0},
                                         {"edited", 0}}));

    // The same nodes again: now they are already in the graph.
    std::tie(text, isError) = client.tool("propose_changes", proposal("Eve again."));
    ASSERT_FALSE(isError) << text.toStdString();
    EXPECT_EQ(parsed(text)["already_in_graph"], (QJsonArray{"Eve", "Paris"}));
}

TEST(MCPReceivedDrafts, DiscardedAndReplacedDraftsSaySoAndUnfitPartsAreTold) {
    World world;
    NamedClient client(world.ports.base());
    BuildChat& chat = world.session().builds().graph();

    const QString first = parsed(client.tool("propose_changes", proposal("First.")).first)["id"].toString();
    auto [text, isError] = client.tool("propose_changes", proposal("Second."));
    const QString second = parsed(text)["id"].toString();
    ASSERT_FALSE(second.isEmpty());
    EXPECT_NE(first, second);
    EXPECT_EQ(parsed(client.tool("check_proposal", {{"id", first}}).first),
              (QJsonObject{{"status", "replaced"},
                           {"message", "A later draft took its place before it was added."}}));

    chat.discard();
    EXPECT_EQ(parsed(client.tool("check_proposal", {{"id", second}}).first),
              (QJsonObject{{"status", "discarded"}}));
    EXPECT_EQ(world.storedCount("MATCH (p:Person) RETURN p.id"), 2);

    // All of it unusable: it still opens, and the sentences reach the client.
    const QJsonObject dragon{
        {"ref", "n1"}, {"type", "Dragon"}, {"properties", QJsonObject{{"Name", "Smaug"}}}};
    std::tie(text, isError) =
        client.tool("propose_changes", {{"nodes", QJsonArray{dragon}}, {"summary", "A dragon."}});
    ASSERT_FALSE(isError) << text.toStdString();
    const QJsonObject unfit = parsed(text);
    EXPECT_EQ(unfit["nodes"], 0);
    ASSERT_EQ(unfit["did_not_fit_the_shape"].toArray().size(), 1);
    EXPECT_TRUE(unfit["did_not_fit_the_shape"][0].toString().contains("Dragon"));
    ASSERT_TRUE(chat.review());
    EXPECT_EQ(chat.review()->skipped, (QStringList{unfit["did_not_fit_the_shape"][0].toString()}));

    // A change whose query writes stays a problem the client can read.
    const QJsonObject change{
        {"action", "remove"}, {"description", "Remove London"}, {"query", "MATCH (c:City) DETACH DELETE c"}};
    std::tie(text, isError) =
        client.tool("propose_changes", {{"changes", QJsonArray{change}}, {"summary", "No London."}});
    ASSERT_FALSE(isError) << text.toStdString();
    const QJsonArray changes = parsed(text)["changes"].toArray();
    ASSERT_EQ(changes.size(), 1);
    EXPECT_EQ(changes[0]["summary"], "Remove London");
    EXPECT_EQ(changes[0]["found"], QJsonArray());
    EXPECT_FALSE(changes[0]["problem"].toString().isEmpty());
    EXPECT_EQ(world.storedCount("MATCH (c:City) RETURN c.id"), 1);

    // A new conversation forgets them.
    ASSERT_TRUE(chat.reset());
    std::tie(text, isError) = client.tool("check_proposal", {{"id", second}});
    EXPECT_TRUE(isError);
    EXPECT_TRUE(
        text.startsWith("No draft with that id is in the open project's current Build conversation."));
}

TEST(MCPReceivedDrafts, ShapeAdditionsApplyAtOnceAndOneUndoRemovesThem) {
    World world;
    NamedClient client(world.ports.base());
    UndoStack undo; // the window's
    world.session().setUndoStack(&undo);
    const GraphSchema before = world.session().project().schema;
    const QJsonObject book{{"name", "Book"},
                           {"title", "Title"},
                           {"properties", QJsonArray{QJsonObject{{"name", "Title"}, {"kind", "text"}},
                                                     QJsonObject{{"name", "Pages"}, {"kind", "number"}}}}};
    const QJsonObject wrote{{"name", "wrote"}, {"from", "Person"}, {"to", "Book"}};
    const QJsonObject additions{{"types", QJsonArray{book}},
                                {"relationships", QJsonArray{wrote}},
                                {"summary", "Books people wrote."}};
    auto [text, isError] = client.tool("design_shape", additions);
    ASSERT_FALSE(isError) << text.toStdString();
    EXPECT_EQ(parsed(text),
              (QJsonObject{{"types_added", 1},
                           {"properties_added", 2},
                           {"relationships_added", 1},
                           {"message", "Added to the shape. The person can undo it in Corvantis. "
                                       "Call get_shape to see it as it is now."}}));
    EXPECT_TRUE(world.session().project().schema.nodeTypeForTable("Book"));
    BuildChat& shapeChat = world.session().builds().shape();
    ASSERT_EQ(shapeChat.turns().size(), 1);
    EXPECT_EQ(shapeChat.turns()[0]->steps[0].title, "Received additions from Claude Desktop");
    EXPECT_TRUE(client.tool("get_shape").first.contains("- Book: Title (text), Pages (number)"));
    // The graph's nodes are untouched; the database holds the new table.
    EXPECT_EQ(world.storedCount("MATCH (b:Book) RETURN b.id"), 0);

    std::tie(text, isError) = client.tool("design_shape", additions);
    EXPECT_EQ(parsed(text)["message"], "Nothing new: the shape already has all of that.");

    EXPECT_TRUE(shapeChat.turns()[0]->undoable);
    undo.undo();
    EXPECT_EQ(world.session().project().schema, before);
    EXPECT_FALSE(client.tool("get_shape").first.contains("Book"));
}

TEST(MCPReceivedDrafts, AProposalWhileATurnRunsIsRefusedAndTheTurnGoesOn) {
    ToolHome tools;
    World world;
    NamedClient client(world.ports.base());
    BuildChat& chat = world.session().builds().graph();
    ToolHome::scenario("slow");
    chat.setDraftText("Something slow");
    ASSERT_TRUE(chat.send(BuildChat::Using{AIProvider::claude, AIModel::resolve("claude-sonnet-5-5"),
                                           AIEffort::high, nullptr}));
    BuildTurn* running = chat.turns().last();
    ASSERT_TRUE(running->isRunning());

    auto [text, isError] = client.tool("propose_changes", proposal("Eve."));
    EXPECT_TRUE(isError);
    EXPECT_EQ(text, "Corvantis is already working on a draft in its Build panel. Try again in a moment.");
    EXPECT_EQ(chat.turns().size(), 1);
    EXPECT_TRUE(running->isRunning());
    std::tie(text, isError) = client.tool("check_proposal", {{"id", json::uuidText(running->id)}});
    EXPECT_EQ(parsed(text)["status"], "waiting for review");

    BuildChat& shapeChat = world.session().builds().shape();
    shapeChat.setDraftText("A slow shape");
    ASSERT_TRUE(shapeChat.send(BuildChat::Using{AIProvider::claude, AIModel::resolve("claude-sonnet-5-5"),
                                                AIEffort::high, nullptr}));
    const QJsonObject idea{{"name", "Idea"}, {"properties", QJsonArray{}}};
    std::tie(text, isError) = client.tool("design_shape", {{"types", QJsonArray{idea}}});
    EXPECT_TRUE(isError);
    EXPECT_EQ(text, "Corvantis is already working on the shape in its Build panel. Try again in a moment.");
    EXPECT_FALSE(world.session().project().schema.nodeTypeForTable("Idea"));
    chat.stop();
    shapeChat.stop();
    EXPECT_EQ(running->status, BuildTurnRecord::Status::Stopped);
}
