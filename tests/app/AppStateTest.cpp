#include "FakeServices.h"

#include "AppFlowError.h"
#include "engine/CoordinateMapper.h"
#include "store/ProjectFileManager.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

namespace vantile {
namespace {

using testing::AppFixture;
using testing::sampleDisplay;
using testing::sampleWindow;
using testing::waitFor;

// Records every value a published text takes, in order.
struct TextTrail {
    std::vector<std::string> statuses;
    std::vector<std::string> routes;
    std::vector<bool> busy;

    explicit TextTrail(AppState& state)
    {
        QObject::connect(&state, &AppState::statusMessageChanged, [&] { statuses.push_back(state.statusMessage()); });
        QObject::connect(&state, &AppState::routeChanged,
                         [&] { routes.push_back(state.routeName().toStdString()); });
        QObject::connect(&state, &AppState::isBusyChanged, [&] { busy.push_back(state.isBusy()); });
    }
};

std::vector<InputEvent> sampleEvents()
{
    std::vector<InputEvent> events;
    for (int i = 0; i < 30; ++i) {
        events.push_back({0.1 * i, InputEvent::EventType::mouseMove, 10.0 * i, 5.0 * i, {}, {}, {}});
    }
    events.push_back({3.0, InputEvent::EventType::leftMouseDown, 400, 200, {}, {}, "left"});
    events.push_back({3.1, InputEvent::EventType::leftMouseUp, 400, 200, {}, {}, "left"});
    events.push_back({4.0, InputEvent::EventType::typingActivityStart, 400, 200, {}, {}, {}});
    events.push_back({5.0, InputEvent::EventType::typingActivityEnd, 400, 200, {}, {}, {}});
    return events;
}

TEST(AppStateTest, StartsWithTheInitialValuesAndTheManagersPermissionStatus)
{
    AppFixture app;
    const AppState& state = *app.state;
    EXPECT_EQ(state.route(), Route::home);
    EXPECT_EQ(state.permissionStatus(), (PermissionStatus{true, true, true}));
    EXPECT_TRUE(state.sources().empty());
    EXPECT_FALSE(state.selectedSource());
    EXPECT_FALSE(state.currentProject());
    EXPECT_FALSE(state.projectDirectory());
    EXPECT_FALSE(state.isBusy());
    EXPECT_EQ(state.statusMessage(), "");
    EXPECT_FALSE(state.errorMessage());
    EXPECT_EQ(state.renderSettings(), RenderSettings::defaultLandscape());
    EXPECT_FALSE(state.recordingStartTime());
    EXPECT_EQ(state.recordingElapsed(), 0);
    EXPECT_EQ(state.recordingMaxDuration(), 600);
    EXPECT_FALSE(state.previewIsPartial());
    EXPECT_EQ(state.audioCaptureMode(), AudioCaptureMode::none);
    EXPECT_TRUE(state.availableMicrophones().empty());
    EXPECT_FALSE(state.selectedMicrophoneDeviceID());
    EXPECT_EQ(state.videoReferenceText(), "");
    EXPECT_FALSE(state.previewVideoURL());
}

TEST(AppStateTest, LoadingSourcesSelectsTheFirstKeepsAnEarlierChoiceAndSortsMicrophones)
{
    AppFixture app;
    app.sources->microphones = {{"b", "usb Mic"}, {"a", "Built-in"}, {"c", "Zoom H1"}, {"d", "built-in"}};
    app.sources->gate.close();
    {
        std::lock_guard lock(app.sources->mutex);
        app.sources->sources = {sampleDisplay(), sampleWindow()};
    }
    app.state->loadSources();
    EXPECT_TRUE(app.state->isBusy());
    EXPECT_EQ(app.state->statusMessage(), "Loading capture sources");
    // The microphones are listed before the sources arrive.
    ASSERT_EQ(app.state->availableMicrophones().size(), 4u);
    EXPECT_EQ(app.state->availableMicrophones()[0].id, "a");
    EXPECT_EQ(app.state->availableMicrophones()[1].id, "d");  // stable among equal names
    EXPECT_EQ(app.state->availableMicrophones()[2].id, "b");
    EXPECT_EQ(app.state->availableMicrophones()[3].id, "c");
    app.sources->gate.open();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
    EXPECT_EQ(app.state->selectedSource()->id, "display-42");
    EXPECT_EQ(app.state->statusMessage(), "Loading capture sources");

    // A chosen source that vanished from the next list stays chosen.
    app.state->selectSource("window-7");
    app.loadSources({sampleDisplay("display-9")});
    EXPECT_EQ(app.state->sources().size(), 1u);
    EXPECT_EQ(app.state->selectedSource()->id, "window-7");

    // A chosen microphone that disappeared is forgotten; there is no automatic choice.
    app.state->setSelectedMicrophoneDeviceID("c");
    app.sources->microphones = {{"a", "Built-in"}};
    app.state->loadAudioInputs();
    EXPECT_FALSE(app.state->selectedMicrophoneDeviceID());
    app.sources->microphonesFail = true;
    app.state->loadAudioInputs();
    EXPECT_TRUE(app.state->availableMicrophones().empty());

    // A failed listing is told and leaves the app usable.
    app.sources->failure = "Cannot reach the display server.";
    app.state->loadSources();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
    EXPECT_EQ(app.state->errorMessage(), "Cannot reach the display server.");
    EXPECT_EQ(app.state->sources().size(), 1u);
}

TEST(AppStateTest, StartIsRefusedWithoutSourceOrPermissionsAndCreatesNothing)
{
    AppFixture app;
    TextTrail trail(*app.state);
    app.state->startRecording();
    EXPECT_EQ(app.state->errorMessage(), "Select a window or display first.");
    EXPECT_EQ(app.state->route(), Route::home);
    EXPECT_FALSE(app.state->isBusy());
    EXPECT_TRUE(trail.busy.empty());

    app.loadSources();
    app.permissions->status = {true, true, false};
    app.state->startRecording();
    EXPECT_EQ(app.state->route(), Route::permissions);
    EXPECT_EQ(app.state->statusMessage(), "Missing permissions for recording.");
    EXPECT_EQ(app.state->errorMessage(), "请先开启“输入监控”权限后再开始录制。");
    EXPECT_EQ(app.state->permissionStatus(), (PermissionStatus{true, true, false}));
    EXPECT_FALSE(app.state->isBusy());
    EXPECT_FALSE(app.state->projectDirectory());
    EXPECT_FALSE(std::filesystem::exists(app.root / "projects"));
    EXPECT_FALSE(app.log.contains("recorder.start display-42"));

    app.permissions->status = {false, false, false};
    app.state->startRecording();
    EXPECT_EQ(app.state->errorMessage(), "请先开启“屏幕录制”、“辅助功能”和“输入监控”权限后再开始录制。");
}

TEST(AppStateTest, SuccessfulStartRecordsIntoAFreshDirectoryThenHidesTheWindowAndShowsTheHint)
{
    AppFixture app;
    app.loadSources();
    app.state->setAudioCaptureMode(AudioCaptureMode::system);
    app.recorder->startGate.close();
    TextTrail trail(*app.state);
    app.state->exportCurrentProject();  // leaves an error message behind
    ASSERT_TRUE(app.state->errorMessage());
    app.state->startRecording();
    EXPECT_TRUE(app.state->isBusy());
    EXPECT_EQ(app.state->statusMessage(), "Starting recording");
    EXPECT_FALSE(app.state->errorMessage());

    // A second click and a mode change while starting change nothing about this recording.
    app.state->startRecording();
    app.state->setAudioCaptureMode(AudioCaptureMode::none);
    app.recorder->startGate.open();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));

