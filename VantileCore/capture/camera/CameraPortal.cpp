#include "capture/camera/CameraPortal.h"

#include "capture/camera/CameraError.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

namespace vantile {

namespace {

constexpr const char* portalService = "org.freedesktop.portal.Desktop";
constexpr const char* portalPath = "/org/freedesktop/portal/desktop";
constexpr const char* cameraInterface = "org.freedesktop.portal.Camera";

SessionBus openBus(const std::optional<std::string>& address)
{
    return address ? SessionBus(*address) : SessionBus();
}

struct PendingResponse {
    bool arrived = false;
    std::uint32_t code = 2;
};

int onResponse(sd_bus_message* message, void* data, sd_bus_error*)
{
    auto* pending = static_cast<PendingResponse*>(data);
    if (sd_bus_message_read(message, "u", &pending->code) < 0) pending->code = 2;
    pending->arrived = true;
    return 0;
}

}  // namespace

bool camerasThroughPortal()
{
    const char* container = std::getenv("container");
    const char* session = std::getenv("XDG_SESSION_TYPE");
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    std::error_code ignored;
    return std::filesystem::exists("/.flatpak-info", ignored) || (container && *container) ||
           (session && std::string(session) == "wayland") || (wayland && *wayland);
}

CameraPortal::CameraPortal(const std::optional<std::string>& busAddress) : bus_(openBus(busAddress))
{
    isCameraPresent();  // a bus without the camera portal fails here
}

bool CameraPortal::isCameraPresent()
{
    sd_bus_error error = SD_BUS_ERROR_NULL;
    int present = 0;
    const int result = sd_bus_get_property_trivial(bus_.get(), portalService, portalPath, cameraInterface,
                                                   "IsCameraPresent", &error, 'b', &present);
    const std::string message = error.message ? error.message : "";
    sd_bus_error_free(&error);
    if (result < 0) throw SessionBusError("the camera portal does not answer: " + message);
    return present != 0;
}

void CameraPortal::accessCamera(std::chrono::milliseconds dialogTimeout)
{
    const std::string token = "vantile_camera" + std::to_string(getpid()) + "_" + std::to_string(++nextToken_);
    const std::string requestPath = std::string(portalPath) + "/request/" + bus_.senderPathElement() + "/" + token;
    PendingResponse pending;
    sd_bus_slot* slot = nullptr;
    try {
        // Subscribed before the call, so a fast answer is never missed.
        checkBus(sd_bus_match_signal(bus_.get(), &slot, portalService, requestPath.c_str(),
                                     "org.freedesktop.portal.Request", "Response", onResponse, &pending),
                 "cannot watch the portal's answer");
        BusMessage call = bus_.newMethodCall(portalService, portalPath, cameraInterface, "AccessCamera");
        appendOptions(call.get(), {{"handle_token", token}});
        bus_.call(call);
        bus_.processUntil([&] { return pending.arrived; }, dialogTimeout);
    } catch (const SessionBusError&) {
        sd_bus_slot_unref(slot);
        throw CameraError::noCameras();
    }
    sd_bus_slot_unref(slot);
    if (!pending.arrived) throw CameraError::noPicture();
    if (pending.code == 1) throw CameraError::refused();
    if (pending.code != 0) throw CameraError::noCameras();
}

int CameraPortal::openPipeWireRemote()
{
    BusMessage call = bus_.newMethodCall(portalService, portalPath, cameraInterface, "OpenPipeWireRemote");
    appendOptions(call.get(), {});
    const BusMessage remote = bus_.call(call);
    int descriptor = -1;
    checkBus(sd_bus_message_read(remote.get(), "h", &descriptor), "unexpected portal answer");
    // The message owns the descriptor it carries.
    return checkBus(fcntl(descriptor, F_DUPFD_CLOEXEC, 3), "cannot keep the PipeWire remote");
}

}  // namespace vantile
