#pragma once

#include "capture/PlanarFrame.h"

#include <chrono>
#include <cstdint>
#include <optional>

namespace vantile {

// One camera picture, already in the encoder's format and at the recorded size.
struct CameraPicture {
    PlanarFrame frame;
    std::uint64_t sequence = 0;  // 0: no picture yet
    std::chrono::steady_clock::time_point time;  // when it arrived, on the screen's clock
};

// A running camera delivering pictures on a thread of its own; the newest is kept.
class CameraStream {
public:
    virtual ~CameraStream() = default;

    // True once a picture came; false when none came in time or the camera ended.
    virtual bool waitForFirstPicture(std::chrono::milliseconds timeout) = 0;
    // Swaps a newer picture than into's into it; false when there is none.
    virtual bool takeNewest(CameraPicture& into) = 0;
    // The camera stopped delivering for good (unplugged, failed, its daemon gone).
    virtual bool ended() const = 0;
};

}  // namespace vantile
