#pragma once

#include "kit/notes/NoteBook.h"
#include "kit/notes/NoteEmbed.h"
#include "kit/notes/TagGraph.h"
#include "kit/projects/ProjectLibrary.h"

#include <QHash>
#include <QObject>
#include <QStringList>
#include <QTimer>
#include <QUuid>
#include <functional>
#include <memory>
#include <optional>

class QUndoStack;

namespace corvantis {

class SessionCore;
class Settings;

// The note book of the open project, on the main thread: edits it, saves it 0.5 s after the last change
// (and at once on `flush` and `close`), keeps one undo history per note, brings files into the
// attachments folder and sweeps the ones no note names, and resolves tags against the session's records.
class NotesModel : public QObject {
    Q_OBJECT
public:
    static constexpr int saveDelayMs = 500;

    // Reads "notes.json" of the project and sweeps its attachments. `settings` may be null.
    NotesModel(SessionCore& core, const ProjectLibrary& library, Settings* settings,
               QObject* parent = nullptr);
    ~NotesModel() override;

    const NoteBook& book() const { return m_book; }
    QString notesPath() const;
    QString attachmentsFolder() const;

    // -- What the list and the tabs show -----------------------------------------------------------------

    std::optional<QString> picked() const { return m_picked; }
    std::optional<QString> renaming() const { return m_renaming; }
    void setRenaming(const std::optional<QString>& id);
    // Counters that ask a field for focus when raised.
    int titleFocus() const { return m_titleFocus; }
    int bodyFocus() const { return m_bodyFocus; }
    int filterFocus() const { return m_filterFocus; }
    void focusFilter();
    // The item whose deletion waits for confirmation.
    std::optional<NoteItem> deleting() const { return m_deleting; }
    // "notesListHidden" in the user's settings.
    bool listHidden() const { return m_listHidden; }
    void setListHidden(bool hidden);

    // The note of the active tab.
    std::optional<NoteItem> active() const;
    // Where a new item goes: the folder picked, else the parent of the note picked, else the top level.
    std::optional<QString> target() const;

    // -- Editing the book ----------------------------------------------------------------------------

    // A new note in the folder (absent: the top level), opened, picked and its title focused; its id.
    QString newNote(const std::optional<QString>& in, const QString& title = QString());
    QString newFolder(const std::optional<QString>& in);
    void setExpanded(const QString& id, bool expanded);
    // Renames an item and ends the renaming; a blank name is refused.
    void rename(const QString& id, const QString& to);
    void setTitle(const QString& id, const QString& title);
    // The note's text as the editor now holds it; the change goes onto the note's undo history.
    void setBody(const QString& id, const QString& body);
    void setPinned(const QString& id, bool on);
    bool move(const QString& id, const std::optional<QString>& into, int at);
    void requestDelete(const QString& id);
    void cancelDelete();
    // Removes the item with everything under it, then sweeps the attachments.
    void deleteItem(const QString& id);
    void open(const QString& id);
    // Picks an item in the list; a note is opened as well.
    void select(const std::optional<QString>& id);
    void close(const QString& id);
    void moveTab(const QString& id, int to);

    // The note's own undo history; null for an item that isn't a note.
    QUndoStack* undoStack(const QString& id);

    // -- Saving --------------------------------------------------------------------------------------

    bool isSavePending() const { return m_save.isActive(); }
    // Writes the book now; a failure shows in the session's notice.
    void flush();
    // Flushes and stops saving; called when the session closes.
    void close();

    // -- Embeds and attachments ------------------------------------------------------------------------

    // Copies files into the attachments folder and gives their embeds, in order.
    QList<NoteEmbed> addFiles(const QStringList& paths);
    // Writes a pasted picture as "Dropped-{UUID}.{extension}".
    std::optional<NoteEmbed> addPastedImage(const QByteArray& bytes, const QString& extension);
    // Puts the embed on a line of its own in the note at `position` (absent: the end).
    void insertEmbed(const NoteEmbed& embed, const QString& note, std::optional<int> position = std::nullopt);
    void insertDrawing(const NoteEmbed& embed, const QString& note,
                       std::optional<int> position = std::nullopt) {
        insertEmbed(embed, note, position);
    }
    // Takes the embed's line out of the note; the file goes at the next sweep.
    void removeEmbed(const QString& file, const QString& note);
    // Removes the attachment files no note names; the files removed.
    QStringList sweepAttachments();

    // -- Tags and links ------------------------------------------------------------------------------

    NoteTag noteTag(const TagToken& token) const;
    TagGraph::Choices tagChoices(const TagQuery& query, int limit, const QString& editing = QString()) const;
    // Nodes offered first by an empty record query (those on the canvas); the session provides them.
    void setRecentNodes(std::function<QStringList()> recent) { m_recentNodes = std::move(recent); }
    // The records changed: cards are resolved again.
    void graphChanged();
    // Follows a tag: saves, asks the panel to shut and the graph to show the target. A missing tag does
    // nothing.
    void openFromNote(const NoteTag& tag);
    // Opens the first note with the title, or a new one of that title beside the current note.
    QString followLink(const QString& title);

signals:
    void bookChanged();
    void pickedChanged();
    void renamingChanged();
    void titleFocusChanged();
    void bodyFocusChanged();
    void filterFocusChanged();
    void deletingChanged();
    void listHiddenChanged();
    // A note's body changed other than by its editor's typing (undo, an embed, a command): the range
    // [position, position + removed) of the old text became `inserted`.
    void bodyEdited(const QString& id, int position, int removed, const QString& inserted);
    // Files came into the attachments folder; open views reload them.
    void attachmentsChanged();
    void tagsChanged();
    // The panel shuts and the graph shows the tag's target.
    void closePanelRequested();
    void openInGraph(const NoteTag& tag);
    void saved();

private:
    friend class NoteEditCommand;
    void changed();
    // Applies a text change to a body as undo and redo do, and tells the editor.
    void applyEdit(const QString& id, int position, int removed, const QString& inserted);
    void setPicked(const std::optional<QString>& id);
    void dropUndo(const QSet<QString>& ids);
    const TagGraph& tagGraph() const;

    SessionCore& m_core;
    ProjectLibrary m_library;
    Settings* m_settings;
    QUuid m_projectID;
    NoteBook m_book;
    std::optional<QString> m_picked;
    std::optional<QString> m_renaming;
    int m_titleFocus = 0;
    int m_bodyFocus = 0;
    int m_filterFocus = 0;
    std::optional<NoteItem> m_deleting;
    bool m_listHidden = false;
    QTimer m_save;
    bool m_closed = false;
    // The file was damaged and couldn't be kept aside: it isn't overwritten.
    bool m_writeRefused = false;
    QHash<QString, QUndoStack*> m_undo;
    std::function<QStringList()> m_recentNodes;
    mutable std::unique_ptr<TagGraph> m_tagGraph;
    mutable GraphSchema m_tagSchema;
};

} // namespace corvantis
