#include "tests/support/TestSupport.h"

#include <QFile>
#include <QThread>

namespace corvantis::test {

bool waitUntil(const std::function<bool()>& done, int timeoutMs) {
    QDeadlineTimer deadline(timeoutMs);
    while (!done()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(1);
    }
    return true;
}

QByteArray fixture(const QString& relativePath) {
    QFile file(QStringLiteral(CORVANTIS_FIXTURES_DIR "/") + relativePath);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("missing fixture %s", qPrintable(relativePath));
    return file.readAll();
}

} // namespace corvantis::test
