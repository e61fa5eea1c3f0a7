#include "engine/CoordinateMapper.h"

#include <algorithm>

namespace vantile::CoordinateMapper {

namespace {

double mapAxis(double value, double regionSize, double videoSize)
{
    // A degenerate region counts as one pixel so nothing divides by zero.
    const double mapped = value / std::max(regionSize, 1.0) * videoSize;
    if (mapped <= 0) return 0;
    if (mapped > videoSize) return videoSize;
    return mapped;
}

}  // namespace

CodablePoint mapCaptureLocalToVideo(CodablePoint point, const CGRectCodable& captureRegion, const VideoInfo& videoInfo)
{
    return {mapAxis(point.x, captureRegion.width, static_cast<double>(videoInfo.width)),
            mapAxis(point.y, captureRegion.height, static_cast<double>(videoInfo.height))};
}

std::vector<InputEvent> mapEventsToVideo(const std::vector<InputEvent>& events, const CGRectCodable& captureRegion,
                                         const VideoInfo& videoInfo)
{
    std::vector<InputEvent> mapped = events;
    for (InputEvent& event : mapped) {
        const CodablePoint point = mapCaptureLocalToVideo({event.x, event.y}, captureRegion, videoInfo);
        event.x = point.x;
        event.y = point.y;
    }
    return mapped;
}

}  // namespace vantile::CoordinateMapper
