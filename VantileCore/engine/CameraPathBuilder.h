#pragma once

#include "model/CursorFrame.h"
#include "model/FocusSegment.h"

#include <vector>

namespace vantile {

// Turns focus segments into a time-ordered camera path and samples it with smootherstep moves.
class CameraPathBuilder {
public:
    static std::vector<CameraKeyframe> buildKeyframes(const std::vector<FocusSegment>& segments, double duration,
                                                      double videoWidth, double videoHeight);

    // The camera at `time`, scanning the keyframes from the first; allocates nothing.
    // Before the first keyframe or after the last one, that keyframe is returned as it is.
    static CameraKeyframe cameraStateAt(double time, const std::vector<CameraKeyframe>& keyframes);
};

}  // namespace vantile
