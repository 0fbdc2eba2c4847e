#pragma once

#include "app/graph/GraphSelection.h"
#include "app/graph/SessionStore.h"
#include "app/shape/DataLossConfirmation.h"
#include "app/shape/ShapeSelection.h"
#include "app/undo/UndoStack.h"
#include "kit/graph/GraphAdded.h"
#include "kit/graph/GraphDerived.h"
#include "kit/graph/GraphPlan.h"
#include "kit/projects/HistoryEntry.h"
#include "kit/projects/Project.h"
#include "kit/projects/ProjectLibrary.h"
#include "kit/support/UserFacingError.h"

#include <QCoro/QCoroTask>
#include <QHash>
#include <QObject>
#include <QPointF>
#include <QPointer>
#include <QSet>
#include <QTimer>
#include <memory>
#include <optional>

namespace corvantis {

class Settings;

// The two views of a project.
enum class SessionMode { Shape, Graph };

// The live form of one open project, on the main thread. It holds the whole graph in memory, is the only
// writer of the project's database and of its "project.json" while the project is open, and carries out
// every edit of the graph and of the shape with its undo step. Every write goes to the store first, then
// to the maps in memory, then to the undo stack, so the maps never hold what the database refused. Every
// failure ends in `notice`.
class ProjectSession : public QObject {
    Q_OBJECT
public:
    // Opens the project: its database is brought up (created and finalized at the first opening) and
    // every record loaded. A session always comes into being; when the database can't be opened it is
    // `graphUnavailable` and writes nothing. `settings` may be null (no per-user settings then).
    ProjectSession(const Project& project, const ProjectLibrary& library, Settings* settings,
                   QObject* parent = nullptr);
    // The same over a store of the caller's making.
    ProjectSession(const Project& project, const ProjectLibrary& library, Settings* settings,
                   SessionStoreOpener openStore, QObject* parent = nullptr);
    ~ProjectSession() override;

    // -- The project ---------------------------------------------------------------------------------

    const Project& project() const { return m_project; }
    const ProjectLibrary& library() const { return m_library; }
    // Takes a new name into the project in memory (the app model saves it).
    void setProjectName(const QString& name);
    // The project is finalized and its shape runs ahead of what the database holds.
    bool hasPendingChanges() const;

    SessionMode mode() const { return m_mode; }
    void setMode(SessionMode mode);

    std::optional<QString> notice() const { return m_notice; }
    void setNotice(const std::optional<QString>& notice);

    // The edit waiting for consent, if any; `confirm` runs it, `dismissConfirmation` drops it.
    const std::optional<DataLossConfirmation>& confirmation() const { return m_confirmation; }
    void confirm();
    void dismissConfirmation();

    // -- The graph in memory ---------------------------------------------------------------------------

    const QHash<QString, NodeRecord>& nodes() const { return m_nodes; }
    const QHash<QString, RelRecord>& rels() const { return m_rels; }
    // Every node, and every relationship end that is no node, by number, with its neighbours as numbers.
    const GraphDerived::NodeIndex& nodeIndex() const { return m_nodeIndex; }
    const QHash<QString, int>& typeCounts() const { return m_typeCounts; }
    const QHash<QString, int>& relCounts() const { return m_relCounts; }
    // Raised whenever the set of nodes or relationships changes.
    int topology() const { return m_topology; }

    // The graph canvas: where nodes stand, which are pinned (with their free position while an
    // arrangement holds them), which are shown, and which node each was brought in by.
    const QHash<QString, QPointF>& graphPositions() const { return m_graphPositions; }
    const QSet<QString>& graphPinned() const { return m_graphPinned; }
    const QHash<QString, QPointF>& graphPinnedHome() const { return m_graphPinnedHome; }
    const QSet<QString>& graphShown() const { return m_graphShown; }
    const QHash<QString, QString>& graphParents() const { return m_graphParents; }

