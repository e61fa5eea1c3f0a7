#include "engine/FocusPlanner.h"

#include "engine/CameraPathBuilder.h"

namespace vantile {

FocusPlannerOutput FocusPlanner::plan(const FocusPlannerInput& input) const
{
    FocusPlannerOutput output;
    output.segments = insertOverviewSegments({}, input.duration, input.videoWidth, input.videoHeight);
    output.cameraKeyframes =
        CameraPathBuilder::buildKeyframes(output.segments, input.duration, input.videoWidth, input.videoHeight);
    return output;
}

std::vector<FocusSegment> FocusPlanner::mergeNearbySegments(const std::vector<FocusSegment>& segments)
{
    return segments;
}

std::vector<FocusSegment> FocusPlanner::insertOverviewSegments(const std::vector<FocusSegment>& segments,
                                                               double duration, double width, double height)
{
    if (segments.empty()) {
        return {{0, duration, FocusSegment::SegmentType::overview, width * 0.5, height * 0.5, 1.0}};
    }
    return segments;
}

}  // namespace vantile
