#include "RecordingFlow.h"

#include "AppFlowError.h"
#include "AppState.h"
#include "MainThreadResume.h"
#include "ProjectSession.h"
#include "capture/RecordingFinisher.h"
#include "capture/RecordingRecovery.h"
#include "capture/camera/CameraError.h"
#include "capture/camera/CameraRecorder.h"

namespace vantile {

namespace fs = std::filesystem;

struct RecordingFlow::StopOutcome {
    std::optional<RenderSettings> sizedSettings;
    std::optional<RecordingProject> project;
    std::optional<std::string> failure;
    std::optional<std::string> cameraWarning;
};

namespace {

struct CaptureStart {
    std::optional<std::string> failure;
    std::shared_ptr<CameraRecorder> camera;
    std::optional<std::string> cameraWarning;
};

}  // namespace

RecordingFlow::RecordingFlow(AppState& state, PermissionService& permissions, ProjectSession& session, Parts parts)
    : state_(state), permissions_(permissions), session_(session), parts_(std::move(parts))
{
}

namespace {

// A movie whose pictures already show the pointer must not draw a second one.
RenderSettings withoutDrawnCursor(RenderSettings settings, bool cursorInPicture)
{
    if (cursorInPicture) settings.showCursor = false;
    return settings;
}

}  // namespace

void RecordingFlow::start()
{
    if (state_.isBusy()) return;
    if (!state_.selectedSource()) {
        state_.setErrorMessage("Select a window or display first.");
        return;
    }
    state_.setPermissionStatus(permissions_.currentStatus());
    if (!permissions_.recordingAllowed(state_.permissionStatus())) {
        state_.setStatusMessage("Missing permissions for recording.");
        state_.setRoute(Route::permissions);
        state_.setErrorMessage(state_.permissionStatus().missingPermissionMessage());
        return;
    }
    state_.setBusy(true);
    state_.setErrorMessage(std::nullopt);
    state_.setStatusMessage("Starting recording");

    // Later changes of the choices do not affect this recording.
    source_ = state_.selectedSource();
    cameraChoice_ = state_.selectedCameraId();
    cameraWarnings_.clear();
    const AudioCaptureSettings audioSettings{state_.audioCaptureMode(), state_.selectedMicrophoneDeviceID()};
    if (!capturesMicrophone(audioSettings.mode)) {
        countDown(audioSettings);
        return;
    }
    runOffMainThread(state_.workers(), &state_, [this] { return permissions_.microphoneAccessGranted(); },
                     [this, audioSettings](bool granted) {
                         if (!granted) {
                             state_.setErrorMessage("请允许麦克风权限后再开始录制。");
                             permissions_.openMicrophoneSettings();
                             source_.reset();
                             cameraChoice_.reset();
                             state_.setBusy(false);
                             return;
                         }
                         countDown(audioSettings);
                     });
}

void RecordingFlow::countDown(const AudioCaptureSettings& audioSettings)
{
    auto* shell = state_.desktopShell();
    const int seconds =
        shell ? countdownSeconds(state_.recordingCountdown(), shell->recordsEveryScreen(*source_)) : 0;
    if (seconds <= 0) {
        beginCapture(audioSettings);
        return;
    }
    state_.setStatusMessage("Counting down");
    countingDown_ = true;
    // Nothing exists yet: a cancel leaves no project behind.
    shell->runCountdown(
        seconds, *source_,
        [this, audioSettings] {
            countingDown_ = false;
            beginCapture(audioSettings);
        },
        [this] { countdownCancelled(); });
}

void RecordingFlow::cancelCountdown()
{
    auto* shell = state_.desktopShell();
    if (countingDown_ && shell) shell->cancelCountdown();
}

void RecordingFlow::countdownCancelled()
{
    countingDown_ = false;
    source_.reset();
    cameraChoice_.reset();
    state_.setBusy(false);
    state_.setStatusMessage("Ready");
    state_.setRoute(Route::home);
    if (auto* shell = state_.desktopShell()) shell->showMainWindow();
}

void RecordingFlow::beginCapture(const AudioCaptureSettings& audioSettings)
{
    fs::path directory;
    try {
        directory = parts_.projectFiles.createProjectDirectory(parts_.wallClock());
        startingDirectory_ = directory;
        // Noted first, so a recording cut off before its stop can still be recovered.
        fps_ = state_.recordingFps();
        writeRecordingStart({*source_, audioSettings, state_.renderSettings(), parts_.wallClock(), fps_}, directory);
    } catch (...) {
        finishStart(describeError(std::current_exception()));
        return;
    }
    audioSettings_ = audioSettings;
    state_.setProjectDirectory(directory);
    const auto capture = [this, source = *source_, directory, audioSettings, fps = fps_] {
        runOffMainThread(
            state_.workers(), &state_,
            [recorder = parts_.recorder.get(), cameras = parts_.cameras, choice = cameraChoice_, source, directory,
             audioSettings, fps]() {
                CaptureStart started;
                // The camera never stands in the recording's way: without it, the screen is recorded alone.
                std::unique_ptr<CameraStream> stream;
                if (choice && cameras) {
                    try {
                        stream = cameras->start(*choice);
                    } catch (const CameraError& error) {
                        started.cameraWarning = error.what();
                    }
                }
                try {
                    if (stream) started.camera = std::make_shared<CameraRecorder>(std::move(stream), directory);
                    recorder->start(source, directory / "raw.mov", audioSettings, fps);
                } catch (...) {
                    started.camera.reset();
                    started.failure = describeError(std::current_exception());
                }
                return started;
            },
            [this](CaptureStart started) {
                camera_ = std::move(started.camera);
                if (started.cameraWarning) cameraWarnings_.push_back(*started.cameraWarning);
                finishStart(started.failure);
            });
    };
    // No display server can leave our windows out of a display's picture: they go first.
    if (auto* shell = state_.desktopShell()) shell->hideWindowsBeforeCapture(capture);
    else capture();
}

void RecordingFlow::finishStart(const std::optional<std::string>& failure)
{
    if (failure) {
        cancelTimer();
        source_.reset();
        audioSettings_.reset();
        cameraChoice_.reset();
        cameraWarnings_.clear();
        camera_.reset();
        // Nothing was recorded: leave no directory that looks like a recording.
        if (startingDirectory_) {
            std::error_code ignored;
            fs::remove_all(*startingDirectory_, ignored);
            if (state_.projectDirectory() == startingDirectory_) state_.setProjectDirectory(std::nullopt);
            startingDirectory_.reset();
        }
        state_.setBusy(false);
        state_.setRoute(Route::sourcePicker);
        state_.setErrorMessage(failure);
        // The windows went away for the capture that did not come: bring the picker back.
        if (auto* shell = state_.desktopShell()) shell->showMainWindow();
        return;
    }
    if (auto started = parts_.recorder->startedSource()) source_ = std::move(started);
    cursorInPicture_ = parts_.recorder->cursorInPicture();
    try {
        refreshOwnWindows();
        parts_.inputRecorder->setRecordsShortcuts(state_.recordsShortcuts());
        parts_.inputRecorder->start(source_->region, *state_.projectDirectory(), parts_.recorder->firstFrameTime(),
                                    ownWindows_, fps_);
    } catch (...) {
        // Without the input log there is no auto-direction: stop the capture again.
        const std::string reason = describeError(std::current_exception());
        try {
            parts_.recorder->stop();
        } catch (const std::exception&) {
            // The start failure is the one worth telling.
        }
        finishStart(reason);
        return;
    }
    startingDirectory_.reset();
    startCameraClock();
    state_.setRecordingStartTime(parts_.wallClock());
    state_.setRecordingElapsed(0);
    state_.setRoute(Route::recording);
    state_.setStatusMessage(cursorInPicture_ ? "Recording; the pointer is in the picture: automatic zooms need a "
                                               "desktop that shares the pointer position (GNOME, KDE)"
                                             : "Recording");
    startTimer();
    state_.setBusy(false);
    if (auto* shell = state_.desktopShell()) {
        shell->showRecordingHint(*source_);
    }
    watchOwnWindows();
}

void RecordingFlow::startCameraClock()
{
    if (!camera_) return;
    if (const auto firstFrame = parts_.recorder->firstFrameTime()) camera_->startClock(*firstFrame);
}

void RecordingFlow::watchOwnWindows()
{
    refreshOwnWindows();
    // Windows come and go (the control, a tray menu) and move; polling the few of them is cheap.
    ownWindowsRefresh_ = std::make_unique<QTimer>();
    ownWindowsRefresh_->setInterval(ownWindowsInterval);
    QObject::connect(ownWindowsRefresh_.get(), &QTimer::timeout, &state_, [this] { refreshOwnWindows(); });
    ownWindowsRefresh_->start();
}

void RecordingFlow::refreshOwnWindows()
{
    auto* shell = state_.desktopShell();
    ownWindows_->set(shell ? shell->ownWindowAreas() : std::vector<CGRectCodable>{});
}

void RecordingFlow::startTimer()
{
    timer_ = std::make_unique<QTimer>();
    timer_->setTimerType(Qt::PreciseTimer);
    timer_->setInterval(parts_.tick);
    QObject::connect(timer_.get(), &QTimer::timeout, &state_, [this] { tick(); });
    timer_->start();
}

void RecordingFlow::stopFromTimer()
{
    // Deleting the timer inside its own signal is deferred.
    if (timer_) timer_.release()->deleteLater();
    QMetaObject::invokeMethod(&state_, [this] { stop(StopTrigger::keyboardOrCommand); }, Qt::QueuedConnection);
}

void RecordingFlow::tick()
{
    if (state_.route() != Route::recording) {
        if (timer_) timer_.release()->deleteLater();
        return;
    }
    if (const auto startTime = state_.recordingStartTime())
        state_.setRecordingElapsed(std::chrono::duration<double>(parts_.wallClock() - *startTime).count());
    startCameraClock();
    if (!captureFailure_) {
        captureFailure_ = parts_.recorder->failure();
        // The capture ended on its own: keep what was recorded and say why afterwards.
        if (captureFailure_) {
            stopFromTimer();
            return;
        }
    }
    if (state_.recordingMaxDuration() <= state_.recordingElapsed()) {
        state_.setStatusMessage("Reached max duration; stopping.");
        stopFromTimer();
    }
}

void RecordingFlow::stop(StopTrigger trigger, std::vector<CGRectCodable> gestureWay)
{
    if (state_.route() != Route::recording) {
        cancelTimer();
        return;
    }
    if (state_.isBusy()) return;
    stopTrigger_ = trigger;
    // Asked before the route changes: leaving the recording route takes the control away.
    if (trigger == StopTrigger::keyboardOrCommand) {
        gestureWay.clear();
    } else if (gestureWay.empty()) {
        if (auto* shell = state_.desktopShell()) gestureWay = shell->stopGestureWay(trigger);
    }
    if (auto* shell = state_.desktopShell()) shell->dismissRecordingHint();
    state_.setBusy(true);
    state_.setStatusMessage("Generating demo");
    state_.setRoute(Route::generating);
    cancelTimer();

    std::vector<InputEvent> events = parts_.inputRecorder->stop();
    startCameraClock();
    runOffMainThread(
        state_.workers(), &state_,
        [this, events = std::move(events), gestureWay, source = source_, directory = state_.projectDirectory(),
         camera = std::move(camera_),
         settings = withoutDrawnCursor(state_.renderSettings(), cursorInPicture_), audio = audioSettings_.value_or(AudioCaptureSettings{}),
         now = parts_.wallClock]() {
            StopOutcome outcome;
            try {
                // The camera ends where the screen does, so both movies are equally long.
                std::optional<CameraRecording> cameraRecording;
                if (camera) {
                    const CameraTake take = camera->finish(std::chrono::steady_clock::now());
                    cameraRecording = take.camera;
                    outcome.cameraWarning = take.warning;
                    if (!take.camera && !take.warning) outcome.cameraWarning = CameraError::noPicture().what();
                }
                const RecordingResult result = parts_.recorder->stop();
                if (!source || !directory) throw AppFlowError::missingProjectContext();
                // The published settings take the recorded size even when saving fails below.
                outcome.sizedSettings = settings.sizedFor(result.videoInfo);
                const RecordingFinisher finisher(parts_.projectFiles, planner_, smoother_);
                outcome.project =
                    finisher.finish(StoppedRecording{events, result, *source, audio, *directory, gestureWay, cameraRecording},
                                    settings, now());
                // The project holds the camera now; recovery no longer needs its note.
                CameraRecorder::removeNote(*directory);
            } catch (...) {
                outcome.failure = describeError(std::current_exception());
            }
            return outcome;
        },
        [this](StopOutcome outcome) { finishStop(std::move(outcome)); });
}

void RecordingFlow::finishStop(StopOutcome outcome)
{
    source_.reset();
    audioSettings_.reset();
    cameraChoice_.reset();
    if (outcome.cameraWarning) cameraWarnings_.push_back(*outcome.cameraWarning);
    state_.setRecordingStartTime(std::nullopt);
    state_.setRecordingElapsed(0);
    if (outcome.sizedSettings) state_.setRenderSettings(*outcome.sizedSettings);
    // Busy ends before the route changes, so the screen that opens may start its own flow.
    state_.setBusy(false);
    if (outcome.project) {
        session_.open(std::move(*outcome.project), *state_.projectDirectory());
        state_.setStatusMessage("Ready");
        state_.setRoute(Route::preview);
    } else {
        state_.setRoute(Route::sourcePicker);
        state_.setErrorMessage(outcome.failure);
    }
    if (!outcome.failure) {
        // What ended early is told together: the screen's capture first, then the camera.
        std::string told = captureFailure_.value_or("");
        for (const std::string& warning : cameraWarnings_) told += (told.empty() ? "" : "\n") + warning;
        if (!told.empty()) state_.setErrorMessage(told);
    }
    captureFailure_.reset();
    cameraWarnings_.clear();
    if (!outcome.failure) state_.showMainWindow();
}

void RecordingFlow::shutdown()
{
    cancelTimer();
    if (auto* shell = state_.desktopShell()) shell->dismissRecordingHint();
    if (state_.route() != Route::recording || state_.isBusy()) return;
    parts_.inputRecorder->stop();
    // camera.mov is closed like raw.mov; its note beside the journal lets recovery take it in.
    if (camera_) camera_->finish(std::chrono::steady_clock::now());
    camera_.reset();
    try {
        parts_.recorder->stop();
    } catch (const std::exception&) {
        // Quitting anyway; the fragmented movie stays playable up to its last fragment.
    }
    state_.setRoute(Route::sourcePicker);
}

}  // namespace vantile
