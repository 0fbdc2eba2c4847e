#pragma once

#include <QPointF>
#include <QPointer>
#include <QWidget>
#include <optional>

class QAction;
class QLabel;
class QMenu;
class QLineEdit;
class QSplitter;
class QStackedWidget;
class QToolButton;
class QHBoxLayout;
class QVBoxLayout;

namespace corvantis {

class AppModel;
class AskViews;
class CanvasPage;
class CommandPalette;
class ComposerDialog;
class DrawingOpener;
class BuildPanel;
class GraphTableView;
class NotesPanel;
class ProjectSession;
class RightPanel;
class ShapePage;
class ShapeView;
class Sidebar;

// The window's face while a project is open.
//
// A toolbar (sidebar toggle, the way back to the projects, the project's name, the Shape and Graph
// switch, then slots for the Ask bar, Build and the embedding status, and the settings) over three
// columns: the sidebar, the centre and the right panel; below them the notes panel's slot. The centre
// shows the mode: the shape canvas in Shape mode, and in Graph mode the canvas with its chip strip, or the
// table (Ctrl+T). Shape edits that would delete data are confirmed here.
class ProjectView : public QWidget {
    Q_OBJECT
public:
    explicit ProjectView(AppModel& app, QWidget* parent = nullptr);
    // Lets go of the session first: the controls that close with the view may still send it edits.
    ~ProjectView() override;

    QLineEdit* nameField() const { return m_name; }
    ShapeView* shapeView() const;
    ShapePage* shapePage() const { return m_shape; }
    GraphTableView* tableView() const { return m_table; }
    CanvasPage* canvasPage() const { return m_canvas; }
    Sidebar* sidebar() const { return m_sidebar; }
    RightPanel* rightPanel() const { return m_right; }
    CommandPalette* palette() const { return m_palette; }
    // Opens the composer of a node at a world point of the canvas; with `from`, connected to that node.
    void openComposer(QPointF world, const std::optional<QString>& from);
    BuildPanel* buildPanel() const { return m_build; }
    QToolButton* shapeButton() const { return m_shapeButton; }
    QToolButton* graphButton() const { return m_graphButton; }
    QToolButton* sidebarButton() const { return m_sidebarButton; }
    AskViews* ask() const { return m_ask; }

    // The notes panel of the session (Ctrl+J), or null.
    bool showsNotes() const;
    void toggleNotes();

    // Whether Graph mode shows the table (View ▸ Show Table) rather than the canvas.
    bool showsTable() const { return m_showsTable; }
    void setShowsTable(bool shows);

    // Adds the window's commands for the project (sidebar, canvas, palette, composer) to a menu; their
    // shortcuts work wherever the window has focus.
    void addViewActions(QMenu* menu);

    bool sidebarShown() const;
    void setSidebarShown(bool shown);

    // -- Slots the other areas of the window fill ------------------------------------------------------

    // The Ask bar with its mode picker, in the middle of the toolbar. The view takes ownership; a later
    // call replaces the earlier widget.
    void setAskBar(QWidget* bar);
    // The Build button, right of the Ask bar.
    void setBuildButton(QWidget* button);
    // The small status of embedding work, beside Build.
    void setEmbeddingStatus(QWidget* status);
    // The notes panel under the three columns; hidden until `setNotesPanelShown(true)` (Ctrl+J).
    void setNotesPanel(QWidget* panel);
    NotesPanel* notesPanel() const;
    void setNotesPanelShown(bool shown);
    // A section of the sidebar under the node types (saved questions, the notes tree).
    void addSidebarSection(QWidget* section);

signals:
    void showsTableChanged();
    void sidebarShownChanged();
    void settingsRequested();

private:
    void bindSession();
    void commitName();
    void beginRenaming();
    void syncMode();
    void confirm();
    void showComposer(ComposerDialog* composer);
    void fillSlot(QHBoxLayout* slot, QWidget* widget);

    AppModel& m_app;
    QPointer<ProjectSession> m_session;
    QToolButton* m_sidebarButton;
    QLineEdit* m_name;
    QToolButton* m_shapeButton;
    QToolButton* m_graphButton;
    QHBoxLayout* m_askSlot;
    QHBoxLayout* m_buildSlot;
    QHBoxLayout* m_statusSlot;
    QSplitter* m_vertical;
    QSplitter* m_columns;
    Sidebar* m_sidebar;
    QStackedWidget* m_modes;
    ShapePage* m_shape;
    QStackedWidget* m_graphFaces;
    CanvasPage* m_canvas;
    GraphTableView* m_table;
    RightPanel* m_right;
    QPointer<QWidget> m_notes;
    bool m_showsTable = false;
    QList<QAction*> m_projectActions;
    CommandPalette* m_palette;
    DrawingOpener* m_drawings;
    BuildPanel* m_build = nullptr;
    AskViews* m_ask;
};

} // namespace corvantis
