// Renders every screen of the application over fake collaborators and saves one PNG per
// screen, for a person to look at: `vantile-screenshots OUTDIR [PROJECT_DIR]`.
#include "MainWindowShell.h"
#include "RecordingControlWindow.h"
#include "RecordingHintPanel.h"
#include "SampleProject.h"
#include "ScreenHarness.h"
#include "StatusItemController.h"
#include "capture/KeyShortcut.h"
#include "capture/wayland/InputDeviceAccess.h"
#include "store/ProjectFileManager.h"
#include "support/ClockMovies.h"

#include <QApplication>
#include <QMenu>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <cstdio>

using namespace vantile;
using namespace vantile::testing;

namespace {

// The window as it looks once pending layout and rendering have run.
QImage grab(ScreenHarness& screens)
{
    QTest::qWait(150);
    return screens.window()->grabWindow();
}

CaptureSource windowSource(const std::string& id)
{
    CaptureSource window = sampleWindow();
    window.id = id;
    window.windowId = id.substr(id.find('-') + 1);
    return window;
}

bool save(const QImage& image, const std::filesystem::path& file)
{
    const bool saved = image.save(QString::fromStdString(file.string()));
    std::printf("%s %s\n", saved ? "wrote" : "FAILED", file.c_str());
    return saved;
}

}  // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    if (qEnvironmentVariableIsEmpty("QT_QUICK_BACKEND")) qputenv("QT_QUICK_BACKEND", "software");
    QApplication application(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: vantile-screenshots OUTDIR [PROJECT_DIR]\n");
        return 2;
    }
    const std::filesystem::path out = argv[1];
    std::filesystem::create_directories(out);
    bool ok = true;

    // Thumbnails of the sample projects go to a cache of their own.
    QTemporaryDir cache;
    qputenv("XDG_CACHE_HOME", cache.path().toUtf8());
    ScreenHarness screens;
    if (!screens.window()) return 1;
    screens.window()->resize(1180, 780);
    const std::vector<CaptureSource> sources{
        sampleDisplay("display-441"),
        [] {
            CaptureSource second = sampleDisplay("display-442");
            second.title = "DELL U2720Q";
            second.region = {1920, 0, 2560, 1440};
            return second;
        }(),
        sampleWindow(),
        [] {
            CaptureSource browser = windowSource("window-83886087");
            browser.appName = "Firefox";
            browser.title = "Vantile — 产品演示 · Mozilla Firefox";
            browser.region = {80, 60, 1440, 900};
            return browser;
        }(),
    };
    screens.loadSources(sources);
    ok &= save(grab(screens), out / "01-home-empty.png");
    const ProjectFileManager files(screens.root / "projects");
    const std::tuple<const char*, const char*, bool> recorded[] = {
        {"产品演示 v2", "2026-11-24T09:12:00Z", true},
        {"project-2026-11-23-101500", "2026-11-23T10:15:00Z", false},
        {"Onboarding walkthrough", "2026-11-20T16:40:00Z", true},
        {"project-2026-11-18-083000", "2026-11-18T08:30:00Z", false},
    };
    for (const auto& [name, createdAt, exported] : recorded) {
        makeSampleProject(screens.root / "projects" / name, 1280, 720, 3);
        files.updateProject(screens.root / "projects" / name, [&](RecordingProject project) {
            project.createdAt = parseISO8601(createdAt);
            if (exported) project.exportVideoPath = "export.mp4";
            return project;
        });
    }
    screens.state->refreshProjects();
    waitFor([&] { return screens.state->projects().size() == std::size(recorded); });
    QTest::qWait(1500);
    ok &= save(grab(screens), out / "01-home.png");
    if (auto* confirmation = screens.window()->findChild<QObject*>("trashConfirmation")) {
        QMetaObject::invokeMethod(confirmation, "ask", Q_ARG(QVariant, screens.state->projectsValue().at(1)));
        ok &= save(grab(screens), out / "01-home-delete.png");
        QMetaObject::invokeMethod(confirmation, "close");
    }
    screens.state->setUnfinishedRecordings({"/home/user/Videos/VantileProjects/project-2026-11-24-171605"});
    ok &= save(grab(screens), out / "01-home-unfinished-recording.png");
    screens.state->setUnfinishedRecordings({});

    screens.permissions->status = {true, false, false};
    screens.state->refreshPermissionStatus();
    screens.state->setRouteName("permissions");
    ok &= save(grab(screens), out / "02-permissions.png");
    // A Wayland user outside the `input` group, with the input helper installed.
    screens.permissions->status = {.screenRecordingGranted = true,
                                   .accessibilityGranted = true,
                                   .inputMonitoringGranted = false,
                                   .inputMonitoringHowTo = InputDeviceAccess::howToGrantThroughHelper(),
                                   .inputHelperOffered = true};
    screens.state->refreshPermissionStatus();
    ok &= save(grab(screens), out / "02-permissions-input-helper.png");
    screens.permissions->status = {true, true, true};
    screens.state->refreshPermissionStatus();

    {
        std::lock_guard lock(screens.fakeCameras->mutex);
        screens.fakeCameras->cameras = {{.id = "camera-usb-0c45-6366-video-index0", .title = "USB 2.0 Camera"},
                                        {.id = "camera-integrated-webcam", .title = "Integrated Webcam"}};
    }
    screens.state->setRouteName("sourcePicker");
    waitFor([&] { return !screens.state->availableCameras().empty() && !screens.state->isBusy(); });
    screens.state->selectSource("window-83886087");
    screens.state->setAudioCaptureMode(AudioCaptureMode::systemAndMicrophone);
    screens.state->setSelectedMicrophoneDeviceID("alsa_input.usb-Blue_Yeti");
    screens.state->selectCamera("camera-integrated-webcam");
    ok &= save(grab(screens), out / "03-source-picker.png");
    // The camera panel sits below the sound: the picker scrolled to it.
    if (auto* panel = screens.item("cameraChoicePanel")) {
        QQuickItem* flickable = panel->parentItem();
        while (flickable && !flickable->property("contentY").isValid()) flickable = flickable->parentItem();
        if (flickable) {
            const double bottom = flickable->property("contentHeight").toDouble() - flickable->height();
            flickable->setProperty("contentY", std::max(0.0, bottom));
        }
        ok &= save(grab(screens), out / "03-source-picker-camera.png");
    }
    screens.state->selectCamera("");

    screens.state->startRecording();
    waitFor([&] { return screens.state->route() == Route::recording; });
    screens.clock.advance(83);
    waitFor([&] { return screens.state->recordingElapsed() >= 83; });
    ok &= save(grab(screens), out / "04-recording.png");

    screens.recorder->stopGate.close();
    screens.state->stopRecording();
    ok &= save(grab(screens), out / "05-generating.png");
    screens.recorder->stopGate.open();
    waitFor([&] { return !screens.state->isBusy(); });

    std::filesystem::path project = argc > 2 ? std::filesystem::path(argv[2]) : std::filesystem::path();
    if (project.empty()) {
        project = screens.root / "projects" / "project-2026-11-23-101500";
        // With both audio tracks, so the timeline shows a waveform for each.
        SampleProjectWriter::write(project, {6, 1920, 1080, AudioCaptureMode::systemAndMicrophone});
    }
    screens.openProject(project);
    auto* preview = screens.item("livePreview");
    waitFor([&] { return preview && preview->property("ready").toBool(); });
    QMetaObject::invokeMethod(preview, "handleScrubbing", Q_ARG(bool, true), Q_ARG(double, 1.6));
    QMetaObject::invokeMethod(preview, "handleScrubbing", Q_ARG(bool, false), Q_ARG(double, 1.6));
    QTest::qWait(600);
    ok &= save(grab(screens), out / "06-preview.png");

    // The timeline with a cut, a trim, a zoom added at the playhead (selected) and two speed regions.
    screens.state->cutTimelineRange(2.2, 3.0);
    screens.state->addTimelineSegment(1.6);
    screens.state->setTimelineTrim(0.3, 5.7);
    screens.state->addSpeedRegion(3.2, 4.4, 4);
    screens.state->addSpeedRegion(4.6, 5.4, 0.5);
    if (auto* timeline = screens.item("timelineView"); timeline && screens.state->currentProject()) {
        const auto& segments = screens.state->currentProject()->focusSegments;
        for (std::size_t index = 0; index < segments.size(); ++index) {
            if (segments[index].edited) timeline->setProperty("selected", static_cast<int>(index));
        }
    }
    if (auto* strip = screens.item("timelineStrip")) waitFor([&] { return strip->property("ready").toBool(); }, 30000);
    QTest::qWait(600);
    ok &= save(grab(screens), out / "06-preview-timeline.png");
    // The keys' list over the editor.
    if (auto* shortcuts = screens.window()->findChild<QObject*>("shortcutHelp")) {
        QMetaObject::invokeMethod(shortcuts, "open");
        ok &= save(grab(screens), out / "06-preview-shortcuts.png");
        QMetaObject::invokeMethod(shortcuts, "close");
    }
    // Crop mode over the whole picture with a frame held to 4:3, then the cropped preview.
    if (auto* crop = screens.window()->findChild<QObject*>("cropOverlay")) {
        QMetaObject::invokeMethod(crop, "begin");
        crop->setProperty("cropX", 300);
        crop->setProperty("cropY", 120);
        crop->setProperty("cropWidth", 1200);
        crop->setProperty("cropHeight", 900);
        QTest::qWait(600);
        ok &= save(grab(screens), out / "06-preview-crop.png");
        QMetaObject::invokeMethod(crop, "apply");
        QTest::qWait(800);
        ok &= save(grab(screens), out / "06-preview-cropped.png");
        screens.state->clearCrop();
    }

    screens.state->changeRenderSetting("templateName", "cleanLight");
    screens.state->updateAspectRatio("portrait9x16");
    screens.state->changeRenderSetting("cursorTheme", "electricBlue");
    screens.exporter->holdUntilCancelled = true;
    screens.state->exportCurrentProject();
    waitFor([&] { return screens.state->exportProgress() == 0.5; });
    QTest::qWait(600);
    ok &= save(grab(screens), out / "07-preview-exporting.png");
    screens.state->cancelExport();
    waitFor([&] { return !screens.state->isBusy(); });
    screens.exporter->holdUntilCancelled = false;
    screens.state->updateAspectRatio("landscape16x9");
    screens.state->changeRenderSetting("templateName", "gradientBlue");
    screens.state->exportCurrentProject();
    waitFor([&] { return !screens.state->isBusy(); });
    QTest::qWait(600);
    ok &= save(grab(screens), out / "08-preview-exported.png");

    // The save flow: the save dialog in the videos folder, then Vantile's own question about a
    // file that is already there.
    const std::filesystem::path videos = screens.root / "Videos";
    std::filesystem::create_directories(videos / "Screencasts");
    writeText(videos / "Product tour.mp4", "movie");
    screens.state->setExportFolder(videos);
    QMetaObject::invokeMethod(screens.item("exportButton"), "clicked");
    QTest::qWait(1500);
    ok &= save(grab(screens), out / "08a-export-save-dialog.png");
    if (QObject* dialog = screens.window()->findChild<QObject*>("exportDialog")) QMetaObject::invokeMethod(dialog, "reject");
    screens.state->exportTo(QUrl::fromLocalFile(QString::fromStdString((videos / "Product tour.mp4").string())), "mp4");
    QTest::qWait(300);
    ok &= save(grab(screens), out / "08b-export-replace.png");
    screens.state->cancelReplace();

    // A recording with a camera: the bubble dragged to a place of its own on the preview, and
    // the panel's camera section in sight.
    const std::filesystem::path withCamera = screens.root / "projects" / "project-2026-11-23-113000";
    RecordingProject cameraProject = SampleProjectWriter::write(withCamera, {6, 1920, 1080});
    writeCameraClockMovie(withCamera / "camera.mov", 6);
    cameraProject.camera = CameraRecording{"camera.mov", 160, 120, 30, 0};
    ProjectFileManager(withCamera.parent_path()).saveProject(cameraProject, withCamera);
    screens.openProject(withCamera);
    preview = screens.item("livePreview");
    waitFor([&] { return preview && preview->property("ready").toBool(); });
    screens.state->changeCameraBubble("cameraShape", "roundedSquare");
    screens.state->changeCameraBubble("cameraSize", 0.3);
    CameraBubbleLook placed = CameraBubbleLook::of(screens.state->renderSettings());
    placed.position = CameraPosition::custom;
    placed.centerX = 0.78;
    placed.centerY = 0.3;
    screens.state->setCameraBubble(placed);
    if (auto* scroll = screens.item("previewSettingsPanel")) {
        if (auto* flickable = qobject_cast<QQuickItem*>(scroll->property("contentItem").value<QObject*>())) {
            flickable->setProperty("contentY", flickable->property("contentHeight").toDouble() - flickable->height());
        }
    }
    QTest::qWait(900);
    ok &= save(grab(screens), out / "08c-preview-camera.png");

    // The frame's look: one of Vantile's wallpapers, a wider margin and rounder corners, with
    // the panel's section in sight.
    screens.state->changeRenderSetting("background", "generated-2");
    screens.state->changeRenderSetting("cardPadding", 0.12);
    screens.state->changeRenderSetting("cardCornerRadius", 40);
    if (auto* section = screens.item("frameLookSection")) {
        QQuickItem* flickable = section->parentItem();
        while (flickable && !flickable->property("contentY").isValid()) flickable = flickable->parentItem();
        if (flickable) flickable->setProperty("contentY", std::max(0.0, section->y() - 8));
    }
    QTest::qWait(1500);
    ok &= save(grab(screens), out / "08d-preview-frame-look.png");

    RecordingHintPanel hint(MainWindowShell::hintMessage);
    hint.show();
    QTest::qWait(100);
    ok &= save(hint.grab().toImage(), out / "09-recording-hint.png");

    StatusItemController statusItem;
    statusItem.configure(screens.state.get(), [] {});
    statusItem.menu()->adjustSize();
    ok &= save(statusItem.menu()->grab().toImage(), out / "10-tray-menu.png");

    // Without a tray: placed frameless on X11, an ordinary movable window on Wayland.
    for (const bool frameless : {true, false}) {
        RecordingControlWindow control(frameless);
        control.setElapsedText("01:24");
        // X11 names the stop shortcut; Wayland has none of its own.
        control.setShortcutText(frameless ? defaultStopShortcut : "");
        control.show();
        QTest::qWait(100);
        ok &= save(control.grab().toImage(), out / (frameless ? "11-recording-control.png" : "11-recording-control-window.png"));
    }
    return ok ? 0 : 1;
}
