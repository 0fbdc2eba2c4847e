#pragma once

#include "kit/notes/NoteBook.h"
#include "kit/notes/NoteEmbed.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUuid>

namespace corvantis {

class ProjectLibrary;

// The files of a project's notes: "notes.json" in the project's folder and the attachments beside it.
namespace NoteFiles {

QString notesPath(const ProjectLibrary& library, const QUuid& project);

struct Loaded {
    NoteBook book;
    // The file was there but couldn't be read: the book is empty and the file must not be overwritten
    // before it is kept aside.
    bool damaged = false;
};
// Reads and repairs the book; a missing file gives an empty book.
Loaded read(const QString& path);
// Writes atomically; fails with FileError.
void write(const NoteBook& book, const QString& path);
// Copies a damaged notes file to a free name beside it ("notes-damaged.json", "notes-damaged 2.json");
// the name kept, or empty when the copy failed.
QString keepAside(const QString& path);

// `name` if the folder has no such file, else "{stem} 2.{ext}", "{stem} 3.{ext}", ...
QString uniqueName(const QString& folder, const QString& name);
// Copies each file of a known kind into the folder (created if needed) under a name not yet taken
// there; unknown kinds and files that can't be copied are skipped. The embeds keep the input's order,
// each named after its file without the extension.
QList<NoteEmbed> copyIn(const QStringList& files, const QString& folder);
// Writes pasted picture bytes as "Dropped-{UUID}.{extension}"; absent when the extension is no picture
// type or the write fails.
std::optional<NoteEmbed> writeDropped(const QByteArray& bytes, const QString& extension,
                                      const QString& folder);
// Removes the files of the folder that no body mentions (a named drawing keeps its three files); the
// files removed. A folder that can't be listed is left alone.
QStringList sweep(const QString& folder, const QStringList& bodies);

} // namespace NoteFiles

} // namespace corvantis
