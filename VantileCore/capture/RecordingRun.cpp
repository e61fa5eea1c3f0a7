#include "capture/RecordingRun.h"

#include "capture/CaptureSourceProvider.h"
#include "capture/EventJournal.h"
#include "capture/InputEventRecorder.h"
#include "capture/PermissionManager.h"
#include "capture/RecordingError.h"
#include "capture/RecordingFinisher.h"
#include "capture/RecordingRecovery.h"
#include "capture/ScreenRecorder.h"
#include "capture/x11/X11CapturePlatform.h"
#include "capture/x11/X11InputSource.h"
#include "capture/x11/X11SourceLister.h"

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

CaptureSource RecordingRun::chooseSource() const
{
    X11SourceLister lister(request_.displayName);
    CaptureSourceProvider provider(lister);
    const std::vector<CaptureSource> sources = provider.loadSources();
    if (provider.fallbackReason()) throw std::runtime_error(*provider.fallbackReason());
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
    // Fails early with the display server's own message when there is no X server.
    X11InputSource input(request_.displayName);
    const PermissionStatus permissions = PermissionManager(request_.displayName).currentStatus();
    if (!permissions.allGranted()) throw std::runtime_error(permissions.missingPermissionMessage());
    const CaptureSource source = chooseSource();

    progress_("Starting recording");
    const ProjectFileManager projectFiles(request_.projectsRoot);
    std::optional<EventJournal> journal;
    X11CapturePlatform platform(request_.displayName);
    ScreenRecorder recorder(platform);
    InputEventRecorder inputRecorder(&input);
    const std::filesystem::path directory = projectFiles.createProjectDirectory();
    try {
        writeRecordingStart({source, request_.audioSettings, request_.renderSettings, std::chrono::system_clock::now()},
                            directory);
        journal.emplace(directory / ProjectFileManager::metadataFolderName / EventJournal::fileName);
        recorder.start(source, directory / "raw.mov", request_.audioSettings);
        inputRecorder.setEventObserver([&journal](const InputEvent& event) { journal->append(event); });
        inputRecorder.start(source.region);
    } catch (...) {
        // Nothing was recorded: leave no directory that looks like a recording.
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
        pollfd descriptor{input.fileDescriptor(), POLLIN, 0};
        const int timeout = static_cast<int>(std::clamp((limit - elapsed) * 1000, 1.0, 50.0));
        poll(&descriptor, descriptor.fd >= 0 ? 1 : 0, timeout);
        input.dispatchPending();
    }
    input.dispatchPending();

    progress_("Generating demo");
    StoppedRecording stopped;
    stopped.events = inputRecorder.stop();
    stopped.result = recorder.stop();
    stopped.source = source;
    stopped.audioSettings = request_.audioSettings;
    stopped.projectDirectory = directory;
    if (!captureFailure) captureFailure = recorder.failure();

    const FocusPlanner planner;
    const CursorPathSmoother smoother;
    RecordingOutcome outcome;
    outcome.project = RecordingFinisher(projectFiles, planner, smoother).finish(stopped, request_.renderSettings);
    outcome.projectDirectory = directory;
    outcome.captureFailure = captureFailure;
    outcome.statistics = recorder.statistics();
    outcome.wallSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - startedAt).count();
    progress_("Ready");
    return outcome;
}

}  // namespace vantile
