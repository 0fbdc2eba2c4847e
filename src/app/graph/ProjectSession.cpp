#include "app/graph/ProjectSession.h"

#include "app/app/Settings.h"
#include "app/undo/UndoStack.h"
#include "kit/graph/GraphDerived.h"
#include "kit/store/DDLBuilder.h"
#include "kit/store/GraphStoreError.h"

#include <QDateTime>

namespace corvantis {

namespace {

// Above this many nodes a layout without a saved `shown` opens on an empty canvas.
constexpr int showAllLimit = 300;
constexpr int layoutSaveDelayMs = 600;

QString unavailableNotice(const QString& projectName, const QString& description) {
    if (description.contains(QStringLiteral("lock"), Qt::CaseInsensitive))
        return QStringLiteral(
                   "“%1” is open in another copy of Corvantis, so it can't be opened here. Quit the "
                   "other copy, then open it again. Nothing is saved here meanwhile.")
            .arg(projectName);
    return QStringLiteral("“%1” couldn't be opened: %2 Nothing is saved here meanwhile.")
        .arg(projectName, description);
}

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
    , m_settings(settings) {
    m_layoutSave.setSingleShot(true);
    m_layoutSave.setTimerType(Qt::PreciseTimer);
    m_layoutSave.setInterval(layoutSaveDelayMs);
    connect(&m_layoutSave, &QTimer::timeout, this, &ProjectSession::saveLayout);
    open(std::move(openStore));
}

ProjectSession::~ProjectSession() {
    if (m_undo)
        m_undo->removeAllActions(this);
}

// -- Opening ----------------------------------------------------------------------------------------

void ProjectSession::open(SessionStoreOpener openStore) {
    if (m_settings) {
        m_addsByHand = m_settings->addsByHand();
        m_excludedFromSearch = m_settings->searchScope(m_project.id);
        m_excludedFromTextSearch = m_settings->textScope(m_project.id);
    }
    m_history = m_library.history(m_project.id);

    if (m_project.appliedSchema) {
        openGraph(openStore);
        return;
    }
    // The first opening: the database starts from the empty shape and is brought to the project's.
    // A copy that can't open the database leaves the project as it found it.
    m_project.appliedSchema = GraphSchema();
    openGraph(openStore);
    if (m_graphUnavailable) {
        m_project.appliedSchema.reset();
        return;
    }
    syncDatabase();
    save();
}

void ProjectSession::openGraph(const SessionStoreOpener& openStore) {
    try {
        m_store = openStore(m_library.databasePath(m_project.id));
        loadRecords(*m_store);
    } catch (const UserFacingError& error) {
        m_store.reset();
        m_graphUnavailable = true;
        m_nodes.clear();
        m_rels.clear();
        setNotice(unavailableNotice(m_project.name, error.message()));
        rebuildDerived();
        return;
    }

    const GraphLayout layout = m_library.layout(m_project.id);
    if (layout.shown) {
        m_graphShown = *layout.shown;
    } else if (m_nodes.size() <= showAllLimit) {
        m_graphShown = QSet<QString>(m_nodes.keyBegin(), m_nodes.keyEnd());
    }
    for (auto it = layout.positions.begin(); it != layout.positions.end(); ++it)
        if (m_nodes.contains(it.key()))
            m_graphPositions.insert(it.key(), QPointF(it->x, it->y));
    for (const QString& id : layout.pinned)
        if (m_nodes.contains(id))
            m_graphPinned.insert(id);
    if (layout.parents)
        for (auto it = layout.parents->begin(); it != layout.parents->end(); ++it)
            m_graphParents.insert(it.key(), it.value());
    rebuildDerived();
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
    m_nodeIndex = std::move(maps.index);
    m_relCounts = std::move(maps.relCounts);
    m_typeCounts = std::move(maps.typeCounts);
    ++m_topology;
    emit graphChanged();
}

void ProjectSession::reloadGraph() {
    if (!m_store)
        return;
    try {
        loadRecords(*m_store);
    } catch (const UserFacingError& error) {
        setNotice(error.message());
    }
    QSet<QString> vanished;
    auto collect = [&](const auto& ids) {
        for (const QString& id : ids)
            if (!m_nodes.contains(id) && !m_rels.contains(id))
                vanished.insert(id);
    };
    collect(m_graphShown);
    collect(m_graphPinned);
    collect(m_graphPositions.keys());
    collect(m_graphParents.keys());
    if (!vanished.isEmpty())
        forget(vanished);
    for (const QString& id : m_selection.ids) {
        if (!m_nodes.contains(id) && !m_rels.contains(id)) {
            setSelection(GraphSelection());
            break;
        }
    }
    rebuildDerived();
}

// -- Keeping the database in step with the shape ------------------------------------------------------

bool ProjectSession::hasPendingChanges() const {
    return m_project.isFinalized() && *m_project.appliedSchema != m_project.schema;
}

bool ProjectSession::syncDatabase() {
    if (m_project.appliedSchema && *m_project.appliedSchema == m_project.schema)
        return false;
    // An invalid shape stays a draft; an empty one needs no validity.
    if (!m_project.schema.nodeTypes.isEmpty() && !m_project.schema.validate().isEmpty())
        return false;

    const GraphSchema applied = m_project.appliedSchema.value_or(GraphSchema());
    const MigrationPlan plan = DDLBuilder::plan(m_project.appliedSchema, m_project.schema);
    const bool lost = losesData(applied, m_project.schema);

    if (m_store) {
        try {
            m_store->migrate(plan);
        } catch (const UserFacingError& error) {
            setNotice(error.message());
            pruneShapeSelection();
            return false;
        }
        try {
            m_store->fill(plan.fills);
        } catch (const UserFacingError& error) {
            setNotice(error.message());
            m_project.schema.dropDefaults(plan.fills, applied);
        }
        try {
            m_store->replace(plan.replacements);
        } catch (const UserFacingError& error) {
            setNotice(error.message());
        }
    }
    m_project.appliedSchema = m_project.schema;
    emit projectChanged();

    if (!plan.isEmpty())
        reloadGraph();
    if (lost && m_undo)
        m_undo->removeAllActions(this);
    return lost;
}

void ProjectSession::save() {
    // Whole seconds, as the file keeps them, so that the project in memory equals the one read back.
    QDateTime now = QDateTime::currentDateTimeUtc();
    now.setTime(QTime(now.time().hour(), now.time().minute(), now.time().second()));
    m_project.modifiedAt = now;
    try {
        m_library.save(m_project);
    } catch (const UserFacingError& error) {
        setNotice(error.message());
    }
    emit projectChanged();
}

void ProjectSession::scheduleLayoutSave() {
    if (m_closed)
        return;
    m_layoutSave.start();
}

void ProjectSession::saveLayout() {
    if (!m_project.isFinalized() || m_graphUnavailable)
        return;
    GraphLayout layout;
    for (auto it = m_graphPositions.begin(); it != m_graphPositions.end(); ++it) {
        QPointF point = m_graphPinned.contains(it.key()) ? m_graphPinnedHome.value(it.key(), *it) : *it;
        layout.positions.insert(it.key(), {point.x(), point.y()});
    }
    layout.pinned = m_graphPinned;
    layout.shown = m_graphShown;
    QMap<QString, QString> parents;
    for (auto it = m_graphParents.begin(); it != m_graphParents.end(); ++it)
        parents.insert(it.key(), it.value());
    layout.parents = parents;
    try {
        m_library.saveLayout(layout, m_project.id);
    } catch (const UserFacingError&) {
        // The layout is a convenience: a failure to write it must not disturb the person's work.
    }
}

QCoro::Task<> ProjectSession::close() {
    if (m_closed)
        co_return;
    m_closed = true;
    m_layoutSave.stop();
    saveLayout();
    if (m_undo)
        m_undo->removeAllActions(this);
    if (m_store) {
        try {
            m_store->checkpoint();
        } catch (const UserFacingError&) {
            // The log is replayed at the next opening; closing goes on.
        }
        m_store.reset();
    }
    emit closed();
    co_return;
}

// -- Plain state -------------------------------------------------------------------------------------

void ProjectSession::setProjectName(const QString& name) {
    if (m_project.name == name)
        return;
    m_project.name = name;
    emit projectChanged();
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

void ProjectSession::ask(DataLossConfirmation confirmation) {
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

void ProjectSession::setExcludedFromSearch(const QSet<QUuid>& ids) {
    if (m_excludedFromSearch == ids)
        return;
    m_excludedFromSearch = ids;
    if (m_settings)
        m_settings->setSearchScope(m_project.id, ids);
    emit searchScopeChanged();
}

void ProjectSession::setExcludedFromTextSearch(const QSet<QUuid>& ids) {
    if (m_excludedFromTextSearch == ids)
        return;
    m_excludedFromTextSearch = ids;
    if (m_settings)
        m_settings->setTextScope(m_project.id, ids);
    emit searchScopeChanged();
}

void ProjectSession::setAddsByHand(bool byHand) {
    if (m_addsByHand == byHand)
        return;
    m_addsByHand = byHand;
    if (m_settings)
        m_settings->setAddsByHand(byHand);
    emit addsByHandChanged();
}

void ProjectSession::setUndoStack(UndoStack* stack) {
    m_undo = stack;
}

void ProjectSession::registerUndo(const QString& name, std::function<void()> handler) {
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
