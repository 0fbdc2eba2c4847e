#pragma once

#include "kit/schema/DefaultFill.h"
#include "kit/schema/NodeType.h"
#include "kit/schema/RelType.h"

#include <QJsonObject>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>
#include <functional>

namespace corvantis {

// A property whose text semantic search indexes, with the type that owns it.
struct EmbeddedProperty {
    QUuid ownerID;
    QString ownerName;
    QString table;
    bool isNode = true;
    PropertyDef property;

    QUuid id() const { return property.id; }
    QString reference() const; // "{table}.{column}"
    bool operator==(const EmbeddedProperty& other) const = default;
};

struct SchemaIssue {
    QString message;
    bool operator==(const SchemaIssue& other) const = default;
};

// The shape of a project: node types and the relationship types allowed between them.
struct GraphSchema {
    QList<NodeType> nodeTypes;
    QList<RelType> relTypes;

    // The colour names in order.
    static const QStringList& palette();

    const NodeType* nodeType(const QUuid& id) const;
    NodeType* nodeType(const QUuid& id);
    const RelType* relType(const QUuid& id) const;
    RelType* relType(const QUuid& id);
    // The first type whose derived table equals the text exactly.
    const NodeType* nodeTypeForTable(const QString& table) const;
    const RelType* relTypeForTable(const QString& table) const;
    // The relationship types with an endpoint exactly from and to those types. (Named apart from the
    // `relTypes` field, which a member function cannot share its name with.)
    QList<const RelType*> relTypesBetween(const QUuid& from, const QUuid& to) const;

    QString uniqueNodeTypeName(const QString& base) const;
    QString uniquePropertyName(const QString& base, const QList<PropertyDef>& among, bool isNode) const;
    // The first palette name no node type uses, else palette[count & 7].
    QString nextColor() const;

    // Every embedded property of node types, then of relationship types, in shape order.
    QList<EmbeddedProperty> embeddedProperties() const;
    std::optional<EmbeddedProperty> embeddedProperty(const QUuid& id) const;
    // The same walk over properties whose kind is made of words.
    QList<EmbeddedProperty> textProperties() const;

    // The issues in the order found; never fails.
    QList<SchemaIssue> validate() const;

    // Removes the type and every endpoint and two-way loop that touches it; a relationship type left
    // without endpoints goes too.
    void removeNodeType(const QUuid& id);
    // Folds later relationship types whose relName equals an earlier one's into the earlier.
    void mergeDuplicateRelTypes();
    // For each filled property, the default goes back to what `keeping` has for it (by id), or is cleared.
    void dropDefaults(const QList<DefaultFill>& fills, const GraphSchema& keeping);

    // Format upgrades applied when an old project file is read.
    void adoptBuiltInName();
    void adoptLikelyTitles();

    QJsonObject toJson() const;
    static GraphSchema fromJson(const QJsonObject& json); // fails with json::DecodeError
    bool operator==(const GraphSchema& other) const = default;
};

// `base` if its lower-cased key is free in `taken` (lower-cased), else "{base} 2", "{base} 3", ...
QString uniqueName(const QString& base, const QSet<QString>& taken,
                   const std::function<QString(const QString&)>& key);

} // namespace corvantis
