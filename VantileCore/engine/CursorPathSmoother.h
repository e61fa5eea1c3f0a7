#pragma once

#include "model/CursorFrame.h"
#include "model/InputEvent.h"
#include "model/RenderSettings.h"

#include <cstdint>
#include <vector>

namespace vantile {

// Drops pointer jitter, low-pass filters the pointer path and resamples it at the frame rate:
// one CursorFrame per output frame, times i / fps for i = 0 ... floor(fps * duration). Holds no state.
// No frames without pointer events, for fps < 1, or for a duration that is not positive and finite;
// events whose time is not a number are ignored.
//
// `precise` moves the same way but does not stop short: while the pointer rests the cursor keeps
// easing onto it, one filter step a frame, and each press is reached exactly by the press's frame
// and followed from there.
class CursorPathSmoother {
public:
    std::vector<CursorFrame> smooth(const std::vector<InputEvent>& events, std::int64_t fps, double duration,
                                    CursorSmoothing smoothing = CursorSmoothing::classic) const;
};

}  // namespace vantile
