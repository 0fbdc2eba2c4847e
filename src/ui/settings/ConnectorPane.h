#pragma once

#include "app/mcp/MCPClientApp.h"

#include <QHash>
#include <QWidget>

class QCheckBox;
class QLabel;
class QPlainTextEdit;
class QPushButton;

namespace corvantis {

class AppModel;

// Settings ▸ Connector: whether other AI apps may reach Corvantis, the port it listens on or why it
// can't, the apps connected now, and for each client app its state with Connect or Disconnect, Restart
// when the app must read its settings again, and what went wrong. The snippet sets up any other app.
class ConnectorPane : public QWidget {
    Q_OBJECT
public:
    explicit ConnectorPane(AppModel& app, QWidget* parent = nullptr);

    QCheckBox* enabled() const { return m_enabled; }
    QLabel* status() const { return m_status; }
    QPushButton* toggle(MCPClientApp app) const { return m_rows.value(app).toggle; }
    QLabel* state(MCPClientApp app) const { return m_rows.value(app).state; }
    QLabel* error(MCPClientApp app) const { return m_rows.value(app).error; }
    QPushButton* restart(MCPClientApp app) const { return m_rows.value(app).restart; }

    // The words for an app's state.
    static QString stateText(int state);

private:
    struct Row {
        QLabel* state = nullptr;
        QPushButton* toggle = nullptr;
        QPushButton* restart = nullptr;
        QLabel* error = nullptr;
    };
    void syncService();
    void syncConnections();

    AppModel& m_app;
    QCheckBox* m_enabled;
    QLabel* m_status;
    QLabel* m_connected;
    QHash<MCPClientApp, Row> m_rows;
    QPlainTextEdit* m_snippet;
};

} // namespace corvantis
