#include "tests/support/TinyModel.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QProcess>
#include <QTemporaryDir>

namespace corvantis::test {

namespace {

QString python() {
    // Debian's interpreter carries python3-numpy; a python3 of another installation may not.
    if (QFileInfo::exists(QStringLiteral("/usr/bin/python3")))
        return QStringLiteral("/usr/bin/python3");
    return QStringLiteral("python3");
}

} // namespace

bool makeTinyModel(const QString& path, const QStringList& arguments) {
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(python(),
                  QStringList{QStringLiteral(CORVANTIS_FIXTURES_DIR "/embedding/make_tiny_model.py"),
                              QStringLiteral(CORVANTIS_GGUF_PY), path} +
                      arguments);
    return process.waitForFinished(120000) && process.exitStatus() == QProcess::NormalExit &&
           process.exitCode() == 0 && QFileInfo::exists(path);
}

QString tinyModelPath(const QString& pooling) {
    static QTemporaryDir folder;
    static QHash<QString, QString> made;
    if (made.contains(pooling))
        return made.value(pooling);
    const QString path = folder.filePath(QStringLiteral("tiny-%1.gguf").arg(pooling));
    if (!makeTinyModel(path, {QStringLiteral("--pooling"), pooling}))
        qFatal("couldn't generate the tiny embedding model (needs python3 with numpy)");
    made.insert(pooling, path);
    return path;
}

} // namespace corvantis::test