    const GraphSelection& selection() const { return m_selection; }
    void setSelection(const GraphSelection& selection);

    const QList<HistoryEntry>& history() const { return m_history; }

    // Property ids left out of search by meaning, and out of word search.
    const QSet<QUuid>& excludedFromSearch() const { return m_excludedFromSearch; }
    void setExcludedFromSearch(const QSet<QUuid>& ids);
    const QSet<QUuid>& excludedFromTextSearch() const { return m_excludedFromTextSearch; }
    void setExcludedFromTextSearch(const QSet<QUuid>& ids);
    // The default way of adding in Build.
    bool addsByHand() const { return m_addsByHand; }
    void setAddsByHand(bool byHand);

    // The database, shared with read-only work on other threads; null when the graph isn't open.
    std::shared_ptr<GraphStore> store() const { return m_store; }
    bool graphUnavailable() const { return m_graphUnavailable; }

    // The window's undo stack; without one no step is registered.
    UndoStack* undoStack() const { return m_undo.data(); }
    void setUndoStack(UndoStack* stack);

    // Saves the layout 0.6 seconds after the last call.
    void scheduleLayoutSave();
    bool isLayoutSavePending() const { return m_layoutSave.isActive(); }

    // Saves what is pending and closes the database. Starts at once; the returned task may be awaited
    // later, or dropped.
    QCoro::Task<> close();
    bool isClosed() const { return m_closed; }

    // -- Editing the graph -----------------------------------------------------------------------------

    // A new node of the type, its title property set from `name` when that parses; the new id, or absent
    // on failure. A node given a position is pinned there.
    std::optional<QString> createNode(const NodeType& type, const QString& name,
                                      const PropertyMap& values = {},
                                      std::optional<QPointF> at = std::nullopt);
    // Adds a node, and relationships that come with it, with the types' defaults filled in.
    bool insert(NodeRecord node, std::optional<QPointF> at = std::nullopt, bool pin = false,
                const QList<RelRecord>& with = {});
    // Adds one relationship between two nodes of the graph.
    bool insert(RelRecord rel);
    // Sets values of a node; a null clears. Values equal to those held are left out, and nothing
    // changed registers nothing.
    void updateNode(const QString& id, const PropertyMap& set);
    // The same for several nodes as one undo step named `action`.
    void updateNodes(const QHash<QString, PropertyMap>& changes, const QString& action);
    void deleteNode(const QString& id);
    void updateRel(const QString& id, const PropertyMap& set);
    void deleteRel(const QString& id);
    // One relationship or node at once; several nodes after a confirmation.
    void deleteSelection();
    // Sets one property of a node or relationship from what a person typed; false, with a notice, when
    // the text is not a value of the property's kind.
    bool setValueFromText(const QString& recordId, const QUuid& property, const QString& text);
    // The sentence that refuses `text` as a value of the property, or absent when it parses.
    static std::optional<QString> refusalOfText(const PropertyDef& property, const QString& text);

    struct RemovedCounts {
        qint64 nodes = 0;
        qint64 relationships = 0;
        bool operator==(const RemovedCounts& other) const = default;
    };
    // Deletes the nodes with every relationship that touches them, and the listed relationships, in one
    // transaction; (0, 0) on failure.
    RemovedCounts removeRecords(const QStringList& nodeIds, const QStringList& relIds);
    // Puts back what removeRecords took, in one transaction.
    void restoreRecords(const QList<NodeRecord>& nodes, const QList<RelRecord>& rels,
                        const QHash<QString, QPointF>& positions, const QSet<QString>& pinned);
    // Carries out a plan as one undo step.
    GraphAdded applyGraphPlan(const GraphPlan& plan);

