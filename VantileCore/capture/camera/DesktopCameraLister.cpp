#include "capture/camera/DesktopCameraLister.h"

#include "capture/camera/CameraError.h"

namespace vantile {

std::vector<CameraDevice> DesktopCameraLister::cameras()
{
    unavailableReason_.reset();
    if (camerasThroughPortal() && !portal_) {
        try {
            portal_.emplace();
        } catch (const SessionBusError&) {
            // No camera portal on this desktop: its daemon is asked directly.
        }
    }
    if (portal_) {
        try {
            if (!portal_->isCameraPresent()) return {};
            portal_->accessCamera(dialogTimeout_);
            portalCameras_.emplace(std::chrono::seconds(2), [this] { return portal_->openPipeWireRemote(); });
            return portalCameras_->cameras();
        } catch (const CameraError& error) {
            unavailableReason_ = error.what();
            return {};
        } catch (const SessionBusError&) {
            return {};
        }
    }
    std::vector<CameraDevice> cameras = pipeWire_.cameras();
    return pipeWire_.reachedDaemon() ? cameras : v4l2_.cameras();
}

std::unique_ptr<CameraStream> DesktopCameraLister::start(const CameraDevice& camera)
{
    if (!camera.devicePath.empty()) return v4l2_.start(camera);
    try {
        return portalCameras_ ? portalCameras_->start(camera) : pipeWire_.start(camera);
    } catch (const SessionBusError&) {
        throw CameraError::noCameras();
    }
}

}  // namespace vantile
