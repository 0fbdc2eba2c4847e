#pragma once

#include "app/graph/GraphSelection.h"
#include "app/graph/SessionCore.h"
#include "app/graph/SessionStore.h"
#include "app/shape/ShapeEditor.h"
#include "app/undo/UndoStack.h"
#include "kit/graph/GraphAdded.h"
#include "kit/graph/GraphDerived.h"
#include "kit/graph/GraphPlan.h"
#include "kit/projects/HistoryEntry.h"
#include "kit/projects/ProjectLibrary.h"
#include "kit/support/UserFacingError.h"

#include <QCoro/QCoroTask>
#include <QHash>
#include <QObject>
#include <QPointF>
#include <QPointer>
#include <QSet>
#include <memory>
#include <optional>

namespace corvantis {

class CanvasState;
class CanvasViews;
class ProjectPreferences;
class SessionBuilds;
class Settings;

// The two views of a project.
enum class SessionMode { Shape, Graph };

// The live form of one open project, on the main thread: a core and the components it owns.
//
// The core holds the project, the whole graph in memory with its derived maps, the store, the notice,
// `topology`, the undo handle and the one confirmation. It is the only writer of the project's database
// and of its "project.json" while the project is open. Every write goes to the store first, then to the
// maps in memory, then to the undo stack, so the maps never hold what the database refused; every
// failure ends in `notice`.
//
// The components: the canvases (`canvases`: the graph's and the answer's, the loop, the removal draft),
// the shape editor (`shape`) and the project's preferences (`preferences`). They reach the core through
// `SessionCore`; the session forwards the shape operations; `canvases().current()` is the canvas in use.
class ProjectSession : public QObject, public SessionCore {
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

    // -- The core --------------------------------------------------------------------------------------

    const Project& project() const override { return m_project; }
    const ProjectLibrary& library() const { return m_library; }
    // Renames the project and saves it; refused, with a notice, while the graph isn't open here.
    bool rename(const QString& name);
    // The project is finalized and its shape runs ahead of what the database holds.
    bool hasPendingChanges() const;

    SessionMode mode() const { return m_mode; }
    void setMode(SessionMode mode);

    std::optional<QString> notice() const { return m_notice; }
    void setNotice(const std::optional<QString>& notice) override;

    // The edit waiting for consent, if any; `confirm` runs it, `dismissConfirmation` drops it.
    const std::optional<DataLossConfirmation>& confirmation() const { return m_confirmation; }
    void confirm();
    void dismissConfirmation();
    void requestConfirmation(DataLossConfirmation confirmation) override;

    const QHash<QString, NodeRecord>& nodes() const override { return m_nodes; }
    const QHash<QString, RelRecord>& rels() const override { return m_rels; }
    // Every node, and every relationship end that is no node, by number, with its neighbours as numbers.
    const GraphDerived::NodeIndex& nodeIndex() const override { return m_derived.index; }
    const QHash<QString, int>& typeCounts() const { return m_derived.typeCounts; }
    const QHash<QString, int>& relCounts() const { return m_derived.relCounts; }
    // Raised whenever the set of nodes or relationships changes.
    int topology() const override { return m_topology; }

    // The table that holds records of a node or relationship type, by the shape the database holds;
    // absent for a type the database doesn't have yet.
    std::optional<QString> tableOf(const QUuid& typeId) const;
    // How many records the type's table holds.
    int recordCount(const QUuid& typeId) const;

    // The database, shared with read-only work on other threads; null when the graph isn't open.
    std::shared_ptr<GraphStore> store() const { return m_store; }
    bool graphUnavailable() const override { return m_graphUnavailable; }
    bool writable() override;

    // The window's undo stack; without one no step is registered.
    UndoStack* undoStack() const override { return m_undo.data(); }
    void setUndoStack(UndoStack* stack);
    // Registers an undo step on the window's stack for this session.
    void registerUndo(const QString& name, std::function<void()> handler) override;

    ShapeChange applyShape(const GraphSchema& after, const QList<MovedValue>* putBack = nullptr) override;

