#pragma once

#include "kit/schema/RelType.h"

#include <QUuid>

namespace corvantis {

// What is selected in the Shape view: a node type, a relationship type, or one connection of a
// relationship type.
struct ShapeSelection {
    enum class Kind { Node, Rel, Connection };
    Kind kind = Kind::Node;
    QUuid id;             // the node type or the relationship type
    RelEndpoint endpoint; // for a connection

    static ShapeSelection node(const QUuid& id) { return {Kind::Node, id, {}}; }
    static ShapeSelection rel(const QUuid& id) { return {Kind::Rel, id, {}}; }
    static ShapeSelection connection(const QUuid& rel, const RelEndpoint& endpoint) {
        return {Kind::Connection, rel, endpoint};
    }
    bool operator==(const ShapeSelection& other) const = default;
};

// The type that holds a property: a node type or a relationship type.
struct PropertyOwner {
    enum class Kind { Node, Rel };
    Kind kind = Kind::Node;
    QUuid id;

    static PropertyOwner node(const QUuid& id) { return {Kind::Node, id}; }
    static PropertyOwner rel(const QUuid& id) { return {Kind::Rel, id}; }
    bool isNode() const { return kind == Kind::Node; }
    bool operator==(const PropertyOwner& other) const = default;
};

// Which way a connection between two node types runs, seen from one stored endpoint.
enum class ConnectionDirection { OneWay, BothWays, OtherWay };

} // namespace corvantis
