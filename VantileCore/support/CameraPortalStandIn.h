#pragma once

#include "capture/wayland/SessionBus.h"

#include <atomic>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>

namespace vantile {

// The desktop portal's camera interface as a desktop answers it, for tests: it says a camera is
// present, grants access (or declines, as a user closing the dialog would), and hands out
// connections to the PipeWire daemon listening at pipewireSocket.
class CameraPortalStandIn {
public:
    // Owns org.freedesktop.portal.Desktop on the bus at busAddress; throws SessionBusError.
    CameraPortalStandIn(const std::string& busAddress, std::filesystem::path pipewireSocket, bool declineAccess = false);
    ~CameraPortalStandIn();

    CameraPortalStandIn(const CameraPortalStandIn&) = delete;
    CameraPortalStandIn& operator=(const CameraPortalStandIn&) = delete;

    int accessRequests() const { return accessRequests_; }
    int remotesOpened() const { return remotesOpened_; }

private:
    static int accessCamera(sd_bus_message* message, void* self, sd_bus_error* error);
    static int openPipeWireRemote(sd_bus_message* message, void* self, sd_bus_error* error);
    void serve();

    SessionBus bus_;
    std::filesystem::path pipewireSocket_;
    bool declineAccess_;
    sd_bus_slot* slot_ = nullptr;
    std::atomic<int> accessRequests_{0};
    std::atomic<int> remotesOpened_{0};
    std::atomic<bool> stopping_{false};
    std::thread server_;
};

}  // namespace vantile
