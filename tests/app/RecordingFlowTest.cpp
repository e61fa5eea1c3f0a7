#include "FakeServices.h"

#include "engine/CoordinateMapper.h"
#include "store/ProjectFileManager.h"

#include <gtest/gtest.h>

#include <tuple>

namespace vantile {
namespace {

using testing::AppFixture;
using testing::sampleWindow;
using testing::sampleDisplay;
using testing::sampleEvents;
using testing::TextTrail;
using testing::waitFor;

TEST(RecordingFlowTest, StartIsRefusedWithoutSourceOrPermissionsAndCreatesNothing)
{
    AppFixture app;
    app.state->startRecording();
    EXPECT_EQ(app.state->errorMessage(), "Select a window or display first.");

    app.loadSources();
    app.permissions->status = {true, true, false};
    app.state->startRecording();
    EXPECT_EQ(app.state->route(), Route::permissions);
    EXPECT_FALSE(std::filesystem::exists(app.root / "projects"));

    app.permissions->status = {true, true, true};
    app.state->setAudioCaptureMode(AudioCaptureMode::microphone);
    app.permissions->microphoneGranted = false;
    app.state->startRecording();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
    EXPECT_TRUE(app.log.contains("permissions.openMicrophoneSettings"));
    EXPECT_FALSE(app.state->projectDirectory());
}

TEST(RecordingFlowTest, StartRecordsTheSourceChosenAtTheClickWhateverIsClickedMeanwhileAndQuitStopsIt)
{
    AppFixture app;
    app.loadSources();
    app.state->setAudioCaptureMode(AudioCaptureMode::system);
    app.recorder->startGate.close();
    TextTrail trail(*app.state);
    app.state->startRecording();
    // A second click, another source and another mode while starting change nothing of this recording.
    app.state->startRecording();
    app.state->selectSource("window-7");
    app.state->setAudioCaptureMode(AudioCaptureMode::none);
    app.recorder->startGate.open();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));

    EXPECT_EQ(app.state->recordingStartTime(), app.clock.now());
    EXPECT_EQ(app.recorder->startedOutput, *app.state->projectDirectory() / "raw.mov");
    EXPECT_EQ(app.recorder->startedAudio, (AudioCaptureSettings{AudioCaptureMode::system, std::nullopt}));
    EXPECT_EQ(app.input->startedRegion, sampleDisplay().region);
    EXPECT_EQ(trail.statuses, (std::vector<std::string>{"Starting recording", "Recording"}));
    const auto calls = app.log.entries();
    // The windows go before the capture starts, so its first frame holds none of them.
    EXPECT_EQ(std::vector<std::string>(calls.end() - 4, calls.end()),
              (std::vector<std::string>{"shell.hideMainWindow", "recorder.start display-42", "input.start",
                                        "shell.showHint display-42"}));

    // Quitting while recording stops the capture, so the movie is finished.
    app.state->shutdown();
    const auto afterQuit = app.log.entries();
    EXPECT_EQ(std::vector<std::string>(afterQuit.end() - 2, afterQuit.end()),
              (std::vector<std::string>{"input.stop", "recorder.stop"}));
}

// A capture that cannot start, or an input monitor that refuses (the capture is then stopped
// again): back to the picker, and nothing left that looks like an unfinished recording.
TEST(RecordingFlowTest, FailedStartReturnsToThePickerAndLeavesNoDirectory)
{
    for (const bool inputRefuses : {false, true}) {
        AppFixture app;
        const std::string message = inputRefuses ? "Global input is not available." : "The source is gone.";
        (inputRefuses ? app.input->startFailure : app.recorder->startFailure) = message;
        app.loadSources();
        app.state->startRecording();
        ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
        EXPECT_EQ(app.state->route(), Route::sourcePicker);
        EXPECT_EQ(app.state->errorMessage(), message);
        EXPECT_FALSE(app.state->projectDirectory());
        EXPECT_TRUE(std::filesystem::is_empty(app.root.path() / "projects"));
        EXPECT_EQ(app.log.contains("input.start"), inputRefuses);
        EXPECT_EQ(app.log.contains("recorder.stop"), inputRefuses);
    }
}

