#pragma once

#include "capture/camera/CameraLister.h"

namespace vantile {

// Cameras where no PipeWire daemon runs: the /dev/video* capture devices, found and read through
// libavdevice's v4l2 input. Their sizes are left empty: libavdevice only prints them to its log.
class V4l2CameraLister : public CameraLister {
public:
    std::vector<CameraDevice> cameras() override;
    std::unique_ptr<CameraStream> start(const CameraDevice& camera) override;
};

}  // namespace vantile
