#pragma once

#include "capture/wayland/SessionBus.h"

#include <chrono>
#include <optional>
#include <string>

namespace vantile {

// The desktop's camera portal (org.freedesktop.portal.Camera), the way to the cameras on Wayland
// and inside sandboxes: it says whether a camera is there, asks the user once, and hands over a
// PipeWire remote that shows only the cameras.
class CameraPortal {
public:
    // The user's session bus, or the bus at busAddress. Throws SessionBusError when there is no bus
    // or no camera portal on it.
    explicit CameraPortal(const std::optional<std::string>& busAddress = std::nullopt);

    bool isCameraPresent();
    // Asks for access (a system dialog the first time). Throws CameraError::refused when the user
    // declines, CameraError::noCameras when the portal fails otherwise.
    void accessCamera(std::chrono::milliseconds dialogTimeout);
    // A new connection to the cameras' PipeWire remote, owned by the caller. Throws SessionBusError.
    int openPipeWireRemote();

private:
    SessionBus bus_;
    int nextToken_ = 0;
};

// Whether cameras are to be reached through the portal: inside a sandbox, or in a Wayland session.
bool camerasThroughPortal();

}  // namespace vantile
