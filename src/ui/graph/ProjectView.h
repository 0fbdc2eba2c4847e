#pragma once

#include <QPointer>
#include <QWidget>

class QLabel;
class QLineEdit;
class QStackedWidget;
class QToolButton;

namespace corvantis {

class AppModel;
class AskViews;
class GraphOverview;
class GraphTableView;
class ProjectSession;
class ShapeView;

// The window's face while a project is open: a bar with the way back to the projects, the project's
// name (click to rename) and the switch between Shape and Graph, over the view of the mode. Graph mode
// shows the table of the graph, or an overview while the table is hidden. Shape edits that would delete
// data are confirmed here.
class ProjectView : public QWidget {
    Q_OBJECT
public:
    explicit ProjectView(AppModel& app, QWidget* parent = nullptr);
    // Lets go of the session first: the controls that close with the view may still send it edits.
    ~ProjectView() override;

    QLineEdit* nameField() const { return m_name; }
    ShapeView* shapeView() const { return m_shape; }
    GraphTableView* tableView() const { return m_table; }
    GraphOverview* overview() const { return m_overview; }
    QToolButton* shapeButton() const { return m_shapeButton; }
    QToolButton* graphButton() const { return m_graphButton; }
    AskViews* ask() const { return m_ask; }

    // Whether Graph mode shows the table (View ▸ Show Table).
    bool showsTable() const { return m_showsTable; }
    void setShowsTable(bool shows);

signals:
    void showsTableChanged();

private:
    void bindSession();
    void commitName();
    void beginRenaming();
    void syncMode();
    void confirm();

    AppModel& m_app;
    QPointer<ProjectSession> m_session;
    QLineEdit* m_name;
    QToolButton* m_shapeButton;
    QToolButton* m_graphButton;
    QStackedWidget* m_modes;
    ShapeView* m_shape;
    QStackedWidget* m_graphFaces;
    GraphOverview* m_overview;
    GraphTableView* m_table;
    bool m_showsTable = true;
    AskViews* m_ask;
};

} // namespace corvantis