// The rate is fixed when the start is clicked; a 60 fps take exports at 60 unless the user picks
// another rate, and a rate that is not offered changes nothing.
TEST(RecordingFlowTest, TheChosenRateReachesTheRecorderTheInputLogAndTheProject)
{
    AppFixture app;
    app.state->setRecordingFps(45);
    EXPECT_EQ(app.state->recordingFps(), 30);
    app.state->setRecordingFps(60);
    app.recorder->startGate.close();
    app.loadSources();
    app.state->startRecording();
    app.state->setRecordingFps(30);
    app.recorder->startGate.open();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
    EXPECT_EQ(app.recorder->startedFps, 60);
    EXPECT_EQ(app.input->startedFps, 60);
    app.clock.advance(6);
    app.state->stopRecording();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy() && app.state->currentProject(); }));
    const RecordingProject& project = *app.state->currentProject();
    EXPECT_EQ(project.video.fps, 60);
    EXPECT_EQ(project.renderSettings.fps, 60);
    EXPECT_EQ(project.cursorFrames.size(), static_cast<std::size_t>(60 * project.duration) + 1);
}

TEST(RecordingFlowTest, StopPlansSmoothsAndSavesTheProjectThenOpensThePreview)
{
    AppFixture app;
    ASSERT_TRUE(app.record());
    app.state->updateAspectRatio(AspectRatio::portrait9x16);
    app.recorder->stopGate.close();
    TextTrail trail(*app.state);
    app.clock.advance(6);
    app.state->stopRecording();
    EXPECT_EQ(app.state->route(), Route::generating);
    app.state->stopRecording();  // a second quick stop sees `generating` and returns
    app.recorder->stopGate.open();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));

    EXPECT_EQ(trail.routes, (std::vector<std::string>{"generating", "preview"}));
    const auto calls = app.log.entries();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "recorder.stop"), 1);
    EXPECT_EQ(calls.back(), "shell.showMainWindow");

    // What the finisher planned and saved is what the preview opens, sized for the chosen ratio.
    const RecordingProject& project = *app.state->currentProject();
    const auto directory = *app.state->projectDirectory();
    EXPECT_EQ(project.renderSettings.outputWidth, outputSize(AspectRatio::portrait9x16, project.video).width);
    EXPECT_EQ(ProjectFileManager(app.root / "projects").loadProject(directory), project);
    EXPECT_EQ(app.state->previewVideoURL(), directory / "raw.mov");
}

TEST(RecordingFlowTest, TheSourceAsCaptureSettledItMapsTheInputAndAPictureWithThePointerDrawsNoOther)
{
    AppFixture app;
    // The system dialog picked a window twice the chosen width, recorded at its own size.
    CaptureSource settled = sampleDisplay();
    settled.region = {0, 0, 1600, 900};
    app.recorder->settledSource = settled;
    app.recorder->pointerInPicture = true;
    ASSERT_TRUE(app.record());
    EXPECT_EQ(app.input->startedRegion, settled.region);
    EXPECT_NE(app.state->statusMessage().find("automatic zooms need"), std::string::npos);
    app.clock.advance(6);
    app.state->stopRecording();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));

    const RecordingProject& project = *app.state->currentProject();
    EXPECT_EQ(project.capture, settled.captureInfo());
    EXPECT_EQ(project.events, CoordinateMapper::mapEventsToVideo(sampleEvents(), settled.region, project.video));
    EXPECT_FALSE(project.renderSettings.showCursor);
}

TEST(RecordingFlowTest, FailedStopReturnsToThePickerAndKeepsTheEarlierProject)
{
    AppFixture app;
    ASSERT_TRUE(app.recordAndStop());
    const auto earlier = app.state->currentProject();
    app.clock.advance(1);  // a new directory name
    ASSERT_TRUE(app.record());
    app.recorder->stopFailure = "Could not stop capture: the display went away";
    // The picker this opens loads its sources as it appears, which a flow still busy would refuse.
    app.sources->sources = {testing::sampleWindow()};
    const auto reload = QObject::connect(app.state.get(), &AppState::routeChanged, [&] {
        if (app.state->route() == Route::sourcePicker) app.state->loadSources();
    });
    app.state->stopRecording();
    ASSERT_TRUE(waitFor([&] { return app.state->sources().size() == 1 && !app.state->isBusy(); }));
    QObject::disconnect(reload);
    EXPECT_EQ(app.state->route(), Route::sourcePicker);
    EXPECT_EQ(app.state->errorMessage(), "Could not stop capture: the display went away");
    EXPECT_EQ(app.state->currentProject(), earlier);

    // A save that fails is a failed stop as well.
    app.recorder->stopFailure.reset();
    app.clock.advance(1);
    ASSERT_TRUE(app.record());
    std::filesystem::remove_all(*app.state->projectDirectory() / ".vantile");
    testing::writeText(*app.state->projectDirectory() / ".vantile", "a file where the metadata folder goes");
    app.state->stopRecording();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
    EXPECT_EQ(app.state->route(), Route::sourcePicker);
    EXPECT_EQ(app.state->currentProject(), earlier);
}