    // Places a node on the graph canvas, at a point when one is given.
    void put(const QString& id, std::optional<QPointF> at);
    // Removes ids from every canvas structure.
    void forget(const QSet<QString>& ids);
    // The values filled with the type's defaults; with no type, the values as they are.
    static PropertyMap withDefaults(const PropertyMap& values, const QList<PropertyDef>* properties);
    // Registers an undo step on the window's stack for this session.
    void registerUndo(const QString& name, std::function<void()> handler);

    // The middle of the graph canvas in world coordinates, where new nodes of a plan are scattered.
    QPointF viewCentre() const { return m_viewCentre; }
    void setViewCentre(QPointF centre) { m_viewCentre = centre; }

    // -- Editing the shape -----------------------------------------------------------------------------

    const std::optional<ShapeSelection>& shapeSelection() const { return m_shapeSelection; }
    void setShapeSelection(const std::optional<ShapeSelection>& selection);

    // An "Untitled" type with the built-in name as first property and title; its id.
    std::optional<QUuid> addNodeType(QPointF at);
    void deleteShapeSelection();
    void deleteNodeType(const QUuid& id);
    void deleteRelType(const QUuid& id);
    void removeConnection(const RelEndpoint& endpoint, const QUuid& rel, bool bothWays);
    // Which way the stored connection runs.
    ConnectionDirection direction(const RelEndpoint& endpoint, const QUuid& rel) const;
    void setDirection(ConnectionDirection direction, const RelEndpoint& endpoint, const QUuid& rel);
    // One way, then both ways, then the other way (a loop has only the first two).
    void cycleDirection(const RelEndpoint& endpoint, const QUuid& rel);
    void removeProperty(const QUuid& property, const PropertyOwner& owner);
    // Moves every endpoint of `instead` to `existing`, and removes `instead`.
    void useExistingType(const QUuid& existing, const QUuid& instead);
    // Adds the connection to the relationship type of the same database name, or to a new type; its id.
    std::optional<QUuid> addRelationship(const QString& name, const QUuid& from, const QUuid& to,
                                         bool bothWays);
    void renameRelType(const QUuid& id, const QString& name);
    void setExpandPriority(ExpandPriority priority, const QUuid& type);
    void setEmbedded(const QUuid& property, const PropertyOwner& owner, bool on);

    void renameNodeType(const QUuid& id, const QString& name);
    void setNodeTypeColor(const QUuid& id, const QString& color);
    // A new text property with a free name; its id.
    std::optional<QUuid> addProperty(const PropertyOwner& owner);
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

    // Any other change of the shape, by the pattern of every shape edit, as one undo step; a change that
    // would delete data asks first. Whether the shape changed (or a confirmation now waits).
    bool editShape(const QString& actionName, const std::function<void(GraphSchema&)>& change);

    // The relationship type is in the shape that the database holds.
    bool isApplied(const RelType& type) const;
    // The property is in the database and at least one row holds a value in its column.
    bool isLocked(const QUuid& property, const PropertyOwner& owner) const;
    // A relationship of the type runs along the endpoint.
    bool isLocked(const RelEndpoint& endpoint, const QUuid& rel) const;
    // The kinds the property may switch to now.
    QList<PropertyKind> allowedKinds(const QUuid& property, const PropertyOwner& owner) const;
    // Going from one shape to the other would destroy what rows of the graph hold.
    bool losesData(const GraphSchema& from, const GraphSchema& to) const;
    // Rows of the owner's table with no value for the property.
    int missingCount(const QUuid& property, const PropertyOwner& owner) const;
    // The distinct texts in the property's column, most frequent first, at most `limit`.
    QStringList distinctValues(const QUuid& property, const PropertyOwner& owner, int limit) const;

