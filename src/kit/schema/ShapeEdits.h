#pragma once

#include "kit/schema/ConnectionDirection.h"
#include "kit/schema/GraphSchema.h"
#include "kit/schema/PropertyOwner.h"

#include <QString>
#include <QStringList>
#include <QUuid>
#include <optional>

// The edits of a shape, each a function from the shape as it stands to the shape after the edit. An edit
// that can't be made (a type, property or connection that isn't there, a property the rule refuses) gives
// nothing; an edit that can be made but changes nothing gives back an equal shape. None of them looks at
// the graph's records: what an edit would delete is `DataLoss`'s to say.
namespace corvantis::ShapeEdits {

// -- Node types ---------------------------------------------------------------------------------------

// A type named `uniqueNodeTypeName("Untitled")`, coloured `nextColor()`, standing at (x, y), whose first
// property and title is a text property "name". `typeId` and `nameId` are the ids the two get.
GraphSchema addNodeType(GraphSchema schema, double x, double y, const QUuid& typeId, const QUuid& nameId);
// The type goes with every endpoint and two-way loop that touches it; a relationship type left without
// endpoints goes too (`GraphSchema::removeNodeType`).
std::optional<GraphSchema> deleteNodeType(GraphSchema schema, const QUuid& id);
// The name trimmed; a name that clashes is left for `validate` to report.
std::optional<GraphSchema> renameNodeType(GraphSchema schema, const QUuid& id, const QString& name);
std::optional<GraphSchema> setNodeTypeColor(GraphSchema schema, const QUuid& id, const QString& color);
std::optional<GraphSchema> setExpandPriority(GraphSchema schema, const QUuid& id, ExpandPriority priority);
// Every endpoint and two-way loop of `instead` moves to `existing`, duplicates that this makes are
// dropped (the first stays), and `instead` goes. Nothing when the two are one type or either is missing.
std::optional<GraphSchema> useExistingType(GraphSchema schema, const QUuid& existing, const QUuid& instead);

// -- Relationship types and their connections -----------------------------------------------------------

std::optional<GraphSchema> deleteRelType(GraphSchema schema, const QUuid& id);
// Removes the stored endpoint; with `bothWays` also its reverse, or for a loop its entry in
// `twoWayLoops` (a loop's entry goes with it in any case). A relationship type that loses its last
// endpoint goes. Nothing when the type doesn't store the endpoint.
std::optional<GraphSchema> removeConnection(GraphSchema schema, const RelEndpoint& endpoint, const QUuid& rel,
                                            bool bothWays);
// Which way the connection runs, seen from `endpoint`: `BothWays` when the type stores it and its
// reverse (for a loop, when `twoWayLoops` holds it), `OtherWay` when it stores only the reverse, else
// `OneWay` (also for a type that isn't there).
ConnectionDirection direction(const GraphSchema& schema, const RelEndpoint& endpoint, const QUuid& rel);
// The next in the order one way, both ways, the other way; a loop has only the first two.
ConnectionDirection nextDirection(const GraphSchema& schema, const RelEndpoint& endpoint, const QUuid& rel);
// Makes the connection run that way. Between two types the stored endpoints become `endpoint`, its
// reverse, or both (in that order), at the place where the first of them was stored. A loop becomes
// two-way through its entry in `twoWayLoops`; any other direction makes it one way. Nothing when the type
// stores neither the endpoint nor its reverse (a loop: when it doesn't store the loop).
std::optional<GraphSchema> setDirection(GraphSchema schema, ConnectionDirection direction,
                                        const RelEndpoint& endpoint, const QUuid& rel);
// `setDirection` to `nextDirection`.
std::optional<GraphSchema> cycleDirection(const GraphSchema& schema, const RelEndpoint& endpoint,
                                          const QUuid& rel);

struct AddedRelationship {
    GraphSchema schema;
    QUuid id;             // the type that holds the connection now
    bool created = false; // it is a new type, with the id that was given for one
    bool operator==(const AddedRelationship& other) const = default;
};
// Adds the connection from `from` to `to` to the first relationship type whose `relName` equals that of
// the trimmed name, or to a new type of that name with the id `newId`. With `bothWays` the reverse is
// added too, or for a loop its entry in `twoWayLoops`. What is already stored is not stored twice.
// Nothing when either node type is missing.
std::optional<AddedRelationship> addRelationship(GraphSchema schema, const QString& name, const QUuid& from,
                                                 const QUuid& to, bool bothWays, const QUuid& newId);

struct RelRename {
    enum class Outcome {
        Renamed,   // the name changed; the migration renames the table
        Merged,    // the name is another type's: the two became one by `mergeDuplicateRelTypes`
        NameTaken, // the name is another type's, and this type can't merge: nothing changed
    };
    Outcome outcome = Outcome::Renamed;
    GraphSchema schema; // after the rename (for `NameTaken`, as it was)
    QString name;       // the trimmed name
    QUuid other;        // for `Merged` and `NameTaken`, the type that had the name (the last such)
    bool operator==(const RelRename& other) const = default;
};
// Renames the type to the trimmed name. When another type already has its `relName`, a type that the
// database holds (`mayMerge`, which the caller answers from the applied shape) is merged with it;
// any other is refused as `NameTaken`. Nothing when the type is missing.
std::optional<RelRename> renameRelType(GraphSchema schema, const QUuid& id, const QString& name,
                                       bool mayMerge);

// -- Properties -----------------------------------------------------------------------------------------

// A text property with the id `newId`, named `uniquePropertyName("Untitled")` among the owner's, at the
// end of the owner's properties.
std::optional<GraphSchema> addProperty(GraphSchema schema, const PropertyOwner& owner, const QUuid& newId);
// The property goes, and the owner's title or mark if it was that property.
std::optional<GraphSchema> removeProperty(GraphSchema schema, const QUuid& property,
                                          const PropertyOwner& owner);
// The name trimmed.
std::optional<GraphSchema> renameProperty(GraphSchema schema, const QUuid& property,
                                          const PropertyOwner& owner, const QString& name);
// `PropertyDef::changeKind`. Whether the graph allows the kind is the caller's question (see
// `AppliedGraph::allowedKinds`).
std::optional<GraphSchema> changeKind(GraphSchema schema, const QUuid& property, const PropertyOwner& owner,
                                      PropertyKind kind);
// `PropertyDef::setDefault` with a value (which clears a default the kind refuses); absent or null
// clears.
std::optional<GraphSchema> setDefault(GraphSchema schema, const QUuid& property, const PropertyOwner& owner,
                                      const std::optional<GraphValue>& value);
// `PropertyDef::setOptions`.
std::optional<GraphSchema> setOptions(GraphSchema schema, const QUuid& property, const PropertyOwner& owner,
                                      const QStringList& options);
// Only a text property is embedded: nothing for any other kind.
std::optional<GraphSchema> setEmbedded(GraphSchema schema, const QUuid& property, const PropertyOwner& owner,
                                       bool on);
// A property that can be a title (not a boolean) of the owner, or absent to clear.
std::optional<GraphSchema> setTitleProperty(GraphSchema schema, const PropertyOwner& owner,
                                            const std::optional<QUuid>& property);
// A boolean property of the owner, or absent to clear.
std::optional<GraphSchema> setMarkProperty(GraphSchema schema, const PropertyOwner& owner,
                                           const std::optional<QUuid>& property);
// Moves the property to `toIndex`, held within the list.
std::optional<GraphSchema> moveProperty(GraphSchema schema, const QUuid& property, const PropertyOwner& owner,
                                        int toIndex);

} // namespace corvantis::ShapeEdits
