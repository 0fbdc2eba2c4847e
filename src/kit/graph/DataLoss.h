#pragma once

#include "kit/graph/AppliedGraph.h"
#include "kit/schema/GraphSchema.h"
#include "kit/schema/GraphValue.h"
#include "kit/schema/PropertyOwner.h"

#include <QList>
#include <QUuid>

namespace corvantis {

// A connection that a shape change takes away from a relationship type that stays, with the
// relationships of the graph that ran along it.
struct LostConnection {
    QUuid relType;
    RelEndpoint endpoint; // as the shape the change starts from stores it
    qint64 relationships = 0;
    bool operator==(const LostConnection& other) const = default;
};

// A record that a draft holds and the graph does not yet (a node of a Build review waiting to be added,
// say): a shape change that removes its type, or a property it has a value for, takes that from it.
struct DraftRecord {
    PropertyOwner type;
    PropertyMap properties; // by the columns of the shape the change starts from
    bool operator==(const DraftRecord& other) const = default;
};

// What going from one shape to another would delete from the graph: nodes, relationships, and values in
// columns that go; and, when drafts are given, what those lose.
struct DataLoss {
    // Nodes of node types that go.
    qint64 nodes = 0;
    // Relationships of types that go, along connections that go, or at a node that goes.
    qint64 relationships = 0;
    // Values on rows that stay, in columns that go or come back with another type.
    qint64 values = 0;
    // The connections that go from relationship types that stay and that at least one relationship ran
    // along, in the order of the shape the change starts from. A relationship counts in each connection
    // it ran along, and once in `relationships`.
    QList<LostConnection> connections;
    qint64 draftRecords = 0; // draft records of types that go
    qint64 draftValues = 0;  // values of draft records of types that go, or in columns that go

    // Anything at all is lost, in the graph or in a draft.
    bool any() const;
    // Something the graph holds is lost.
    bool inGraph() const { return nodes > 0 || relationships > 0 || values > 0; }

    // The loss of going from `from` to `to` over the graph as the database holds it: types, connections
    // and properties are matched by id, so a rename loses nothing; the rows are found under the tables of
    // the applied shape, and what it doesn't have holds nothing. `from` is usually the applied shape; it
    // is the current shape when an undo asks whether it may go back. Drafts are counted as they are.
    static DataLoss between(const AppliedGraph& graph, const GraphSchema& from, const GraphSchema& to,
                            const QList<DraftRecord>& drafts = {});
    // `between(graph, from, to).any()`: the change would destroy something that the graph's rows hold.
    static bool losesData(const AppliedGraph& graph, const GraphSchema& from, const GraphSchema& to);

    bool operator==(const DataLoss& other) const = default;
};

} // namespace corvantis
