#pragma once

#include <QSet>
#include <QString>

namespace corvantis {

// What is selected in the graph: nothing, one node, one relationship, or several nodes.
struct GraphSelection {
    enum class Kind { None, Node, Relationship, Nodes };
    Kind kind = Kind::None;
    QSet<QString> ids; // one id for a node or a relationship

    static GraphSelection node(const QString& id) { return {Kind::Node, {id}}; }
    static GraphSelection relationship(const QString& id) { return {Kind::Relationship, {id}}; }
    static GraphSelection nodes(const QSet<QString>& ids) {
        return ids.isEmpty() ? GraphSelection() : GraphSelection{Kind::Nodes, ids};
    }

    bool isEmpty() const { return kind == Kind::None; }
    bool namesNode(const QString& id) const {
        return (kind == Kind::Node || kind == Kind::Nodes) && ids.contains(id);
    }
    bool namesRelationship(const QString& id) const { return kind == Kind::Relationship && ids.contains(id); }
    bool operator==(const GraphSelection& other) const = default;
};

} // namespace corvantis
