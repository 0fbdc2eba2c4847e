#include "app/notes/NotesModel.h"

#include "app/app/Settings.h"
#include "app/graph/SessionCore.h"
#include "kit/notes/NoteFiles.h"
#include "kit/support/UserFacingError.h"

#include <QDateTime>
#include <QUndoCommand>
#include <QUndoStack>

namespace corvantis {

namespace {

QDateTime now() {
    return QDateTime::fromSecsSinceEpoch(QDateTime::currentSecsSinceEpoch(), Qt::UTC);
}

} // namespace

// One change of a note's text: at `position`, `removed` became `inserted`. Typing one character after
// another, or deleting backwards, merges into one step.
class NoteEditCommand : public QUndoCommand {
public:
    NoteEditCommand(NotesModel& model, QString note, int position, QString removed, QString inserted,
                    bool applied)
        : m_model(model)
        , m_note(std::move(note))
        , m_position(position)
        , m_removed(std::move(removed))
        , m_inserted(std::move(inserted))
        , m_skipRedo(applied) {
        setText(QStringLiteral("Typing"));
    }

    int id() const override { return 1; }

    void redo() override {
        if (m_skipRedo) {
            m_skipRedo = false;
            return;
        }
        m_model.applyEdit(m_note, m_position, m_removed.size(), m_inserted);
    }
    void undo() override { m_model.applyEdit(m_note, m_position, m_inserted.size(), m_removed); }