TEST(RecordingFlowTest, TheTimerStopsAtTheMaximumOrWhenTheCaptureEndsOnItsOwn)
{
    AppFixture app(std::chrono::milliseconds(10));
    ASSERT_TRUE(app.record());
    app.clock.advance(2.5);
    ASSERT_TRUE(waitFor([&] { return app.state->recordingElapsed() == 2.5; }));
    EXPECT_EQ(app.state->recordingElapsedText(), "00:02");
    TextTrail trail(*app.state);
    app.clock.advance(597.5);  // exactly 600 s: the maximum is reached
    ASSERT_TRUE(waitFor([&] { return app.state->route() == Route::preview && !app.state->isBusy(); }));
    EXPECT_EQ(trail.statuses, (std::vector<std::string>{"Reached max duration; stopping.", "Generating demo", "Ready"}));

    app.clock.advance(1);
    ASSERT_TRUE(app.record());
    {
        std::lock_guard lock(app.recorder->mutex);
        app.recorder->captureFailure = "The selected capture source is no longer available.";
    }
    ASSERT_TRUE(waitFor([&] { return app.state->route() == Route::preview && !app.state->isBusy(); }));
    EXPECT_EQ(app.state->errorMessage(), "The selected capture source is no longer available.");
}

// The user's click, a rest, the pointer heading for `target` from 4.8 s and a click on it; the
// sample display is at (100, 50), 800 x 450, and the take lasts 6 s.
std::vector<testing::FakeInputRecorder::ScriptedInput> stopGestureScript(CodablePoint target)
{
    using Kind = RawInput::Kind;
    std::vector<testing::FakeInputRecorder::ScriptedInput> script{
        {0.5, Kind::mouseMoved, {300, 200}}, {1.0, Kind::leftMouseDown, {300, 200}}, {1.1, Kind::leftMouseUp, {300, 200}}};
    for (int step = 0; step <= 24; ++step) {
        const double progress = step / 24.0;
        script.push_back({4.8 + 0.8 * progress, Kind::mouseMoved,
                          {300 + (target.x - 300) * progress, 200 + (target.y - 200) * progress}});
    }
    script.push_back({5.7, Kind::leftMouseDown, target});
    script.push_back({5.75, Kind::leftMouseUp, target});
    return script;
}

TEST(RecordingFlowTest, TheStopGestureIsTrimmedAndInputOverTheControlIsNotLogged)
{
    const CGRectCodable control{690, 440, 200, 48};
    const auto insideControl = [&](const InputEvent& event, const RecordingProject& project) {
        // Back from video pixels (twice the region's size) to global screen coordinates.
        const double x = event.x * 800 / project.video.width + 100;
        const double y = event.y * 450 / project.video.height + 50;
        return x >= control.minX() && x < control.maxX() && y >= control.minY() && y < control.maxY();
    };
    {
        AppFixture app;
        app.shell.controlArea = control;
        app.input->script = stopGestureScript({760, 460});
        ASSERT_TRUE(app.record());
        app.state->stopRecording(StopTrigger::control);
        ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
        ASSERT_EQ(app.state->route(), Route::preview);
        const RecordingProject project = app.savedProject();
        ASSERT_TRUE(project.trim);
        EXPECT_EQ(project.trim->start, 0);
        EXPECT_NEAR(project.trim->end, 4.8, 1e-6);  // where the pointer set off
        EXPECT_TRUE(std::ranges::none_of(project.events, [&](const InputEvent& event) { return insideControl(event, project); }));
        EXPECT_EQ(std::ranges::count(project.events, InputEvent::EventType::leftMouseDown, &InputEvent::type), 1);
    }
    {
        // A tray icon beyond the recorded display: the logged pointer heads for the display's corner.
        AppFixture app;
        app.input->script = stopGestureScript({1010, 10});
        ASSERT_TRUE(app.record());
        app.state->stopRecording(StopTrigger::tray, {CGRectCodable{1000, 0, 24, 24}});
        ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
        const RecordingProject project = app.savedProject();
        ASSERT_TRUE(project.trim);
        EXPECT_NEAR(project.trim->end, 4.8, 1e-6);
    }
    // A tray that does not tell where its icon is, a shortcut or a command: the take ends at the stop.
    for (const StopTrigger trigger : {StopTrigger::tray, StopTrigger::keyboardOrCommand}) {
        AppFixture app;
        app.shell.controlArea = control;
        app.input->script = stopGestureScript({1010, 10});
        ASSERT_TRUE(app.record());
        app.state->stopRecording(trigger);
        ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
        EXPECT_FALSE(app.savedProject().trim);
    }
}

