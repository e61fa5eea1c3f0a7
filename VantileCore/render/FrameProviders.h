#pragma once

#include "engine/PointerFollowTrack.h"
#include "model/CursorFrame.h"

#include <QPointF>

#include <cstddef>
#include <vector>

namespace vantile {

// The camera at increasing frame times; a forward read cursor keeps each lookup amortised O(1).
class CameraFrameProvider {
public:
    explicit CameraFrameProvider(std::vector<CameraKeyframe> keyframes);  // sorted by time here
    CameraKeyframe state(double time);
    // The same at any time, in any order.
    CameraKeyframe stateAt(double time) const;
    // While the camera shows the overview (scale 1) it looks where `track` does, easing into
    // and out of zooms along the same curve.
    void followInOverview(PointerFollowTrack track) { follow_ = std::move(track); }

private:
    CameraKeyframe following(CameraKeyframe keyframe, double time) const;
    CameraKeyframe between(const CameraKeyframe& from, const CameraKeyframe& to, double time) const;

    std::vector<CameraKeyframe> keyframes_;
    PointerFollowTrack follow_;
    std::ptrdiff_t index_ = 0;
};

// The smoothed cursor at increasing frame times.
class CursorFrameProvider {
public:
    explicit CursorFrameProvider(std::vector<CursorFrame> frames);  // stable-sorted by time here

    bool empty() const { return frames_.empty(); }
    const CursorFrame& frame(std::ptrdiff_t index) const { return frames_[static_cast<std::size_t>(index)]; }
    // Moves the read cursor up to the last frame at or before `time`.
    void advance(double time);
    std::ptrdiff_t nearestIndex(double time) const;
    // Source pixels per second between the frame and its successor (or predecessor at the end).
    double speed(std::ptrdiff_t index) const;
    // Where the cursor is at any time, between its frames by straight lines.
    QPointF positionAt(double time) const;

private:
    std::vector<CursorFrame> frames_;
    std::ptrdiff_t index_ = 0;
};

}  // namespace vantile