    bool mergeWith(const QUndoCommand* other) override {
        const auto* next = static_cast<const NoteEditCommand*>(other);
        if (next->m_note != m_note)
            return false;
        // A line break ends a step, so that undo goes back a line at a time.
        const bool typing = m_removed.isEmpty() && next->m_removed.isEmpty() && !m_inserted.contains('\n') &&
                            !next->m_inserted.contains('\n') && next->m_inserted.size() == 1 &&
                            next->m_position == m_position + m_inserted.size();
        if (typing) {
            m_inserted += next->m_inserted;
            return true;
        }
        const bool erasing = m_inserted.isEmpty() && next->m_inserted.isEmpty() &&
                             next->m_removed.size() == 1 && next->m_position + 1 == m_position;
        if (erasing) {
            m_removed.prepend(next->m_removed);
            m_position = next->m_position;
            return true;
        }
        return false;
    }

private:
    NotesModel& m_model;
    QString m_note;
    int m_position;
    QString m_removed;
    QString m_inserted;
    bool m_skipRedo;
};

NotesModel::NotesModel(SessionCore& core, const ProjectLibrary& library, Settings* settings, QObject* parent)
    : QObject(parent)
    , m_core(core)
    , m_library(library)
    , m_settings(settings)
    , m_projectID(core.project().id) {
    m_save.setSingleShot(true);
    m_save.setInterval(saveDelayMs);
    connect(&m_save, &QTimer::timeout, this, &NotesModel::flush);
    if (m_settings)
        m_listHidden = m_settings->notesListHidden();

    const NoteFiles::Loaded loaded = NoteFiles::read(notesPath());
    m_book = loaded.book;
    if (loaded.damaged) {
        const QString kept = NoteFiles::keepAside(notesPath());
        if (kept.isEmpty()) {
            m_writeRefused = true;
            m_core.setNotice(
                QStringLiteral("Your notes file couldn't be read, so notes aren't saved until it "
                               "is repaired or removed."));
        } else {
            m_core.setNotice(QStringLiteral("Your notes file couldn't be read. It was kept as “%1”, and the "
                                            "notes start empty.")
                                 .arg(kept));
        }
    }
    // The sweep needs every body; a damaged book knows none of them.
    if (!loaded.damaged)
        sweepAttachments();
}

NotesModel::~NotesModel() {
    close();
}

QString NotesModel::notesPath() const {
    return NoteFiles::notesPath(m_library, m_projectID);
}

QString NotesModel::attachmentsFolder() const {
    return m_library.attachmentsFolder(m_projectID);
}

// -- State ---------------------------------------------------------------------------------------------

void NotesModel::setPicked(const std::optional<QString>& id) {
    if (m_picked == id)
        return;
    m_picked = id;
    emit pickedChanged();
}

void NotesModel::setRenaming(const std::optional<QString>& id) {
    if (m_renaming == id)
        return;
    m_renaming = id;
    emit renamingChanged();
}

void NotesModel::focusFilter() {
    ++m_filterFocus;
    emit filterFocusChanged();
}

void NotesModel::setListHidden(bool hidden) {
    if (m_listHidden == hidden)
        return;
    m_listHidden = hidden;
    if (m_settings)
        m_settings->setNotesListHidden(hidden);
    emit listHiddenChanged();
}

std::optional<NoteItem> NotesModel::active() const {
    if (!m_book.activeTab)
        return std::nullopt;
    const NoteItem* item = m_book.item(*m_book.activeTab);
    return item ? std::optional<NoteItem>(*item) : std::nullopt;
}

std::optional<QString> NotesModel::target() const {
    if (!m_picked)
        return std::nullopt;
    const NoteItem* item = m_book.item(*m_picked);
    if (!item)
        return std::nullopt;
    return item->isFolder ? std::optional<QString>(item->id) : item->parent;
}

void NotesModel::changed() {
    emit bookChanged();
    if (m_closed)
        return;
    m_save.start(); // a restart: the save waits for the last change
}

// -- Editing -------------------------------------------------------------------------------------------

QString NotesModel::newNote(const std::optional<QString>& in, const QString& title) {
    std::optional<QString> parent = in;
    if (parent && (!m_book.item(*parent) || !m_book.item(*parent)->isFolder))
        parent.reset();
    const NoteItem note = NoteItem::note(title, parent);
    m_book.add(note);
    if (parent)
        m_book.item(*parent)->expanded = true;
    m_book.open(note.id);
    setPicked(note.id);
    changed();
    ++m_titleFocus;
    emit titleFocusChanged();
    return note.id;
}

QString NotesModel::newFolder(const std::optional<QString>& in) {
    std::optional<QString> parent = in;
    if (parent && (!m_book.item(*parent) || !m_book.item(*parent)->isFolder))
        parent.reset();
    const NoteItem folder = NoteItem::folder(QString(), parent);
    m_book.add(folder);
    setPicked(folder.id);
    setRenaming(folder.id);
    changed();
    return folder.id;
}

void NotesModel::setExpanded(const QString& id, bool expanded) {
    NoteItem* item = m_book.item(id);
    if (!item || !item->isFolder || item->expanded == expanded)
        return;
    item->expanded = expanded;
    changed();
}

void NotesModel::rename(const QString& id, const QString& to) {
    setRenaming(std::nullopt);
    if (to.trimmed().isEmpty())
        return;
    setTitle(id, to.trimmed());
}

void NotesModel::setTitle(const QString& id, const QString& title) {
    NoteItem* item = m_book.item(id);
    if (!item || item->title == title)
        return;
    item->title = title;
    item->modifiedAt = now();
    changed();
}

void NotesModel::setBody(const QString& id, const QString& body) {
    NoteItem* item = m_book.item(id);
    if (!item || item->isFolder || item->body == body)
        return;
    const QString& old = item->body;
    // The change as one range: what both texts share at the start and at the end is left out.
    int prefix = 0;
    const int shorter = std::min(old.size(), body.size());
    while (prefix < shorter && old[prefix] == body[prefix])
        ++prefix;
    int suffix = 0;
    while (suffix < shorter - prefix && old[old.size() - 1 - suffix] == body[body.size() - 1 - suffix])
        ++suffix;
    const QString removed = old.mid(prefix, old.size() - prefix - suffix);
    const QString inserted = body.mid(prefix, body.size() - prefix - suffix);
    item->body = body;
    item->modifiedAt = now();
    if (QUndoStack* stack = undoStack(id))
        stack->push(new NoteEditCommand(*this, id, prefix, removed, inserted, true));
    changed();
}

void NotesModel::applyEdit(const QString& id, int position, int removed, const QString& inserted) {
    NoteItem* item = m_book.item(id);
    if (!item)
        return;
    item->body.replace(position, removed, inserted);
    item->modifiedAt = now();
    emit bodyEdited(id, position, removed, inserted);
    changed();
}

void NotesModel::setPinned(const QString& id, bool on) {
    const NoteItem* item = m_book.item(id);
    if (!item || item->isFolder || item->isPinned() == on)
        return;
    m_book.setPinned(id, on, now());
    changed();
}

bool NotesModel::move(const QString& id, const std::optional<QString>& into, int at) {
    if (!m_book.move(id, into, at))
        return false;
    changed();
    return true;
}

void NotesModel::requestDelete(const QString& id) {
    const NoteItem* item = m_book.item(id);
    if (!item)
        return;
    m_deleting = *item;
    emit deletingChanged();
}

void NotesModel::cancelDelete() {
    if (!m_deleting)
        return;
    m_deleting.reset();
    emit deletingChanged();
}

void NotesModel::deleteItem(const QString& id) {
    if (m_deleting && m_deleting->id == id)
        cancelDelete();
    if (!m_book.item(id))
        return;
    QSet<QString> gone = m_book.descendants({id});
    gone.insert(id);
    m_book.remove({id});
    dropUndo(gone);
    if (m_picked && gone.contains(*m_picked))
        setPicked(std::nullopt);
    if (m_renaming && gone.contains(*m_renaming))
        setRenaming(std::nullopt);
    changed();
    sweepAttachments();
}

void NotesModel::open(const QString& id) {
    const auto before = m_book;
    m_book.open(id);
    if (m_book == before)
        return;
    changed();
}

void NotesModel::select(const std::optional<QString>& id) {
    setPicked(id);
    if (id) {
        const NoteItem* item = m_book.item(*id);
        if (item && !item->isFolder) {
            open(*id);
            ++m_bodyFocus;
            emit bodyFocusChanged();
        }
    }
}

void NotesModel::close(const QString& id) {
    if (!m_book.tabs.contains(id))
        return;
    m_book.close(id);
    changed();
}

void NotesModel::moveTab(const QString& id, int to) {
    const int from = m_book.tabs.indexOf(id);
    if (from < 0)
        return;
    to = std::clamp(to, 0, int(m_book.tabs.size()) - 1);
    if (from == to)
        return;
    m_book.tabs.move(from, to);
    changed();
}

QUndoStack* NotesModel::undoStack(const QString& id) {
    const NoteItem* item = m_book.item(id);
    if (!item || item->isFolder)
        return nullptr;
    QUndoStack*& stack = m_undo[id];
    if (!stack)
        stack = new QUndoStack(this);
    return stack;
}

void NotesModel::dropUndo(const QSet<QString>& ids) {
    for (const QString& id : ids)
        if (QUndoStack* stack = m_undo.take(id))
            stack->deleteLater();
}

// -- Saving --------------------------------------------------------------------------------------------

void NotesModel::flush() {
    m_save.stop();
    if (m_writeRefused)
        return;
    try {
        NoteFiles::write(m_book, notesPath());
        emit saved();
    } catch (const FileError& error) {
        m_core.setNotice(QStringLiteral("Your notes couldn't be saved: %1").arg(error.message()));
    }
}

void NotesModel::close() {
    if (m_closed)
        return;
    if (m_save.isActive())
        flush();
    m_closed = true;
}

// -- Embeds --------------------------------------------------------------------------------------------

QList<NoteEmbed> NotesModel::addFiles(const QStringList& paths) {
    const QList<NoteEmbed> embeds = NoteFiles::copyIn(paths, attachmentsFolder());
    if (!embeds.isEmpty())
        emit attachmentsChanged();
    return embeds;
}

std::optional<NoteEmbed> NotesModel::addPastedImage(const QByteArray& bytes, const QString& extension) {
    const auto embed = NoteFiles::writeDropped(bytes, extension, attachmentsFolder());
    if (embed)
        emit attachmentsChanged();
    return embed;
}

void NotesModel::insertEmbed(const NoteEmbed& embed, const QString& note, std::optional<int> position) {
    const NoteItem* item = m_book.item(note);
    if (!item || item->isFolder)
        return;
    const QString body = NoteEmbed::insertLine(item->body, embed.markdown(), position);
    // The new body differs from the old one by one insertion; the editor follows through bodyEdited.
    const QString old = item->body;
    setBody(note, body);
    int prefix = 0;
    while (prefix < old.size() && old[prefix] == body[prefix])
        ++prefix;
    emit bodyEdited(note, prefix, 0, body.mid(prefix, body.size() - old.size()));
}

void NotesModel::removeEmbed(const QString& file, const QString& note) {
    const NoteItem* item = m_book.item(note);
    if (!item)
        return;
    const QString old = item->body;
    const QString body = NoteEmbed::removeEmbed(old, file);
    if (body == old)
        return;
    setBody(note, body);
    int prefix = 0;
    while (prefix < body.size() && old[prefix] == body[prefix])
        ++prefix;
    emit bodyEdited(note, prefix, old.size() - body.size(), QString());
}

QStringList NotesModel::sweepAttachments() {
    QStringList bodies;
    for (const NoteItem& item : m_book.items)
        if (!item.isFolder)
            bodies << item.body;
    return NoteFiles::sweep(attachmentsFolder(), bodies);
}

// -- Tags ----------------------------------------------------------------------------------------------

const TagGraph& NotesModel::tagGraph() const {
    if (!m_tagGraph) {
        // Records carry the tables the database holds.
        const Project& project = m_core.project();
        m_tagSchema = project.appliedSchema.value_or(project.schema);
        m_tagGraph = std::make_unique<TagGraph>(m_tagSchema, m_core.nodes(), m_core.rels());
    }
    return *m_tagGraph;
}

void NotesModel::graphChanged() {
    m_tagGraph.reset();
    emit tagsChanged();
}

NoteTag NotesModel::noteTag(const TagToken& token) const {
    return tagGraph().noteTag(token);
}

TagGraph::Choices NotesModel::tagChoices(const TagQuery& query, int limit, const QString& editing) const {
    const QStringList recent = m_recentNodes ? m_recentNodes() : QStringList();
    return tagGraph().choices(query, limit, recent, m_book.items, editing);
}

void NotesModel::openFromNote(const NoteTag& tag) {
    if (tag.missing)
        return;
    flush();
    emit closePanelRequested();
    emit openInGraph(tag);
}

QString NotesModel::followLink(const QString& title) {
    for (const NoteItem& item : m_book.items) {
        if (!item.isFolder && item.title == title) {
            // Selecting changes the book, which may move its items: the id is kept first.
            const QString id = item.id;
            select(id);
            return id;
        }
    }
    std::optional<QString> in;
    if (const auto current = active())
        in = current->parent;
    return newNote(in, title);
}

} // namespace corvantis
