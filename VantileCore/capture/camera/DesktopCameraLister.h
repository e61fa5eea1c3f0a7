#pragma once

#include "capture/camera/CameraLister.h"
#include "capture/camera/CameraPortal.h"
#include "capture/camera/PipeWireCameraLister.h"
#include "capture/camera/V4l2CameraLister.h"

namespace vantile {

// The cameras of this desktop: through the camera portal on Wayland and in sandboxes where the
// desktop offers it; else the PipeWire daemon's where one runs (it owns the devices then);
// otherwise the V4L2 devices read directly.
class DesktopCameraLister : public CameraLister {
public:
    explicit DesktopCameraLister(std::chrono::milliseconds dialogTimeout = std::chrono::seconds(60))
        : dialogTimeout_(dialogTimeout)
    {
    }

    std::vector<CameraDevice> cameras() override;
    std::unique_ptr<CameraStream> start(const CameraDevice& camera) override;
    std::optional<std::string> unavailableReason() const override { return unavailableReason_; }

private:
    std::chrono::milliseconds dialogTimeout_;
    std::optional<CameraPortal> portal_;
    std::optional<PipeWireCameraLister> portalCameras_;
    PipeWireCameraLister pipeWire_;
    V4l2CameraLister v4l2_;
    std::optional<std::string> unavailableReason_;
};

}  // namespace vantile
