#include "AppState.h"
#include "DesktopNotifier.h"
#include "MainWindowLoader.h"
#include "MainWindowShell.h"
#include "PlatformServices.h"
#include "ProductMark.h"
#include "StatusItemController.h"

#include <QApplication>
#include <QFileInfo>
#include <QQuickWindow>
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
    // Closing the main window keeps the application and its tray icon running; without a
    // tray the shell quits instead.
    application.setQuitOnLastWindowClosed(false);

    AppState appState(makePlatformCollaborators());
    DesktopNotifier notifier;
    MainWindowShell shell;
    shell.setNotifier(&notifier);
    appState.setDesktopShell(&shell);

    const QStringList arguments = application.arguments();
    if (arguments.size() > 1) appState.openProject(arguments.at(1).toStdString());

    std::unique_ptr<QQmlApplicationEngine> engine = loadMainWindow(appState);
    if (!engine) {
        std::fprintf(stderr, "vantile: cannot load the main window\n");
        return 1;
    }

    const auto watchMainWindow = [&] {
        const auto roots = engine ? engine->rootObjects() : QList<QObject*>{};
        shell.quitWhenClosedWithoutTray(roots.isEmpty() ? nullptr : qobject_cast<QQuickWindow*>(roots.first()));
    };
    watchMainWindow();

    StatusItemController statusItem;
    std::function<void()> openMainWindow;
    openMainWindow = [&] {
        if (appState.showMainWindow()) return;
        // The window is gone: open a new one and bring it to front once it exists.
        engine = loadMainWindow(appState);
        watchMainWindow();
        QTimer::singleShot(0, &appState, [&] { appState.showMainWindow(); });
    };
    statusItem.configure(&appState, openMainWindow);
    shell.setStopRecordingAction([&] { statusItem.stopRecordingAndOpen(); });
    QObject::connect(&appState, &AppState::recordingElapsedChanged, &appState,
                     [&] { shell.setRecordingElapsedText(appState.recordingElapsedText()); });
    QObject::connect(&appState, &AppState::routeChanged, &appState, [&] {
        if (appState.route() != Route::recording) shell.endRecording();
    });
    // A finished export is announced once per new movie; a cancelled or failed one leaves
    // the file as it was.
    QDateTime exportStartedWith;
    QObject::connect(&appState, &AppState::isExportingChanged, &appState, [&] {
        const QFileInfo movie(appState.exportedFilePath());
        if (appState.isExporting()) {
            exportStartedWith = movie.exists() ? movie.lastModified() : QDateTime();
        } else if (movie.exists() && movie.lastModified() != exportStartedWith) {
            shell.announceExport(movie.absoluteFilePath().toStdString());
        }
    });

    QObject::connect(&application, &QCoreApplication::aboutToQuit, &appState, [&] { appState.shutdown(); });
    return application.exec();
}
