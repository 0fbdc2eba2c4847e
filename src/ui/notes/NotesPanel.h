#pragma once

#include <QWidget>

class QLabel;
class QLineEdit;
class QListWidget;
class QSplitter;
class QTabBar;
class QToolButton;

namespace corvantis {

class NoteEditor;
class NoteTree;
class NotesModel;
class TagCard;

// The notes of the open project beside the graph: the list (a filter, the pinned notes, the tree) and
// the tabs of open notes over the editor. Deleting asks first; a tag's card opens on a click.
class NotesPanel : public QWidget {
    Q_OBJECT
public:
    explicit NotesPanel(NotesModel& model, QWidget* parent = nullptr);

    NotesModel& model() const { return m_model; }
    NoteEditor* editor() const { return m_editor; }
    NoteTree* tree() const { return m_tree; }
    QTabBar* tabs() const { return m_tabs; }
    QLineEdit* filterField() const { return m_filter; }
    QLineEdit* titleField() const { return m_title; }
    TagCard* tagCard() const { return m_card; }
    QToolButton* readingButton() const { return m_reading; }

    // Opens the export of an item (the active note when empty).
    void exportItem(const QString& id = QString());

protected:
    void showEvent(QShowEvent* event) override;

signals:
    // The panel asks to be shut (a tag was followed into the graph).
    void closeRequested();

private:
    // `rebuild` lays the tabs out anew (a bar filled while hidden keeps a stale scroll offset).
    void syncTabs(bool rebuild = false);
    void syncActive();
    void syncPinned();
    void syncListHidden();
    void confirmDelete();
    void showCard(const class TagPill& pill, const QPoint& at);

    NotesModel& m_model;
    QWidget* m_list;
    QLineEdit* m_filter;
    QListWidget* m_pinned;
    QLabel* m_pinnedTitle;
    NoteTree* m_tree;
    QTabBar* m_tabs;
    QToolButton* m_listToggle;
    QToolButton* m_reading;
    QLineEdit* m_title;
    NoteEditor* m_editor;
    QLabel* m_empty;
    TagCard* m_card;
    QSplitter* m_split;
    bool m_syncingTabs = false;
};

} // namespace corvantis
