#pragma once

#include "model/RecordingProject.h"

#include <filesystem>
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

    bool operator==(const RenderJob&) const = default;
};

}  // namespace vantile
