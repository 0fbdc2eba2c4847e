#pragma once

#include "kit/schema/GraphSchema.h"

#include <QList>
#include <QString>

namespace corvantis {

// A query that the database refused, with its error: what a repair request tells the model.
struct QueryFailure {
    QString cypher;
    QString error;
    friend bool operator==(const QueryFailure&, const QueryFailure&) = default;
};

// The words that turn a question into Cypher. Only the shape and the question leave the machine (and,
// on a repair, the failed queries with the database's errors), never the graph's contents.
namespace PromptBuilder {

// The system prompt of a translation.
QString system(const GraphSchema& schema);
// The question alone, or, after failures (oldest first), the question with each failed attempt.
QString user(const QString& question, const QList<QueryFailure>& failures = {});
// The shape as the model sees it: tables, columns with their types, and relationships with directions.
QString renderSchema(const GraphSchema& schema);
// The question again, asking for a narrower query than `cypher`, which returned `rows` rows.
QString narrowing(const QString& question, const QString& cypher, qint64 rows);
// The notes on the database's dialect, shared with the graph builder.
QString dialectNotes();

} // namespace PromptBuilder

} // namespace corvantis
