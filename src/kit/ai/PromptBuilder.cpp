#include "kit/ai/PromptBuilder.h"

#include <QStringList>

namespace corvantis::PromptBuilder {

namespace {

QString typeText(const PropertyDef& property) {
    switch (property.kind) {
    case PropertyKind::Text:
        return QStringLiteral("STRING");
    case PropertyKind::Number:
        return QStringLiteral("DOUBLE");
    case PropertyKind::Link:
        return QStringLiteral("STRING (a URL)");
    case PropertyKind::Boolean:
        return QStringLiteral("BOOLEAN (true or false)");
    case PropertyKind::Choice: {
        QStringList quoted;
        for (const QString& option : property.options.value_or(QStringList()))
            quoted.append(QLatin1Char('\'') + option + QLatin1Char('\''));
        return QStringLiteral("STRING (one of: ") + quoted.join(QStringLiteral(", ")) + QLatin1Char(')');
    }
    }
    Q_UNREACHABLE();
}

QString columns(const QList<PropertyDef>& properties, const PropertyDef* title, const QString& titleNote) {
    QStringList list{QStringLiteral("id STRING (unique key)")};
    for (const PropertyDef& property : properties) {
        QString text = property.column() + QLatin1Char(' ') + typeText(property);
        if (title && title->id == property.id)
            text += titleNote;
        list.append(text);
    }
    return list.join(QStringLiteral(", "));
}

} // namespace

QString dialectNotes() {
    return QStringLiteral(
        "Dialect notes: label(n) gives a node's or relationship's label (there is no labels() or type()). "
        "Variable-length paths are written -[:REL*1..3]-> and always need an upper bound; shortest paths are "
        "-[:REL* SHORTEST 1..6]->. A property missing on a node is NULL; test with IS NULL / IS NOT NULL. "
        "String functions include lower, upper, contains, starts_with, ends_with and regexp_matches. "
        "Aggregates group implicitly by the other returned columns.");
}

QString renderSchema(const GraphSchema& schema) {
    QStringList lines{QStringLiteral("Node types:")};
    for (const NodeType& type : schema.nodeTypes)
        lines.append(QStringLiteral("- ") + type.table() + QStringLiteral(": ") +
                     columns(type.properties, type.title(), QStringLiteral(" (the node's title)")));
    lines.append(QString());
    lines.append(QStringLiteral("Relationship types:"));
    if (schema.relTypes.isEmpty())
        lines.append(QStringLiteral("(none)"));
    for (const RelType& type : schema.relTypes) {
        const QString table = type.table().isEmpty() ? QStringLiteral("RELATES_TO") : type.table();
        auto connection = [&](const RelEndpoint& endpoint, bool directed) -> QString {
            const NodeType* from = schema.nodeType(endpoint.from);
            const NodeType* to = schema.nodeType(endpoint.to);
            if (!from || !to)
                return {};
            return QStringLiteral("(:") + from->table() + QStringLiteral(")-[:") + table +
                   (directed ? QStringLiteral("]->(:") : QStringLiteral("]-(:")) + to->table() +
                   QLatin1Char(')');
        };
        QStringList directed;
        for (const RelEndpoint& endpoint : type.endpoints) {
            const QString text = connection(endpoint, true);
            if (!text.isEmpty())
                directed.append(text);
        }
        QString line = QStringLiteral("- ") + table + QStringLiteral(": ") +
                       directed.join(QStringLiteral(", ")) + QStringLiteral(" \u2014 properties: ") +
                       columns(type.properties, type.title(), QStringLiteral(" (the relationship's title)"));
        QStringList twoWay;
        for (const RelEndpoint& endpoint : type.connections()) {
            if (!type.isTwoWay(endpoint))
                continue;
            const QString text = connection(endpoint, false);
            if (!text.isEmpty())
                twoWay.append(text);
        }
        if (!twoWay.isEmpty())
            line += QStringLiteral(" \u2014 two-way, so match it without direction: ") +
                    twoWay.join(QStringLiteral(", "));
        lines.append(line);
    }
    return lines.join(QLatin1Char('\n'));
}

QString system(const GraphSchema& schema) {
    const QString a = QStringLiteral(
        "You translate questions about a personal knowledge graph into a single Cypher query. The query runs "
        "on "
        "LadybugDB, an embedded graph database that speaks the Kuzu dialect of Cypher. The person asking "
        "sees the "
        "query's results drawn on a canvas and in a table, so what you return decides what they see.\n"
        "\n"
        "The graph has exactly this shape. Use only these labels, relationship types and properties, spelled "
        "exactly as written:\n"
        "\n");
    const QString b = QStringLiteral(
        "\n\n"
        "How to write the query:\n"
        "- It must only read. The app runs it in a read-only transaction, so CREATE, MERGE, SET, DELETE, "
        "DROP, "
        "ALTER, COPY and CALL are refused. If the question asks to change the graph, or cannot be answered "
        "from "
        "this shape, return an empty string for the query and say why in the explanation.\n"
        "- When the question is about things in the graph, return whole nodes and relationships (RETURN c, "
        "r, s) "
        "rather than individual properties, so they can be highlighted on the canvas. Return scalars only "
        "for "
        "counts, aggregates, or when specific values are asked for; give those columns short readable "
        "aliases.\n"
        "- Relationships are directed and typed as listed. Follow the listed direction; use an undirected "
        "pattern "
        "(a)-[r]-(b) only when the question does not care about direction.\n"
        "- People rarely type names exactly as stored. Compare text case-insensitively and loosely: "
        "lower(n.title) CONTAINS lower('free energy'), using whichever property is marked as the title.\n"
        "- ");
    const QString d = QStringLiteral(
        "\n"
        "- Every node and relationship has an id: a UUID the person can copy from the app and paste into a "
        "question to point at exactly that one. When the question contains one, match it exactly, ignoring "
        "case: "
        "MATCH (n {id: upper('\u2026')}), or WHERE r.id = upper('\u2026') for a relationship. Otherwise ids "
        "mean "
        "nothing to the person, so never return id as a column unless asked for.\n"
        "- Add a LIMIT only when the question asks for one (\"top five\", \"a few\").\n"
        "- When the question implies an order (\"most cited\", \"latest\", \"biggest\"), ORDER BY it. Large "
        "answers are shown a page at a time in the order returned, so what matters most should come first.\n"
        "\n"
        "The explanation is one plain sentence, written for the person who asked, saying what the query "
        "looks "
        "for. Do not mention Cypher syntax in it.");
    return a + renderSchema(schema) + b + dialectNotes() + d;
}

QString user(const QString& question, const QList<QueryFailure>& failures) {
    if (failures.isEmpty())
        return question;
    QString text = QStringLiteral("Question: ") + question + QLatin1Char('\n');
    for (qsizetype i = 0; i < failures.size(); ++i) {
        text += QStringLiteral("\nAttempt %1 was:\n").arg(i + 1) + failures[i].cypher +
                QStringLiteral("\nThe database rejected it with:\n") + failures[i].error + QLatin1Char('\n');
    }
    return text +
           QStringLiteral("\nWrite a corrected query that answers the question and avoids these errors.");
}

QString narrowing(const QString& question, const QString& cypher, qint64 rows) {
    return question + QStringLiteral("\n\nThis query answered it:\n") + cypher +
           QStringLiteral("\nIt returned ") + QString::number(rows) +
           QStringLiteral(
               " rows, too many to read. Write a narrower query that still answers the question with "
               "the results that matter most: filter more specifically where the question allows it, "
               "and ORDER BY what makes a result more relevant (how connected it is, a date, a count) "
               "with a LIMIT of 25 or so. Say in the explanation what it now leaves out.");
}

} // namespace corvantis::PromptBuilder
