#pragma once

#include "kit/schema/GraphSchema.h"

#include <QString>

// The text "get_shape" answers with.
namespace corvantis::CorvantisMCP {

// The shape by the names a person sees: node types with their properties, title first, and the
// relationship types with the pairs each is allowed between.
QString describe(const GraphSchema& schema);

// The whole answer: the project's name, `describe`, the database's names, the dialect notes and the
// size of the graph; the one sentence for an empty shape.
QString shape(const QString& projectName, const GraphSchema& schema, qint64 nodes, qint64 relationships);

} // namespace corvantis::CorvantisMCP
