#pragma once

#include "ui/table/GraphTableModel.h"

#include <QPointer>
#include <QWidget>
#include <optional>

class QComboBox;
class QLabel;
class QPushButton;
class QTableView;

namespace corvantis {

class LinkPreviewStrip;
class LinkPreviews;
class ProjectSession;

// The table of the graph: one node type or relationship type at a time, with adding, editing in place
// and deleting of its records.
class GraphTableView : public QWidget {
    Q_OBJECT
public:
    explicit GraphTableView(QWidget* parent = nullptr);
    // Lets go of the session first: the controls that close with the view may still send it edits.
    ~GraphTableView() override;

    void setSession(ProjectSession* session);
    // Where the cards of the selected record's links come from.
    void setLinkPreviews(LinkPreviews* previews);
    LinkPreviewStrip* linkStrip() const { return m_links; }
    void showType(const GraphTableModel::Source& source);

    QComboBox* typePicker() const { return m_picker; }
    QTableView* table() const { return m_table; }
    GraphTableModel* model() const { return m_model; }
    QPushButton* addButton() const { return m_add; }
    QPushButton* deleteButton() const { return m_delete; }
    QLabel* emptyHint() const { return m_empty; }

    // A new node of the type shown, its title cell open for typing; or, for a relationship type, a
    // dialog that asks for the two ends.
    void addRecord();
    // A relationship of the type shown between two nodes; its id, or absent when the session refused it.
    std::optional<QString> addRelationship(const QString& fromId, const QString& toId);
    // The selected rows: nodes after a confirmation when there are several.
    void deleteSelected();

protected:
    void changeEvent(QEvent* event) override;

private:
    void rebuildPicker();
    void takePickedSource();
    void syncState();
    void syncSelection();
    QStringList selectedIds() const;

    QPointer<ProjectSession> m_session;
    GraphTableModel* m_model;
    QComboBox* m_picker;
    QLabel* m_count;
    QPushButton* m_add;
    QPushButton* m_delete;
    QTableView* m_table;
    QLabel* m_empty;
    LinkPreviewStrip* m_links;
    LinkPreviews* m_previews = nullptr;
};

} // namespace corvantis
