#pragma once

#include "kit/notes/NoteBook.h"

#include <QString>
#include <QStringList>

namespace corvantis {

// The parts of exporting notes that need no drawing: names, counts, and the Markdown files.
namespace NoteExport {

enum class Format { markdown, pdf };

QString fileExtension(Format format); // "md", "pdf"

// The item's title, or "Untitled" for a note and "Folder" for a folder without one; characters that
// can't stand in a file name are replaced.
QString suggestedName(const NoteItem& item);
// "1 note", "{n} notes".
QString countText(int notes);
// What the save panel says for a folder of notes.
QString folderMessage(int notes);
// What it says when the text has pictures in it.
QString picturesMessage();

// The attachment files a text refers to, each drawing with its three files, sorted.
QStringList attachmentFiles(const QString& text);
// Whether the Markdown goes out as a folder (the text refers to attachments).
bool needsFolder(const QString& text);

// Writes `text` as Markdown at `path` (a ".md" file). When it refers to attachments, `path` less its
// extension becomes a folder holding "{name}.md" and "attachments/" with a copy of each referenced file
// found in `attachments`. Everything is written beside the target first and moved in place at the end,
// so a failure leaves nothing half-written. Returns the path written; fails with FileError.
QString writeMarkdown(const QString& text, const QString& path, const QString& attachments);

} // namespace NoteExport

} // namespace corvantis
