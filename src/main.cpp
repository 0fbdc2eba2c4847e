#include "app/app/AppDelegate.h"
#include "app/app/AppModel.h"
#include "app/app/DesktopEntry.h"
#include "app/app/SingleInstance.h"
#include "ui/design/Theme.h"
#include "ui/drawing/BoardScheme.h"
#include "ui/shell/MainWindow.h"
#include "ui/shell/UnixSignals.h"

#include <QApplication>
#include <QTimer>
#include <cstdio>

using namespace corvantis;

int main(int argc, char** argv) {
    // The command line holds nothing, or one link of the program's own scheme that the desktop hands
    // over ("corvantis://import?url=…").
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    const auto link = linkArgument(arguments);
    if (!link) {
        std::fprintf(stderr, "usage: corvantis [corvantis://import?url=…]\n");
        return 2;
    }
    // One copy per user: a later start gives its link to the running copy and ends.
    SingleInstance instance;
    if (instance.handOver(*link))
        return 0;

    prepareBoardPages();
    QApplication application(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Corvantis"));
    QApplication::setApplicationName(QStringLiteral("Corvantis"));
    QApplication::setApplicationDisplayName(QStringLiteral("Corvantis"));
    QApplication::setDesktopFileName(QStringLiteral("corvantis"));
    // Closing the window goes through the orderly quit, never straight out of the event loop.
    QApplication::setQuitOnLastWindowClosed(false);
    instance.listen();
    DesktopEntry::ensure(QCoreApplication::applicationFilePath());

    AppModel app(std::make_unique<Settings>(), ProjectLibrary::defaultRoot());
    Theme::apply(application, app.appearance());
    AppDelegate delegate(app);
    MainWindow window(app, delegate);
    UnixSignals unixSignals;
    QObject::connect(&unixSignals, &UnixSignals::terminationRequested, &window, &MainWindow::requestQuit);
    QObject::connect(&instance, &SingleInstance::activated, &window, [&](const std::optional<QUrl>& url) {
        window.raise();
        window.activateWindow();
        if (url)
            app.handle(*url);
    });
    window.show();
    if (*link)
        QTimer::singleShot(0, &app, [&app, url = **link] { app.handle(url); });
    return QApplication::exec();
}
