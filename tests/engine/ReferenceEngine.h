#pragma once

// Slow, literal transcriptions of the planning rules (full scans, no shortcuts), kept beside the
// fast engine so generated streams can show that both give the same numbers.

#include "engine/FocusPlanner.h"

#include <cstdint>
#include <vector>

namespace vantile::reference {

FocusPlannerOutput plan(const FocusPlannerInput& input);
std::vector<CameraKeyframe> buildKeyframes(const std::vector<FocusSegment>& segments, double duration, double width,
                                           double height);
CameraKeyframe cameraStateAt(double time, const std::vector<CameraKeyframe>& keyframes);
std::vector<CursorFrame> smooth(const std::vector<InputEvent>& events, std::int64_t fps, double duration);

}  // namespace vantile::reference
