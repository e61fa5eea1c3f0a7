#pragma once

#include "capture/camera/CameraLister.h"

#include <chrono>
#include <functional>

namespace vantile {

// The cameras the user's PipeWire daemon publishes: nodes of class Video/Source whose role is
// Camera (WirePlumber publishes V4L2 and libcamera devices that way), with the frame sizes their
// output ports offer. Through the camera portal only the camera nodes are shown, not their
// ports, so their sizes stay unknown until a stream agrees on one.
class PipeWireCameraLister : public CameraLister {
public:
    // openRemote hands a new connection to a restricted remote (the camera portal's), owned by
    // the caller; without it, the user's daemon is reached directly. The portal opens one only
    // when a camera is present, so the listing waits (up to the timeout) for it to show.
    using RemoteOpener = std::function<int()>;

    explicit PipeWireCameraLister(std::chrono::milliseconds timeout = std::chrono::seconds(2),
                                  RemoteOpener openRemote = nullptr)
        : timeout_(timeout), openRemote_(std::move(openRemote))
    {
    }

    std::vector<CameraDevice> cameras() override;
    std::unique_ptr<CameraStream> start(const CameraDevice& camera) override;
    // Whether the last listing reached a daemon at all.
    bool reachedDaemon() const { return reachedDaemon_; }

private:
    std::chrono::milliseconds timeout_;
    RemoteOpener openRemote_;
    bool reachedDaemon_ = false;
};

}  // namespace vantile
