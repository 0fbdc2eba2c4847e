#include "app/mcp/MCPTools.h"

#include "app/app/AppModel.h"
#include "app/build/BuildChat.h"
#include "app/build/SessionBuilds.h"
#include "app/canvas/CanvasState.h"
#include "app/canvas/CanvasViews.h"
#include "app/graph/ProjectSession.h"
#include "app/mcp/MCPToolError.h"
#include "kit/mcp/CorvantisMCP.h"
#include "kit/mcp/MCPDraftReading.h"
#include "kit/mcp/MCPRecords.h"
#include "kit/mcp/MCPShapeText.h"
#include "kit/mcp/MCPWordSearch.h"
#include "kit/query/CypherGuard.h"
#include "kit/support/Counted.h"
#include "kit/support/Json.h"

#include <QJsonArray>
#include <QtConcurrent/QtConcurrentRun>
#include <qcoro/qcorofuture.h>
#include <variant>

namespace corvantis {

namespace {

QString quoted(const QString& text) {
    return QString::fromUtf8("“") + text + QString::fromUtf8("”");
}

QString argument(const QJsonObject& arguments, const QString& key) {
    return CorvantisMCP::text(arguments.value(key)).value_or(QString()).trimmed();
}

} // namespace

MCPTools::MCPTools(AppModel* app, QObject* parent)
    : QObject(parent)
    , m_app(app) {
}

ProjectSession* MCPTools::session() const {
    ProjectSession* open = m_app ? m_app->session() : nullptr;
    if (!open)
        throw MCPToolError(
            QStringLiteral("No project is open in Corvantis. Call list_projects, then open_project "
                           "or create_project."));
    if (open->graphUnavailable() || !open->store())
        throw MCPToolError(
            quoted(open->project().name) +
            QStringLiteral(" is open, but its graph couldn't be opened. The person can see why in "
                           "Corvantis."));
    return open;
}

QCoro::Task<MCPToolResult> MCPTools::call(QString name, QJsonObject arguments, MCPClient client) {
    try {
        if (name == QLatin1String("list_projects"))
            co_return listProjects();
        if (name == QLatin1String("open_project"))
            co_return openProject(arguments);
        if (name == QLatin1String("create_project"))
            co_return createProject(arguments);
        if (name == QLatin1String("get_shape"))
            co_return getShape();
        if (name == QLatin1String("search"))
            co_return search(arguments);
        if (name == QLatin1String("run_cypher"))
            co_return co_await runCypher(arguments);
        if (name == QLatin1String("get_node"))
            co_return getNode(arguments);
        if (name == QLatin1String("check_proposal"))
            co_return checkProposal(arguments);
        if (name == QLatin1String("show_nodes"))
            co_return showNodes(arguments);
        if (name == QLatin1String("propose_changes"))
            co_return co_await proposeChanges(arguments, client.name);
        if (name == QLatin1String("design_shape"))
            co_return designShape(arguments, client.name);
        co_return MCPToolResult(QStringLiteral("Corvantis has no tool called ") + name, true);
    } catch (const UserFacingError& error) {
        co_return MCPToolResult(error.message(), true);
    } catch (const json::DecodeError& error) {
        co_return MCPToolResult(QString::fromUtf8(error.what()), true);
    } catch (const Cancelled&) {
        co_return MCPToolResult(
            QStringLiteral("The person stopped the draft in Corvantis before it opened. Nothing is in the "
                           "graph."),
            true);
    }
}

MCPToolResult MCPTools::listProjects() const {
    if (!m_app)
        return MCPToolResult(QStringLiteral("[]"));
    const ProjectSession* open = m_app->session();
    QJsonArray list;
    for (const Project& listed : m_app->library().projects()) {
        const bool isOpen = open && open->project().id == listed.id;
        const Project& project = isOpen ? open->project() : listed;
        QJsonObject entry{
            {QStringLiteral("id"), json::uuidText(project.id)},
            {QStringLiteral("name"), project.name},
            {QStringLiteral("open"), isOpen},
            {QStringLiteral("node_types"), project.schema.nodeTypes.size()},
        };
        // Only the open project's size is known without opening its database.
        const bool counted = isOpen && !open->graphUnavailable();
        entry.insert(QStringLiteral("nodes"), counted ? QJsonValue(open->nodes().size()) : QJsonValue::Null);
        entry.insert(QStringLiteral("relationships"),
                     counted ? QJsonValue(open->rels().size()) : QJsonValue::Null);
        list.append(entry);
    }
    return MCPToolResult::json(list);
}

MCPToolResult MCPTools::openProject(const QJsonObject& arguments) {
    const QString wanted = argument(arguments, QStringLiteral("project"));
    if (wanted.isEmpty())
        throw MCPToolError(
            QStringLiteral("Say which project to open, by its name or id from list_projects."));
    const QList<Project> projects = m_app->library().projects();
    std::optional<Project> found;
    if (auto id = json::parseUuid(wanted)) {
        for (const Project& project : projects)
            if (project.id == *id)
                found = project;
    }
    if (!found) {
        QList<Project> named;
        for (const Project& project : projects)
            if (QString::compare(project.name, wanted, Qt::CaseInsensitive) == 0)
                named << project;
        if (named.size() > 1)
            throw MCPToolError(QStringLiteral("More than one project is called ") + quoted(wanted) +
                               QStringLiteral(". Open it by id, from list_projects."));
        if (named.isEmpty())
            throw MCPToolError(QStringLiteral("No project is called ") + quoted(wanted) +
                               QStringLiteral(". list_projects shows them all."));
        found = named.first();
    }
    m_app->open(*found);
    return getShape();
}

MCPToolResult MCPTools::createProject(const QJsonObject& arguments) {
    const QString name = argument(arguments, QStringLiteral("name"));
    if (name.isEmpty())
        throw MCPToolError(QStringLiteral("Give the new project a name."));
    const Project project = m_app->library().create(name);
    m_app->refresh();
    m_app->open(project);
    return MCPToolResult(
        QStringLiteral("The project is open and its shape is empty. Add node types and relationship "
                       "types with design_shape."));
}

MCPToolResult MCPTools::getShape() const {
    const ProjectSession* open = session();
    return MCPToolResult(CorvantisMCP::shape(open->project().name, open->project().schema,
                                             open->nodes().size(), open->rels().size()));
}

MCPToolResult MCPTools::search(const QJsonObject& arguments) const {
    const ProjectSession* open = session();
    const QString text = argument(arguments, QStringLiteral("query"));
    if (text.isEmpty())
        throw MCPToolError(QStringLiteral("Say what to search for."));
    const int limit = CorvantisMCP::limit(arguments, QStringLiteral("limit"), 25, 1, 200);
    const GraphSchema& schema = open->project().schema;
    if (argument(arguments, QStringLiteral("by")) == QLatin1String("meaning")) {
        if (schema.embeddedProperties().isEmpty())
            throw MCPToolError(
                QStringLiteral("This shape embeds no text, so there's nothing to search by meaning. "
                               "Search by words instead."));
        // This build has no embedding model to search with.
        throw MCPToolError(
            QStringLiteral("The embedding model for search by meaning isn't on this computer yet; "
                           "the person can download it in Corvantis's Settings. Search by words "
                           "instead."));
    }
    const LooseQuery query(text);
    if (query.isEmpty())
        throw MCPToolError(QStringLiteral("Search for a word, a name or a number."));
    return MCPToolResult::json(CorvantisMCP::searchWords(query, limit, schema, open->nodes(), open->rels()));
}

QCoro::Task<MCPToolResult> MCPTools::runCypher(QJsonObject arguments) {
    const ProjectSession* open = session();
    const QString query = argument(arguments, QStringLiteral("query"));
    if (query.isEmpty())
        throw MCPToolError(QStringLiteral("Give a Cypher query."));
    try {
        CypherGuard::check(query);
    } catch (const CypherGuard::Violation& refusal) {
        throw MCPToolError(
            QStringLiteral("run_cypher only reads the graph, so it didn't run this: ") + refusal.message() +
            QStringLiteral(" To add, edit or remove, use propose_changes; the person reviews it in "
                           "Corvantis."));
    }
    const int limit = CorvantisMCP::limit(arguments, QStringLiteral("limit"), 100, 1, 1000);
    const GraphSchema schema = open->project().schema;
    std::shared_ptr<GraphStore> store = open->store();
    using Outcome = std::variant<QueryOutput, QString>;
    // The work and its future are named: GCC mishandles temporaries inside a co_await expression.
    auto work = [store, query, limit]() -> Outcome {
        try {
            return store->runReadOnly(query, limit);
        } catch (const UserFacingError& error) {
            return error.message();
        }
    };
    QFuture<Outcome> future = QtConcurrent::run(work);
    const Outcome outcome = co_await future;
    if (const QString* failure = std::get_if<QString>(&outcome))
        co_return MCPToolResult(*failure, true);
    const QueryOutput& output = std::get<QueryOutput>(outcome);
    QJsonArray rows;
    for (const QList<GraphValue>& row : output.rows) {
        QJsonArray cells;
        for (const GraphValue& cell : row)
            cells.append(CorvantisMCP::json(cell, schema));
        rows.append(cells);
    }
    co_return MCPToolResult::json(QJsonObject{
        {QStringLiteral("columns"), QJsonArray::fromStringList(output.columns)},
        {QStringLiteral("rows"), rows},
        {QStringLiteral("total_rows"), output.totalRows},
        {QStringLiteral("truncated"), output.totalRows > output.rows.size()},
    });
}

MCPToolResult MCPTools::getNode(const QJsonObject& arguments) const {
    const ProjectSession* open = session();
    const QString id = argument(arguments, QStringLiteral("id"));
    const auto found = open->nodes().constFind(id);
    if (found == open->nodes().cend())
        throw MCPToolError(QStringLiteral("No node has the id ") + id +
                           QStringLiteral(". search finds nodes by name."));
    const GraphSchema& schema = open->project().schema;
    QJsonObject node = CorvantisMCP::json(*found, schema);
    QJsonArray relationships;
    for (const RelRecord& rel : open->rels()) {
        if (rel.from != id && rel.to != id)
            continue;
        const RelType* type = schema.relTypeForTable(rel.label);
        const QString otherId = rel.from == id ? rel.to : rel.from;
        QJsonObject other{{QStringLiteral("id"), otherId}};
        if (auto otherNode = open->nodes().constFind(otherId); otherNode != open->nodes().cend()) {
            const NodeType* otherType = schema.nodeTypeForTable(otherNode->label);
            other.insert(QStringLiteral("title"), otherNode->title(otherType));
            other.insert(QStringLiteral("type"), otherType ? otherType->name : otherNode->label);
        }
        relationships.append(QJsonObject{
            {QStringLiteral("type"), type ? type->name : rel.label},
            {QStringLiteral("direction"),
             rel.from == id ? QStringLiteral("outgoing") : QStringLiteral("incoming")},
            {QStringLiteral("other"), other},
            {QStringLiteral("properties"),
             CorvantisMCP::named(rel.properties, type ? &type->properties : nullptr, schema)},
        });
    }
    node.insert(QStringLiteral("relationships"), relationships);
    return MCPToolResult::json(node);
}

QCoro::Task<MCPToolResult> MCPTools::proposeChanges(QJsonObject arguments, QString from) {
    ProjectSession* open = session();
    const QJsonObject read = CorvantisMCP::graphDraft(arguments);
    if (open->project().schema.nodeTypes.isEmpty())
        throw MCPToolError(
            QStringLiteral("This project's shape is empty, so it can't hold nodes. Add node types "
                           "with design_shape first."));
    if (CorvantisMCP::isEmptyGraphDraft(read))
        throw MCPToolError(QStringLiteral("The draft is empty: give nodes, relationships or changes."));
    const GraphDraft draft = GraphDraft::fromJson(read);
    const QString request =
        CorvantisMCP::text(arguments.value(QStringLiteral("request"))).value_or(QString());

    // The graph's Build panel comes into view with the draft in it.
    open->setMode(SessionMode::Graph);
    emit frontRequested();
    QPointer<ProjectSession> guarded(open);
    QCoro::Task<BuildChat::Received> receiving = open->builds().graph().receive(draft, request, from);
    const BuildChat::Received received = co_await std::move(receiving);
    if (!guarded)
        throw MCPToolError(QStringLiteral("The project was closed before the draft opened."));
    const GraphReview& review = received.review;
    const GraphSchema& schema = guarded->project().schema;

    QJsonArray already;
    QJsonArray possible;
    for (const GraphReview::Node& node : review.nodes) {
        const NodeType* type = schema.nodeType(node.type);
        const PropertyDef* title = type ? type->title() : nullptr;
        const QString name =
            title ? node.properties.value(title->column()).titleText().value_or(node.id) : node.id;
        if (node.target && !node.matches.isEmpty() && node.matches.first().isSameName())
            already.append(name);
        else if (!node.matches.isEmpty())
            possible.append(name);
    }
    QJsonObject answer{
        {QStringLiteral("id"), json::uuidText(received.turn->id)},
        {QStringLiteral("status"), QStringLiteral("waiting for review")},
        {QStringLiteral("nodes"), review.nodes.size()},
        {QStringLiteral("relationships"), review.relationships.size()},
        {QStringLiteral("already_in_graph"), already},
        {QStringLiteral("possible_duplicates"), possible},
        {QStringLiteral("message"),
         QStringLiteral("The draft is open in Corvantis's Build panel. Nothing is in the graph yet: ask the "
                        "person to review it there and add it. check_proposal tells you what they "
                        "decided.")},
    };
    QJsonArray changes;
    for (const GraphReview::Change& change : review.changes) {
        QJsonObject entry{
            {QStringLiteral("summary"), change.summary},
            {QStringLiteral("action"), change.action == GraphReview::Change::Action::Remove
                                           ? QStringLiteral("remove")
                                           : QStringLiteral("update")},
            {QStringLiteral("found"), QJsonArray::fromStringList(change.found())},
        };
        if (change.problem)
            entry.insert(QStringLiteral("problem"), *change.problem);
        changes.append(entry);
    }
    if (!changes.isEmpty())
        answer.insert(QStringLiteral("changes"), changes);
    if (!review.skipped.isEmpty())
        answer.insert(QStringLiteral("did_not_fit_the_shape"), QJsonArray::fromStringList(review.skipped));
    co_return MCPToolResult::json(answer);
}

MCPToolResult MCPTools::designShape(const QJsonObject& arguments, const QString& from) {
    ProjectSession* open = session();
    const QJsonObject read = CorvantisMCP::shapeDraft(arguments);
    if (CorvantisMCP::isEmptyShapeDraft(read))
        throw MCPToolError(QStringLiteral("Nothing to add: give types or relationships."));
    const ShapeDraft draft = ShapeDraft::fromJson(read);
    const QString request =
        CorvantisMCP::text(arguments.value(QStringLiteral("request"))).value_or(QString());
    const ShapeMergeResult merged = open->builds().shape().receive(draft, request, from);
    return MCPToolResult::json(QJsonObject{
        {QStringLiteral("types_added"), merged.types},
        {QStringLiteral("properties_added"), merged.properties},
        {QStringLiteral("relationships_added"), merged.relationships},
        {QStringLiteral("message"),
         merged.isEmpty() ? QStringLiteral("Nothing new: the shape already has all of that.")
                          : QStringLiteral("Added to the shape. The person can undo it in Corvantis. Call "
                                           "get_shape to see it as it is now.")},
    });
}

MCPToolResult MCPTools::checkProposal(const QJsonObject& arguments) const {
    const ProjectSession* open = session();
    const BuildTurn* turn = open->builds().graph().turn(argument(arguments, QStringLiteral("id")));
    if (!turn)
        throw MCPToolError(
            QStringLiteral("No draft with that id is in the open project's current Build conversation. "
                           "It may belong to another project, or the person started a new "
                           "conversation."));
    using Status = BuildTurnRecord::Status;
    if (turn->added) {
        const GraphAdded& added = *turn->added;
        return MCPToolResult::json(QJsonObject{
            {QStringLiteral("status"), QStringLiteral("added")},
            {QStringLiteral("nodes_added"), added.nodes},
            {QStringLiteral("relationships_added"), added.relationships},
            {QStringLiteral("matched_to_existing"), added.matched},
            {QStringLiteral("properties_added"), added.filled},
            {QStringLiteral("nodes_removed"), added.removedNodes},
            {QStringLiteral("relationships_removed"), added.removedRelationships},
            {QStringLiteral("edited"), added.changed},
        });
    }
    if (turn->discarded)
        return MCPToolResult::json(QJsonObject{{QStringLiteral("status"), QStringLiteral("discarded")}});
    if (turn->revised)
        return MCPToolResult::json(
            QJsonObject{{QStringLiteral("status"), QStringLiteral("replaced")},
                        {QStringLiteral("message"),
                         QStringLiteral("A later draft took its place before it was added.")}});
    if (turn->status == Status::Failed || turn->status == Status::Stopped)
        return MCPToolResult::json(QJsonObject{
            {QStringLiteral("status"), QStringLiteral("failed")},
            {QStringLiteral("message"), turn->error.value_or(QStringLiteral("It couldn't be prepared."))}});
    return MCPToolResult::json(QJsonObject{
        {QStringLiteral("status"), QStringLiteral("waiting for review")},
        {QStringLiteral("message"), QStringLiteral("The person hasn't added or discarded it yet.")}});
}

MCPToolResult MCPTools::showNodes(const QJsonObject& arguments) {
    ProjectSession* open = session();
    QStringList ids;
    for (const QJsonValue& value : arguments.value(QStringLiteral("ids")).toArray())
        if (auto id = CorvantisMCP::text(value); id && open->nodes().contains(*id) && !ids.contains(*id))
            ids << *id;
    if (ids.isEmpty())
        throw MCPToolError(QStringLiteral("None of those ids is a node in the open project."));
    // On the graph's own canvas: the answer view steps aside, the nodes not yet there come on, and the
    // view frames them all.
    open->setMode(SessionMode::Graph);
    CanvasViews& views = open->canvases();
    if (views.showsAnswer())
        views.hideAnswer();
    CanvasState& canvas = views.graph();
    QStringList coming;
    for (const QString& id : std::as_const(ids))
        if (!canvas.shown().contains(id))
            coming << id;
    if (!coming.isEmpty())
        canvas.reveal(coming);
    canvas.fitGraph(QSet<QString>(ids.cbegin(), ids.cend()));
    emit frontRequested();
    return MCPToolResult(QStringLiteral("Corvantis shows ") + counted(ids.size(), QStringLiteral("node")) +
                         QStringLiteral(" on its canvas, framed for the person to see."));
}

} // namespace corvantis
