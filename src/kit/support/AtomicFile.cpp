#include "kit/support/AtomicFile.h"

#include "kit/support/UserFacingError.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace corvantis {

void writeFileAtomically(const QString& path, const QByteArray& contents) {
    QFileInfo info(path);
    if (!QDir().mkpath(info.absolutePath()))
        throw FileError(QStringLiteral("Couldn't create the folder “%1”.").arg(info.absolutePath()));
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        throw FileError(QStringLiteral("Couldn't write “%1”: %2").arg(info.fileName(), file.errorString()));
    if (file.write(contents) != contents.size() || !file.commit())
        throw FileError(QStringLiteral("Couldn't write “%1”: %2").arg(info.fileName(), file.errorString()));
}

QByteArray readFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw FileError(
            QStringLiteral("Couldn't read “%1”: %2").arg(QFileInfo(path).fileName(), file.errorString()));
    return file.readAll();
}

} // namespace corvantis
