#pragma once

#include "model/CaptureInfo.h"
#include "model/Geometry.h"
#include "model/InputEvent.h"

#include <vector>

namespace vantile::CoordinateMapper {

// Scales capture-local points to raw-video pixels, clamped to [0, video size].
CodablePoint mapCaptureLocalToVideo(CodablePoint point, const CGRectCodable& captureRegion, const VideoInfo& videoInfo);

// Every event copied with x and y in video pixels; order, count and all other fields kept.
std::vector<InputEvent> mapEventsToVideo(const std::vector<InputEvent>& events, const CGRectCodable& captureRegion,
                                         const VideoInfo& videoInfo);

}  // namespace vantile::CoordinateMapper
