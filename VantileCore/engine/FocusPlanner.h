#pragma once

#include "model/CursorFrame.h"
#include "model/FocusSegment.h"
#include "model/InputEvent.h"
#include "model/RenderSettings.h"

#include <vector>

namespace vantile {

struct FocusPlannerInput {
    double duration = 0;
    double videoWidth = 0;
    double videoHeight = 0;
    std::vector<InputEvent> events;  // video pixels, any order
    ZoomIntensity zoomIntensity = ZoomIntensity::standard;

    bool operator==(const FocusPlannerInput&) const = default;
};

struct FocusPlannerOutput {
    std::vector<FocusSegment> segments;  // sorted by start, each non-empty
    std::vector<CameraKeyframe> cameraKeyframes;

    bool operator==(const FocusPlannerOutput&) const = default;
};

// The automatic director: clicks, scroll bursts and typing become zoomed focus segments,
// the quiet stretches between them whole-frame overviews. Holds no state and reports no errors:
// events whose time is not a number are ignored, and degenerate input gives empty or default output.
class FocusPlanner {
public:
    FocusPlannerOutput plan(const FocusPlannerInput& input) const;

    // Fuses neighbouring segments that are close in time, place and zoom. Takes the list by value:
    // it is sorted in place, so a caller that moves its list in saves a copy.
    static std::vector<FocusSegment> mergeNearbySegments(std::vector<FocusSegment> segments);

    // Fills long gaps (and a long tail) of start-sorted segments with overview segments.
    static std::vector<FocusSegment> insertOverviewSegments(const std::vector<FocusSegment>& segments, double duration,
                                                            double width, double height);
};

}  // namespace vantile