    EXPECT_EQ(app.state->route(), Route::recording);
    EXPECT_EQ(app.state->statusMessage(), "Recording");
    EXPECT_EQ(app.state->recordingStartTime(), app.clock.now());
    EXPECT_EQ(app.state->recordingElapsed(), 0);
    ASSERT_TRUE(app.state->projectDirectory());
    EXPECT_EQ(app.state->projectDirectory()->parent_path(), app.root / "projects");
    EXPECT_EQ(app.recorder->startedOutput, *app.state->projectDirectory() / "raw.mov");
    EXPECT_EQ(app.recorder->startedAudio, (AudioCaptureSettings{AudioCaptureMode::system, std::nullopt}));
    EXPECT_EQ(app.input->startedRegion, sampleDisplay().region);
    EXPECT_EQ(trail.statuses, (std::vector<std::string>{"Starting recording", "Recording"}));
    EXPECT_EQ(trail.busy, (std::vector<bool>{true, false}));

    const auto calls = app.log.entries();
    const std::vector<std::string> expectedTail = {"recorder.start display-42", "input.start",
                                                   "shell.hideMainWindow", "shell.showHint display-42"};
    ASSERT_GE(calls.size(), expectedTail.size());
    EXPECT_EQ(std::vector<std::string>(calls.end() - 4, calls.end()), expectedTail);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "recorder.start display-42"), 1);
}

