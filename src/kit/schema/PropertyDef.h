#pragma once

#include "kit/schema/GraphValue.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QStringList>
#include <QUuid>
#include <array>
#include <optional>

namespace corvantis {

// The kinds in their fixed order. `Choice` is coded as "enum" in JSON, deliberately.
enum class PropertyKind { Text, Number, Link, Boolean, Choice };

namespace PropertyKinds {
inline constexpr std::array<PropertyKind, 5> all{PropertyKind::Text, PropertyKind::Number, PropertyKind::Link,
                                                 PropertyKind::Boolean, PropertyKind::Choice};
QString title(PropertyKind kind);      // "Text", "Number", "Link", "Boolean", "Enum"
QString id(PropertyKind kind);         // "text", "number", "link", "boolean", "enum"
QString columnType(PropertyKind kind); // "STRING", "DOUBLE", "STRING", "BOOLEAN", "STRING"
bool isWords(PropertyKind kind);       // text and choice
bool canBeTitle(PropertyKind kind);    // all but boolean
std::optional<PropertyKind> fromId(const QString& id);
} // namespace PropertyKinds

// One property of a node or relationship type.
struct PropertyDef {
    QUuid id;
    QString name;
    PropertyKind kind = PropertyKind::Text;
    std::optional<bool> embedded;
    std::optional<GraphValue> defaultValue;
    std::optional<QStringList> options;

    // The column name, derived from the name every time.
    QString column() const;
    // The options if the kind is choice; otherwise absent.
    std::optional<QStringList> choices() const;
    // Kind text and `embedded` true.
    bool isEmbedded() const;
    // Whether a value is acceptable for this kind (see the table of kinds).
    bool accepts(const GraphValue& value) const;
    // The default if accepted, otherwise absent.
    std::optional<GraphValue> validDefault() const;
    // Stores the value if accepted, otherwise clears the default.
    void setDefault(const GraphValue& value);
    // Adds the default under `column` when it is accepted and the map has no value (or null) there.
    PropertyMap filling(PropertyMap values) const;
    // `filling` for each definition in order.
    static PropertyMap fillingDefaults(const QList<PropertyDef>& definitions, PropertyMap values);
    // Sets the kind; another kind than text clears `embedded`; a default the new kind refuses is cleared.
    void changeKind(PropertyKind to);
    // Trims, drops empty entries and later duplicates; a rename at one position carries the default.
    void setOptions(const QStringList& list);
    // The exactly equal option, else the first equal ignoring case and diacritics, else absent.
    std::optional<QString> choice(const QString& matching) const;
    // Parses what a person typed: empty text is null; text that the kind cannot take is absent.
    std::optional<GraphValue> value(const QString& from) const;

    // The property with that id, or nullptr.
    static const PropertyDef* title(const QUuid& id, const QList<PropertyDef>& in);
    // Among text properties, the first whose column is "name", "title" or "label", else the first text
    // property; absent when there is none.
    static std::optional<PropertyDef> likelyTitle(const QList<PropertyDef>& in);

    QJsonObject toJson() const;
    static PropertyDef fromJson(const QJsonObject& json); // fails with json::DecodeError
    // A list of definitions as a JSON array, and back; every element must be an object.
    static QJsonArray listToJson(const QList<PropertyDef>& properties);
    static QList<PropertyDef> listFromJson(const QJsonArray& array);
    bool operator==(const PropertyDef& other) const = default;
};

} // namespace corvantis
