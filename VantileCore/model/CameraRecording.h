#pragma once

#include "model/JsonCoding.h"

#include <cstdint>
#include <string>

namespace vantile {

// The webcam movie recorded beside the screen. `startOffset` is the recording time, in seconds,
// at which its first frame was taken, so camera time = recording time - startOffset.
struct CameraRecording {
    std::string path = "camera.mov";  // a bare name is relative to the project directory
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::int64_t fps = 30;
    double startOffset = 0;

    UnknownKeys unknownKeys{};

    bool operator==(const CameraRecording&) const = default;
};

void to_json(Json& json, const CameraRecording& camera);
// Fails on sizes, rates and offsets no camera can have, naming the key.
void decodeValue(const Json& json, CameraRecording& camera);

}  // namespace vantile
