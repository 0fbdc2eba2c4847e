#include "app/app/AppModel.h"

#include "app/ai/AIConnection.h"
#include "app/graph/ProjectSession.h"
#include "app/mcp/MCPConnections.h"
#include "app/mcp/MCPService.h"
#include "app/mcp/MCPTools.h"
#include "kit/support/UserFacingError.h"

namespace corvantis {

namespace {

// Awaits a session's close and then lets the session go.
QCoro::Task<> closeAndDispose(ProjectSession* session) {
    co_await session->close();
    session->deleteLater();
}

} // namespace

AppModel::AppModel(std::unique_ptr<Settings> settings, const QString& libraryRoot, QObject* parent)
    : QObject(parent)
    , m_settings(std::move(settings))
    , m_library(libraryRoot) {
    for (AIProvider provider : AIProvider::allCases())
        m_connections.insert(provider, new AIConnection(provider, this));
    // The publisher is built here once it exists.
    m_allowsMCP = m_settings->mcpEnabled();
    m_mcpTools = new MCPTools(this, this);
    m_mcpService = new MCPService(
        [tools = m_mcpTools](QString name, QJsonObject arguments, MCPClient client) {
            return tools->call(std::move(name), std::move(arguments), std::move(client));
        },
        QCoreApplication::applicationVersion(), this);
    connect(m_mcpTools, &MCPTools::frontRequested, this, &AppModel::frontRequested);
    m_mcpConnections = new MCPConnections(this);
    m_sidebarHidden = m_settings->sidebarHidden();

    // The embedding model manager ("Models" beside "Projects") is built here once it exists.

    for (AIProvider provider : AIProvider::allCases())
        m_choices.insert(provider, m_settings->modelChoice(provider));
    m_provider = m_settings->provider();
    m_queryMode = m_settings->queryMode();
    m_appearance = m_settings->appearance();
    m_settings->removeApiKey();
    // Only the selected provider's tool is asked now; the other one when the person selects it.
    m_connections.value(m_provider)->refresh();

    m_projects = m_library.projects();

    if (m_allowsMCP)
        m_mcpService->start();

    if (auto last = m_settings->lastProject()) {
        for (const Project& project : std::as_const(m_projects)) {
            if (project.id == *last) {
                open(project);
                break;
            }
        }
    }
}

AppModel::~AppModel() = default;

void AppModel::setProvider(AIProvider provider) {
    if (m_provider == provider)
        return;
    m_provider = provider;
    m_settings->setProvider(provider);
    m_connections.value(provider)->refresh();
    emit providerChanged();
    emit choiceChanged();
}

bool AppModel::canUseAI() const {
    const AIConnection* connection = m_connections.value(m_provider);
    return connection->installed() && !connection->signedOut();
}

void AppModel::updateChoice(const std::function<void(ModelChoice&)>& change) {
    ModelChoice choice = m_choices.value(m_provider);
    change(choice);
    if (choice == m_choices.value(m_provider))
        return;
    m_choices.insert(m_provider, choice);
    m_settings->saveModelChoice(m_provider, choice);
    emit choiceChanged();
}

void AppModel::setModel(const AIModel& model) {
    updateChoice([&](ModelChoice& c) { c.model = model; });
}

void AppModel::setEffort(AIEffort effort) {
    updateChoice([&](ModelChoice& c) { c.effort = effort; });
}

void AppModel::setRouterModel(const AIModel& model) {
    updateChoice([&](ModelChoice& c) { c.routerModel = model; });
}

void AppModel::setRouterEffort(AIEffort effort) {
    updateChoice([&](ModelChoice& c) { c.routerEffort = effort; });
}

void AppModel::setAllowsMCP(bool allows) {
    if (m_allowsMCP == allows)
        return;
    m_allowsMCP = allows;
    m_settings->setMcpEnabled(allows);
    if (allows)
        m_mcpService->start();
    else
        m_mcpService->stop();
    emit allowsMCPChanged();
}

void AppModel::setQueryMode(QueryMode mode) {
    if (m_queryMode == mode)
        return;
    m_queryMode = mode;
    m_settings->setQueryMode(mode);
    emit queryModeChanged();
}

void AppModel::setAppearance(Appearance appearance) {
    if (m_appearance == appearance)
        return;
    m_appearance = appearance;
    m_settings->setAppearance(appearance);
    emit appearanceChanged();
}

void AppModel::setSidebarHidden(bool hidden) {
    if (m_sidebarHidden == hidden)
        return;
    m_sidebarHidden = hidden;
    m_settings->setSidebarHidden(hidden);
    emit sidebarHiddenChanged();
}

void AppModel::setFullScreen(bool fullScreen) {
    if (m_isFullScreen == fullScreen)
        return;
    m_isFullScreen = fullScreen;
    emit fullScreenChanged();
}

void AppModel::setPalette(std::optional<PaletteMode> palette) {
    if (m_palette == palette)
        return;
    m_palette = palette;
    emit paletteChanged();
}

void AppModel::setRenaming(const std::optional<Project>& project) {
    if (m_renaming == project)
        return;
    m_renaming = project;
    emit renamingChanged();
}

void AppModel::setDeleting(const std::optional<Project>& project) {
    if (m_deleting == project)
        return;
    m_deleting = project;
    emit deletingChanged();
}

void AppModel::setNotice(const std::optional<QString>& notice) {
    if (m_notice == notice)
        return;
    m_notice = notice;
    emit noticeChanged();
}

void AppModel::setSession(ProjectSession* session) {
    if (m_session == session)
        return;
    m_session = session;
    emit sessionChanged();
}

void AppModel::closeSession() {
    if (!m_session)
        return;
    m_closing.removeIf([](const std::shared_ptr<QCoro::Task<>>& task) { return task->isReady(); });
    m_closing.append(std::make_shared<QCoro::Task<>>(closeAndDispose(m_session)));
}

void AppModel::open(const Project& project) {
    if (m_session && m_session->project().id == project.id)
        return;
    closeSession();
    Project current = project;
    for (const Project& listed : m_library.projects()) {
        if (listed.id == project.id) {
            current = listed;
            break;
        }
    }
    setSession(new ProjectSession(current, m_library, m_settings.get(), this));
    m_settings->setLastProject(current.id);
}

void AppModel::refresh() {
    QList<Project> projects = m_library.projects();
    if (m_session) {
        for (Project& project : projects)
            if (project.id == m_session->project().id)
                project = m_session->project();
    }
    m_projects = projects;
    emit projectsChanged();
}

void AppModel::showGallery() {
    closeSession();
    refresh();
    setSession(nullptr);
    m_settings->removeLastProject();
}

void AppModel::newProject() {
    try {
        Project project = m_library.create(m_library.uniqueName(QStringLiteral("Untitled project")));
        refresh();
        open(project);
        setRenaming(project);
    } catch (const UserFacingError& error) {
        setNotice(error.message());
    }
}

void AppModel::rename(const Project& project, const QString& name) {
    QString trimmed = name.trimmed();
    if (trimmed.isEmpty())
        return;
    // The open project is renamed by its session, which writes nothing while another copy has it.
    if (m_session && m_session->project().id == project.id) {
        m_session->rename(trimmed);
        refresh();
        return;
    }
    Project renamed = project;
    renamed.name = trimmed;
    try {
        m_library.save(renamed);
    } catch (const UserFacingError& error) {
        setNotice(error.message());
    }
    refresh();
}

void AppModel::remove(const Project& project) {
    if (m_session && m_session->project().id == project.id) {
        closeSession();
        setSession(nullptr);
        m_settings->removeLastProject();
    }
    try {
        m_library.remove(project.id);
    } catch (const UserFacingError& error) {
        setNotice(error.message());
    }
    refresh();
}

QString AppModel::deleteConfirmation() {
    return QStringLiteral(
        "Its shape, graph and history are removed from this computer. This can't be undone.");
}

QCoro::Task<> AppModel::prepareToQuit() {
    m_mcpService->stop();
    closeSession();
    setSession(nullptr);
    // The embedding model manager's shutdown is awaited here once it exists.
    const auto closing = m_closing;
    for (const auto& task : closing)
        co_await *task;
    m_settings->sync();
}

} // namespace corvantis
