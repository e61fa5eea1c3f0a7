#pragma once

#include "capture/camera/CameraDevice.h"
#include "capture/camera/CameraStream.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vantile {

// Lists the cameras one back end (PipeWire, V4L2) can reach and starts them. Listing never fails:
// a back end that is not there simply has no cameras.
class CameraLister {
public:
    virtual ~CameraLister() = default;
    virtual std::vector<CameraDevice> cameras() = 0;
    // Starts a camera this lister listed. Throws CameraError.
    virtual std::unique_ptr<CameraStream> start(const CameraDevice& camera) = 0;
    // Why the last listing found no camera when the reason is worth telling (access refused).
    virtual std::optional<std::string> unavailableReason() const { return std::nullopt; }
};

}  // namespace vantile
