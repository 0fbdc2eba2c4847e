#pragma once

#include "kit/schema/QueryOutput.h"

#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>
#include <functional>

// What an answer's rows name: the records of each row, for highlighting and for paging.
namespace corvantis::AnswerRows {

struct RowIds {
    QStringList nodes; // nodes, the ends of relationships, and texts that are ids of nodes, in order
    QStringList rels;
};

// The ids each row names, in column order: nodes, relationships (whose ends count as nodes), paths and
// lists walked inside, and strings that are the id of a record. Only ids for which `isNode` or `isRel`
// hold are kept; an id appears once per row.
QList<RowIds> ids(const QueryOutput& output, const std::function<bool(const QString&)>& isNode,
                  const std::function<bool(const QString&)>& isRel);

// Every node and relationship id that the rows name.
void collect(const QList<RowIds>& rows, QSet<QString>& nodes, QSet<QString>& rels);

} // namespace corvantis::AnswerRows