    // Saves what is pending and closes the database. Starts at once; the returned task may be awaited
    // later, or dropped.
    QCoro::Task<> close();
    bool isClosed() const { return m_closed; }

    // -- Session state that views and Build share ------------------------------------------------------

    const GraphSelection& selection() const override { return m_selection; }
    void setSelection(const GraphSelection& selection) override;

    const QList<HistoryEntry>& history() const { return m_history; }

    // -- Components ------------------------------------------------------------------------------------
    CanvasViews& canvases() const { return *m_canvases; }
    CanvasState& graphCanvas() const;
    ShapeEditor& shape() const { return *m_shape; }
    // The search scopes and the Build default; the two build chats, graph and shape.
    ProjectPreferences& preferences() const { return *m_preferences; }
    SessionBuilds& builds() const { return *m_builds; }

    // -- Editing the graph -----------------------------------------------------------------------------

    // A new node of the type, its title property set from `name` when that parses; the new id, or absent
    // on failure. A node given a position is pinned there.
    std::optional<QString> createNode(const NodeType& type, const QString& name,
                                      const PropertyMap& values = {},
                                      std::optional<QPointF> at = std::nullopt);
    // A new relationship of the type between two nodes of the graph; its id, or absent with a notice.
    std::optional<QString> createRelationship(const QUuid& typeId, const QString& from, const QString& to);
    // Adds a node, and relationships that come with it, with the types' defaults filled in.
    bool insert(NodeRecord node, std::optional<QPointF> at = std::nullopt, bool pin = false,
                const QList<RelRecord>& with = {});
    // Adds one relationship between two nodes of the graph, with its type's defaults filled in.
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

    struct RemovedCounts {
        qint64 nodes = 0;
        qint64 relationships = 0;
        bool operator==(const RemovedCounts& other) const = default;
    };
    // Deletes the nodes with every relationship that touches them, and the listed relationships, in one
    // transaction, as one undo step named `action`; (0, 0) on failure.
    RemovedCounts removeRecords(const QStringList& nodeIds, const QStringList& relIds,
                                const QString& action = QStringLiteral("Delete"));
    // Carries out a plan as one undo step.
    GraphAdded applyGraphPlan(const GraphPlan& plan);

    // The values filled with the type's defaults; with no type, the values as they are.
    static PropertyMap withDefaults(const PropertyMap& values, const QList<PropertyDef>* properties);

    // -- Editing the shape (carried out by `shape`) ------------------------------------------------------
    std::optional<QUuid> addNodeType(QPointF at) { return m_shape->addNodeType(at); }
    void deleteShapeSelection() { m_shape->deleteShapeSelection(); }
    void deleteRelType(const QUuid& id) { m_shape->deleteRelType(id); }
    void removeConnection(const RelEndpoint& endpoint, const QUuid& rel, bool bothWays) {
        m_shape->removeConnection(endpoint, rel, bothWays);
    }
    void setDirection(ConnectionDirection direction, const RelEndpoint& endpoint, const QUuid& rel) {
        m_shape->setDirection(direction, endpoint, rel);
    }
    void cycleDirection(const RelEndpoint& endpoint, const QUuid& rel) {
        m_shape->cycleDirection(endpoint, rel);
    }
    void removeProperty(const QUuid& property, const PropertyOwner& owner) {
        m_shape->removeProperty(property, owner);
    }
    void useExistingType(const QUuid& existing, const QUuid& instead) {
        m_shape->useExistingType(existing, instead);
    }
    std::optional<QUuid> addRelationship(const QString& name, const QUuid& from, const QUuid& to,
                                         bool bothWays) {
        return m_shape->addRelationship(name, from, to, bothWays);
    }
    void renameRelType(const QUuid& id, const QString& name) { m_shape->renameRelType(id, name); }
    void setExpandPriority(ExpandPriority priority, const QUuid& type) {
        m_shape->setExpandPriority(priority, type);
    }
    void setEmbedded(const QUuid& property, const PropertyOwner& owner, bool on) {
        m_shape->setEmbedded(property, owner, on);
    }
    bool isApplied(const RelType& type) const { return m_shape->isApplied(type); }
    bool isLocked(const QUuid& property, const PropertyOwner& owner) const {
        return m_shape->isLocked(property, owner);
    }
    bool isLocked(const RelEndpoint& endpoint, const QUuid& rel) const {
        return m_shape->isLocked(endpoint, rel);
    }
    bool losesData(const GraphSchema& from, const GraphSchema& to) const {
        return m_shape->losesData(from, to);
    }
    int missingCount(const QUuid& property, const PropertyOwner& owner) const {
        return m_shape->missingCount(property, owner);
    }
    QStringList distinctValues(const QUuid& property, const PropertyOwner& owner, int limit) const {
        return m_shape->distinctValues(property, owner, limit);
    }

signals:
    void projectChanged();
    void modeChanged();
    void noticeChanged();
    void confirmationChanged();
    // The records in memory changed (values, or which records there are).
    void graphChanged();
    void selectionChanged();
    void closed();

private:
    // What a session's maps derive from the records.
    struct Derived {
        GraphDerived::NodeIndex index;
        QHash<QString, int> typeCounts;
        QHash<QString, int> relCounts;
    };

