#include "app/notes/NoteExporter.h"

#include "app/notes/NotesModel.h"
#include "app/notes/PrintedMarkdown.h"
#include "app/notes/VideoPoster.h"
#include "kit/support/UserFacingError.h"

#include <QTextDocument>

namespace corvantis::NoteExporter {

QString panelMessage(const NotesModel& notes, const QString& id, NoteExport::Format format) {
    const NoteItem* item = notes.book().item(id);
    if (!item)
        return QString();
    QStringList parts;
    if (item->isFolder)
        parts << NoteExport::folderMessage(notes.book().notes(id).size());
    if (format == NoteExport::Format::markdown && NoteExport::needsFolder(notes.book().markdown(id)))
        parts << NoteExport::picturesMessage();
    return parts.join(' ');
}

QString save(NotesModel& notes, const QString& id, NoteExport::Format format, const QString& path) {
    if (!notes.book().item(id))
        throw FileError(QStringLiteral("This note no longer exists."));
    notes.flush();
    const QString text = notes.book().markdown(id);
    if (format == NoteExport::Format::markdown)
        return NoteExport::writeMarkdown(text, path, notes.attachmentsFolder());
    const QHash<QString, QImage> posters = VideoPoster::posters(text, notes.attachmentsFolder());
    const auto document = PrintedMarkdown::document(
        text, [&](const TagToken& token) { return notes.noteTag(token); }, notes.attachmentsFolder(),
        posters);
    PrintedMarkdown::writePdf(*document, path);
    return path;
}

} // namespace corvantis::NoteExporter
