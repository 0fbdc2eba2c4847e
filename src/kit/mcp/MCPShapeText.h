#pragma once

#include "kit/schema/GraphSchema.h"

#include <QString>

// The text "get_shape" answers with.
namespace corvantis::CorvantisMCP {

// The whole answer: the project's name, the shape as the graph builder tells it
// (GraphBuilder::describe), the database's names, the dialect notes and the
// size of the graph; the one sentence for an empty shape.
QString shape(const QString& projectName, const GraphSchema& schema, qint64 nodes, qint64 relationships);

} // namespace corvantis::CorvantisMCP
