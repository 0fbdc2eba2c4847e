#pragma once

#include <QTreeWidget>
#include <optional>

namespace corvantis {

class NotesModel;

// The tree of notes and folders, as the book's rows: click to open, double-click or F2 to rename,
// drag to move (the indentation at the drop picks the folder), a filter that lists matching notes flat.
class NoteTree : public QTreeWidget {
    Q_OBJECT
public:
    explicit NoteTree(NotesModel& model, QWidget* parent = nullptr);

    void setFilter(const QString& text);
    QString filter() const { return m_filter; }
    // Shows the book again if what the tree shows of it changed.
    void sync();
    QTreeWidgetItem* itemFor(const QString& id) const;
    // Drops `id` at a slot between rows, indented to `depth` (what a drag ends in).
    bool dropAt(const QString& id, int slot, int depth);

signals:
    void exportRequested(const QString& id);
    void deleteRequested(const QString& id);

protected:
    void dropEvent(QDropEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    void rebuild();
    QString signature() const;

    NotesModel& m_model;
    QString m_filter;
    QString m_shown;
    bool m_building = false;
};

} // namespace corvantis
