#pragma once

#include "model/RecordingCrop.h"
#include "render/ExportMonitor.h"

#include <filesystem>
#include <optional>
#include <vector>

namespace vantile {

// Where the recorded screen changes: the times of the frames that differ visibly from the one
// before. Frames are compared at a quarter of their size with area averaging, so encoder noise
// and a blinking text caret do not count, while scrolling, typing and a tooltip do.
class ScreenChangeScanner {
public:
    // A pixel of the reduced frame changed when it moved by more than this many luma levels...
    static constexpr int changedLevel = 24;
    // ...and the frame changed when more than this share of the reduced frame's pixels did.
    static constexpr double changedShare = 0.0005;

    // Only the `crop` of each frame is compared, when there is one: a change cut away is no change.
    // Throws RenderError when the movie cannot be read; stops early when `monitor` is cancelled.
    static std::vector<double> changeTimes(const std::filesystem::path& movie,
                                           const std::optional<RecordingCrop>& crop = std::nullopt,
                                           const ExportMonitor* monitor = nullptr);
};

}  // namespace vantile
