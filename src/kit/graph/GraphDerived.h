#pragma once

#include "kit/schema/GraphValue.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

// What an open graph derives from its records, made in one pass over each map.
namespace corvantis::GraphDerived {

struct Maps {
    QHash<QString, int> degrees;           // node id to how many relationship ends it has
    QHash<QString, QStringList> adjacency; // node id to the node at the other end of each of them
    QHash<QString, int> typeCounts;        // node label to how many nodes bear it
    QHash<QString, int> relCounts;         // relationship label to how many relationships bear it
};

// The maps of a graph. Every relationship counts once at each end, so a loop counts twice in `degrees`
// and stands twice in `adjacency`; an end that is no node is counted all the same. Only ids with at least
// one relationship are keys of `degrees` and `adjacency`. Ends that share the text of their node's id
// (as the store loads them) are found by its address; others by their text.
Maps of(const QHash<QString, NodeRecord>& nodes, const QHash<QString, RelRecord>& rels);

} // namespace corvantis::GraphDerived
