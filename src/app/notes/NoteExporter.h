#pragma once

#include "kit/notes/NoteExport.h"

#include <QString>

namespace corvantis {

class NotesModel;

// Writes a note, or every note under a folder, as Markdown or PDF.
namespace NoteExporter {

// What the save panel says about the item: how many notes a folder holds and, for Markdown that names
// attachments, that it becomes a folder. Empty for a plain note.
QString panelMessage(const NotesModel& notes, const QString& id, NoteExport::Format format);

// Writes the item at `path`; the path written (a folder for Markdown with pictures). Saves the notes
// first so that the file and the export agree. Fails with FileError.
QString save(NotesModel& notes, const QString& id, NoteExport::Format format, const QString& path);

} // namespace NoteExporter

} // namespace corvantis
