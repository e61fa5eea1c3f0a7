#pragma once

#include "model/CursorFrame.h"
#include "model/Geometry.h"

#include <vector>

namespace vantile {

// Where a crop smaller than the recording looks while no zoom holds it: it keeps the pointer in
// sight, moving only when the pointer nears its edge, and then with a damped spring, so small
// motions leave it still and large ones ease in and out. Sampled at a fixed rate; pure data.
class PointerFollowTrack {
public:
    static constexpr double sampleRate = 60;  // samples per second
    static constexpr double deadZone = 0.3;   // of the crop's size, each side of its centre
    static constexpr double stiffness = 5.0;  // the spring's angular frequency, per second

    PointerFollowTrack() = default;
    // `cropWidth` x `cropHeight` is the crop's size in the recording's pixels, centred where it
    // looks; the centre stays where the crop is inside the recording.
    PointerFollowTrack(const std::vector<CursorFrame>& cursor, double videoWidth, double videoHeight, double cropWidth,
                       double cropHeight);

    bool empty() const { return points_.empty(); }
    // The crop's centre at any time, between samples by straight lines.
    CodablePoint centerAt(double time) const;

private:
    std::vector<CodablePoint> points_;
};

}  // namespace vantile
