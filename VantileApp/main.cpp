#include "AppState.h"
#include "MainWindowLoader.h"
#include "MainWindowShell.h"
#include "PlatformServices.h"
#include "ProductMark.h"
#include "StatusItemController.h"

#include <QApplication>
#include <QTimer>

#include <cstdio>
#include <cstring>

using namespace vantile;

int main(int argc, char** argv)
{
    // Answered before Qt starts, so it works without any display.
    if (argc == 2 && std::strcmp(argv[1], "--version") == 0) {
        std::printf("vantile %s\n", VANTILE_VERSION);
        return 0;
    }
    QApplication application(argc, argv);
    application.setApplicationName("Vantile");
    application.setDesktopFileName("app.vantile.Vantile");
    application.setWindowIcon(QIcon(":/resources/vantile.svg"));
    // Closing the main window keeps the application and its tray icon running.
    application.setQuitOnLastWindowClosed(false);

    AppState appState(makePlatformCollaborators());
    MainWindowShell shell;
    appState.setDesktopShell(&shell);

    const QStringList arguments = application.arguments();
    if (arguments.size() > 1) appState.openProject(arguments.at(1).toStdString());

    std::unique_ptr<QQmlApplicationEngine> engine = loadMainWindow(appState);
    if (!engine) {
        std::fprintf(stderr, "vantile: cannot load the main window\n");
        return 1;
    }

    StatusItemController statusItem;
    std::function<void()> openMainWindow;
    openMainWindow = [&] {
        if (appState.showMainWindow()) return;
        // The window is gone: open a new one and bring it to front once it exists.
        engine = loadMainWindow(appState);
        QTimer::singleShot(0, &appState, [&] { appState.showMainWindow(); });
    };
    statusItem.configure(&appState, openMainWindow);

    QObject::connect(&application, &QCoreApplication::aboutToQuit, &appState, [&] { appState.shutdown(); });
    return application.exec();
}
