#pragma once

#include "StopTrigger.h"
#include "capture/ExcludedAreas.h"
#include "capture/PermissionStatus.h"
#include "capture/camera/CameraDevice.h"
#include "capture/camera/CameraStream.h"
#include "model/AudioSettings.h"
#include "model/CaptureSource.h"
#include "model/RecordingProject.h"
#include "render/ExportMonitor.h"
#include "render/RenderJob.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vantile {

// The collaborators AppState drives, each behind a small interface so the flows can be
// exercised with fakes. Operations marked "worker" are called off the main thread; the
// others on the main thread.

class PermissionService {
public:
    virtual ~PermissionService() = default;

    virtual PermissionStatus currentStatus() = 0;
    virtual bool requestScreenRecordingIfNeeded() = 0;
    virtual void requestAccessibilityPrompt() = 0;
    // Worker: may wait for the user's password in the desktop's own dialog.
    virtual bool requestInputMonitoringIfNeeded() = 0;
    virtual void openPrivacySettings() = 0;
    virtual void openAccessibilitySettings() = 0;
    virtual void openInputMonitoringSettings() = 0;
    virtual void openMicrophoneSettings() = 0;
    // Worker: whether a microphone may be recorded now (asking the user when the system can).
    virtual bool microphoneAccessGranted() = 0;
    // Whether a recording may start with these permissions. On Wayland only the screen is needed:
    // without input devices the pointer is still recorded.
    virtual bool recordingAllowed(const PermissionStatus& status) { return status.allGranted(); }
};

class SourceService {
public:
    virtual ~SourceService() = default;

    // Worker: displays, then windows.
    virtual std::vector<CaptureSource> loadSources() = 0;
    // Microphones in any order; throws when the sound server cannot be asked.
    virtual std::vector<AudioInputDevice> listMicrophones() = 0;
};

class CameraService {
public:
    virtual ~CameraService() = default;

    // Worker: the cameras the picker offers; empty when there are none or none may be reached.
    virtual std::vector<CameraDevice> listCameras() = 0;
    // Worker: starts the chosen camera (a listed id, or "default" for the first) and waits for its
    // first picture; throws CameraError with the user's sentence.
    virtual std::unique_ptr<CameraStream> start(const std::string& choice) = 0;
};

class ScreenRecorderService {
public:
    virtual ~ScreenRecorderService() = default;

    // Worker; throws with the user's sentence. `fps` is one of RecordingFrameRate::offered.
    virtual void start(const CaptureSource& source, const std::filesystem::path& outputURL,
                       const AudioCaptureSettings& audioSettings, std::int64_t fps) = 0;
    // Worker; throws with the user's sentence.
    virtual RecordingResult stop() = 0;
    // Why a running capture ended on its own (a window closed, a microphone unplugged), if it did.
    virtual std::optional<std::string> failure() = 0;
    // After start: the source as capture runs it, where the system's own dialog settled its region.
    virtual std::optional<CaptureSource> startedSource() { return std::nullopt; }
    // After start: whether the pointer is part of the picture, so the movie must not draw another.
    virtual bool cursorInPicture() { return false; }
    // After start: when the movie's first frame was taken, the zero of the input log's clock.
    virtual std::optional<std::chrono::steady_clock::time_point> firstFrameTime() { return std::nullopt; }
};

class InputRecorderService {
public:
    virtual ~InputRecorderService() = default;

    // The events are also journalled into the project directory as they come, so a crash
    // loses at most the last moment of them.
    // `clockOrigin`: the movie's first frame, so event times count from it; absent: from now.
    // Input over `ownWindows` (global screen rectangles, changing while recording) is not logged.
    // Pointer moves are logged at most once a frame of the movie's `fps`.
    virtual void start(const CGRectCodable& captureRegion, const std::filesystem::path& projectDirectory,
                       std::optional<std::chrono::steady_clock::time_point> clockOrigin,
                       std::shared_ptr<const ExcludedAreas> ownWindows, std::int64_t fps) = 0;
    virtual std::vector<InputEvent> stop() = 0;
    // Whether the next start logs key chords with Ctrl, Alt or Super by name; off unless the
    // user turned it on. Services that cannot name keys ignore it.
    virtual void setRecordsShortcuts(bool) {}
};

class ExportService {
public:
    virtual ~ExportService() = default;

    // Worker; reports progress and notices cancellation through `monitor`, and throws with
    // the user's sentence on failure or cancellation.
    virtual void exportMovie(const RenderJob& job, ExportMonitor& monitor) = 0;
};

// The windows, hint and file manager around the controller.
class DesktopShell {
public:
    virtual ~DesktopShell() = default;

    // Brings the main window to front; false when it no longer exists.
    virtual bool showMainWindow() = 0;
    virtual void hideMainWindow() = 0;
    // Hides every window of ours and calls `hidden` once the display no longer shows them, so the
    // recording's first frame holds none of them.
    virtual void hideWindowsBeforeCapture(std::function<void()> hidden)
    {
        hideMainWindow();
        hidden();
    }
    // Whether a recording of `recorded` leaves no screen outside it (one display, all of it).
    virtual bool recordsEveryScreen(const CaptureSource&) { return false; }
    // Counts `seconds` down before the capture of `recorded` starts, where nothing records it
    // yet, then calls `finished`; `cancelled` instead when the user cancels.
    virtual void runCountdown(int seconds, const CaptureSource& recorded, std::function<void()> finished,
                              std::function<void()> cancelled)
    {
        (void)seconds;
        (void)recorded;
        (void)cancelled;
        finished();
    }
    // Ends a running countdown as the user's cancel does (its `cancelled` follows).
    virtual void cancelCountdown() {}
    // The four-second "recording" hint; `recorded` tells which area must not show it.
    virtual void showRecordingHint(const CaptureSource& recorded) = 0;
    virtual void dismissRecordingHint() = 0;
    virtual void revealFile(const std::filesystem::path& file) = 0;
    // Global screen rectangles of the application's visible windows (the recording control, an
    // open tray menu, the main window), in the input recorder's coordinates.
    virtual std::vector<CGRectCodable> ownWindowAreas() { return {}; }
    // The places the stop gesture of `trigger` went, in order, when the shell knows them (a hot
    // corner, the recording control).
    virtual std::vector<CGRectCodable> stopGestureWay(StopTrigger) { return {}; }
};

}  // namespace vantile