// The countdown comes before anything is made or captured; cancelling it leaves nothing behind.
TEST(RecordingFlowTest, TheCountdownRunsBeforeTheCaptureAndCancellingItMakesNoProject)
{
    const auto projectCount = [](const AppFixture& app) {
        const auto projects = app.root.path() / "projects";
        return std::filesystem::exists(projects)
                   ? std::distance(std::filesystem::directory_iterator(projects), std::filesystem::directory_iterator())
                   : 0;
    };
    {
        AppFixture app;
        app.shell.everyScreen = true;
        app.loadSources();
        app.state->startRecording();
        ASSERT_TRUE(waitFor([&] { return app.shell.countdownFinished != nullptr; }));
        EXPECT_TRUE(app.state->isBusy());
        EXPECT_FALSE(app.log.contains("recorder.start display-42"));
        EXPECT_EQ(projectCount(app), 0);
        app.shell.countdownCancelled();
        EXPECT_FALSE(app.state->isBusy());
        EXPECT_EQ(app.state->route(), Route::home);
        EXPECT_EQ(app.log.entries().back(), "shell.showMainWindow");
        EXPECT_EQ(projectCount(app), 0);
        EXPECT_FALSE(app.state->projectDirectory());

        // Counted to the end: the windows go and the capture starts only now.
        app.shell.countdownFinished = nullptr;
        app.state->startRecording();
        ASSERT_TRUE(waitFor([&] { return app.shell.countdownFinished != nullptr; }));
        app.shell.countdownFinished();
        ASSERT_TRUE(waitFor([&] { return app.state->route() == Route::recording; }));
        const auto calls = app.log.entries();
        const auto countdown = std::ranges::find(calls, "shell.countdown 3 display-42");
        const auto started = std::ranges::find(calls, "recorder.start display-42");
        ASSERT_NE(countdown, calls.end());
        ASSERT_NE(started, calls.end());
        EXPECT_LT(countdown, started);
        EXPECT_EQ(std::ranges::count(calls, "shell.countdown 3 display-42"), 2);
        EXPECT_EQ(projectCount(app), 1);
    }
    // Off counts nothing even on a single screen; a chosen length counts where a screen is free too.
    const std::vector<std::tuple<CountdownChoice, bool, std::string>> cases{
        {CountdownChoice::off, true, ""},
        {CountdownChoice::automatic, false, ""},
        {CountdownChoice::twoSeconds, false, "shell.countdown 2 display-42"},
        {CountdownChoice::threeSeconds, true, "shell.countdown 3 display-42"},
    };
    for (const auto& [choice, everyScreen, expected] : cases) {
        AppFixture app;
        app.shell.everyScreen = everyScreen;
        app.state->setRecordingCountdownName(countdownChoiceName(choice));
        EXPECT_EQ(app.state->recordingCountdown(), choice);
        app.loadSources();
        app.state->startRecording();
        ASSERT_TRUE(waitFor([&] { return app.shell.countdownFinished != nullptr || app.state->route() == Route::recording; }));
        const auto calls = app.log.entries();
        const bool counted = std::ranges::any_of(calls, [](const std::string& c) { return c.starts_with("shell.countdown"); });
        EXPECT_EQ(counted, !expected.empty()) << countdownChoiceName(choice).toStdString();
        if (!expected.empty()) {
            EXPECT_TRUE(app.log.contains(expected));
        }
    }
}

TEST(SourcesFlowTest, LoadingSelectsTheFirstKeepsAnEarlierChoiceAndSortsMicrophonesAndRoutesAreGuarded)
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
    // The microphones are listed before the sources arrive, case-insensitively, stable among equals.
    std::vector<std::string> order;
    for (const auto& device : app.state->availableMicrophones()) order.push_back(device.id);
    EXPECT_EQ(order, (std::vector<std::string>{"a", "d", "b", "c"}));
    app.sources->gate.open();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
    EXPECT_EQ(app.state->selectedSource()->id, "display-42");

    // A chosen source that vanished from the next list stays chosen; an unknown id changes nothing.
    app.state->selectSource("window-7");
    app.loadSources({sampleDisplay("display-9")});
    app.state->selectSource("window-404");
    EXPECT_EQ(app.state->sources().size(), 1u);
    EXPECT_EQ(app.state->selectedSource()->id, "window-7");

    // A chosen microphone that disappeared is forgotten; no sound server means no microphones.
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

    // The screens move only between the screens before a recording.
    app.state->setRouteName("sourcePicker");
    EXPECT_EQ(app.state->route(), Route::sourcePicker);
    app.state->setRouteName("recording");
    app.state->setRouteName("nowhere");
    EXPECT_EQ(app.state->route(), Route::sourcePicker);
}

}  // namespace
}  // namespace vantile
