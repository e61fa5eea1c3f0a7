#include "support/CameraPortalStandIn.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <optional>

namespace vantile {

namespace {

constexpr const char* portalName = "org.freedesktop.portal.Desktop";
constexpr const char* portalPath = "/org/freedesktop/portal/desktop";
constexpr const char* cameraInterface = "org.freedesktop.portal.Camera";

std::string senderElement(sd_bus_message* message)
{
    std::string name = sd_bus_message_get_sender(message) ? sd_bus_message_get_sender(message) + 1 : "";
    for (char& character : name)
        if (character == '.') character = '_';
    return name;
}

int cameraPresent(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void*, sd_bus_error*)
{
    return sd_bus_message_append(reply, "b", 1);
}

int version(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void*, sd_bus_error*)
{
    return sd_bus_message_append(reply, "u", 1);
}

}  // namespace

CameraPortalStandIn::CameraPortalStandIn(const std::string& busAddress, std::filesystem::path pipewireSocket,
                                         bool declineAccess)
    : bus_(busAddress), pipewireSocket_(std::move(pipewireSocket)), declineAccess_(declineAccess)
{
    static const sd_bus_vtable table[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_PROPERTY("version", "u", version, 0, SD_BUS_VTABLE_PROPERTY_CONST),
        SD_BUS_PROPERTY("IsCameraPresent", "b", cameraPresent, 0, 0),
        SD_BUS_METHOD("AccessCamera", "a{sv}", "o", &CameraPortalStandIn::accessCamera, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_METHOD("OpenPipeWireRemote", "a{sv}", "h", &CameraPortalStandIn::openPipeWireRemote,
                      SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_VTABLE_END};
    checkBus(sd_bus_add_object_vtable(bus_.get(), &slot_, portalPath, cameraInterface, table, this),
             "cannot serve the camera portal");
    try {
        checkBus(sd_bus_request_name(bus_.get(), portalName, 0), "cannot own the portal's name");
    } catch (...) {
        sd_bus_slot_unref(slot_);
        throw;
    }
    server_ = std::thread([this] { serve(); });
}

CameraPortalStandIn::~CameraPortalStandIn()
{
    stopping_ = true;
    server_.join();
    sd_bus_slot_unref(slot_);
}

int CameraPortalStandIn::accessCamera(sd_bus_message* message, void* self, sd_bus_error*)
{
    auto& portal = *static_cast<CameraPortalStandIn*>(self);
    try {
        std::string token;
        readDictionary(message, [&](const std::string& key) {
            if (key != "handle_token") return false;
            token = readStringVariant(message).value_or("");
            return true;
        });
        ++portal.accessRequests_;
        const std::string path = std::string(portalPath) + "/request/" + senderElement(message) + "/" + token;
        checkBus(sd_bus_reply_method_return(message, "o", path.c_str()), "cannot answer");
        sd_bus_message* signal = nullptr;
        checkBus(sd_bus_message_new_signal(sd_bus_message_get_bus(message), &signal, path.c_str(),
                                           "org.freedesktop.portal.Request", "Response"),
                 "cannot build a response");
        const BusMessage owned(signal);
        checkBus(sd_bus_message_append(signal, "ua{sv}", portal.declineAccess_ ? 1u : 0u, 0), "cannot build a response");
        checkBus(sd_bus_send(sd_bus_message_get_bus(message), signal, nullptr), "cannot send a response");
        return 1;
    } catch (const SessionBusError& error) {
        return sd_bus_reply_method_errorf(message, SD_BUS_ERROR_INVALID_ARGS, "%s", error.what());
    }
}

int CameraPortalStandIn::openPipeWireRemote(sd_bus_message* message, void* self, sd_bus_error*)
{
    auto& portal = *static_cast<CameraPortalStandIn*>(self);
    const int connection = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, portal.pipewireSocket_.c_str(), sizeof address.sun_path - 1);
    if (connection < 0 || connect(connection, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        if (connection >= 0) close(connection);
        return sd_bus_reply_method_errorf(message, SD_BUS_ERROR_FAILED, "cannot reach PipeWire");
    }
    ++portal.remotesOpened_;
    // The reply carries a duplicate of the descriptor; ours is closed.
    const int replied = sd_bus_reply_method_return(message, "h", connection);
    close(connection);
    return replied;
}

void CameraPortalStandIn::serve()
{
    while (!stopping_) {
        while (sd_bus_process(bus_.get(), nullptr) > 0) {
        }
        sd_bus_flush(bus_.get());
        sd_bus_wait(bus_.get(), 20'000);
    }
}

}  // namespace vantile
