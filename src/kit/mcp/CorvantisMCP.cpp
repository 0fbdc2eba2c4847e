#include "kit/mcp/CorvantisMCP.h"

#include "kit/build/GraphBuilder.h"
#include "kit/build/ShapeDesigner.h"

#include <QStringList>
#include <cmath>
#include <limits>

namespace corvantis::CorvantisMCP {

namespace {

QJsonObject typed(const QString& type, const QString& description = QString()) {
    QJsonObject schema{{QStringLiteral("type"), type}};
    if (!description.isEmpty())
        schema.insert(QStringLiteral("description"), description);
    return schema;
}

QJsonObject arrayOf(const QJsonObject& items) {
    return QJsonObject{{QStringLiteral("type"), QStringLiteral("array")}, {QStringLiteral("items"), items}};
}

QJsonObject bounded(const QString& description, int minimum, int maximum) {
    QJsonObject schema = typed(QStringLiteral("integer"), description);
    schema.insert(QStringLiteral("minimum"), minimum);
    schema.insert(QStringLiteral("maximum"), maximum);
    return schema;
}

QJsonObject none() {
    return object(QJsonObject(), {});
}

MCPTool tool(const char* name, const char* title, bool readOnly, const char* description,
             const QJsonObject& schema) {
    return MCPTool{QString::fromUtf8(name), QString::fromUtf8(title), QString::fromUtf8(description), schema,
                   readOnly};
}

} // namespace

QJsonObject object(const QJsonObject& properties, const QStringList& required) {
    return QJsonObject{{QStringLiteral("type"), QStringLiteral("object")},
                       {QStringLiteral("properties"), properties},
                       {QStringLiteral("required"), QJsonArray::fromStringList(required)},
                       {QStringLiteral("additionalProperties"), false}};
}

namespace {

// A draft schema of the Build panel's, its summary told to the person and with the request beside it.
QJsonObject received(QJsonObject schema, const QString& summary) {
    QJsonObject properties = schema.value(QStringLiteral("properties")).toObject();
    properties.insert(QStringLiteral("summary"), typed(QStringLiteral("string"), summary));
    properties.insert(
        QStringLiteral("request"),
        typed(QStringLiteral("string"), QStringLiteral("What the person asked for, in their words.")));
    QStringList required;
    for (const QJsonValue& key : schema.value(QStringLiteral("required")).toArray())
        required << key.toString();
    return object(properties, required);
}

} // namespace

QJsonObject proposalSchema() {
    return received(GraphBuilder::outputSchema(),
                    QStringLiteral("One or two sentences, to the person, on what this draft does."));
}

QJsonObject shapeSchema() {
    return received(ShapeDesigner::outputSchema(),
                    QStringLiteral("One or two sentences, to the person, on what this adds."));
}

const QList<MCPTool>& tools() {
    static const QList<MCPTool> table = [] {
        const QJsonObject project{{QStringLiteral("project"),
                                   typed(QStringLiteral("string"),
                                         QStringLiteral("The project's name or id, from list_projects."))}};
        const QJsonObject name{
            {QStringLiteral("name"), typed(QStringLiteral("string"), QStringLiteral("What to "
                                                                                    "call it."))}};
        QJsonObject by = typed(QStringLiteral("string"), QStringLiteral("words (the default) or meaning."));
        by.insert(QStringLiteral("enum"), QJsonArray{QStringLiteral("words"), QStringLiteral("meaning")});
        const QJsonObject search{
            {QStringLiteral("query"), typed(QStringLiteral("string"), QStringLiteral("What to look for."))},
            {QStringLiteral("by"), by},
            {QStringLiteral("limit"),
             bounded(QStringLiteral("At most this many results; 25 unless given."), 1, 200)}};
        const QJsonObject cypher{
            {QStringLiteral("query"), typed(QStringLiteral("string"), QStringLiteral("The Cypher query."))},
            {QStringLiteral("limit"),
             bounded(QStringLiteral("At most this many rows; 100 unless given."), 1, 1000)}};
        const QJsonObject node{
            {QStringLiteral("id"), typed(QStringLiteral("string"), QStringLiteral("The node's "
                                                                                  "id."))}};
        const QJsonObject proposal{
            {QStringLiteral("id"),
             typed(QStringLiteral("string"), QStringLiteral("The id propose_changes returned."))}};
        QJsonObject ids = arrayOf(typed(QStringLiteral("string")));
        ids.insert(QStringLiteral("description"), QStringLiteral("Node ids."));

        return QList<MCPTool>{
            tool("list_projects", "List projects", true,
                 "The person's Corvantis projects: id, name, whether it's the one open, and its size.",
                 none()),
            tool(
                "open_project", "Open a project", false,
                "Opens a project in Corvantis, by name or id, so the other tools work on it. The person sees "
                "it open.",
                object(project, {QStringLiteral("project")})),
            tool("create_project", "Create a project", false,
                 "Creates a new, empty project and opens it. Give it a shape with design_shape next.",
                 object(name, {QStringLiteral("name")})),
            tool("get_shape", "Get the shape", true,
                 "The open project's shape: node types and their properties (the first is the title), "
                 "relationship types and the pairs each is allowed between, the database's names for Cypher, "
                 "the Cypher dialect, and how many nodes and relationships there are.",
                 none()),
            tool("search", "Search the graph", true,
                 "Finds nodes and relationships in the open project. by \"words\" matches names and text "
                 "(case, accents and punctuation don't count); by \"meaning\" runs vector search on the text "
                 "the shape embeds, on this computer.",
                 object(search, {QStringLiteral("query")})),
            tool("run_cypher", "Run a Cypher query", true,
                 "Runs one read-only Cypher query on the open project's graph and returns the rows. Use the "
                 "database names and dialect from get_shape. Anything that would write is refused.",
                 object(cypher, {QStringLiteral("query")})),
            tool(
                "get_node", "Get a node", true,
                "One node by id: its type, title, every property, and each relationship with the node at its "
                "other end.",
                object(node, {QStringLiteral("id")})),
            tool(
                "propose_changes", "Propose changes to the graph", false,
                "Sends nodes and relationships to add, and changes to what's there, to Corvantis as a draft. "
                "Nothing is written until the person reviews it there and adds it. Returns the draft's id, "
                "what went in, and anything that didn't fit the shape.",
                proposalSchema()),
            tool("check_proposal", "Check a proposal", true,
                 "What became of a draft sent with propose_changes: still being reviewed, added (and how "
                 "much), discarded, or replaced by a later draft.",
                 object(proposal, {QStringLiteral("id")})),
            tool(
                "design_shape", "Add to the shape", false,
                "Adds node types, properties and relationship types to the open project's shape. It only "
                "adds, applies at once, and the person can undo it in Corvantis. Reuse existing names to add "
                "properties to a type or new pairs to a relationship.",
                shapeSchema()),
            tool("show_nodes", "Show nodes in Corvantis", true,
                 "Brings nodes onto Corvantis's canvas and frames them, so the person can see what you're "
                 "talking about.",
                 object(QJsonObject{{QStringLiteral("ids"), ids}}, {QStringLiteral("ids")})),
        };
    }();
    return table;
}

QString instructions() {
    return QStringList{
        QStringLiteral(
            "Corvantis is a desktop app for personal knowledge graphs. Each project has a shape (node types "
            "with properties, and typed, directed relationships allowed between particular pairs of types) "
            "and "
            "a graph of nodes and relationships in that shape. You work on the project that is open in "
            "Corvantis."),
        QString(),
        QStringLiteral("How to work:"),
        QStringLiteral(
            "1. list_projects shows the person's projects and which is open. open_project switches to "
            "another; create_project starts a new, empty one."),
        QStringLiteral(
            "2. get_shape before anything else on a project: it lists the types, their properties and "
            "the allowed relationship pairs by the names a person sees, the database's own names for "
            "Cypher, and the Cypher dialect."),
        QStringLiteral("3. Read with search (by words, or by meaning when the shape embeds text), run_cypher "
                       "(read-only Cypher in the dialect get_shape describes, using the database names) and "
                       "get_node (one node and its connections)."),
        QStringLiteral("4. To add, edit or remove nodes and relationships, call propose_changes. Nothing is "
                       "written straight away: the draft opens in Corvantis, where the person checks it, "
                       "matches duplicates, edits and adds it. Tell them to review it in Corvantis. "
                       "check_proposal says whether they added it, discarded it, or are still reviewing it; "
                       "don't send the same draft twice while it waits."),
        QStringLiteral(
            "5. To add node types, properties or relationship types, call design_shape. It only ever "
            "adds, goes into the shape at once, and the person can undo it. A new project needs a "
            "shape before it can hold nodes."),
        QString(),
        QStringLiteral("Building well:"),
        QStringLiteral(
            "- Use the type, property and relationship names exactly as get_shape lists them. Don't "
            "invent any; if something has no place in the shape, leave it out or extend the shape "
            "with design_shape first."),
        QString::fromUtf8(
            "- Give every new node a ref unique within the draft (n1, n2, …) and fill its title "
            "property. Relationships point at nodes by ref, or at nodes already in the graph by "
            "their id (from search, run_cypher or get_node). Find existing nodes first and connect "
            "to them rather than creating duplicates."),
        QStringLiteral(
            "- Values are strings: numbers as digits, links as full URLs, booleans as true or false, an "
            "enum as one of its options."),
        QString::fromUtf8(
            "- Relationships are directed (from → to) and allowed only between the pairs listed."),
        QStringLiteral(
            "- To change or remove what's already there, put a change in changes: a read-only Cypher "
            "query that returns exactly the nodes (RETURN n) or relationships (RETURN r) to act on, "
            "with action \"remove\" or \"update\" and, for an update, the properties to set (an empty "
            "value clears one)."),
        QStringLiteral(
            "- Put the person's request, in their words, in request, and say what you made in summary."),
    }
        .join(QLatin1Char('\n'));
}

std::optional<QString> text(const QJsonValue& value) {
    switch (value.type()) {
    case QJsonValue::String:
        return value.toString();
    case QJsonValue::Bool:
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    case QJsonValue::Double: {
        const double number = value.toDouble();
        if (!std::isfinite(number))
            return std::nullopt;
        if (number == std::floor(number))
            return number == 0 ? QStringLiteral("0") : QString::number(number, 'f', 0);
        return QString::number(number, 'g', QLocale::FloatingPointShortest);
    }
    default:
        return std::nullopt;
    }
}

int limit(const QJsonObject& arguments, const QString& key, int fallback, int minimum, int maximum) {
    const QJsonValue value = arguments.value(key);
    double number = std::numeric_limits<double>::quiet_NaN();
    if (value.isDouble()) {
        number = value.toDouble();
    } else if (value.isString()) {
        bool ok = false;
        const double parsed = value.toString().trimmed().toDouble(&ok);
        if (ok)
            number = parsed;
    }
    if (!std::isfinite(number))
        return fallback;
    if (number <= minimum)
        return minimum;
    if (number >= maximum)
        return maximum;
    return int(number);
}

} // namespace corvantis::CorvantisMCP
