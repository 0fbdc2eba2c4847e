#include "app/app/DesktopEntry.h"

#include "kit/support/AtomicFile.h"
#include "kit/support/UserFacingError.h"

#include <QProcess>
#include <QStandardPaths>
#include <QStringList>

namespace corvantis::DesktopEntry {

namespace {

// The Exec key's form of a path: quoted, with the characters the entry format reserves escaped, when it
// holds anything but plain characters.
QString execPath(const QString& executable) {
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    bool plain = true;
    for (QChar c : executable)
        plain = plain && !reserved.contains(c);
    if (plain)
        return executable;
    QString quoted = executable;
    quoted.replace('\\', QStringLiteral("\\\\"))
        .replace('"', QStringLiteral("\\\""))
        .replace('`', QStringLiteral("\\`"))
        .replace('$', QStringLiteral("\\$"));
    return '"' + quoted + '"';
}

} // namespace

QString text(const QString& executable) {
    return QStringLiteral("[Desktop Entry]\n"
                          "Type=Application\n"
                          "Name=Corvantis\n"
                          "Comment=Personal knowledge graphs, kept on this computer\n"
                          "Exec=%1 %u\n"
                          "Icon=corvantis\n"
                          "Terminal=false\n"
                          "Categories=Office;\n"
                          "MimeType=x-scheme-handler/corvantis;\n")
        .arg(execPath(executable));
}

QString path() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
           QStringLiteral("/applications/corvantis.desktop");
}

bool ensure(const QString& executable) {
    const QString wanted = text(executable);
    const QString execLine = QStringLiteral("Exec=%1 %u").arg(execPath(executable));
    try {
        // An entry that starts this executable stays as it is, whatever else its owner changed in it.
        const QStringList lines = QString::fromUtf8(readFile(path())).split('\n');
        if (lines.contains(execLine))
            return false;
    } catch (const FileError&) {
        // Missing: written below.
    }
    try {
        writeFileAtomically(path(), wanted.toUtf8());
    } catch (const FileError&) {
        return false;
    }
    const QString xdgMime = QStandardPaths::findExecutable(QStringLiteral("xdg-mime"));
    if (!xdgMime.isEmpty())
        QProcess::startDetached(xdgMime, {QStringLiteral("default"), QStringLiteral("corvantis.desktop"),
                                          QStringLiteral("x-scheme-handler/corvantis")});
    return true;
}

} // namespace corvantis::DesktopEntry
