#pragma once

#include "ui/shape/ShapeTypeEditor.h"

#include <QPointer>
#include <QTimer>
#include <QWidget>

class QLabel;
class QListWidget;
class QPushButton;
class QScrollArea;
class QStackedWidget;

namespace corvantis {

class ProjectSession;

// The Shape mode as a list: node types and relationship types on the left, the selected one's form on
// the right, and the shape's problems above it. Every change goes straight into the graph.
class ShapeView : public QWidget {
    Q_OBJECT
public:
    explicit ShapeView(QWidget* parent = nullptr);
    // Lets go of the session first: the controls that close with the view may still send it edits.
    ~ShapeView() override;

    void setSession(ProjectSession* session);

    QListWidget* nodeList() const { return m_nodeList; }
    QListWidget* relList() const { return m_relList; }
    QLabel* issues() const { return m_issues; }
    // The form of the selected type, or null.
    ShapeTypeEditor* editor() const { return m_editor; }

    void addNodeType();
    // Asks for a name and two node types, then adds the relationship.
    void addRelationship();
    void deleteSelected();

protected:
    void changeEvent(QEvent* event) override;

private:
    void paintIssues();
    void scheduleRefresh();
    void refresh();
    void rebuildLists();
    void rebuildEditor();
    void takeListSelection(QListWidget* list);

    QPointer<ProjectSession> m_session;
    QListWidget* m_nodeList;
    QListWidget* m_relList;
    QPushButton* m_addRel;
    QLabel* m_issues;
    QStackedWidget* m_pages;
    QWidget* m_emptyPage;
    QLabel* m_noSelection;
    QScrollArea* m_scroll;
    QPointer<ShapeTypeEditor> m_editor;
    QTimer m_refresh;
};

} // namespace corvantis
