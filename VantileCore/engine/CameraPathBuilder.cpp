#include "engine/CameraPathBuilder.h"

namespace vantile {

std::vector<CameraKeyframe> CameraPathBuilder::buildKeyframes(const std::vector<FocusSegment>&, double, double videoWidth,
                                                              double videoHeight)
{
    return {{0, videoWidth * 0.5, videoHeight * 0.5, 1.0}};
}

CameraKeyframe CameraPathBuilder::cameraStateAt(double time, const std::vector<CameraKeyframe>& keyframes)
{
    if (keyframes.empty()) return {time, 0, 0, 1.0};
    return keyframes.front();
}

}  // namespace vantile
