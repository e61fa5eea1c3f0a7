#pragma once

#include "model/JsonCoding.h"

namespace vantile {

// One sample of the smoothed cursor path, in video pixels.
struct CursorFrame {
    double time = 0;
    double x = 0;
    double y = 0;
    bool visible = true;
    bool isClicking = false;

    UnknownKeys unknownKeys{};

    bool operator==(const CursorFrame&) const = default;
};

void to_json(Json& json, const CursorFrame& frame);
void decodeValue(const Json& json, CursorFrame& frame);

// One camera state on the camera path, in video pixels; derived, never stored in a project.
struct CameraKeyframe {
    double time = 0;
    double centerX = 0;
    double centerY = 0;
    double scale = 1;

    bool operator==(const CameraKeyframe&) const = default;
};

void to_json(Json& json, const CameraKeyframe& keyframe);
void decodeValue(const Json& json, CameraKeyframe& keyframe);

}  // namespace vantile
