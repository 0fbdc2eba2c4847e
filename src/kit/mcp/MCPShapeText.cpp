#include "kit/mcp/MCPShapeText.h"

#include "kit/ai/PromptBuilder.h"
#include "kit/support/Counted.h"

#include <QStringList>

namespace corvantis::CorvantisMCP {

namespace {

QString quoted(const QString& text) {
    return QString::fromUtf8("“") + text + QString::fromUtf8("”");
}

QString told(const PropertyDef& property) {
    QString kind;
    if (auto options = property.choices()) {
        QStringList each;
        for (const QString& option : *options)
            each << quoted(option);
        kind = QStringLiteral("one of: ") + each.join(QStringLiteral(", "));
    } else {
        kind = PropertyKinds::id(property.kind);
    }
    if (auto fallback = property.validDefault(); fallback && !fallback->isNull())
        kind +=
            QStringLiteral(", default ") + quoted(fallback->displayText()) + QStringLiteral(" if unknown");
    return property.name + QStringLiteral(" (") + kind + QLatin1Char(')');
}

// The properties with the title first.
QStringList toldAll(const QList<PropertyDef>& properties, const PropertyDef* title) {
    QStringList out;
    if (title)
        out << told(*title);
    for (const PropertyDef& property : properties)
        if (!title || property.id != title->id)
            out << told(property);
    return out;
}

} // namespace

QString describe(const GraphSchema& schema) {
    QStringList lines{QStringLiteral("Node types (property: kind; the first is the title):")};
    for (const NodeType& type : schema.nodeTypes) {
        const QStringList properties = toldAll(type.properties, type.title());
        lines << QStringLiteral("- ") + type.name + QStringLiteral(": ") +
                     (properties.isEmpty() ? QStringLiteral("no properties")
                                           : properties.join(QStringLiteral(", ")));
    }
    lines << QString()
          << QString::fromUtf8("Relationship types, with the pairs each is allowed between (from → to):");
    if (schema.relTypes.isEmpty())
        lines << QStringLiteral("(none: this graph has no relationships, so return none)");
    for (const RelType& rel : schema.relTypes) {
        QStringList pairs;
        for (const RelEndpoint& endpoint : rel.endpoints) {
            const NodeType* from = schema.nodeType(endpoint.from);
            const NodeType* to = schema.nodeType(endpoint.to);
            if (from && to)
                pairs << from->name + QString::fromUtf8(" → ") + to->name;
        }
        QString line =
            QStringLiteral("- ") + rel.table() + QStringLiteral(": ") + pairs.join(QStringLiteral(", "));
        if (!rel.properties.isEmpty()) {
            line += QString::fromUtf8(" — properties");
            if (rel.title())
                line += QStringLiteral(" (the first is the title)");
            line += QStringLiteral(": ") + toldAll(rel.properties, rel.title()).join(QStringLiteral(", "));
        }
        lines << line;
    }
    return lines.join(QLatin1Char('\n'));
}

QString shape(const QString& projectName, const GraphSchema& schema, qint64 nodes, qint64 relationships) {
    if (schema.nodeTypes.isEmpty())
        return QStringLiteral(
            "This project's shape is empty: it has no node types yet, so it can't hold nodes. "
            "Add types with design_shape.");
    return QStringLiteral("Project: ") + projectName + QStringLiteral("\n\n") + describe(schema) +
           QStringLiteral(
               "\n\nThe database's names, for run_cypher and for the queries in propose_changes:\n\n") +
           PromptBuilder::renderSchema(schema) + QStringLiteral("\n\n") + PromptBuilder::dialectNotes() +
           QStringLiteral("\n\nThe graph holds ") + counted(nodes, QStringLiteral("node")) +
           QStringLiteral(" and ") + counted(relationships, QStringLiteral("relationship")) +
           QLatin1Char('.');
}

} // namespace corvantis::CorvantisMCP
