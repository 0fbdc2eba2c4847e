#pragma once

#include "kit/schema/PropertyDef.h"

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QUuid>
#include <optional>

namespace corvantis {

// How eagerly exploring brings a type's nodes; absent on a type means `Normal`.
enum class ExpandPriority { First, Normal, WhenAsked };

namespace ExpandPriorities {
QString id(ExpandPriority priority); // "first", "normal", "whenAsked"
int rank(ExpandPriority priority);   // 0, 1, 2
std::optional<ExpandPriority> fromId(const QString& id);
} // namespace ExpandPriorities

// A node type of the shape, stable by its UUID.
struct NodeType {
    QUuid id;
    QString name;
    QString color; // a palette name
    std::optional<QString> symbol;
    QList<PropertyDef> properties; // in display order
    std::optional<QUuid> titleProperty;
    std::optional<QUuid> markProperty;
    double x = 0;
    double y = 0;
    std::optional<ExpandPriority> expand;

    // The table name, derived from the name every time.
    QString table() const;
    // The title property, absent when missing or of kind boolean.
    const PropertyDef* title() const;
    // The mark property, present only when of kind boolean.
    const PropertyDef* mark() const;
    // The property with that id, or nullptr.
    const PropertyDef* property(const QUuid& id) const;
    PropertyDef* property(const QUuid& id);
    ExpandPriority expandPriority() const { return expand.value_or(ExpandPriority::Normal); }

    QJsonObject toJson() const;
    static NodeType fromJson(const QJsonObject& json); // fails with json::DecodeError
    bool operator==(const NodeType& other) const = default;
};

} // namespace corvantis
