#include "ui/drawing/BoardScheme.h"

#include <QCoreApplication>
#include <QWebEngineUrlScheme>
#include <unistd.h>

namespace corvantis {

void prepareBoardPages() {
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    if (geteuid() == 0 && qEnvironmentVariableIsEmpty("QTWEBENGINE_DISABLE_SANDBOX"))
        qputenv("QTWEBENGINE_DISABLE_SANDBOX", "1");
    QWebEngineUrlScheme scheme("corvantis-qd");
    scheme.setSyntax(QWebEngineUrlScheme::Syntax::Host);
    scheme.setFlags(QWebEngineUrlScheme::SecureScheme | QWebEngineUrlScheme::LocalAccessAllowed);
    QWebEngineUrlScheme::registerScheme(scheme);
}

} // namespace corvantis
