#include "app/mcp/MCPTools.h"

#include "app/build/SessionBuilds.h"
#include "app/canvas/CanvasState.h"
#include "app/canvas/CanvasViews.h"
#include "tests/app/mcp/MCPTestSupport.h"
#include "tests/support/QtPrinters.h"

#include <QJsonArray>
#include <QSignalSpy>

using namespace corvantis;
using namespace corvantis::test;

namespace {

QJsonValue parsed(const QString& text) {
    const QJsonDocument document = QJsonDocument::fromJson(text.toUtf8());
    return document.isArray() ? QJsonValue(document.array()) : QJsonValue(document.object());
}

} // namespace

TEST(MCPTools, ListsProjectsWithTheSizesThatAreKnown) {
    World world;
    LineClient client(world.ports.base());
    const auto [text, isError] = client.tool("list_projects");
    ASSERT_FALSE(isError) << text.toStdString();
    const QJsonArray projects = parsed(text).toArray();
    ASSERT_EQ(projects.size(), 2);
    QJsonObject open, closed;
    for (const QJsonValue& value : projects)
        (value.toObject().value("open").toBool() ? open : closed) = value.toObject();
    EXPECT_EQ(open, (QJsonObject{{"id", json::uuidText(world.project.id)},
                                 {"name", "Friends"},
                                 {"open", true},
                                 {"node_types", 2},
                                 {"nodes", 3},
                                 {"relationships", 2}}));
    EXPECT_EQ(closed.value("name").toString(), "Empty one");
    EXPECT_EQ(closed.value("node_types").toInt(), 0);
    EXPECT_TRUE(closed.value("nodes").isNull());
    EXPECT_TRUE(closed.value("relationships").isNull());
}

TEST(MCPTools, GetShapeTellsTheShapeAndSize) {
    World world;
    LineClient client(world.ports.base());
    const auto [text, isError] = client.tool("get_shape");
    EXPECT_FALSE(isError);
    EXPECT_TRUE(text.startsWith("Project: Friends\n\nNode types (property: kind; the first is the title):\n"
                                "- Person: Name (text), Age (number)\n- City: Name (text)"))
        << text.toStdString();
    EXPECT_TRUE(text.contains("- LIVES_IN: Person → City — properties: Since (text)"));
    EXPECT_TRUE(text.endsWith("The graph holds 3 nodes and 2 relationships."));
}

TEST(MCPTools, RunCypherReadsAndRefusesWritesWithoutTouchingTheGraph) {
    World world;
    LineClient client(world.ports.base());
    auto [text, isError] =
        client.tool("run_cypher", {{"query", "MATCH (p:Person) RETURN p.name AS name, p ORDER BY name"}});
    ASSERT_FALSE(isError) << text.toStdString();
    QJsonObject result = parsed(text).toObject();
    EXPECT_EQ(result.value("columns").toArray(), (QJsonArray{"name", "p"}));
    EXPECT_EQ(result.value("total_rows").toInt(), 2);
    EXPECT_FALSE(result.value("truncated").toBool());
    const QJsonArray first = result.value("rows").toArray().first().toArray();
    EXPECT_EQ(first.at(0).toString(), "Ada Lovelace");
    EXPECT_EQ(first.at(1).toObject().value("properties").toObject().value("Age").toDouble(), 36);
    EXPECT_EQ(first.at(1).toObject().value("type").toString(), "Person");

    std::tie(text, isError) =
        client.tool("run_cypher", {{"query", "CREATE (p:Person {id: 'X', name: 'Eve'}) RETURN p"}});
    EXPECT_TRUE(isError);
    EXPECT_TRUE(text.startsWith("run_cypher only reads the graph, so it didn't run this: "))
        << text.toStdString();
    EXPECT_TRUE(
        text.endsWith(" To add, edit or remove, use propose_changes; the person reviews it in Corvantis."));
    EXPECT_EQ(world.storedCount("MATCH (p:Person) RETURN p.id"), 2);
    EXPECT_EQ(world.session().nodes().size(), 3);

    std::tie(text, isError) =
        client.tool("run_cypher", {{"query", "UNWIND range(1, 1500) AS x RETURN x"}, {"limit", 5000}});
    ASSERT_FALSE(isError) << text.toStdString();
    result = parsed(text).toObject();
    EXPECT_EQ(result.value("rows").toArray().size(), 1000);
    EXPECT_EQ(result.value("total_rows").toInt(), 1500);
    EXPECT_TRUE(result.value("truncated").toBool());
    EXPECT_TRUE(text.contains("[[1],[2],[3]")) << "whole numbers stay whole";

    std::tie(text, isError) = client.tool("run_cypher", {{"query", "  "}});
    EXPECT_EQ(text, "Give a Cypher query.");
    EXPECT_TRUE(isError);
    std::tie(text, isError) = client.tool("run_cypher", {{"query", "MATCH (n:Nowhere) RETURN n"}});
    EXPECT_TRUE(isError);
    EXPECT_FALSE(text.isEmpty());
}

