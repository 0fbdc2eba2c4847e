#pragma once

#include "kit/schema/PropertyDef.h"

#include <QJsonObject>
#include <QList>
#include <QUuid>
#include <optional>

namespace corvantis {

// One allowed direction of a relationship type: from a node type to a node type.
struct RelEndpoint {
    QUuid from;
    QUuid to;

    RelEndpoint reversed() const { return {to, from}; }
    bool isLoop() const { return from == to; }

    QJsonObject toJson() const;
    static RelEndpoint fromJson(const QJsonObject& json);
    bool operator==(const RelEndpoint& other) const = default;
};

size_t qHash(const RelEndpoint& endpoint, size_t seed = 0);

// A relationship type of the shape. A two-way connection between two types is stored as two endpoints,
// one in each direction; a two-way loop is one endpoint that stands again in `twoWayLoops`.
struct RelType {
    QUuid id;
    QString name;
    QList<PropertyDef> properties;
    QList<RelEndpoint> endpoints;
    std::optional<QList<RelEndpoint>> twoWayLoops;
    std::optional<QUuid> titleProperty;
    std::optional<QUuid> markProperty;

    QString table() const; // Identifier::relTable(name)
    QString displayName() const { return name; }
    const PropertyDef* title() const; // absent when missing or boolean
    const PropertyDef* mark() const;  // present only when boolean
    const PropertyDef* property(const QUuid& id) const;
    PropertyDef* property(const QUuid& id);
    // The endpoints with each reversed duplicate dropped; a loop is always listed.
    QList<RelEndpoint> connections() const;
    // False for an endpoint not in `endpoints`; for two types, whether the reverse is there too; for a
    // loop, whether `twoWayLoops` holds it.
    bool isTwoWay(const RelEndpoint& endpoint) const;

    QJsonObject toJson() const;
    static RelType fromJson(const QJsonObject& json);
    bool operator==(const RelType& other) const = default;
};

} // namespace corvantis
