#pragma once

#include "engine/OutputTimeline.h"

#include <string>
#include <vector>

namespace vantile {

// One mark of the timeline's ruler: a time of the finished movie, placed where that moment sits
// on the track, which is laid out in recording time.
struct RulerTick {
    double outputTime = 0;
    double recordingTime = 0;
    std::string label;

    bool operator==(const RulerTick&) const = default;
};

// The ruler above the timeline counts the finished movie's time, so it jumps over cuts and
// starts at the trim.
namespace TimelineRuler {

// The smallest of the usual steps (0.5 s, 1 s, 2 s, 5 s, 10 s, 15 s, 30 s, 1 min ...) whose
// marks are at least `minimumSpacing` pixels apart at `pixelsPerSecond`.
double tickStep(double pixelsPerSecond, double minimumSpacing);

// "m:ss", with tenths when the step is below a second ("0:01.5").
std::string label(double outputTime, double step);

// Marks at every whole step of output time from 0 to the movie's end, for a track of
// `pixelWidth` showing `recordingDuration` seconds of recording.
std::vector<RulerTick> ticks(const OutputTimeline& timeline, double recordingDuration, double pixelWidth,
                             double minimumSpacing = 80);

}  // namespace TimelineRuler

}  // namespace vantile
