#pragma once

#include "engine/CursorPathSmoother.h"
#include "engine/FocusPlanner.h"
#include "model/CaptureSource.h"
#include "model/RecordingProject.h"
#include "store/ProjectFileManager.h"

#include <filesystem>
#include <optional>
#include <vector>

namespace vantile {

// What the recorders handed back when a recording stopped.
struct StoppedRecording {
    std::vector<InputEvent> events;  // capture-local, as the input recorder returned them
    RecordingResult result;
    CaptureSource source;
    AudioCaptureSettings audioSettings;
    std::filesystem::path projectDirectory;
    // The places the gesture that stopped the recording went, in order (a hot corner, the
    // recording control, a tray icon), in global screen coordinates; the project's default trim
    // leaves that gesture out. Empty when the recording stopped without one.
    std::vector<CGRectCodable> stopGestureWay;
    std::optional<CameraRecording> camera;  // the camera movie beside the raw one, when it holds a frame

    bool operator==(const StoppedRecording&) const = default;
};

// The steps after the recorders stop, shared by the application and the command line: map the
// events into video pixels, fix the output size, plan the focus segments, smooth the cursor,
// build the project and save it into its directory. A recording stopped by a gesture toward
// the application's own control gets a trim that ends before it, an ordinary edit the user can
// clear.
class RecordingFinisher {
public:
    RecordingFinisher(const ProjectFileManager& projectFiles, const FocusPlanner& focusPlanner,
                      const CursorPathSmoother& cursorSmoother)
        : projectFiles_(projectFiles), focusPlanner_(focusPlanner), cursorSmoother_(cursorSmoother)
    {
    }

    // `renderSettings` are the user's current choices; the project gets them with the output
    // size fitted to the recorded video, and the recording's frame rate unless another was chosen. Throws the store's error when saving fails.
    RecordingProject finish(const StoppedRecording& recording, const RenderSettings& renderSettings,
                            Timestamp now = std::chrono::system_clock::now()) const;

private:
    const ProjectFileManager& projectFiles_;
    const FocusPlanner& focusPlanner_;
    const CursorPathSmoother& cursorSmoother_;
};

}  // namespace vantile
