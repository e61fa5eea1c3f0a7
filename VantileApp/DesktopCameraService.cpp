#include "DesktopCameraService.h"

#include "capture/camera/CameraChoice.h"

namespace vantile {

std::vector<CameraDevice> DesktopCameraService::listCameras()
{
    const std::lock_guard lock(mutex_);
    return lister_.cameras();
}

std::unique_ptr<CameraStream> DesktopCameraService::start(const std::string& choice)
{
    const std::lock_guard lock(mutex_);
    return startChosenCamera(choice, lister_);
}

}  // namespace vantile
