#pragma once

#include "app/mcp/MCPClientApp.h"

#include <QHash>
#include <QObject>
#include <QSet>
#include <QString>
#include <functional>
#include <optional>
#include <qcoro/qcorotask.h>

namespace corvantis {

// The connector's entry in each client app's configuration: what stands there now, and switching it on
// or off. Files are written atomically and a file that can't be understood is never overwritten.
class MCPConnections : public QObject {
    Q_OBJECT
public:
    enum class State { missing, off, on, moved };

    // Where the connections look; tests point every part at folders and processes of their own.
    struct Places {
        QString home;                // the person's home folder
        QString helper;              // the relay's path
        QStringList applicationDirs; // folders of desktop entries
        std::function<QStringList(MCPClientApp)> processNames;
    };
    // The person's own places: the home of the command-line tools, the relay beside this program.
    static Places defaultPlaces();

    explicit MCPConnections(QObject* parent = nullptr);
    MCPConnections(Places places, QObject* parent = nullptr);

    // The relay that client apps start: corvantis-mcp beside this program's executable.
    static QString helper();
    QString helperPath() const { return m_places.helper; }
    // The JSON to copy into another app's configuration.
    QString snippet() const;

    State state(MCPClientApp app) const { return m_states.value(app, State::missing); }
    bool isWorking(MCPClientApp app) const { return m_working.contains(app); }
    std::optional<QString> error(MCPClientApp app) const;
    bool needsRestart(MCPClientApp app) const { return m_needsRestart.contains(app); }

    // Reads every app's state again.
    void refresh();
    // Writes or removes the entry; a failure's sentence goes to error(app). An app that is running then
    // needs a restart, since it reads its configuration when it starts.
    QCoro::Task<> set(MCPClientApp app, bool on);
    // Asks the app's running processes to quit, waits for them, and opens it again.
    QCoro::Task<> restart(MCPClientApp app);

    bool isInstalled(MCPClientApp app) const;
    // The process ids of the app running as this user.
    QList<qint64> running(MCPClientApp app) const;

signals:
    void changed();

private:
    std::optional<QString> configuredCommand(MCPClientApp app) const;
    std::optional<QString> desktopEntry(MCPClientApp app) const;
    void setError(MCPClientApp app, const std::optional<QString>& error);

    Places m_places;
    QHash<MCPClientApp, State> m_states;
    QSet<MCPClientApp> m_working;
    QHash<MCPClientApp, QString> m_errors;
    QSet<MCPClientApp> m_needsRestart;
};

} // namespace corvantis