TEST(AppStateTest, MicrophoneRecordingNeedsAccessAndIsRefusedWithoutIt)
{
    AppFixture app;
    app.loadSources();
    app.state->setAudioCaptureMode(AudioCaptureMode::systemAndMicrophone);
    app.permissions->microphoneGranted = false;
    app.state->startRecording();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
    EXPECT_EQ(app.state->errorMessage(), "请允许麦克风权限后再开始录制。");
    EXPECT_TRUE(app.log.contains("permissions.openMicrophoneSettings"));
    EXPECT_FALSE(app.state->projectDirectory());
    EXPECT_EQ(app.state->route(), Route::home);

    app.permissions->microphoneGranted = true;
    app.state->setSelectedMicrophoneDeviceID("alsa_input.usb");
    app.state->startRecording();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
    EXPECT_EQ(app.state->route(), Route::recording);
    EXPECT_EQ(app.recorder->startedAudio,
              (AudioCaptureSettings{AudioCaptureMode::systemAndMicrophone, std::string("alsa_input.usb")}));
}

TEST(AppStateTest, FailedStartReturnsToThePickerAndKeepsTheCreatedDirectory)
{
    AppFixture app;
    app.loadSources();
    app.recorder->startFailure = "The selected capture source is no longer available.";
    app.state->startRecording();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
    EXPECT_EQ(app.state->route(), Route::sourcePicker);
    EXPECT_EQ(app.state->errorMessage(), "The selected capture source is no longer available.");
    ASSERT_TRUE(app.state->projectDirectory());
    EXPECT_TRUE(std::filesystem::is_directory(*app.state->projectDirectory()));
    EXPECT_FALSE(app.state->recordingStartTime());
    EXPECT_FALSE(app.log.contains("input.start"));
    EXPECT_FALSE(app.log.contains("shell.hideMainWindow"));

    // The projects root cannot be created: the store's sentence, the same way back.
    app.recorder->startFailure.reset();
    AppFixture blocked;
    testing::writeText(blocked.root / "projects", "a file where the folder should be");
    blocked.loadSources();
    blocked.state->startRecording();
    ASSERT_TRUE(waitFor([&] { return !blocked.state->isBusy(); }));
    EXPECT_EQ(blocked.state->route(), Route::sourcePicker);
    ASSERT_TRUE(blocked.state->errorMessage());
    EXPECT_NE(blocked.state->errorMessage()->find("Cannot create directory"), std::string::npos);
    EXPECT_FALSE(blocked.log.contains("recorder.start display-42"));

    // An input monitor that refuses makes the start fail too, and the capture is stopped again.
    AppFixture refused;
    refused.input->startFailure = "Global input is not available.";
    refused.loadSources();
    refused.state->startRecording();
    ASSERT_TRUE(waitFor([&] { return !refused.state->isBusy(); }));
    EXPECT_EQ(refused.state->route(), Route::sourcePicker);
    EXPECT_EQ(refused.state->errorMessage(), "Global input is not available.");
    EXPECT_TRUE(refused.log.contains("recorder.stop"));
}

