#pragma once

#include "kit/schema/ConnectionDirection.h"
#include "kit/schema/PropertyOwner.h"
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

} // namespace corvantis
