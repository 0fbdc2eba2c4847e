#pragma once

#include "app/graph/SessionCore.h"
#include "app/shape/ShapeSelection.h"
#include "kit/build/ShapeDesigner.h"
#include "kit/graph/AppliedGraph.h"
#include "kit/graph/DataLoss.h"

#include <QObject>
#include <QPointF>
#include <QStringList>
#include <QUuid>
#include <optional>

namespace corvantis {

// The session's edits of the shape. Each is applied at once: the shape changes, the database is migrated
// to it, the project is saved, and the step can be undone unless the migration deleted data. An edit
// that would delete data asks first. It also answers what the Shape view asks of the graph (which
// properties hold values, which kinds a property may switch to).
class ShapeEditor : public QObject {
    Q_OBJECT
public:
    explicit ShapeEditor(SessionCore& core, QObject* parent = nullptr);

    const std::optional<ShapeSelection>& selection() const { return m_selection; }
    void setSelection(const std::optional<ShapeSelection>& selection);
    // Drops a selection whose type or connection is gone.
    void pruneSelection();

    // An "Untitled" type with the built-in name as first property and title; its id.
    std::optional<QUuid> addNodeType(QPointF at);
    void deleteShapeSelection();
    void deleteNodeType(const QUuid& id);
    void renameNodeType(const QUuid& id, const QString& name);
    void setNodeTypeColor(const QUuid& id, const QString& color);
    void setExpandPriority(ExpandPriority priority, const QUuid& type);
    // Moves every endpoint of `instead` to `existing`, and removes `instead`.
    void useExistingType(const QUuid& existing, const QUuid& instead);

    void deleteRelType(const QUuid& id);
    void removeConnection(const RelEndpoint& endpoint, const QUuid& rel, bool bothWays);
    // Which way the stored connection runs.
    ConnectionDirection direction(const RelEndpoint& endpoint, const QUuid& rel) const;
    void setDirection(ConnectionDirection direction, const RelEndpoint& endpoint, const QUuid& rel);
    // One way, then both ways, then the other way (a loop has only the first two).
    void cycleDirection(const RelEndpoint& endpoint, const QUuid& rel);
    // Adds the connection to the relationship type of the same database name, or to a new type; its id.
    std::optional<QUuid> addRelationship(const QString& name, const QUuid& from, const QUuid& to,
                                         bool bothWays);
    void renameRelType(const QUuid& id, const QString& name);

    // A new text property with a free name; its id.
    std::optional<QUuid> addProperty(const PropertyOwner& owner);
    void removeProperty(const QUuid& property, const PropertyOwner& owner);
    void renameProperty(const QUuid& property, const PropertyOwner& owner, const QString& name);
    // Refused while the graph holds values whose column the new kind can't keep.
    void changeKind(const QUuid& property, const PropertyOwner& owner, PropertyKind kind);
    void setDefault(const QUuid& property, const PropertyOwner& owner,
                    const std::optional<GraphValue>& value);
    // The default from what a person typed (empty clears); false, with a notice, when it doesn't parse.
    bool setDefaultFromText(const QUuid& property, const PropertyOwner& owner, const QString& text);
    void setOptions(const QUuid& property, const PropertyOwner& owner, const QStringList& options);
    // Only a property that can be a title (not a boolean); absent clears.
    void setTitleProperty(const PropertyOwner& owner, const std::optional<QUuid>& property);
    // Only a boolean; absent clears.
    void setMarkProperty(const PropertyOwner& owner, const std::optional<QUuid>& property);
    void moveProperty(const QUuid& property, const PropertyOwner& owner, int toIndex);
    void setEmbedded(const QUuid& property, const PropertyOwner& owner, bool on);

    // Any other change of the shape, by the pattern of every shape edit, as one undo step; a change that
    // would delete data asks first. Whether the shape changed (or a confirmation now waits).
    bool editShape(const QString& actionName, const std::function<void(GraphSchema&)>& change);

    // Adds what a shape draft adds, as one undo step "Build Shape with AI"; what it added (all zero when
    // nothing, or when the shape can't change now).
    ShapeMergeResult applyShapeDraft(const ShapeDraft& draft);

    // The relationship type is in the shape that the database holds.
    bool isApplied(const RelType& type) const;
    // The property is in the database and at least one row holds a value in its column.
    bool isLocked(const QUuid& property, const PropertyOwner& owner) const;
    // A relationship of the type runs along the endpoint.
    bool isLocked(const RelEndpoint& endpoint, const QUuid& rel) const;
    // The kinds the property may switch to now.
    QList<PropertyKind> allowedKinds(const QUuid& property, const PropertyOwner& owner) const;
    // Rows of the owner's table with no value for the property.
    int missingCount(const QUuid& property, const PropertyOwner& owner) const;
    // The distinct texts in the property's column, most frequent first, at most `limit`.
    QStringList distinctValues(const QUuid& property, const PropertyOwner& owner, int limit) const;

    // What going from one shape to the other would delete from the graph.
    DataLoss dataLoss(const GraphSchema& from, const GraphSchema& to) const;
    // Going from one shape to the other would destroy what rows of the graph hold.
    bool losesData(const GraphSchema& from, const GraphSchema& to) const;

signals:
    void selectionChanged();

private:
    const GraphSchema& schema() const { return m_core.project().schema; }
    // What a confirmation asks.
    struct Consent {
        QString title;
        QString message;
        QString button;
        bool operator==(const Consent& other) const = default;
    };
    // The question an edit of a choice's options must ask first: a rename onto an option that rows
    // already hold merges two groups of rows; a removed option leaves rows holding it.
    std::optional<Consent> optionsConsent(const QUuid& property, const PropertyOwner& owner,
                                          const QStringList& before, const QStringList& after) const;
    bool refuseShapeEdit();
    // Takes the shape and registers its undo. With `putBack`, the values a change had moved are put
    // back exactly instead of being moved by the migration.
    void commitShape(const GraphSchema& after, const QString& actionName,
                     const std::optional<QList<MovedValue>>& putBack = std::nullopt);
    void registerSchemaUndo(const GraphSchema& previous, const QString& actionName,
                            const std::optional<QList<MovedValue>>& putBack);
    // Runs the edit at once, or asks first with `title` and the message `describe` makes of the loss.
    void editShapeAsking(const QString& actionName, const GraphSchema& after, const QString& title,
                         const std::function<QString(const DataLoss&)>& describe, const QString& button);
    // The graph as the database holds it, for the questions the records answer.
    AppliedGraph applied() const;

    SessionCore& m_core;
    std::optional<ShapeSelection> m_selection;
};

} // namespace corvantis