TEST(AppStateTest, StopMapsPlansSmoothsAndSavesTheProjectThenOpensThePreview)
{
    AppFixture app;
    app.input->events = sampleEvents();
    ASSERT_TRUE(app.record());
    app.state->updateAspectRatio(AspectRatio::portrait9x16);
    app.recorder->stopGate.close();
    TextTrail trail(*app.state);
    app.clock.advance(6);
    app.state->stopRecording();
    EXPECT_EQ(app.state->route(), Route::generating);
    EXPECT_EQ(app.state->statusMessage(), "Generating demo");
    EXPECT_TRUE(app.state->isBusy());
    app.state->stopRecording();  // a second quick stop sees `generating` and returns
    app.state->startRecording();
    app.recorder->stopGate.open();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));

    EXPECT_EQ(trail.routes, (std::vector<std::string>{"generating", "preview"}));
    EXPECT_EQ(trail.statuses, (std::vector<std::string>{"Generating demo", "Ready"}));
    EXPECT_EQ(trail.busy, (std::vector<bool>{true, false}));
    const auto calls = app.log.entries();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "recorder.stop"), 1);
    const auto inputStop = std::find(calls.begin(), calls.end(), "input.stop");
    EXPECT_LT(inputStop, std::find(calls.begin(), calls.end(), "recorder.stop"));
    EXPECT_LT(std::find(calls.begin(), calls.end(), "shell.dismissHint"), inputStop);
    EXPECT_EQ(calls.back(), "shell.showMainWindow");

    ASSERT_TRUE(app.state->currentProject());
    const RecordingProject& project = *app.state->currentProject();
    const auto directory = *app.state->projectDirectory();
    EXPECT_EQ(project.id, directory.filename().string());
    EXPECT_EQ(project.createdAt, app.clock.now());
    EXPECT_EQ(project.duration, 6);
    EXPECT_EQ(project.video, (VideoInfo{"raw.mov", 1600, 900, 30}));
    EXPECT_EQ(project.rawVideoPath, "raw.mov");
    EXPECT_EQ(project.capture, sampleDisplay().captureInfo());
    EXPECT_EQ(project.audioSettings, AudioCaptureSettings{});
    EXPECT_FALSE(project.exportVideoPath);
    const auto mapped = CoordinateMapper::mapEventsToVideo(sampleEvents(), sampleDisplay().region, project.video);
    EXPECT_EQ(project.events, mapped);
    EXPECT_EQ(project.events[30].x, 800);  // 400 capture-local points of 800 → 800 of 1600 pixels
    // The output size follows the chosen ratio for this source.
    const OutputSize size = outputSize(AspectRatio::portrait9x16, project.video, ResolutionPreset::p1080);
    EXPECT_EQ(project.renderSettings.outputWidth, size.width);
    EXPECT_EQ(project.renderSettings.outputHeight, size.height);
    EXPECT_EQ(app.state->renderSettings(), project.renderSettings);
    EXPECT_EQ(project.focusSegments,
              FocusPlanner().plan({6, 1600, 900, mapped, ZoomIntensity::standard}).segments);
    EXPECT_EQ(project.cursorFrames, CursorPathSmoother().smooth(mapped, 30, 6));
    EXPECT_EQ(ProjectFileManager(app.root / "projects").loadProject(directory), project);

    EXPECT_FALSE(app.state->recordingStartTime());
    EXPECT_EQ(app.state->recordingElapsed(), 0);
    EXPECT_EQ(app.state->previewVideoURL(), directory / "raw.mov");
    EXPECT_EQ(app.state->videoReferenceText(), "原视频 1600 x 900 · 当前输出 " + std::to_string(size.width) + " x " +
                                                   std::to_string(size.height) + " · 30 fps");
    // Stop outside a recording changes nothing.
    app.state->stopRecording();
    EXPECT_EQ(app.state->route(), Route::preview);
}