TEST(MCPTools, GetNodeGivesPropertiesAndRelationshipsByShownNames) {
    World world;
    LineClient client(world.ports.base());
    auto [text, isError] = client.tool("get_node", {{"id", world.ada}});
    ASSERT_FALSE(isError) << text.toStdString();
    const QJsonObject node = parsed(text).toObject();
    EXPECT_EQ(node.value("title").toString(), "Ada Lovelace");
    EXPECT_EQ(node.value("properties").toObject(), (QJsonObject{{"Name", "Ada Lovelace"}, {"Age", 36}}));
    const QJsonArray rels = node.value("relationships").toArray();
    ASSERT_EQ(rels.size(), 1);
    EXPECT_EQ(
        rels.first().toObject(),
        (QJsonObject{{"type", "lives in"},
                     {"direction", "outgoing"},
                     {"other", QJsonObject{{"id", world.london}, {"title", "London"}, {"type", "City"}}},
                     {"properties", QJsonObject{{"Since", "1835"}}}}));
    const QJsonObject city = parsed(client.tool("get_node", {{"id", world.london}}).first).toObject();
    EXPECT_EQ(city.value("relationships").toArray().size(), 2);
    EXPECT_EQ(city.value("relationships").toArray().first().toObject().value("direction").toString(),
              "incoming");

    std::tie(text, isError) = client.tool("get_node", {{"id", "NOPE"}});
    EXPECT_TRUE(isError);
    EXPECT_EQ(text, "No node has the id NOPE. search finds nodes by name.");
}

TEST(MCPTools, SearchByWordsAndItsRefusals) {
    World world;
    LineClient client(world.ports.base());
    auto [text, isError] = client.tool("search", {{"query", "lovelace"}});
    ASSERT_FALSE(isError);
    QJsonObject found = parsed(text).toObject();
    EXPECT_EQ(found.value("total").toInt(), 1);
    EXPECT_EQ(found.value("results").toArray().first().toObject().value("id").toString(), world.ada);

    found = parsed(client.tool("search", {{"query", "london"}, {"limit", "1"}}).first).toObject();
    EXPECT_EQ(found.value("results").toArray().size(), 1);
    EXPECT_EQ(found.value("results").toArray().first().toObject().value("title").toString(), "London");

    std::tie(text, isError) = client.tool("search", {{"query", " "}});
    EXPECT_EQ(text, "Say what to search for.");
    EXPECT_TRUE(isError);
    std::tie(text, isError) = client.tool("search", {{"query", "--"}});
    EXPECT_EQ(text, "Search for a word, a name or a number.");
    std::tie(text, isError) = client.tool("search", {{"query", "ada"}, {"by", "meaning"}});
    EXPECT_EQ(text,
              "This shape embeds no text, so there's nothing to search by meaning. Search by words instead.");
    EXPECT_TRUE(isError);
}

TEST(MCPTools, OpenAndCreateProjects) {
    World world;
    LineClient client(world.ports.base());
    auto [text, isError] = client.tool("open_project", {{"project", "empty ONE"}});
    EXPECT_FALSE(isError);
    EXPECT_EQ(
        text,
        "This project's shape is empty: it has no node types yet, so it can't hold nodes. Add types with "
        "design_shape.");
    EXPECT_EQ(world.app->session()->project().name, "Empty one");
    // A draft for a project whose shape is empty.
    const QJsonObject node{{"ref", "n1"}, {"type", "Person"}};
    std::tie(text, isError) = client.tool("propose_changes", {{"nodes", QJsonArray{node}}});
    EXPECT_EQ(
        text,
        "This project's shape is empty, so it can't hold nodes. Add node types with design_shape first.");

    std::tie(text, isError) =
        client.tool("open_project", {{"project", json::uuidText(world.project.id).toLower()}});
    EXPECT_TRUE(text.startsWith("Project: Friends")) << text.toStdString();
    EXPECT_EQ(world.app->session()->project().id, world.project.id);

    std::tie(text, isError) = client.tool("open_project", {{"project", "Nowhere"}});
    EXPECT_TRUE(isError);
    EXPECT_EQ(text, "No project is called “Nowhere”. list_projects shows them all.");

    ProjectLibrary(world.root()).create("friends");
    std::tie(text, isError) = client.tool("open_project", {{"project", "FRIENDS"}});
    EXPECT_EQ(text, "More than one project is called “FRIENDS”. Open it by id, from list_projects.");

    std::tie(text, isError) = client.tool("create_project", {{"name", "  Trips "}});
    EXPECT_FALSE(isError);
    EXPECT_EQ(text, "The project is open and its shape is empty. Add node types and relationship types with "
                    "design_shape.");
    EXPECT_EQ(world.app->session()->project().name, "Trips");
    EXPECT_EQ(parsed(client.tool("list_projects").first).toArray().size(), 4);
}

