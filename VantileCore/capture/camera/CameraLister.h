#pragma once

#include "capture/camera/CameraDevice.h"

#include <vector>

namespace vantile {

// Lists the cameras one back end (PipeWire, V4L2) can reach. Never fails: a back end that is not
// there simply has no cameras.
class CameraLister {
public:
    virtual ~CameraLister() = default;
    virtual std::vector<CameraDevice> cameras() = 0;
};

}  // namespace vantile
