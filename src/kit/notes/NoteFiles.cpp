#include "kit/notes/NoteFiles.h"

#include "kit/projects/ProjectLibrary.h"
#include "kit/support/AtomicFile.h"
#include "kit/support/Json.h"
#include "kit/support/UserFacingError.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUuid>

namespace corvantis::NoteFiles {

QString notesPath(const ProjectLibrary& library, const QUuid& project) {
    return library.folder(project) + "/notes.json";
}

Loaded read(const QString& path) {
    Loaded loaded;
    if (!QFileInfo::exists(path))
        return loaded;
    try {
        loaded.book = NoteBook::fromJson(json::decodeObject(readFile(path)));
        loaded.book.repair();
    } catch (const json::DecodeError&) {
        loaded = Loaded{NoteBook(), true};
    } catch (const FileError&) {
        loaded = Loaded{NoteBook(), true};
    }
    return loaded;
}

void write(const NoteBook& book, const QString& path) {
    writeFileAtomically(path, json::encode(book.toJson()));
}

QString keepAside(const QString& path) {
    const QFileInfo info(path);
    const QString name = uniqueName(info.absolutePath(), info.completeBaseName() + "-damaged.json");
    return QFile::copy(path, info.absolutePath() + "/" + name) ? name : QString();
}

QString uniqueName(const QString& folder, const QString& name) {
    const QDir dir(folder);
    if (!dir.exists(name))
        return name;
    const int dot = name.lastIndexOf('.');
    const QString stem = dot > 0 ? name.left(dot) : name;
    const QString ext = dot > 0 ? name.mid(dot) : QString();
    for (int n = 2;; ++n) {
        const QString candidate = QStringLiteral("%1 %2%3").arg(stem).arg(n).arg(ext);
        if (!dir.exists(candidate))
            return candidate;
    }
}

QList<NoteEmbed> copyIn(const QStringList& files, const QString& folder) {
    QList<NoteEmbed> embeds;
    if (!QDir().mkpath(folder))
        return embeds;
    for (const QString& path : files) {
        const QFileInfo info(path);
        // A file that lands must not read as a drawing of ours by its name alone.
        QString name = info.fileName();
        if (name.endsWith(".drawing.png"))
            name.replace(name.size() - 12, 12, "-drawing.png");
        if (!NoteEmbed::kindOf(name) || !info.isFile())
            continue;
        name = uniqueName(folder, name);
        if (!QFile::copy(path, folder + "/" + name))
            continue;
        const int dot = name.lastIndexOf('.');
        if (auto embed = NoteEmbed::make(dot > 0 ? name.left(dot) : name, name))
            embeds << *embed;
    }
    return embeds;
}

std::optional<NoteEmbed> writeDropped(const QByteArray& bytes, const QString& extension,
                                      const QString& folder) {
    const QString ext = extension.toLower();
    if (!NoteEmbed::imageTypes().contains(ext))
        return std::nullopt;
    const QString stem = "Dropped-" + json::uuidText(QUuid::createUuid());
    try {
        writeFileAtomically(folder + "/" + stem + "." + ext, bytes);
    } catch (const FileError&) {
        return std::nullopt;
    }
    return NoteEmbed::make(stem, stem + "." + ext);
}

QStringList sweep(const QString& folder, const QStringList& bodies) {
    const QDir dir(folder);
    if (!dir.exists())
        return {};
    const QStringList files = dir.entryList(QDir::Files | QDir::Hidden | QDir::System);
    QStringList removed;
    for (const QString& file : NoteEmbed::unreferenced(files, bodies))
        if (QFile::remove(dir.filePath(file)))
            removed << file;
    return removed;
}

} // namespace corvantis::NoteFiles