    void open(SessionStoreOpener openStore);
    void openGraph(const SessionStoreOpener& openStore);
    // Whether the database holds the tables of `appliedSchema`; one that holds those of `schema` instead
    // (its migration committed, the save after it was lost) is adopted, and the project saved.
    bool matchDatabase();
    // Brings the database to the current shape (see applyShape for `putBack`).
    ShapeChange syncDatabase(const QList<MovedValue>* putBack = nullptr);
    // Writes back values that a migration moved; false, with a notice, when the database refused.
    bool putBackValues(const QList<MovedValue>& values);
    // Writes "project.json"; a failure stays pending, with its notice, until a later save succeeds.
    bool save();
    void retryPendingSave();
    void saveLayout();
    void loadRecords(GraphStore& store);
    void rebuildDerived();
    // Loads every record again after a migration; a failure leaves no records and nothing writable.
    bool reloadGraph();
    void failStore(const UserFacingError& error);

    // Deletes the records from the maps and canvas (after the store has).
    void dropFromMemory(const QSet<QString>& nodeIds, const QSet<QString>& relIds);
    QList<RelRecord> touching(const QSet<QString>& nodeIds) const;
    bool updateRecord(const QString& id, bool isNode, const PropertyMap& set, const QString& actionName);
    std::optional<QString> endLabel(const QString& nodeId, const QList<NodeRecord>& extra = {}) const;
    // What removeRecords took, to be put back exactly.
    struct Removal {
        QList<NodeRecord> nodes;
        QList<RelRecord> rels;
        QHash<QString, QPointF> positions;
        QSet<QString> pinned;
        QSet<QString> shown;
    };
    Removal removal(const QList<NodeRecord>& nodes, const QList<RelRecord>& rels) const;
    // Asks before deleting several nodes, with what goes with them.
    void askToDelete(const QSet<QString>& ids);
    void restoreRecords(const Removal& removal, const QString& action);

    Project m_project;
    ProjectLibrary m_library;
    SessionMode m_mode = SessionMode::Graph;
    std::optional<QString> m_notice;
    std::optional<DataLossConfirmation> m_confirmation;
    QHash<QString, NodeRecord> m_nodes;
    QHash<QString, RelRecord> m_rels;
    Derived m_derived;
    int m_topology = 0;
    GraphSelection m_selection;
    QList<HistoryEntry> m_history;
    std::shared_ptr<SessionStore> m_store;
    bool m_graphUnavailable = false;
    // A reload after a migration failed: the maps are empty and nothing is written until one succeeds.
    bool m_recordsLost = false;
    // The notice of a save of "project.json" that failed and waits to be tried again.
    std::optional<QString> m_failedSave;
    QPointer<UndoStack> m_undo;
    bool m_closed = false;

    CanvasViews* m_canvases;
    ShapeEditor* m_shape;
    ProjectPreferences* m_preferences;
    SessionBuilds* m_builds = nullptr;
};

} // namespace corvantis
