#pragma once

#include "kit/notes/NoteBook.h"
#include "kit/projects/GraphLayout.h"
#include "kit/projects/HistoryEntry.h"
#include "kit/projects/Project.h"
#include "kit/projects/ProjectExport.h"

#include <QList>
#include <QString>
#include <QUuid>

namespace corvantis {

class GraphStore;

// A thin value over the folder of projects: where each file of each project lies, and reading and
// writing them. It holds nothing but the root, so any part of the program may keep a copy. Every write
// is atomic; reads of the optional files (layout, history) give the empty value when missing or damaged.
class ProjectLibrary {
public:
    // Keeps the root and creates it with its parents; a failure to create it is swallowed (the list
    // is then empty and the first write fails with the file system's error).
    explicit ProjectLibrary(const QString& root);

    // The folder that holds "Projects" and "Models": $CORVANTIS_HOME, else the per-user data folder's
    // "Corvantis".
    static QString defaultHome();
    // "Projects" inside defaultHome().
    static QString defaultRoot();

    QString root() const { return m_root; }
    // The project's folder: named by its id in upper case, unless a folder that names the same id
    // another way (lower case, braces) is already there, which is then the project's.
    QString folder(const QUuid& id) const;
    QString databasePath(const QUuid& id) const;
    QString previewsFolder(const QUuid& id) const;
    QString attachmentsFolder(const QUuid& id) const;
    // "Models", beside "Projects".
    QString modelsFolder() const;

    // Every readable project, oldest first; damaged or foreign folders are left out without a word.
    QList<Project> projects() const;
    // `base` if no project bears it, else "{base} 2", "{base} 3", ...
    QString uniqueName(const QString& base) const;

    // A new project with an empty shape, written to its folder. Fails with FileError.
    Project create(const QString& name) const;
    // Writes "project.json" as the project stands; `modifiedAt` is the caller's business.
    void save(const Project& project) const;
    // Removes the project's folder with everything in it. Fails with FileError.
    void remove(const QUuid& id) const;

    GraphLayout layout(const QUuid& id) const;
    void saveLayout(const GraphLayout& layout, const QUuid& id) const;
    QList<HistoryEntry> history(const QUuid& id) const;
    void saveHistory(const QList<HistoryEntry>& entries, const QUuid& id) const;

    // "notes.json" read and repaired as the notes open it; absent when the file is missing or can't be
    // read as a note book (a damaged file is left as it is).
    std::optional<NoteBook> notes(const QUuid& id) const;
    // The names of the files in "attachments/", leaving out hidden ones.
    QStringList attachmentNames(const QUuid& id) const;
    // Of those, the ones some note of the book uses (a drawing with its three files).
    QStringList attachments(const QUuid& id, const NoteBook& book) const;

    // The project as one export file. With a store, every node and relationship of the tables of its
    // `appliedSchema` (none without one); without a store, no records. A store failure fails the export
    // with GraphStoreError. The notes go repaired, with only the attachments they use; attachments that
    // cannot be read are left out.
    ProjectExport exportProject(const Project& project, GraphStore* store) const;
    QByteArray exportData(const Project& project, GraphStore* store) const;
    // A new project from an export file: a new id, a free name, created now; its files written and, when
    // the export has an applied shape, its database built with the records keeping their ids. Any
    // failure removes the new folder and fails with GraphStoreError ("This file isn't a Corvantis
    // project export." for a foreign file). The notes are written where the notes of a project are read.
    // Built with the store (kit/store/ProjectImport.cpp).
    Project importProject(const QByteArray& data) const;
    Project importProject(const ProjectExport& exported) const;

private:
    QString projectFile(const QUuid& id) const;
    QString m_root;
};

} // namespace corvantis
