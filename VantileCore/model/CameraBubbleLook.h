#pragma once

#include "model/RenderSettings.h"

namespace vantile {

// The camera bubble's part of the render settings: what editing the bubble changes, and what
// its undo history keeps.
struct CameraBubbleLook {
    bool visible = true;
    CameraPosition position = CameraPosition::bottomRight;
    double centerX = 0.5;
    double centerY = 0.5;
    double size = RenderSettings::defaultCameraSize;
    CameraShape shape = CameraShape::circle;
    bool mirror = true;
    bool shadow = true;

    static CameraBubbleLook of(const RenderSettings& settings);
    // `settings` with this look and everything else as it was.
    RenderSettings appliedTo(RenderSettings settings) const;

    bool operator==(const CameraBubbleLook&) const = default;
};

}  // namespace vantile
