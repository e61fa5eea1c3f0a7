#include "AppState.h"
#include "DesktopNotifier.h"
#include "InstanceBus.h"
#include "MainWindowLoader.h"
#include "MainWindowShell.h"
#include "PlatformServices.h"
#include "ProductMark.h"
#include "RecordingCountdown.h"
#include "RecordingCommands.h"
#include "StatusItemController.h"
#include "StopShortcut.h"
#include "capture/wayland/GlobalShortcutsPortal.h"
#include "capture/CaptureBackend.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFileInfo>
#include <QQuickWindow>
#include <QTimer>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

using namespace vantile;

namespace {

struct LaunchRequest {
    InstanceBus::Message message;
    bool remoteControl = false;  // one of the recording options was given
};

LaunchRequest parseArguments(const QApplication& application)
{
    QCommandLineParser parser;
    parser.setApplicationDescription("Vantile records the screen and turns it into a product demo.");
    parser.addHelpOption();
    const QCommandLineOption toggle("toggle-recording", "Start a recording, or stop the running one.");
    const QCommandLineOption start("start-recording", "Start recording (the running Vantile, else a new one).");
    const QCommandLineOption stop("stop-recording", "Stop the running Vantile's recording; prints its project.");
    const QCommandLineOption source("source", "With --start-recording: the source to record (vantile-cli sources).",
                                    "ID");
    parser.addOptions({toggle, start, stop, source});
    parser.addPositionalArgument("project", "A project directory to open.", "[DIR]");
    parser.process(application);

    LaunchRequest request;
    const int commands = int(parser.isSet(toggle)) + int(parser.isSet(start)) + int(parser.isSet(stop));
    if (commands > 1) {
        std::fprintf(stderr, "vantile: give only one of --toggle-recording, --start-recording, --stop-recording\n");
        std::exit(2);
    }
    request.remoteControl = commands == 1;
    if (parser.isSet(toggle)) request.message.request = InstanceBus::Request::toggleRecording;
    if (parser.isSet(start)) request.message.request = InstanceBus::Request::startRecording;
    if (parser.isSet(stop)) request.message.request = InstanceBus::Request::stopRecording;
    if (parser.isSet(source)) request.message.sourceId = parser.value(source).toStdString();
    if (!parser.positionalArguments().isEmpty())
        request.message.projectDirectory = QFileInfo(parser.positionalArguments().front()).absoluteFilePath().toStdString();
    return request;
}

// Hands the request to the Vantile already running; the exit status of this process.
int sendToRunningInstance(const LaunchRequest& request)
{
    try {
        const std::string directory = InstanceBus::send(request.message);
        if (!directory.empty() && request.message.request != InstanceBus::Request::startRecording)
            std::printf("%s\n", directory.c_str());
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "vantile: %s\n", error.what());
        return 1;
    }
}

}  // namespace

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

    // One Vantile per session: a later one hands its request to the first and ends.
    const LaunchRequest request = parseArguments(application);
    InstanceBus instance;
    if (!instance.claim() && InstanceBus::instanceRunning()) return sendToRunningInstance(request);
    if (request.message.request == InstanceBus::Request::stopRecording) {
        std::fprintf(stderr, "vantile: Vantile is not running, so no recording can be stopped\n");
        return 1;
    }

    // The desktop-wide stop key: X11 lets us take it while recording; on Wayland the desktop's
    // global shortcuts portal binds it where the desktop has one, and its screen-sharing indicator
    // and `vantile --toggle-recording` stop everywhere.
    const bool onX11 = [] {
        try {
            return chooseCaptureBackend() == CaptureBackendKind::x11;
        } catch (const std::exception&) {
            return false;
        }
    }();
    const std::optional<KeyShortcut> stopKey = StopShortcut::configured();
    // Only X11 shows us the keys the shortcut's presses leave in the input log.
    AppCollaborators collaborators = makePlatformCollaborators(onX11 ? stopKey : std::nullopt);
    const auto streamPointer = collaborators.streamPointer;
    AppState appState(std::move(collaborators));
    DesktopNotifier notifier;
    MainWindowShell shell;
    shell.setNotifier(&notifier);
    if (streamPointer) {
        shell.setPointerProbe([streamPointer]() -> std::optional<QPoint> {
            const auto pointer = streamPointer();
            if (!pointer) return std::nullopt;
            return QPoint(int(std::lround(pointer->x)), int(std::lround(pointer->y)));
        });
    }
    appState.setDesktopShell(&shell);
    // Quitting while an export runs asks first, in the main window.
    shell.setQuitAction([&] { appState.requestQuit(); });
    shell.setKeepOpenWhileQuitting([&] { return appState.isExporting(); });
    shell.setRevealFailedAction([&](const std::string& failure) { appState.setErrorMessage(failure); });

    appState.findUnfinishedRecordings();
    if (request.message.projectDirectory) appState.openProject(*request.message.projectDirectory);

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
    shell.setStopRecordingAction([&] { statusItem.stopRecordingAndOpen(StopTrigger::control); });
    QObject::connect(&appState, &AppState::recordingElapsedChanged, &appState,
                     [&] { shell.setRecordingElapsedText(appState.recordingElapsedText()); });
    StopShortcut stopShortcut =
        onX11 ? StopShortcut(stopKey, [](const KeyShortcut& shortcut) { return grabX11GlobalShortcut(shortcut); })
              : StopShortcut(
                    stopKey,
                    [](const KeyShortcut& shortcut) -> std::unique_ptr<GlobalShortcut> {
                        return std::make_unique<GlobalShortcutsPortal>("stop-recording", "停止 Vantile 录制", shortcut);
                    },
                    StopShortcut::Lifetime::whileRunning);
    stopShortcut.prepare();
    shell.setDesktopIndicatorStops(!onX11);
    // The countdown names the key before it is taken; the recording corrects it if taking fails.
    shell.setStopShortcutText(stopShortcut.text());
    appState.setRecordingCountdown(configuredCountdown());
    QObject::connect(&appState, &AppState::recordingCountdownChanged, &appState,
                     [&] { saveCountdown(appState.recordingCountdown()); });
    QObject::connect(&stopShortcut, &StopShortcut::pressed, &appState,
                     [&] { appState.stopRecording(StopTrigger::keyboardOrCommand); });
    // Connected before anything shows the hint, which names the key only once it is held.
    QObject::connect(&appState, &AppState::routeChanged, &appState, [&] {
        if (appState.route() != Route::recording) {
            stopShortcut.release();
            shell.endRecording();
            return;
        }
        const bool held = stopShortcut.hold();
        if (!held && !stopShortcut.lastError().isEmpty())
            std::fprintf(stderr, "vantile: %s\n", stopShortcut.lastError().toLocal8Bit().constData());
        shell.setStopShortcutText(held ? stopShortcut.text() : QString());
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

    RecordingCommands commands(appState);
    instance.setCommands(&commands);
    instance.setActivateAction([&](const std::optional<std::string>& projectDirectory) {
        if (projectDirectory && appState.route() != Route::recording && !appState.isBusy())
            appState.openProject(*projectDirectory);
        openMainWindow();
    });
    // Started to record (no Vantile ran before): the recording starts once the window is up.
    if (request.remoteControl) {
        QTimer::singleShot(0, &appState, [&] {
            commands.startWhenIdle(request.message.sourceId, [](const RecordingCommands::Answer& answer) {
                if (answer.failure) std::fprintf(stderr, "vantile: %s\n", answer.failure->c_str());
            });
        });
    }

    QObject::connect(&application, &QCoreApplication::aboutToQuit, &appState, [&] { appState.shutdown(); });
    return application.exec();
}
