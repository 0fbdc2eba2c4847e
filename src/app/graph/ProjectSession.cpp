#include "app/graph/ProjectSession.h"

#include "app/build/SessionBuilds.h"
#include "app/canvas/CanvasState.h"
#include "app/canvas/CanvasViews.h"
#include "app/graph/ProjectPreferences.h"
#include "app/undo/UndoStack.h"
#include "kit/graph/GraphDerived.h"
#include "kit/store/DDLBuilder.h"
#include "kit/store/GraphStoreError.h"
#include "kit/store/MigrationCleanupError.h"

#include <QDateTime>

namespace corvantis {

namespace {

// Above this many nodes a layout without a saved `shown` opens on an empty canvas.
constexpr int showAllLimit = 300;

QString unavailableNotice(const QString& projectName, const GraphStoreError& error) {
    if (error.kind() == GraphStoreError::Kind::Locked)
        return QStringLiteral(
                   "“%1” is open in another copy of Corvantis, so it can't be opened here. Quit the "
                   "other copy, then open it again. Nothing is saved here meanwhile.")
            .arg(projectName);
    return QStringLiteral("“%1” couldn't be opened: %2 Nothing is saved here meanwhile.")
        .arg(projectName, error.message());
}

const QString recordsLostNotice = QStringLiteral(
    "Your graph couldn't be read again after its shape changed, so nothing is saved until it can be. "
    "Close the project and open it again.");
const QString renameRefused = QStringLiteral(
    "This project is open in another copy of Corvantis, so it can't be renamed here. Rename it there.");

} // namespace

ProjectSession::ProjectSession(const Project& project, const ProjectLibrary& library, Settings* settings,
                               QObject* parent)
    : ProjectSession(project, library, settings, LadybugSessionStore::opener(), parent) {
}

ProjectSession::ProjectSession(const Project& project, const ProjectLibrary& library, Settings* settings,
                               SessionStoreOpener openStore, QObject* parent)
    : QObject(parent)
    , m_project(project)
    , m_library(library)
    , m_canvases(new CanvasViews(
          *this, settings,
          [this](const QStringList& nodes, const QStringList& rels) {
              removeRecords(nodes, rels, QStringLiteral("Delete"));
          },
          this))
    , m_shape(new ShapeEditor(*this, this))
    , m_preferences(new ProjectPreferences(settings, project.id, this)) {
    connect(&m_canvases->graph(), &CanvasState::saveDue, this, &ProjectSession::saveLayout);
    open(std::move(openStore));
    m_builds = new SessionBuilds(*this, settings, this);
    m_canvases->restoreLens();
}

ProjectSession::~ProjectSession() {
    delete std::exchange(m_builds, nullptr); // saves its conversations while the session stands
    if (m_undo)
        m_undo->removeAllActions(this);
}

// -- Opening ----------------------------------------------------------------------------------------

void ProjectSession::open(SessionStoreOpener openStore) {
    m_history = m_library.history(m_project.id);

    if (m_project.appliedSchema) {
        openGraph(openStore);
    } else {
        // The first opening: the database starts from the empty shape and is brought to the project's.
        // A copy that can't open the database leaves the project as it found it.
        m_project.appliedSchema = GraphSchema();
        openGraph(openStore);
        if (m_graphUnavailable) {
            m_project.appliedSchema.reset();
        } else {
            syncDatabase();
        }
    }
    // A project with no shape yet has nothing to show as a graph.
    if (m_project.schema.nodeTypes.isEmpty())
        m_mode = SessionMode::Shape;
}

void ProjectSession::openGraph(const SessionStoreOpener& openStore) {
    bool matches = true;
    try {
        m_store = openStore(m_library.databasePath(m_project.id));
        matches = matchDatabase();
        if (matches)
            loadRecords(*m_store);
    } catch (const GraphStoreError& error) {
        m_store.reset();
        m_graphUnavailable = true;
        m_nodes.clear();
        m_rels.clear();
        setNotice(unavailableNotice(m_project.name, error));
        rebuildDerived();
        return;
    }
    if (!matches) {
        // Neither shape: whatever is read stays as it is, and nothing is written.
        m_graphUnavailable = true;
        setNotice(QStringLiteral("The database of “%1” doesn't match the shape in its project file, so the "
                                 "project is open for reading only and nothing is saved.")
                      .arg(m_project.name));
        try {
            loadRecords(*m_store);
        } catch (const GraphStoreError&) {
            m_nodes.clear();
            m_rels.clear();
        }
    }
    const GraphLayout layout = m_library.layout(m_project.id);
    m_canvases->graph().restore(layout, QSet<QString>(m_nodes.keyBegin(), m_nodes.keyEnd()), showAllLimit);
    rebuildDerived();
}

bool ProjectSession::matchDatabase() {
    Q_ASSERT(m_project.appliedSchema);
    const TableCatalog held = m_store->describeTables();
    if (held == TableCatalog::of(*m_project.appliedSchema))
        return true;
    // The migration to `schema` committed, and the save that should have followed it was lost.
    if (held == TableCatalog::of(m_project.schema)) {
        m_project.appliedSchema = m_project.schema;
        save();
        return true;
    }
    return false;
}

void ProjectSession::loadRecords(GraphStore& store) {
    QStringList nodeLabels;
    QStringList relLabels;
    if (m_project.appliedSchema) {
        for (const NodeType& type : m_project.appliedSchema->nodeTypes)
            nodeLabels << type.table();
        for (const RelType& type : m_project.appliedSchema->relTypes)
            relLabels << type.table();
    }
    // Relationships that arrive with ends sharing their nodes' id texts keep one copy of each id, and
    // the derived maps find such ends by address.
    GraphRecords graph = store.loadGraph(nodeLabels, relLabels);
    QHash<QString, NodeRecord> nodes;
    nodes.reserve(graph.nodes.size());
    for (NodeRecord& node : graph.nodes) {
        QString id = node.id;
        nodes.emplace(std::move(id), std::move(node));
    }
    graph.nodes.clear();
    QHash<QString, RelRecord> rels;
    rels.reserve(graph.rels.size());
    for (RelRecord& rel : graph.rels) {
        QString id = rel.id;
        rels.emplace(std::move(id), std::move(rel));
    }
    m_nodes = std::move(nodes);
    m_rels = std::move(rels);
}

void ProjectSession::rebuildDerived() {
    GraphDerived::Maps maps = GraphDerived::of(m_nodes, m_rels);
    m_derived.index = std::move(maps.index);
    m_derived.relCounts = std::move(maps.relCounts);
    m_derived.typeCounts = std::move(maps.typeCounts);
    ++m_topology;
    emit graphChanged();
}

bool ProjectSession::reloadGraph() {
    if (!m_store)
        return false;
    try {
        loadRecords(*m_store);
        m_recordsLost = false;
    } catch (const GraphStoreError& error) {
        // Records with the old labels would aim later edits at tables that are gone: hold none.
        m_recordsLost = true;
        m_nodes.clear();
        m_rels.clear();
        setNotice(recordsLostNotice);
    }
    const auto exists = [this](const QString& id) {
        return m_nodes.contains(id) || m_rels.contains(id);
    };
    m_canvases->graph().keepOnly(exists);
    m_canvases->answer().keepOnly(exists);
    for (const QString& id : m_selection.ids) {
        if (!m_nodes.contains(id) && !m_rels.contains(id)) {
            setSelection(GraphSelection());
            break;
        }
    }
    rebuildDerived();
    return !m_recordsLost;
}

bool ProjectSession::writable() {
    if (m_graphUnavailable || !m_store)
        return false;
    if (!m_recordsLost)
        return true;
    if (reloadGraph()) {
        if (m_notice == recordsLostNotice)
            setNotice(std::nullopt);
        return true;
    }
    return false;
}

// -- Keeping the database in step with the shape ------------------------------------------------------

bool ProjectSession::hasPendingChanges() const {
    return m_project.isFinalized() && *m_project.appliedSchema != m_project.schema;
}

SessionCore::ShapeChange ProjectSession::applyShape(const GraphSchema& after,
                                                    const QList<MovedValue>* putBack) {
    m_project.schema = after;
    emit projectChanged();
    return syncDatabase(putBack);
}

// Every way out saves "project.json", so that the file always holds the shape and what the database has.
SessionCore::ShapeChange ProjectSession::syncDatabase(const QList<MovedValue>* putBack) {
    if (m_project.appliedSchema && *m_project.appliedSchema == m_project.schema) {
        save();
        return {};
    }
    // An invalid shape stays a draft; an empty one needs no validity.
    if (!m_project.schema.nodeTypes.isEmpty() && !m_project.schema.validate().isEmpty()) {
        save();
        return {ShapeOutcome::Pending, {}};
    }

    const GraphSchema applied = m_project.appliedSchema.value_or(GraphSchema());
    MigrationPlan plan = DDLBuilder::plan(m_project.appliedSchema, m_project.schema);
    if (putBack) {
        plan.fills.clear();
        plan.replacements.clear();
    }
    const QList<DefaultFill>& fills = plan.fills;
    const QList<ValueReplacement>& replacements = plan.replacements;
    const bool lost = losesData(applied, m_project.schema);
    ShapeChange change{lost ? ShapeOutcome::AppliedLost : ShapeOutcome::Applied, {}};

    if (m_store) {
        try {
            m_store->migrate(plan);
        } catch (const MigrationCleanupError& error) {
            // The statements committed: the database holds the new shape whatever the tidying did.
            setNotice(error.message());
        } catch (const GraphStoreError& error) {
            // Nothing was committed: the shape waits in `schema`, and the next sync tries it again.
            setNotice(error.message());
            m_shape->pruneSelection();
            save();
            return {ShapeOutcome::Pending, {}};
        }
    }
    // "project.json" names the tables the database now holds before anything else can fail.
    m_project.appliedSchema = m_project.schema;
    save();
    emit projectChanged();

    if (m_store) {
        change.moved = MovedValue::by(fills, replacements, m_project.schema, m_nodes, m_rels);
        try {
            m_store->fill(fills);
        } catch (const GraphStoreError& error) {
            setNotice(error.message());
            m_project.schema.dropDefaults(fills, applied);
            m_project.appliedSchema = m_project.schema;
            change.moved.removeIf([&](const MovedValue& value) {
                for (const DefaultFill& fill : std::as_const(fills))
                    if (fill.column == value.column && fill.isNode == value.isNode)
                        return true;
                return false;
            });
            save();
        }
        try {
            m_store->replace(replacements);
        } catch (const GraphStoreError& error) {
            setNotice(error.message());
            change.moved.removeIf([&](const MovedValue& value) {
                for (const ValueReplacement& replacement : std::as_const(replacements))
                    if (replacement.column == value.column && replacement.isNode == value.isNode)
                        return true;
                return false;
            });
        }
        if (putBack)
            putBackValues(*putBack);
    }

    if (!plan.isEmpty() || (putBack && !putBack->isEmpty()))
        reloadGraph();
    if (lost && m_undo)
        m_undo->removeAllActions(this);
    return change;
}

bool ProjectSession::putBackValues(const QList<MovedValue>& values) {
    try {
        for (const MovedValue& value : values) {
            const auto table = tableOf(value.type);
            if (!table)
                continue;
            const PropertyMap set{{value.column, value.before}};
            if (value.isNode)
                m_store->updateNode(value.id, *table, set);
            else
                m_store->updateRel(value.id, *table, set);
        }
    } catch (const GraphStoreError& error) {
        setNotice(error.message());
        return false;
    }
    return true;
}

bool ProjectSession::save() {
    if (m_graphUnavailable)
        return false;
    // Whole seconds, as the file keeps them, so that the project in memory equals the one read back.
    QDateTime now = QDateTime::currentDateTimeUtc();
    now.setTime(QTime(now.time().hour(), now.time().minute(), now.time().second()));
    m_project.modifiedAt = now;
    bool saved = true;
    try {
        m_library.save(m_project);
        if (m_failedSave && m_notice == m_failedSave)
            setNotice(std::nullopt);
        m_failedSave.reset();
    } catch (const UserFacingError& error) {
        m_failedSave = error.message();
        setNotice(error.message());
        saved = false;
    }
    emit projectChanged();
    return saved;
}

void ProjectSession::retryPendingSave() {
    if (m_failedSave)
        save();
}

void ProjectSession::saveLayout() {
    if (!m_project.isFinalized() || m_graphUnavailable || m_recordsLost)
        return;
    try {
        m_library.saveLayout(m_canvases->graph().layout(), m_project.id);
    } catch (const UserFacingError&) {
        // The layout is a convenience: a failure to write it must not disturb the person's work.
    }
}

QCoro::Task<> ProjectSession::close() {
    if (m_closed)
        co_return;
    m_closed = true;
    m_canvases->shutDown();
    saveLayout();
    retryPendingSave();
    if (m_undo)
        m_undo->removeAllActions(this);
    if (m_store && !m_graphUnavailable) {
        try {
            m_store->checkpoint();
        } catch (const GraphStoreError&) {
            // The log is replayed at the next opening; closing goes on.
        }
        m_store.reset();
    }
    emit closed();
    co_return;
}

CanvasState& ProjectSession::graphCanvas() const {
    return m_canvases->graph();
}

// -- Plain state -------------------------------------------------------------------------------------

bool ProjectSession::rename(const QString& name) {
    if (m_graphUnavailable) {
        setNotice(renameRefused);
        return false;
    }
    if (m_project.name == name)
        return true;
    m_project.name = name;
    emit projectChanged();
    return save();
}

void ProjectSession::setMode(SessionMode mode) {
    if (m_mode == mode)
        return;
    m_mode = mode;
    emit modeChanged();
}

void ProjectSession::setNotice(const std::optional<QString>& notice) {
    if (m_notice == notice)
        return;
    m_notice = notice;
    emit noticeChanged();
}

void ProjectSession::requestConfirmation(DataLossConfirmation confirmation) {
    confirmation.id = QUuid::createUuid();
    m_confirmation = std::move(confirmation);
    emit confirmationChanged();
}

void ProjectSession::confirm() {
    if (!m_confirmation)
        return;
    auto perform = std::move(m_confirmation->perform);
    m_confirmation.reset();
    emit confirmationChanged();
    if (perform)
        perform();
}

void ProjectSession::dismissConfirmation() {
    if (!m_confirmation)
        return;
    m_confirmation.reset();
    emit confirmationChanged();
}

void ProjectSession::setSelection(const GraphSelection& selection) {
    if (m_selection == selection)
        return;
    m_selection = selection;
    emit selectionChanged();
}

std::optional<QString> ProjectSession::tableOf(const QUuid& typeId) const {
    if (!m_project.appliedSchema)
        return std::nullopt;
    if (const NodeType* type = m_project.appliedSchema->nodeType(typeId))
        return type->table();
    if (const RelType* type = m_project.appliedSchema->relType(typeId))
        return type->table();
    return std::nullopt;
}

int ProjectSession::recordCount(const QUuid& typeId) const {
    const auto table = tableOf(typeId);
    if (!table)
        return 0;
    if (m_project.appliedSchema->nodeType(typeId))
        return m_derived.typeCounts.value(*table);
    return m_derived.relCounts.value(*table);
}

void ProjectSession::setUndoStack(UndoStack* stack) {
    m_undo = stack;
}

void ProjectSession::registerUndo(const QString& name, std::function<void()> handler) {
    // Every change passes here: a save of "project.json" that failed is tried again with it.
    retryPendingSave();
    if (!m_undo || m_closed)
        return;
    m_undo->registerUndo(this, std::move(handler));
    m_undo->setActionName(name);
}

void ProjectSession::failStore(const UserFacingError& error) {
    setNotice(error.message());
    // An undo or redo that the database refused stays where it was, to be tried again.
    if (m_undo && (m_undo->isUndoing() || m_undo->isRedoing()))
        m_undo->refuse();
}

} // namespace corvantis
