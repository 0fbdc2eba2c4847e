// Importing a project builds its database, so it is built with the store rather than with the library's
// other file operations.
#include "kit/notes/NoteFiles.h"
#include "kit/projects/ProjectLibrary.h"
#include "kit/store/DDLBuilder.h"
#include "kit/store/GraphStoreError.h"
#include "kit/store/LadybugGraphStore.h"
#include "kit/support/AtomicFile.h"
#include "kit/support/Json.h"
#include "kit/support/UserFacingError.h"

#include <QDir>
#include <QHash>

namespace corvantis {

namespace {

// A name that could reach outside "attachments/" or hide there.
bool isUnsafeAttachmentName(const QString& name) {
    return name.isEmpty() || name.contains('/') || name.contains('\\') || name.startsWith('.');
}

void buildDatabase(const QString& path, const ProjectExport& exported) {
    LadybugGraphStore store(path);
    store.migrate(DDLBuilder::plan(std::nullopt, *exported.project.appliedSchema));
    QHash<QString, QString> labels;
    for (const NodeRecord& node : exported.nodes)
        labels.insert(node.id, node.label);
    QList<RelInsertion> rels;
    for (const RelRecord& rel : exported.relationships) {
        auto from = labels.constFind(rel.from);
        auto to = labels.constFind(rel.to);
        // A relationship whose end is not in the export has nowhere to go.
        if (from == labels.cend() || to == labels.cend())
            continue;
        rels.append({rel, *from, *to});
    }
    store.insertRecords(exported.nodes, rels);
    store.checkpoint();
}

} // namespace

Project ProjectLibrary::importProject(const QByteArray& data) const {
    return importProject(ProjectExport::decode(data));
}

Project ProjectLibrary::importProject(const ProjectExport& exported) const {
    Project project = exported.project;
    project.id = QUuid::createUuid();
    project.name = uniqueName(exported.project.name);
    QDateTime now = QDateTime::currentDateTimeUtc();
    now.setTime(QTime(now.time().hour(), now.time().minute(), now.time().second()));
    project.createdAt = now;
    project.modifiedAt = now;

    const QString projectFolder = folder(project.id);
    try {
        save(project);
        saveLayout(exported.layout, project.id);
        if (exported.notes)
            NoteFiles::write(*exported.notes, NoteFiles::notesPath(*this, project.id));
        if (exported.attachments && !exported.attachments->isEmpty()) {
            const QString attachments = attachmentsFolder(project.id);
            if (!QDir().mkpath(attachments))
                throw FileError(QStringLiteral("Couldn't create the folder “%1”.").arg(attachments));
            for (auto it = exported.attachments->cbegin(); it != exported.attachments->cend(); ++it) {
                if (isUnsafeAttachmentName(it.key()))
                    continue;
                writeFileAtomically(attachments + '/' + it.key(), it.value());
            }
        }
        if (project.appliedSchema)
            buildDatabase(databasePath(project.id), exported);
    } catch (const GraphStoreError&) {
        QDir(projectFolder).removeRecursively();
        throw;
    } catch (const UserFacingError& error) {
        QDir(projectFolder).removeRecursively();
        throw GraphStoreError(GraphStoreError::Kind::InputOutput, error.message());
    }
    return project;
}

} // namespace corvantis