    // What a shape change would delete: nodes, relationships, and values in columns that go.
    struct DataLoss {
        qint64 nodes = 0;
        qint64 relationships = 0;
        qint64 values = 0;
        bool any() const { return nodes > 0 || relationships > 0 || values > 0; }
    };
    DataLoss dataLoss(const GraphSchema& from, const GraphSchema& to) const;

signals:
    void projectChanged();
    void modeChanged();
    void noticeChanged();
    void confirmationChanged();
    // The records in memory changed (values, or which records there are).
    void graphChanged();
    void selectionChanged();
    void shapeSelectionChanged();
    void searchScopeChanged();
    void addsByHandChanged();
    void closed();

private:
    void open(SessionStoreOpener openStore);
    void openGraph(const SessionStoreOpener& openStore);
    // Brings the database to the current shape; whether the migration deleted data.
    bool syncDatabase();
    void save();
    void saveLayout();
    void loadRecords(GraphStore& store);
    void rebuildDerived();
    void reloadGraph();
    void failStore(const UserFacingError& error);

    // Deletes the node's records from the maps and canvas (after the store has).
    void dropFromMemory(const QSet<QString>& nodeIds, const QSet<QString>& relIds);
    QList<RelRecord> touching(const QSet<QString>& nodeIds) const;
    bool updateRecord(const QString& id, bool isNode, const PropertyMap& set, const QString& actionName);
    std::optional<QString> endLabel(const QString& nodeId, const QList<NodeRecord>& extra = {}) const;

    // Shape edits.
    bool refuseShapeEdit();
    void commitShape(const GraphSchema& after, const QString& actionName);
    void registerSchemaUndo(const GraphSchema& previous, const QString& actionName);
    void pruneShapeSelection();
    void ask(DataLossConfirmation confirmation);
    // Runs the edit at once, or asks first with `title` and the message `describe` makes of the loss.
    void editShapeAsking(const QString& actionName, const GraphSchema& after, const QString& title,
                         const std::function<QString(const DataLoss&)>& describe, const QString& button);
    QList<PropertyDef>* propertiesOf(GraphSchema& schema, const PropertyOwner& owner) const;
    const QList<PropertyDef>* propertiesOf(const GraphSchema& schema, const PropertyOwner& owner) const;
    // The table that the database holds for a type id, if the applied shape has the type.
    std::optional<QString> appliedNodeTable(const QUuid& id) const;
    std::optional<QString> appliedRelTable(const QUuid& id) const;
    // The applied owner's table and the property's applied column, if both are in the database.
    std::optional<std::pair<QString, QString>> appliedColumn(const QUuid& property,
                                                             const PropertyOwner& owner) const;
    // The rows (node or relationship property maps) of a table.
    QList<const PropertyMap*> rowsOf(const QString& table, bool isNode) const;
    qint64 relsAlong(const QString& relTable, const QString& fromTable, const QString& toTable) const;

    Project m_project;
    ProjectLibrary m_library;
    Settings* m_settings = nullptr;
    SessionMode m_mode = SessionMode::Graph;
    std::optional<QString> m_notice;
    std::optional<DataLossConfirmation> m_confirmation;

    QHash<QString, NodeRecord> m_nodes;
    QHash<QString, RelRecord> m_rels;
    GraphDerived::NodeIndex m_nodeIndex;
    QHash<QString, int> m_typeCounts;
    QHash<QString, int> m_relCounts;
    int m_topology = 0;

    QHash<QString, QPointF> m_graphPositions;
    QSet<QString> m_graphPinned;
    QHash<QString, QPointF> m_graphPinnedHome;
    QSet<QString> m_graphShown;
    QHash<QString, QString> m_graphParents;
    QPointF m_viewCentre;
    GraphSelection m_selection;
    std::optional<ShapeSelection> m_shapeSelection;

    QList<HistoryEntry> m_history;
    QSet<QUuid> m_excludedFromSearch;
    QSet<QUuid> m_excludedFromTextSearch;
    bool m_addsByHand = false;

    std::shared_ptr<SessionStore> m_store;
    bool m_graphUnavailable = false;
    QPointer<UndoStack> m_undo;
    QTimer m_layoutSave;
    bool m_closed = false;
};

} // namespace corvantis
