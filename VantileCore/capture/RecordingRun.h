#pragma once

#include "capture/CaptureBackend.h"
#include "capture/CaptureStatistics.h"
#include "capture/RecordingFrameRate.h"
#include "model/AudioSettings.h"
#include "model/CaptureSource.h"
#include "model/RecordingProject.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vantile {

struct RecordingRequest {
    std::optional<std::string> sourceId;  // absent: the first listed source
    AudioCaptureSettings audioSettings;
    std::optional<double> duration;       // absent: until stopRequested says so (at most maxDuration)
    std::optional<std::filesystem::path> projectsRoot;
    std::optional<std::string> displayName;  // absent: $DISPLAY
    std::optional<CaptureBackendKind> backend;  // absent: chosen from the session
    RenderSettings renderSettings;
    std::optional<std::string> camera;  // a camera id or "default"; absent: no camera
    std::int64_t fps = RecordingFrameRate::standard;  // one of RecordingFrameRate::offered
    bool recordShortcuts = false;  // log Ctrl/Alt/Super key chords by name

    static constexpr double maxDuration = 600;
};

struct RecordingOutcome {
    std::filesystem::path projectDirectory;
    RecordingProject project;
    std::optional<std::string> captureFailure;  // why capture ended early, if it did
    CaptureStatistics statistics;
    double wallSeconds = 0;
    // What the user should know though the recording succeeded (the camera was missing or
    // stopped), in their words.
    std::vector<std::string> warnings;
};

// One recording without a user interface: checks permissions, records the chosen
// source with its input until the duration, a stop request or a capture failure, then runs the
// stop flow and saves the project. Input events are dispatched on the calling thread.
class RecordingRun {
public:
    using Progress = std::function<void(const std::string&)>;

    explicit RecordingRun(RecordingRequest request, Progress progress = nullptr);

    // Polled about twenty times a second; onStarted runs once capture and input logging run.
    RecordingOutcome run(const std::function<bool()>& stopRequested, const std::function<void()>& onStarted = nullptr);

private:
    CaptureSource chooseSource(CaptureBackend& backend) const;

    RecordingRequest request_;
    Progress progress_;
};

}  // namespace vantile
