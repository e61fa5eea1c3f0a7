#pragma once

#include "capture/camera/CameraLister.h"

#include <chrono>

namespace vantile {

// The cameras the user's PipeWire daemon publishes: nodes of class Video/Source whose role is
// Camera (WirePlumber publishes V4L2 and libcamera devices that way), with the frame sizes their
// output ports offer.
class PipeWireCameraLister : public CameraLister {
public:
    explicit PipeWireCameraLister(std::chrono::milliseconds timeout = std::chrono::seconds(2)) : timeout_(timeout) {}

    std::vector<CameraDevice> cameras() override;

private:
    std::chrono::milliseconds timeout_;
};

}  // namespace vantile