TEST(AppStateTest, FailedStopReturnsToThePickerAndKeepsTheEarlierProject)
{
    AppFixture app;
    ASSERT_TRUE(app.recordAndStop());
    const auto earlier = app.state->currentProject();
    app.clock.advance(1);  // a new directory name
    ASSERT_TRUE(app.record());
    app.recorder->stopFailure = "Could not stop capture: the display went away";
    app.state->stopRecording();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
    EXPECT_EQ(app.state->route(), Route::sourcePicker);
    EXPECT_EQ(app.state->errorMessage(), "Could not stop capture: the display went away");
    EXPECT_EQ(app.state->currentProject(), earlier);
    EXPECT_FALSE(app.state->recordingStartTime());
    EXPECT_EQ(app.state->recordingElapsed(), 0);
    EXPECT_TRUE(std::filesystem::exists(*app.state->projectDirectory() / "raw.mov"));
    EXPECT_NE(app.log.entries().back(), "shell.showMainWindow");

    // A save that fails is a failed stop as well.
    app.recorder->stopFailure.reset();
    app.clock.advance(1);
    ASSERT_TRUE(app.record());
    testing::writeText(*app.state->projectDirectory() / ".vantile", "a file where the metadata folder goes");
    app.state->stopRecording();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
    EXPECT_EQ(app.state->route(), Route::sourcePicker);
    EXPECT_TRUE(app.state->errorMessage());
    EXPECT_EQ(app.state->currentProject(), earlier);
}

TEST(AppStateTest, TimerCountsTheWallClockAndStopsAtTheMaximumDuration)
{
    AppFixture app(std::chrono::milliseconds(10));
    ASSERT_TRUE(app.record());
    app.clock.advance(2.5);
    ASSERT_TRUE(waitFor([&] { return app.state->recordingElapsed() == 2.5; }));
    EXPECT_EQ(app.state->route(), Route::recording);
    EXPECT_EQ(app.state->recordingElapsedText(), "00:02");

    TextTrail trail(*app.state);
    app.clock.advance(597.5);  // exactly 600 s: the maximum is reached
    ASSERT_TRUE(waitFor([&] { return app.state->route() == Route::preview && !app.state->isBusy(); }));
    EXPECT_EQ(trail.statuses, (std::vector<std::string>{"Reached max duration; stopping.", "Generating demo", "Ready"}));
    EXPECT_EQ(trail.routes, (std::vector<std::string>{"generating", "preview"}));
}

