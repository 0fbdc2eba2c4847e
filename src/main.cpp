#include "app/app/AppDelegate.h"
#include "app/app/AppModel.h"
#include "ui/design/Theme.h"
#include "ui/drawing/BoardScheme.h"
#include "ui/shell/MainWindow.h"
#include "ui/shell/UnixSignals.h"

#include <QApplication>

using namespace corvantis;

int main(int argc, char** argv) {
    prepareBoardPages();
    QApplication application(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Corvantis"));
    QApplication::setApplicationName(QStringLiteral("Corvantis"));
    QApplication::setApplicationDisplayName(QStringLiteral("Corvantis"));
    QApplication::setDesktopFileName(QStringLiteral("corvantis"));
    // Closing the window goes through the orderly quit, never straight out of the event loop.
    QApplication::setQuitOnLastWindowClosed(false);

    AppModel app(std::make_unique<Settings>(), ProjectLibrary::defaultRoot());
    Theme::apply(application, app.appearance());
    AppDelegate delegate(app);
    MainWindow window(app, delegate);
    UnixSignals unixSignals;
    QObject::connect(&unixSignals, &UnixSignals::terminationRequested, &window, &MainWindow::requestQuit);
    window.show();
    return QApplication::exec();
}
