#include "kit/projects/ProjectLibrary.h"

#include "kit/notes/NoteEmbed.h"
#include "kit/notes/NoteFiles.h"
#include "kit/store/GraphStore.h"
#include "kit/support/AtomicFile.h"
#include "kit/support/Json.h"
#include "kit/support/UserFacingError.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <algorithm>

namespace corvantis {

ProjectLibrary::ProjectLibrary(const QString& root)
    : m_root(QDir::cleanPath(root)) {
    QDir().mkpath(m_root);
}

QString ProjectLibrary::defaultHome() {
    QString home = qEnvironmentVariable("CORVANTIS_HOME");
    if (!home.isEmpty())
        return QDir::cleanPath(home);
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + "/Corvantis";
}

QString ProjectLibrary::defaultRoot() {
    return defaultHome() + "/Projects";
}

QString ProjectLibrary::folder(const QUuid& id) const {
    const QString named = m_root + '/' + json::uuidText(id);
    if (QFileInfo(named).isDir())
        return named;
    // A folder that names the same id another way (lower case, braces) is the project's own.
    const QStringList entries = QDir(m_root).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    for (const QString& entry : entries) {
        if (json::parseUuid(entry) == id)
            return m_root + '/' + entry;
    }
    return named;
}

QString ProjectLibrary::databasePath(const QUuid& id) const {
    return folder(id) + "/graph.lbug";
}

QString ProjectLibrary::previewsFolder(const QUuid& id) const {
    return folder(id) + "/previews";
}

QString ProjectLibrary::attachmentsFolder(const QUuid& id) const {
    return folder(id) + "/attachments";
}

QString ProjectLibrary::modelsFolder() const {
    return QFileInfo(m_root).dir().filePath("Models");
}

QString ProjectLibrary::projectFile(const QUuid& id) const {
    return folder(id) + "/project.json";
}

QList<Project> ProjectLibrary::projects() const {
    QList<Project> found;
    const QStringList entries = QDir(m_root).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& entry : entries) {
        if (!json::parseUuid(entry))
            continue;
        const QString path = m_root + '/' + entry;
        try {
            Project project = Project::fromJson(json::decodeObject(readFile(path + "/project.json")));
            // Every later read and write finds the project by its id: a folder that id doesn't lead
            // to (its name and file disagree, or the id's other folder comes first) isn't listed.
            if (folder(project.id) == path)
                found.append(std::move(project));
        } catch (const json::DecodeError&) {
            // A damaged project file: the project is simply not listed.
        } catch (const FileError&) {
            // No readable "project.json": not a project.
        }
    }
    std::stable_sort(found.begin(), found.end(),
                     [](const Project& a, const Project& b) { return a.createdAt < b.createdAt; });
    return found;
}

QString ProjectLibrary::uniqueName(const QString& base) const {
    QSet<QString> taken;
    for (const Project& project : projects())
        taken.insert(project.name);
    if (!taken.contains(base))
        return base;
    for (int n = 2;; ++n) {
        QString candidate = QStringLiteral("%1 %2").arg(base).arg(n);
        if (!taken.contains(candidate))
            return candidate;
    }
}

Project ProjectLibrary::create(const QString& name) const {
    Project project;
    project.id = QUuid::createUuid();
    project.name = name;
    // Whole seconds, as the file stores them, so that the project in memory equals the one read back.
    QDateTime now = QDateTime::currentDateTimeUtc();
    now.setTime(QTime(now.time().hour(), now.time().minute(), now.time().second()));
    project.createdAt = now;
    project.modifiedAt = now;
    project.version = Project::currentVersion;
    save(project);
    return project;
}

void ProjectLibrary::save(const Project& project) const {
    writeFileAtomically(projectFile(project.id), json::encode(project.toJson()));
}

void ProjectLibrary::remove(const QUuid& id) const {
    QDir dir(folder(id));
    if (dir.exists() && !dir.removeRecursively())
        throw FileError(QStringLiteral("Couldn't remove the project's folder “%1”.").arg(dir.path()));
}

GraphLayout ProjectLibrary::layout(const QUuid& id) const {
    try {
        return GraphLayout::fromJson(json::decodeObject(readFile(folder(id) + "/layout.json")));
    } catch (const json::DecodeError&) {
    } catch (const FileError&) {
    }
    return GraphLayout();
}

void ProjectLibrary::saveLayout(const GraphLayout& layout, const QUuid& id) const {
    writeFileAtomically(folder(id) + "/layout.json", json::encode(layout.toJson()));
}

QList<HistoryEntry> ProjectLibrary::history(const QUuid& id) const {
    try {
        QList<HistoryEntry> entries;
        for (const auto& value : json::decodeArray(readFile(folder(id) + "/history.json"))) {
            if (!value.isObject())
                throw json::DecodeError("a history entry is not an object");
            entries.append(HistoryEntry::fromJson(value.toObject()));
        }
        return entries;
    } catch (const json::DecodeError&) {
    } catch (const FileError&) {
    }
    return {};
}

void ProjectLibrary::saveHistory(const QList<HistoryEntry>& entries, const QUuid& id) const {
    QJsonArray array;
    for (const HistoryEntry& entry : entries)
        array.append(entry.toJson());
    writeFileAtomically(folder(id) + "/history.json", json::encode(array));
}

std::optional<NoteBook> ProjectLibrary::notes(const QUuid& id) const {
    const QString path = NoteFiles::notesPath(*this, id);
    if (!QFileInfo::exists(path))
        return std::nullopt;
    NoteFiles::Loaded loaded = NoteFiles::read(path);
    if (loaded.damaged)
        return std::nullopt;
    return std::move(loaded.book);
}

QStringList ProjectLibrary::attachmentNames(const QUuid& id) const {
    QStringList names;
    const QStringList entries = QDir(attachmentsFolder(id)).entryList(QDir::Files, QDir::Name);
    for (const QString& name : entries)
        if (!name.startsWith('.'))
            names.append(name);
    return names;
}

QStringList ProjectLibrary::attachments(const QUuid& id, const NoteBook& book) const {
    const QStringList files = attachmentNames(id);
    QStringList bodies;
    for (const NoteItem& item : book.items)
        bodies << item.body;
    const QStringList unused = NoteEmbed::unreferenced(files, bodies);
    QStringList used;
    for (const QString& file : files)
        if (!unused.contains(file))
            used << file;
    return used;
}

ProjectExport ProjectLibrary::exportProject(const Project& project, GraphStore* store) const {
    ProjectExport exported;
    exported.project = project;
    if (store && project.appliedSchema) {
        QStringList nodeLabels;
        QStringList relLabels;
        for (const NodeType& type : project.appliedSchema->nodeTypes)
            nodeLabels.append(type.table());
        for (const RelType& type : project.appliedSchema->relTypes)
            relLabels.append(type.table());
        exported.nodes = store->loadNodes(nodeLabels);
        exported.relationships = store->loadRels(relLabels);
    }
    exported.layout = layout(project.id);
    exported.notes = notes(project.id);
    QMap<QString, QByteArray> files;
    for (const QString& name : attachments(project.id, exported.notes.value_or(NoteBook()))) {
        try {
            files.insert(name, readFile(attachmentsFolder(project.id) + '/' + name));
        } catch (const FileError&) {
            // An attachment that can't be read is left out of the export.
        }
    }
    if (!files.isEmpty())
        exported.attachments = files;
    return exported;
}

QByteArray ProjectLibrary::exportData(const Project& project, GraphStore* store) const {
    return exportProject(project, store).encode();
}

} // namespace corvantis