TEST(AppStateTest, SettingsChangesUpdateAndSaveTheProjectAndReplanOrResmooth)
{
    AppFixture app;
    app.input->events = sampleEvents();

    // Without a project only the settings change; the size comes from no source video.
    app.state->updateAspectRatio(AspectRatio::source);
    EXPECT_EQ(app.state->renderSettings().aspectRatio, AspectRatio::source);
    EXPECT_EQ(app.state->renderSettings().outputWidth, outputSize(AspectRatio::source, std::nullopt).width);
    app.state->updateAspectRatio(AspectRatio::landscape16x9);

    ASSERT_TRUE(app.recordAndStop());
    const auto directory = *app.state->projectDirectory();
    const ProjectFileManager store(app.root / "projects");
    const auto saved = [&] { return store.loadProject(directory); };

    // An exported project forgets its export on the next change.
    auto exported = *app.state->currentProject();
    app.state->exportCurrentProject();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
    ASSERT_TRUE(app.state->currentProject()->exportVideoPath);

    app.state->changeRenderSetting("templateName", "gradientBlue");
    EXPECT_EQ(app.state->renderSettings().templateName, TemplateName::gradientBlue);
    EXPECT_FALSE(app.state->currentProject()->exportVideoPath);
    EXPECT_EQ(saved(), *app.state->currentProject());
    app.state->revealExportInFinder();
    EXPECT_FALSE(app.log.contains("shell.reveal " + (directory / "export.mp4").string()));

    app.state->updateResolutionPreset(ResolutionPreset::p720);
    EXPECT_EQ(app.state->renderSettings().outputWidth, 1280);
    EXPECT_EQ(app.state->renderSettings().outputHeight, 720);
    app.state->changeRenderSetting("aspectRatio", "square1x1");
    EXPECT_EQ(app.state->renderSettings().outputWidth, app.state->renderSettings().outputHeight);
    EXPECT_EQ(saved().renderSettings, app.state->renderSettings());
    EXPECT_EQ(app.state->videoReferenceText(), "原视频 1600 x 900 · 当前输出 720 x 720 · 30 fps");

    const auto& project = *app.state->currentProject();
    app.state->changeRenderSetting("zoomIntensity", "strong");
    EXPECT_EQ(app.state->currentProject()->focusSegments,
              FocusPlanner().plan({project.duration, 1600, 900, project.events, ZoomIntensity::strong}).segments);
    EXPECT_EQ(saved().focusSegments, app.state->currentProject()->focusSegments);

    app.state->changeRenderSetting("fps", 12);
    EXPECT_EQ(app.state->renderSettings().fps, 12);
    EXPECT_EQ(app.state->currentProject()->cursorFrames, CursorPathSmoother().smooth(project.events, 12, 6));
    EXPECT_EQ(saved().cursorFrames.size(), app.state->currentProject()->cursorFrames.size());

    for (const auto& [field, value] : std::vector<std::pair<QString, QVariant>>{
             {"backgroundEnabled", false}, {"showCursor", false}, {"showClickRipple", false},
             {"cursorTheme", "lime"}, {"cursorEffect", "glow"}, {"dynamicCursorScale", false}}) {
        app.state->changeRenderSetting(field, value);
    }
    RenderSettings expected = app.state->renderSettings();
    EXPECT_FALSE(expected.backgroundEnabled || expected.showCursor || expected.showClickRipple ||
                 expected.dynamicCursorScale);
    EXPECT_EQ(expected.cursorTheme, CursorTheme::lime);
    EXPECT_EQ(expected.cursorEffect, CursorEffect::glow);
    EXPECT_EQ(saved().renderSettings, expected);

    // Unknown values are ignored, and a failing save is silent.
    app.state->changeRenderSetting("cursorTheme", "neon");
    EXPECT_EQ(app.state->renderSettings(), expected);
    std::filesystem::remove_all(directory);
    testing::writeText(directory, "not a directory");
    app.state->changeRenderSetting("showCursor", true);
    EXPECT_TRUE(app.state->renderSettings().showCursor);
    EXPECT_FALSE(app.state->errorMessage());
}

