#pragma once

#include "AppServices.h"
#include "capture/camera/DesktopCameraLister.h"

#include <mutex>

namespace vantile {

// The desktop's cameras for the picker and the recording, through the same lister and choice as
// `vantile-cli record --camera`.
class DesktopCameraService : public CameraService {
public:
    std::vector<CameraDevice> listCameras() override;
    std::unique_ptr<CameraStream> start(const std::string& choice) override;

private:
    // The picker's listing and a recording's start may run on two workers at once.
    std::mutex mutex_;
    DesktopCameraLister lister_;
};

}  // namespace vantile
