#pragma once

#include "model/JsonCoding.h"

#include <string>
#include <vector>

namespace vantile {

struct CameraSize {
    int width = 0;
    int height = 0;

    bool operator==(const CameraSize&) const = default;
};

// One camera that can be recorded beside the screen.
struct CameraDevice {
    std::string id;     // "camera-" + the device's stable name; what `record --camera` accepts
    std::string title;  // the name the desktop shows for it
    std::vector<CameraSize> sizes;  // smallest first; empty when the device does not say
    std::uint32_t node = 0;         // PipeWire: the node serving it, valid while the daemon runs
    std::string devicePath;         // V4L2: the device file libavdevice opens

    bool operator==(const CameraDevice&) const = default;
};

// "camera-" + name with everything but letters, digits, '.', '_' and '-' turned into '-'.
std::string cameraIdentifier(const std::string& name);

// The listing's entry: {"id", "kind": "camera", "sizes": [{"width", "height"}], "title"}.
void to_json(Json& json, const CameraDevice& camera);

}  // namespace vantile
