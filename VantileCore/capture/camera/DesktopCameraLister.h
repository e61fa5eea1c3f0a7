#pragma once

#include "capture/camera/CameraLister.h"
#include "capture/camera/PipeWireCameraLister.h"
#include "capture/camera/V4l2CameraLister.h"

namespace vantile {

// The cameras of this desktop: the PipeWire daemon's where one runs (it owns the devices then),
// otherwise the V4L2 devices read directly.
class DesktopCameraLister : public CameraLister {
public:
    std::vector<CameraDevice> cameras() override;
    std::unique_ptr<CameraStream> start(const CameraDevice& camera) override;

private:
    PipeWireCameraLister pipeWire_;
    V4l2CameraLister v4l2_;
};

}  // namespace vantile
