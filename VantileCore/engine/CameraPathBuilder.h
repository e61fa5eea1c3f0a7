#pragma once

#include "model/CursorFrame.h"
#include "model/FocusSegment.h"

#include <vector>

namespace vantile {

// Turns focus segments into a time-ordered camera path and samples it with smootherstep moves.
class CameraPathBuilder {
public:
    // A move is never shorter than this, however short its segment.
    static constexpr double shortestMove = 0.16;
    static constexpr double longestTransition = 1.2;
    // Two keyframes closer than this are one moment; the later one wins.
    static constexpr double sameMomentTolerance = 0.0001;

    static std::vector<CameraKeyframe> buildKeyframes(const std::vector<FocusSegment>& segments, double duration,
                                                      double videoWidth, double videoHeight);

    // Seconds the move from `from`'s view into `into` takes when `from` comes right before it.
    static double transitionDuration(const FocusSegment& from, const FocusSegment& into, double videoWidth,
                                     double videoHeight);

    // The camera at `time`, scanning the keyframes from the first; allocates nothing.
    // Before the first keyframe or after the last one, that keyframe is returned as it is.
    static CameraKeyframe cameraStateAt(double time, const std::vector<CameraKeyframe>& keyframes);
};

}  // namespace vantile
