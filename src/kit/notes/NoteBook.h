#pragma once

#include "kit/notes/NoteItem.h"

#include <QJsonObject>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>
#include <optional>

namespace corvantis {

// One line of the flattened list of notes.
struct NoteRow {
    NoteItem item;
    int depth = 0;
    bool operator==(const NoteRow& other) const = default;
};

// A project's notes: a tree of notes and folders kept as one flat list (the order of siblings in it is
// the order shown), and the open tabs. A plain value: every operation works on the value itself.
class NoteBook {
public:
    // The depth at which `rows` stops descending, a guard against a cycle left in a hand-edited file.
    static constexpr int maxDepth = 63;

    QList<NoteItem> items;
    QStringList tabs; // open notes, left to right
    std::optional<QString> activeTab;

    const NoteItem* item(const QString& id) const;
    NoteItem* item(const QString& id);
    // The items whose parent is `parent` (absent: the top level), in list order.
    QList<NoteItem> children(const std::optional<QString>& parent) const;
    // Pinned notes, oldest pin first.
    QList<NoteItem> pinned() const;
    // Pins or unpins a note; a folder is never pinned and a pin already in the asked state is left as is.
    void setPinned(const QString& id, bool on, const QDateTime& now = QDateTime::currentDateTimeUtc());
    // Every item under the given ones (not the ones themselves), each once.
    QSet<QString> descendants(const QSet<QString>& ids) const;
    // The notes (not folders) under an item in list order, depth first; a note gives itself.
    QList<NoteItem> notes(const QString& under) const;
    // The folders above an item, nearest first.
    QStringList ancestors(const QString& id) const;
    // The text of a note, or of every note under a folder: each title ("Untitled" when empty) on a line
    // of its own, then the body.
    QString markdown(const QString& id) const;
    // The flattened list; `collapsing` names a folder shown shut (the one being dragged).
    QList<NoteRow> rows(const std::optional<QString>& collapsing = {}) const;
    // Run on every load: lost parents and parent cycles go to the top level, tabs keep only existing
    // notes, and the active tab is one of the tabs.
    void repair();

    void add(const NoteItem& item);
    // Moves an item into a folder (absent: the top level) before the sibling at `index`, or last.
    // Refused (false) when the folder is the item, under it, or not a folder.
    bool move(const QString& id, const std::optional<QString>& into, int index);
    struct Landing {
        std::optional<QString> parent;
        int index = 0;
        bool operator==(const Landing& other) const = default;
    };
    // Where a drop in the list at `slot` (between rows), indented to `depth`, lands.
    static Landing landing(const QList<NoteRow>& rows, int slot, int depth);
    // Removes the items with everything under them, closing their tabs.
    void remove(const QSet<QString>& ids);
    // Opens a note in a tab right after the active one and makes it active; folders are ignored.
    void open(const QString& id);
    void close(const QString& id);

    QJsonObject toJson() const;
    // Fails with json::DecodeError; the caller reads a damaged file as an empty book.
    static NoteBook fromJson(const QJsonObject& json);
    bool operator==(const NoteBook& other) const = default;

private:
    int indexOf(const QString& id) const;
    void collectRows(const std::optional<QString>& parent, int depth,
                     const std::optional<QString>& collapsing, QList<NoteRow>& into) const;
};

} // namespace corvantis
