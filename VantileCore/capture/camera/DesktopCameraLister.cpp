#include "capture/camera/DesktopCameraLister.h"

namespace vantile {

std::vector<CameraDevice> DesktopCameraLister::cameras()
{
    std::vector<CameraDevice> cameras = pipeWire_.cameras();
    return pipeWire_.reachedDaemon() ? cameras : v4l2_.cameras();
}

std::unique_ptr<CameraStream> DesktopCameraLister::start(const CameraDevice& camera)
{
    return camera.devicePath.empty() ? pipeWire_.start(camera) : v4l2_.start(camera);
}

}  // namespace vantile
