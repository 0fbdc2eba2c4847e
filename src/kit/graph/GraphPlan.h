#pragma once

#include "kit/graph/NodeUpdate.h"
#include "kit/schema/GraphValue.h"

#include <QList>
#include <QStringList>

namespace corvantis {

// What the session carries out as one undoable change of the graph: removals first, then new nodes,
// fills and edits of existing records, then new relationships. Computed against the live graph; never
// saved.
struct GraphPlan {
    QStringList removedNodes;
    // Existing relationships to delete, other than those that go with a removed node.
    QStringList removedRelationships;
    // How many existing relationships go with the removed nodes.
    qint64 detached = 0;
    QList<NodeRecord> nodes;        // new, with fresh ids
    QList<NodeUpdate> updates;      // properties that a matched existing node lacked
    QList<RelRecord> relationships; // new, with fresh ids
    QList<NodeUpdate> nodeEdits;
    QList<NodeUpdate> relEdits;
    QStringList merged;  // existing nodes that drafted nodes were matched to, each once
    QStringList skipped; // sentences for what could not be carried out

    // Nothing to add, fill, edit or remove; `detached`, `merged` and `skipped` do not count.
    bool isEmpty() const;
    // The plan does more than add: it removes or edits.
    bool changesGraph() const;

    bool operator==(const GraphPlan& other) const = default;
};

} // namespace corvantis
