#pragma once

#include "app/app/AppEnums.h"
#include "app/app/ModelChoice.h"
#include "app/app/Settings.h"
#include "kit/ai/AIProvider.h"
#include "kit/projects/ProjectLibrary.h"

#include <QCoro/QCoroTask>
#include <QHash>
#include <QObject>
#include <memory>
#include <optional>

namespace corvantis {

class AIConnection;
class MCPConnections;
class MCPService;
class MCPTools;
class ProjectSession;

// What the command palette lists.
enum class PaletteMode { Commands, Nodes };

// The root of the running program: the project list, the one open session, the model choices and the
// program's settings. It is the only place that creates, opens, renames, deletes or closes a project.
// Lives on the main thread. Every failure of a user's action ends in `notice`.
class AppModel : public QObject {
    Q_OBJECT
public:
    // Runs the start-up sequence: reads the settings, lists the projects of `libraryRoot` and reopens
    // the last project if it still exists.
    AppModel(std::unique_ptr<Settings> settings, const QString& libraryRoot, QObject* parent = nullptr);
    ~AppModel() override;

    const ProjectLibrary& library() const { return m_library; }
    Settings& settings() { return *m_settings; }

    const QList<Project>& projects() const { return m_projects; }
    // The open project, or nullptr while the gallery shows.
    ProjectSession* session() const { return m_session; }

    // The selected provider; choosing one stores it and refreshes that provider's connection.
    AIProvider provider() const { return m_provider; }
    void setProvider(AIProvider provider);
    // One connection per provider, built once at start.
    AIConnection* connection(AIProvider provider) const { return m_connections.value(provider); }
    // The selected provider's tool is installed and someone is signed in.
    bool canUseAI() const;
    ModelChoice choice(AIProvider provider) const { return m_choices.value(provider); }
    AIModel model() const { return choice(m_provider).model; }
    void setModel(const AIModel& model);
    AIEffort effort() const { return choice(m_provider).effort; }
    void setEffort(AIEffort effort);
    AIModel routerModel() const { return choice(m_provider).routerModel; }
    void setRouterModel(const AIModel& model);
    AIEffort routerEffort() const { return choice(m_provider).routerEffort; }
    void setRouterEffort(AIEffort effort);

    bool allowsMCP() const { return m_allowsMCP; }
    // Stores the choice and starts or stops the connector with it.
    void setAllowsMCP(bool allows);
    // The connector: its listener (running while allowsMCP holds) and the client apps' entries.
    MCPService& mcpService() const { return *m_mcpService; }
    MCPConnections& mcpConnections() const { return *m_mcpConnections; }
    QueryMode queryMode() const { return m_queryMode; }
    void setQueryMode(QueryMode mode);
    Appearance appearance() const { return m_appearance; }
    void setAppearance(Appearance appearance);
    bool sidebarHidden() const { return m_sidebarHidden; }
    void setSidebarHidden(bool hidden);
    bool isFullScreen() const { return m_isFullScreen; }
    void setFullScreen(bool fullScreen);
    std::optional<PaletteMode> palette() const { return m_palette; }
    void setPalette(std::optional<PaletteMode> palette);
    // The project whose name is being edited in the gallery.
    std::optional<Project> renaming() const { return m_renaming; }
    void setRenaming(const std::optional<Project>& project);
    // The project waiting for the delete confirmation.
    std::optional<Project> deleting() const { return m_deleting; }
    void setDeleting(const std::optional<Project>& project);
    // The program-wide toast; a new one replaces the old.
    std::optional<QString> notice() const { return m_notice; }
    void setNotice(const std::optional<QString>& notice);

    // Opens a project as the session; opening the open project again does nothing.
    void open(const Project& project);
    // Reloads the list; the open project's entry is the session's own.
    void refresh();
    // Closes the session and shows the gallery.
    void showGallery();
    // Creates and opens "Untitled project" (or the next free name) and starts renaming it.
    void newProject();
    // Trims the name; an empty name changes nothing.
    void rename(const Project& project, const QString& name);
    // Removes the project and its folder; closes it first when it is open.
    void remove(const Project& project);
    // The sentence shown before a project is deleted.
    static QString deleteConfirmation();

    // Closes everything in order: the session's close starts, then the embedding model is unloaded,
    // then the session's close is awaited.
    QCoro::Task<> prepareToQuit();

signals:
    void projectsChanged();
    void sessionChanged();
    void providerChanged();
    void choiceChanged();
    void allowsMCPChanged();
    void queryModeChanged();
    void appearanceChanged();
    void sidebarHiddenChanged();
    void fullScreenChanged();
    void paletteChanged();
    void renamingChanged();
    void deletingChanged();
    void noticeChanged();
    // A connected app showed the person something: the window comes to the front.
    void frontRequested();

private:
    void setSession(ProjectSession* session);
    // Starts closing the open session and keeps the task so that quitting can await it.
    void closeSession();
    void updateChoice(const std::function<void(ModelChoice&)>& change);

    std::unique_ptr<Settings> m_settings;
    ProjectLibrary m_library;
    QList<Project> m_projects;
    ProjectSession* m_session = nullptr;
    AIProvider m_provider = AIProvider::claude;
    QHash<AIProvider, AIConnection*> m_connections;
    QHash<AIProvider, ModelChoice> m_choices;
    bool m_allowsMCP = true;
    QueryMode m_queryMode = QueryMode::Auto;
    Appearance m_appearance = Appearance::System;
    bool m_sidebarHidden = false;
    bool m_isFullScreen = false;
    std::optional<PaletteMode> m_palette;
    std::optional<Project> m_renaming;
    std::optional<Project> m_deleting;
    std::optional<QString> m_notice;
    MCPTools* m_mcpTools = nullptr;
    MCPService* m_mcpService = nullptr;
    MCPConnections* m_mcpConnections = nullptr;
    // Sessions that are closing; quitting awaits them.
    QList<std::shared_ptr<QCoro::Task<>>> m_closing;
};

} // namespace corvantis