TEST(MCPTools, ToolsThatNeedAProjectSaySoAndMalformedDraftsAreRefused) {
    World world;
    LineClient client(world.ports.base());
    auto [text, isError] = client.tool("propose_changes", {{"nodes", QJsonArray()}, {"summary", "x"}});
    EXPECT_EQ(text, "The draft is empty: give nodes, relationships or changes.");
    EXPECT_TRUE(isError);
    EXPECT_TRUE(world.session().builds().graph().turns().isEmpty());
    std::tie(text, isError) = client.tool("propose_changes", {{"nodes", "Eve"}});
    EXPECT_EQ(text, "the draft didn't match propose_changes's format");
    EXPECT_TRUE(isError);
    std::tie(text, isError) = client.tool("design_shape", {{"summary", "nothing"}});
    EXPECT_EQ(text, "Nothing to add: give types or relationships.");
    const QJsonObject dated{{"name", "Event"},
                            {"properties", QJsonArray{QJsonObject{{"name", "On"}, {"kind", "date"}}}}};
    std::tie(text, isError) = client.tool("design_shape", {{"types", QJsonArray{dated}}});
    EXPECT_TRUE(text.startsWith("a property's kind must be one of text, number, link or boolean"))
        << text.toStdString();
    EXPECT_EQ(world.session().project().schema.nodeTypes.size(), 2);
    std::tie(text, isError) = client.tool("show_nodes", {{"ids", QJsonArray{"NOPE"}}});
    EXPECT_EQ(text, "None of those ids is a node in the open project.");
    EXPECT_TRUE(isError);
    std::tie(text, isError) = client.tool("check_proposal", {{"id", "12"}});
    EXPECT_TRUE(isError);
    EXPECT_TRUE(
        text.startsWith("No draft with that id is in the open project's current Build conversation."));

    world.app->showGallery();
    const QString none =
        "No project is open in Corvantis. Call list_projects, then open_project or create_project.";
    for (const char* tool : {"get_shape", "search", "run_cypher", "get_node", "propose_changes",
                             "check_proposal", "design_shape", "show_nodes"}) {
        std::tie(text, isError) = client.tool(tool, {{"query", "x"}, {"id", "x"}});
        EXPECT_EQ(text, none) << tool;
        EXPECT_TRUE(isError) << tool;
    }
    EXPECT_FALSE(client.tool("list_projects").second);
}

TEST(MCPTools, ShowNodesBringsThemOntoTheGraphCanvas) {
    World world;
    LineClient client(world.ports.base());
    CanvasState& canvas = world.session().canvases().graph();
    canvas.hide(QSet<QString>{world.ada, world.charles, world.london});
    ASSERT_FALSE(canvas.shown().contains(world.ada));
    world.session().setMode(SessionMode::Shape);
    QSignalSpy front(world.app.get(), &AppModel::frontRequested);

    const auto [text, isError] =
        client.tool("show_nodes", {{"ids", QJsonArray{world.ada, "NOPE", world.london, world.ada}}});
    EXPECT_FALSE(isError) << text.toStdString();
    EXPECT_EQ(text, "Corvantis shows 2 nodes on its canvas, framed for the person to see.");
    EXPECT_TRUE(canvas.shown().contains(world.ada));
    EXPECT_TRUE(canvas.shown().contains(world.london));
    EXPECT_FALSE(canvas.shown().contains(world.charles));
    EXPECT_EQ(world.session().mode(), SessionMode::Graph);
    EXPECT_EQ(front.count(), 1);
}

TEST(MCPTools, OneHundredQueriesOnOneConnectionAreAllAnswered) {
    World world;
    LineClient client(world.ports.base());
    for (int i = 0; i < 100; ++i) {
        const QJsonObject arguments{{"query", QString("RETURN %1 AS n").arg(i)}};
        const QJsonObject params{{"name", "run_cypher"}, {"arguments", arguments}};
        client.send(QJsonObject{{"jsonrpc", "2.0"}, {"id", i}, {"method", "tools/call"}, {"params", params}});
    }
    const QHash<QString, QJsonObject> answers = client.answers(100, 120000);
    ASSERT_EQ(answers.size(), 100);
    for (int i = 0; i < 100; ++i) {
        const QJsonObject result = answers.value(idKey(i)).value("result").toObject();
        const QString text = result.value("content").toArray().first().toObject().value("text").toString();
        EXPECT_EQ(parsed(text).toObject().value("rows").toArray(), (QJsonArray{QJsonArray{i}})) << i;
    }
}
