#pragma once

#include <QByteArray>
#include <QString>

namespace corvantis {

// Writes the whole file or nothing: a temporary file in the same folder, flushed, then renamed over
// the old one. The folder is created with its parents first. Fails with FileError.
void writeFileAtomically(const QString& path, const QByteArray& contents);

// Reads a whole file; nullopt-like empty result is not used: a missing or unreadable file fails with
// FileError so that each caller decides what absence means.
QByteArray readFile(const QString& path);

} // namespace corvantis
