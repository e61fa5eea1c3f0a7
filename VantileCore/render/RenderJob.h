#pragma once

#include "model/RecordingProject.h"

#include <filesystem>
#include <optional>
#include <vector>

namespace vantile {

// One export: what to draw and where the finished movie goes (its extension picks the container).
struct RenderJob {
    RecordingProject project;
    std::filesystem::path rawVideoURL;
    std::vector<FocusSegment> focusSegments;
    std::vector<CursorFrame> cursorFrames;
    RenderSettings renderSettings;
    std::filesystem::path outputURL;
    // Set once the job is cropped (croppedJob): the part of each raw frame that is drawn.
    std::optional<RecordingCrop> sourceCrop{};

    bool operator==(const RenderJob&) const = default;
};

// The job as its project's crop leaves it: the project's view, its segments and cursor moved
// into the crop, and the crop kept for the source frames. A job without a crop, or one already
// cropped, comes back as it is.
RenderJob croppedJob(RenderJob job);

}  // namespace vantile
