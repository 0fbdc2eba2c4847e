#include "kit/notes/NoteExport.h"

#include "kit/notes/NoteEmbed.h"
#include "kit/support/AtomicFile.h"
#include "kit/support/UserFacingError.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QUuid>
#include <algorithm>

namespace corvantis::NoteExport {

QString fileExtension(Format format) {
    return format == Format::markdown ? QStringLiteral("md") : QStringLiteral("pdf");
}

QString suggestedName(const NoteItem& item) {
    QString name = item.title.trimmed();
    if (name.isEmpty())
        name = item.isFolder ? QStringLiteral("Folder") : QStringLiteral("Untitled");
    static const QRegularExpression unsafe(QStringLiteral(R"([/\\\x00-\x1f])"));
    name.replace(unsafe, QStringLiteral("-"));
    if (name.startsWith('.'))
        name.replace(0, 1, '-');
    return name;
}

QString countText(int notes) {
    return notes == 1 ? QStringLiteral("1 note") : QStringLiteral("%1 notes").arg(notes);
}

QString folderMessage(int notes) {
    return QStringLiteral("This folder's notes (%1), in the order they're listed, in one document.")
        .arg(countText(notes));
}

QString picturesMessage() {
    return QStringLiteral(
        "It has pictures in it, so it's saved as a folder: the Markdown, with its pictures in "
        "“attachments” beside it.");
}

QStringList attachmentFiles(const QString& text) {
    const QSet<QString> files = NoteEmbed::referenced(text);
    QStringList sorted(files.begin(), files.end());
    std::sort(sorted.begin(), sorted.end());
    return sorted;
}

bool needsFolder(const QString& text) {
    return !NoteEmbed::referenced(text).isEmpty();
}

namespace {

// Moves `from` to `to`, replacing what stood there only once the new one is in place.
void replaceWith(const QString& from, const QString& to) {
    const QFileInfo target(to);
    QString old;
    if (target.exists()) {
        old = to + ".old-" + QUuid::createUuid().toString(QUuid::Id128);
        if (!QDir().rename(to, old))
            throw FileError(QStringLiteral("“%1” couldn't be replaced.").arg(target.fileName()));
    }
    if (!QDir().rename(from, to)) {
        if (!old.isEmpty())
            QDir().rename(old, to);
        throw FileError(QStringLiteral("“%1” couldn't be written.").arg(target.fileName()));
    }
    if (!old.isEmpty()) {
        if (QFileInfo(old).isDir())
            QDir(old).removeRecursively();
        else
            QFile::remove(old);
    }
}

} // namespace

QString writeMarkdown(const QString& text, const QString& path, const QString& attachments) {
    const QFileInfo info(path);
    if (!needsFolder(text)) {
        writeFileAtomically(path, text.toUtf8());
        return path;
    }
    const QString name = info.completeBaseName();
    const QString folder = info.absolutePath() + "/" + name;
    const QString staging =
        info.absolutePath() + "/." + name + "-" + QUuid::createUuid().toString(QUuid::Id128);
    try {
        if (!QDir().mkpath(staging + "/attachments"))
            throw FileError(QStringLiteral("The folder “%1” couldn't be made.").arg(name));
        writeFileAtomically(staging + "/" + name + ".md", text.toUtf8());
        for (const QString& file : attachmentFiles(text)) {
            const QString source = attachments + "/" + file;
            // A drawing's dark picture or source may not exist yet; a missing picture stays missing.
            if (!QFileInfo::exists(source))
                continue;
            if (!QFile::copy(source, staging + "/attachments/" + file))
                throw FileError(QStringLiteral("“%1” couldn't be copied.").arg(file));
        }
        replaceWith(staging, folder);
    } catch (const FileError&) {
        QDir(staging).removeRecursively();
        throw;
    }
    return folder;
}

} // namespace corvantis::NoteExport
