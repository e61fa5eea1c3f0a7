#include "capture/RecordingRun.h"

#include "capture/EventJournal.h"
#include "capture/InputEventRecorder.h"
#include "capture/RecordingError.h"
#include "capture/RecordingFinisher.h"
#include "capture/RecordingRecovery.h"
#include "capture/ScreenRecorder.h"
#include "capture/camera/CameraChoice.h"
#include "capture/camera/CameraError.h"
#include "capture/camera/CameraRecorder.h"
#include "capture/camera/DesktopCameraLister.h"

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>

namespace vantile {

RecordingRun::RecordingRun(RecordingRequest request, Progress progress)
    : request_(std::move(request)), progress_(std::move(progress))
{
    if (!progress_) progress_ = [](const std::string&) {};
}

CaptureSource RecordingRun::chooseSource(CaptureBackend& backend) const
{
    const std::vector<CaptureSource> sources = backend.loadSources();
    if (const auto reason = backend.fallbackReason()) throw std::runtime_error(*reason);
    if (!request_.sourceId) {
        if (sources.empty()) throw RecordingError::sourceUnavailable();
        return sources.front();
    }
    const auto found = std::find_if(sources.begin(), sources.end(),
                                    [&](const CaptureSource& source) { return source.id == *request_.sourceId; });
    if (found == sources.end()) throw RecordingError::sourceUnavailable();
    return *found;
}

RecordingOutcome RecordingRun::run(const std::function<bool()>& stopRequested, const std::function<void()>& onStarted)
{
    progress_("Loading capture sources");
    const auto backend = makeCaptureBackend(request_.backend.value_or(chooseCaptureBackend()), request_.displayName);
    // Fails early with the display server's own message when there is none.
    backend->requireDisplayServer();
    const std::unique_ptr<InputSource> inputSource = backend->makeInputSource();
    InputSource& input = *inputSource;
    input.recordShortcuts(request_.recordShortcuts);
    const PermissionStatus permissions = backend->permissions();
    if (!backend->canRecord(permissions)) throw std::runtime_error(permissions.missingPermissionMessage());
    for (const std::string& notice : backend->notices(permissions)) progress_(notice);
    CapturePlatform& platform = backend->platform();
    // Before the project directory exists, so a declined system dialog leaves nothing behind.
    const CaptureSource source = platform.prepare(chooseSource(*backend), static_cast<int>(request_.fps));
    RenderSettings renderSettings = request_.renderSettings;
    if (platform.cursorInPicture()) {
        renderSettings.showCursor = false;
        progress_("The pointer is recorded in the picture: automatic zooms need a desktop that shares the pointer "
                  "position (GNOME, KDE)");
    }

    // The camera never stands in the recording's way: without it, the screen is recorded alone.
    std::vector<std::string> warnings;
    std::unique_ptr<CameraStream> cameraStream;
    if (request_.camera) {
        try {
            DesktopCameraLister lister;
            cameraStream = startChosenCamera(*request_.camera, lister);
        } catch (const CameraError& error) {
            warnings.emplace_back(error.what());
        }
    }

    progress_("Starting recording");
    const ProjectFileManager projectFiles(request_.projectsRoot);
    std::optional<CameraRecorder> camera;
    std::optional<EventJournal> journal;
    ScreenRecorder recorder(platform);
    InputEventRecorder inputRecorder(&input);
    const std::filesystem::path directory = projectFiles.createProjectDirectory();
    try {
        writeRecordingStart(
            {source, request_.audioSettings, renderSettings, std::chrono::system_clock::now(), request_.fps}, directory);
        journal.emplace(directory / ProjectFileManager::metadataFolderName / EventJournal::fileName);
        if (cameraStream) camera.emplace(std::move(cameraStream), directory);
        recorder.start(source, directory / "raw.mov", request_.audioSettings, request_.fps);
        inputRecorder.setEventObserver([&journal](const InputEvent& event) { journal->append(event); });
        inputRecorder.start(source.region, request_.fps);
    } catch (...) {
        // Nothing was recorded: leave no directory that looks like a recording.
        camera.reset();
        journal.reset();
        std::error_code ignored;
        std::filesystem::remove_all(directory, ignored);
        throw;
    }
    const auto startedAt = std::chrono::steady_clock::now();
    progress_("Recording " + source.id + " (" + source.title + ")");
    if (onStarted) onStarted();

    const double limit = std::min(request_.duration.value_or(RecordingRequest::maxDuration), RecordingRequest::maxDuration);
    std::optional<std::string> captureFailure;
    for (;;) {
        const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - startedAt).count();
        if (elapsed >= limit || stopRequested()) break;
        if ((captureFailure = recorder.failure())) break;
        if (camera) {
            if (const auto firstFrame = recorder.firstFrameTime()) camera->startClock(*firstFrame);
        }
        pollfd descriptor{input.fileDescriptor(), POLLIN, 0};
        const int timeout = static_cast<int>(std::clamp((limit - elapsed) * 1000, 1.0, 50.0));
        poll(&descriptor, descriptor.fd >= 0 ? 1 : 0, timeout);
        input.dispatchPending();
    }
    input.dispatchPending();

    progress_("Generating demo");
    StoppedRecording stopped;
    stopped.events = inputRecorder.stop();
    // The camera ends where the screen does, so both movies are equally long.
    if (camera) {
        if (const auto firstFrame = recorder.firstFrameTime()) camera->startClock(*firstFrame);
        const CameraTake take = camera->finish(std::chrono::steady_clock::now());
        stopped.camera = take.camera;
        if (take.warning) warnings.push_back(*take.warning);
        if (!take.camera && !take.warning) warnings.emplace_back(CameraError::noPicture().what());
    }
    stopped.result = recorder.stop();
    stopped.source = source;
    stopped.audioSettings = request_.audioSettings;
    stopped.projectDirectory = directory;
    if (!captureFailure) captureFailure = recorder.failure();

    const FocusPlanner planner;
    const CursorPathSmoother smoother;
    RecordingOutcome outcome;
    outcome.project = RecordingFinisher(projectFiles, planner, smoother).finish(stopped, renderSettings);
    CameraRecorder::removeNote(directory);
    outcome.projectDirectory = directory;
    outcome.captureFailure = captureFailure;
    outcome.statistics = recorder.statistics();
    outcome.wallSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - startedAt).count();
    outcome.warnings = std::move(warnings);
    progress_("Ready");
    return outcome;
}

}  // namespace vantile
