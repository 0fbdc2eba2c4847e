#pragma once

#include "kit/query/LooseQuery.h"
#include "kit/schema/GraphSchema.h"
#include "kit/schema/GraphValue.h"

#include <QHash>
#include <QJsonObject>

// Search by words for a connected app.
namespace corvantis::CorvantisMCP {

// Nodes whose title is the query come first, then nodes whose title matches, then nodes with another
// matching text, then relationships whose type or text matches; within each, by title and id. The
// answer holds the first `limit` hits under "results" and the number found under "total".
QJsonObject searchWords(const LooseQuery& query, int limit, const GraphSchema& schema,
                        const QHash<QString, NodeRecord>& nodes, const QHash<QString, RelRecord>& rels);

} // namespace corvantis::CorvantisMCP
