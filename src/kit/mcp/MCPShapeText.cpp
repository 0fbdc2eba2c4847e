#include "kit/mcp/MCPShapeText.h"

#include "kit/ai/PromptBuilder.h"
#include "kit/build/GraphBuilder.h"
#include "kit/support/Counted.h"

namespace corvantis::CorvantisMCP {

QString shape(const QString& projectName, const GraphSchema& schema, qint64 nodes, qint64 relationships) {
    if (schema.nodeTypes.isEmpty())
        return QStringLiteral(
            "This project's shape is empty: it has no node types yet, so it can't hold nodes. "
            "Add types with design_shape.");
    return QStringLiteral("Project: ") + projectName + QStringLiteral("\n\n") +
           GraphBuilder::describe(schema) +
           QStringLiteral(
               "\n\nThe database's names, for run_cypher and for the queries in propose_changes:\n\n") +
           PromptBuilder::renderSchema(schema) + QStringLiteral("\n\n") + PromptBuilder::dialectNotes() +
           QStringLiteral("\n\nThe graph holds ") + counted(nodes, QStringLiteral("node")) +
           QStringLiteral(" and ") + counted(relationships, QStringLiteral("relationship")) +
           QLatin1Char('.');
}

} // namespace corvantis::CorvantisMCP
