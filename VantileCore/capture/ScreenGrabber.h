#pragma once

#include <cstdint>

namespace vantile {

// One captured picture: 32-bit pixels in memory order B, G, R, X; valid until the next grab.
struct GrabbedImage {
    const std::uint8_t* pixels = nullptr;
    int width = 0;
    int height = 0;
    int stride = 0;  // bytes per row
};

// Reads the current picture of one display or window.
class ScreenGrabber {
public:
    virtual ~ScreenGrabber() = default;

    // Throws RecordingError::sourceUnavailable once the display or window is gone.
    virtual GrabbedImage grab() = 0;
};

}  // namespace vantile
