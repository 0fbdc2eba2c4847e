#include "kit/graph/DataLoss.h"

#include <QSet>

namespace corvantis {

namespace {

// The property keeps its values across the change: it stays, with a column of the same type.
bool keeps(const PropertyDef& property, const QList<PropertyDef>* after) {
    const PropertyDef* next = after ? PropertyDef::title(property.id, *after) : nullptr;
    return next && PropertyKinds::columnType(next->kind) == PropertyKinds::columnType(property.kind);
}

void countDrafts(DataLoss& loss, const GraphSchema& from, const GraphSchema& to,
                 const QList<DraftRecord>& drafts) {
    for (const DraftRecord& draft : drafts) {
        const QList<PropertyDef>* before = propertiesOf(from, draft.type);
        if (!before)
            continue; // a type the change doesn't know of: it takes nothing from it
        const QList<PropertyDef>* after = propertiesOf(to, draft.type);
        if (!after)
            ++loss.draftRecords;
        for (const PropertyDef& property : *before)
            if (!draft.properties.value(property.column()).isNull() && !keeps(property, after))
                ++loss.draftValues;
    }
}

} // namespace

bool DataLoss::any() const {
    return inGraph() || draftRecords > 0 || draftValues > 0;
}

DataLoss DataLoss::between(const AppliedGraph& graph, const GraphSchema& from, const GraphSchema& to,
                           const QList<DraftRecord>& drafts) {
    DataLoss loss;
    QSet<QString> lostNodes;
    QSet<QString> lostRels;
    const QHash<QString, NodeRecord>& nodes = graph.nodes();
    const QHash<QString, RelRecord>& rels = graph.rels();

    // Node types that go, with their nodes and every relationship that touches them.
    for (const NodeType& type : from.nodeTypes) {
        if (to.nodeType(type.id))
            continue;
        auto table = graph.nodeTable(type.id);
        if (!table)
            continue;
        for (const NodeRecord& node : nodes)
            if (node.label == *table)
                lostNodes.insert(node.id);
    }
    for (const RelRecord& rel : rels)
        if (lostNodes.contains(rel.from) || lostNodes.contains(rel.to))
            lostRels.insert(rel.id);

    for (const RelType& type : from.relTypes) {
        auto table = graph.relTable(type.id);
        if (!table)
            continue;
        const RelType* kept = to.relType(type.id);
        if (!kept) {
            // A relationship type that goes takes all of its relationships.
            for (const RelRecord& rel : rels)
                if (rel.label == *table)
                    lostRels.insert(rel.id);
            continue;
        }
        // A connection that goes takes the relationships that run along it.
        for (const RelEndpoint& endpoint : type.endpoints) {
            if (kept->endpoints.contains(endpoint))
                continue;
            auto fromTable = graph.nodeTable(endpoint.from);
            auto toTable = graph.nodeTable(endpoint.to);
            if (!fromTable || !toTable)
                continue;
            LostConnection connection{type.id, endpoint, 0};
            for (const RelRecord& rel : rels)
                if (rel.label == *table && nodes.value(rel.from).label == *fromTable &&
                    nodes.value(rel.to).label == *toTable) {
                    lostRels.insert(rel.id);
                    ++connection.relationships;
                }
            if (connection.relationships > 0)
                loss.connections.append(connection);
        }
    }

    // Columns that go, or come back with another type, on types that stay; rows that go anyway are not
    // counted again.
    auto countValues = [&](const QList<PropertyDef>& before, const QList<PropertyDef>& after,
                           const PropertyOwner& owner) {
        for (const PropertyDef& property : before) {
            if (keeps(property, &after))
                continue;
            auto column = graph.column(property.id, owner);
            if (!column)
                continue;
            if (owner.isNode()) {
                for (const NodeRecord& node : nodes)
                    if (node.label == column->table && !lostNodes.contains(node.id) &&
                        !node.properties.value(column->column).isNull())
                        ++loss.values;
            } else {
                for (const RelRecord& rel : rels)
                    if (rel.label == column->table && !lostRels.contains(rel.id) &&
                        !rel.properties.value(column->column).isNull())
                        ++loss.values;
            }
        }
    };
    for (const NodeType& type : from.nodeTypes)
        if (const NodeType* kept = to.nodeType(type.id))
            countValues(type.properties, kept->properties, PropertyOwner::node(type.id));
    for (const RelType& type : from.relTypes)
        if (const RelType* kept = to.relType(type.id))
            countValues(type.properties, kept->properties, PropertyOwner::rel(type.id));

    loss.nodes = lostNodes.size();
    loss.relationships = lostRels.size();
    countDrafts(loss, from, to, drafts);
    return loss;
}

bool DataLoss::losesData(const AppliedGraph& graph, const GraphSchema& from, const GraphSchema& to) {
    return between(graph, from, to).any();
}

} // namespace corvantis
