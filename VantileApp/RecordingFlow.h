#pragma once

#include "AppServices.h"
#include "StopTrigger.h"
#include "capture/RecordingFrameRate.h"
#include "engine/CursorPathSmoother.h"
#include "engine/FocusPlanner.h"
#include "store/ProjectFileManager.h"

#include <QTimer>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vantile {

class AppState;
class ProjectSession;
class CameraRecorder;

// One recording: start (microphone access, a fresh project directory, the capture and the
// input log), the elapsed-time timer with its maximum, a capture that ends on its own, and
// stop (plan, smooth and save the project, then open it in the preview).
class RecordingFlow {
public:
    struct Parts {
        std::unique_ptr<ScreenRecorderService> recorder;
        std::unique_ptr<InputRecorderService> inputRecorder;
        ProjectFileManager projectFiles;
        std::function<Timestamp()> wallClock;
        std::chrono::milliseconds tick;
        std::shared_ptr<CameraService> cameras;  // absent: no camera is ever recorded
    };

    RecordingFlow(AppState& state, PermissionService& permissions, ProjectSession& session, Parts parts);

    void start();
    // The seconds before the first frame are running: nothing is made or captured yet.
    bool isCountingDown() const { return countingDown_; }
    // Ends them as the countdown's own 取消 does: no project.
    void cancelCountdown();
    // Without a trigger (the time limit, a capture that ended) the take ends at the stop time.
    void stop(StopTrigger trigger = StopTrigger::keyboardOrCommand,
              std::vector<CGRectCodable> gestureWay = {});
    // How the last stop was asked for.
    StopTrigger stopTrigger() const { return stopTrigger_; }
    // Before the process ends: a running capture is stopped so its movie is finished on disk
    // (the events are already journalled beside it).
    void shutdown();
    void cancelTimer()
    {
        timer_.reset();
        ownWindowsRefresh_.reset();
    }

    // How often the rectangles of the application's own windows are handed to the input log.
    static constexpr std::chrono::milliseconds ownWindowsInterval{50};

private:
    struct StopOutcome;

    void countDown(const AudioCaptureSettings& audioSettings);
    void countdownCancelled();
    void beginCapture(const AudioCaptureSettings& audioSettings);
    void finishStart(const std::optional<std::string>& failure);
    // camera.mov's clock starts at the screen's first frame, once the recorder knows it.
    void startCameraClock();
    void finishStop(StopOutcome outcome);
    void startTimer();
    void tick();
    // Ends the timer from inside its own signal and stops through the event loop.
    void stopFromTimer();
    void watchOwnWindows();
    void refreshOwnWindows();

    AppState& state_;
    PermissionService& permissions_;
    ProjectSession& session_;
    Parts parts_;
    FocusPlanner planner_;
    CursorPathSmoother smoother_;
    std::unique_ptr<QTimer> timer_;
    std::shared_ptr<ExcludedAreas> ownWindows_ = std::make_shared<ExcludedAreas>();
    std::unique_ptr<QTimer> ownWindowsRefresh_;
    // What this recording was started with: later choices in the picker do not reach it.
    std::optional<CaptureSource> source_;
    std::optional<AudioCaptureSettings> audioSettings_;
    std::int64_t fps_ = RecordingFrameRate::standard;  // the running recording's, fixed at its start
    std::optional<std::string> cameraChoice_;
    // Shared with the worker that finishes it at the stop.
    std::shared_ptr<CameraRecorder> camera_;
    // Why the chosen camera is not in the recording, told once the take is over.
    std::vector<std::string> cameraWarnings_;
    std::optional<std::filesystem::path> startingDirectory_;  // made for a start still under way
    bool cursorInPicture_ = false;
    bool countingDown_ = false;
    std::optional<std::string> captureFailure_;
    StopTrigger stopTrigger_ = StopTrigger::control;
};

}  // namespace vantile
