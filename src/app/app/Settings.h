#pragma once

#include "app/app/AppEnums.h"
#include "app/app/ModelChoice.h"
#include "kit/ai/AIProvider.h"

#include <QSet>
#include <QSettings>
#include <QUuid>
#include <memory>
#include <optional>

namespace corvantis {

// The program's per-user settings: one typed accessor per key, so that each key's name and default
// stand in one place. Nothing here belongs to a project.
class Settings {
public:
    // The user's settings (organisation and application "Corvantis"; XDG_CONFIG_HOME moves them).
    Settings();
    // Settings kept in one file, for tests.
    explicit Settings(const QString& iniPath);
    ~Settings();

    // "mcp.enabled": absent is told apart from false, and means true.
    bool mcpEnabled() const;
    void setMcpEnabled(bool enabled);

    bool sidebarHidden() const;
    void setSidebarHidden(bool hidden);

    // "aiProvider": claude unless the text is exactly "chatGPT".
    AIProvider provider() const;
    void setProvider(AIProvider provider);

    QueryMode queryMode() const;
    void setQueryMode(QueryMode mode);

    Appearance appearance() const;
    void setAppearance(Appearance appearance);

    // The choice stored for a provider ("model", "effort", "routerModel", "routerEffort", with the prefix
    // "chatGPT." for ChatGPT). A stored model id is used only when it belongs to the provider; stored
    // efforts pass through the model's nearest effort.
    ModelChoice modelChoice(AIProvider provider) const;
    void saveModelChoice(AIProvider provider, const ModelChoice& choice);

    // "lastProject": the project to reopen at start.
    std::optional<QUuid> lastProject() const;
    void setLastProject(const QUuid& id);
    void removeLastProject();

    // "graph.addsByHand": the default way of adding in Build; false when absent.
    bool addsByHand() const;
    void setAddsByHand(bool byHand);

    // "searchScope.{project id}" and "textScope.{project id}": the property ids a project leaves out of
    // search by meaning and of word search. Entries that are not UUIDs are dropped on reading.
    QSet<QUuid> searchScope(const QUuid& project) const;
    void setSearchScope(const QUuid& project, const QSet<QUuid>& excluded);
    QSet<QUuid> textScope(const QUuid& project) const;
    void setTextScope(const QUuid& project, const QSet<QUuid>& excluded);

    // "graph.neighbourLimit": how many nodes one expansion brings; missing or below 1 means 25.
    int neighbourLimit() const;
    void setNeighbourLimit(int limit);

    // "lens.{project id}": the saved lens of a project's graph canvas, the JSON text of
    // `CanvasLens::Saved`; empty when none is kept.
    QString savedLens(const QUuid& project) const;
    void setSavedLens(const QUuid& project, const QString& json);

    // An old key that is removed at every start and never read.
    void removeApiKey();

    // Generic access for keys that belong to one area (a session's scopes, for example).
    QVariant value(const QString& key) const;
    void setValue(const QString& key, const QVariant& value);
    void remove(const QString& key);
    void sync();

private:
    std::unique_ptr<QSettings> m_settings;
};

} // namespace corvantis