TEST(AppStateTest, ExportRendersWithTheControllersSettingsRecordsTheFileAndReveals)
{
    AppFixture app;
    app.state->exportCurrentProject();
    EXPECT_EQ(app.state->errorMessage(), "No project to export.");
    EXPECT_FALSE(app.state->isBusy());

    ASSERT_TRUE(app.recordAndStop());
    const auto directory = *app.state->projectDirectory();
    app.state->changeRenderSetting("cursorTheme", "rose");
    TextTrail trail(*app.state);
    QSignalSpy progress(app.state.get(), &AppState::exportProgressChanged);
    app.state->exportCurrentProject();
    EXPECT_TRUE(app.state->isExporting());
    app.state->exportCurrentProject();  // the second click while busy is ignored
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
    EXPECT_EQ(trail.statuses, (std::vector<std::string>{"Exporting MP4", "Exported"}));
    EXPECT_EQ(trail.busy, (std::vector<bool>{true, false}));
    EXPECT_EQ(app.state->exportProgress(), 1);
    EXPECT_GE(progress.count(), 2);
    const auto calls = app.log.entries();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "exporter.export"), 1);

    const RenderJob& job = *app.exporter->lastJob;
    EXPECT_EQ(job.outputURL, directory / "export.mp4");
    EXPECT_EQ(job.rawVideoURL, directory / "raw.mov");
    EXPECT_EQ(job.renderSettings.cursorTheme, CursorTheme::rose);
    EXPECT_EQ(job.focusSegments, app.state->currentProject()->focusSegments);
    EXPECT_EQ(job.cursorFrames, app.state->currentProject()->cursorFrames);
    EXPECT_EQ(app.state->currentProject()->exportVideoPath, "export.mp4");
    EXPECT_EQ(ProjectFileManager(app.root / "projects").loadProject(directory).exportVideoPath, "export.mp4");
    EXPECT_EQ(app.state->route(), Route::preview);
    app.state->revealExportInFinder();
    EXPECT_EQ(app.log.entries().back(), "shell.reveal " + (directory / "export.mp4").string());

    // A failed export tells why and keeps the project as it was.
    const auto before = app.state->currentProject();
    app.exporter->failure = "Could not write the movie: No space left on device";
    app.state->exportCurrentProject();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
    EXPECT_EQ(app.state->errorMessage(), "Could not write the movie: No space left on device");
    EXPECT_EQ(app.state->currentProject(), before);
    EXPECT_EQ(app.state->statusMessage(), "Exporting MP4");

    // Cancelling ends the export with the exporter's sentence.
    app.exporter->failure.reset();
    app.exporter->holdUntilCancelled = true;
    app.state->exportCurrentProject();
    ASSERT_TRUE(waitFor([&] { return app.state->exportProgress() == 0.5; }));
    app.state->cancelExport();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
    EXPECT_EQ(app.state->errorMessage(), "Export cancelled.");
    EXPECT_FALSE(app.state->isExporting());

    // The movie exists but the project cannot record it: the save's error, nothing else changes.
    app.exporter->holdUntilCancelled = false;
    std::filesystem::remove_all(directory / ".vantile");
    testing::writeText(directory / ".vantile", "blocking file");
    app.state->exportCurrentProject();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
    EXPECT_NE(app.state->errorMessage(), "Export cancelled.");
    EXPECT_EQ(app.state->currentProject(), before);
}

TEST(AppStateTest, ShowingTheWindowDismissesTheHintAndScreensMoveOnlyBetweenTheFirstScreens)
{
    AppFixture app;
    app.shell.windowExists = false;
    EXPECT_FALSE(app.state->showMainWindow());
    const auto calls = app.log.entries();
    ASSERT_GE(calls.size(), 2u);
    EXPECT_EQ(calls[calls.size() - 2], "shell.dismissHint");

    app.state->setRouteName("permissions");
    EXPECT_EQ(app.state->route(), Route::permissions);
    app.state->setRouteName("recording");
    app.state->setRouteName("nowhere");
    EXPECT_EQ(app.state->route(), Route::permissions);
}

TEST(AppStateTest, QuittingWhileRecordingStopsTheCaptureSoTheMovieIsFinished)
{
    AppFixture app;
    ASSERT_TRUE(app.record());
    app.state->shutdown();
    const auto calls = app.log.entries();
    EXPECT_EQ(std::vector<std::string>(calls.end() - 2, calls.end()),
              (std::vector<std::string>{"input.stop", "recorder.stop"}));
    EXPECT_NE(app.state->route(), Route::recording);
}

TEST(AppStateTest, CaptureThatEndsOnItsOwnStopsTheRecordingAndSaysWhy)
{
    AppFixture app(std::chrono::milliseconds(10));
    ASSERT_TRUE(app.record());
    {
        std::lock_guard lock(app.recorder->mutex);
        app.recorder->captureFailure = "The selected capture source is no longer available.";
    }
    ASSERT_TRUE(waitFor([&] { return app.state->route() == Route::preview && !app.state->isBusy(); }));
    EXPECT_EQ(app.state->errorMessage(), "The selected capture source is no longer available.");
    EXPECT_TRUE(app.state->currentProject());
}

TEST(AppStateTest, MissingProjectContextHasItsSentence)
{
    EXPECT_STREQ(AppFlowError::missingProjectContext().what(), "Project context is missing.");
}

}  // namespace
}  // namespace vantile
