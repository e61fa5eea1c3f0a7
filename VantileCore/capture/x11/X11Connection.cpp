#include "capture/x11/X11Connection.h"

#include "capture/RecordingError.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

namespace vantile {

namespace {

// Whether a local X server's socket is there, so a refused connection is worth retrying.
bool localServerSocketExists(const char* displayName)
{
    char* host = nullptr;
    int display = 0;
    if (!xcb_parse_display(displayName, &host, &display, nullptr)) return false;
    const bool local = host == nullptr || *host == '\0' || std::strcmp(host, "unix") == 0;
    std::free(host);
    std::error_code ignored;
    return local && std::filesystem::exists("/tmp/.X11-unix/X" + std::to_string(display), ignored);
}

}  // namespace

X11Connection::X11Connection(const std::optional<std::string>& displayName)
{
    int screenNumber = 0;
    const char* name = displayName && !displayName->empty() ? displayName->c_str() : nullptr;
    // xcb would only fail to connect; say what is missing instead of blaming the server.
    if (!name && (!std::getenv("DISPLAY") || !*std::getenv("DISPLAY"))) throw RecordingError::displayNotSet("DISPLAY");
    // A server without clients resets when its last client leaves and refuses connections
    // meanwhile (a bare Xvfb between two commands); a moment later it accepts again.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    for (;;) {
        connection_ = xcb_connect(name, &screenNumber);
        if (!xcb_connection_has_error(connection_)) break;
        xcb_disconnect(connection_);
        connection_ = nullptr;
        if (std::chrono::steady_clock::now() >= deadline || !localServerSocketExists(name)) {
            throw RecordingError::unsupportedSystem();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection_));
    for (int index = 0; screens.rem && index < screenNumber; ++index) xcb_screen_next(&screens);
    if (!screens.rem) {
        xcb_disconnect(connection_);
        throw RecordingError::unsupportedSystem();
    }
    screen_ = screens.data;
}

X11Connection::~X11Connection() { xcb_disconnect(connection_); }

xcb_atom_t X11Connection::atom(const char* name) const
{
    const XcbReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        connection_, xcb_intern_atom(connection_, 0, static_cast<std::uint16_t>(std::strlen(name)), name), nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

bool X11Connection::failed(xcb_void_cookie_t cookie) const
{
    const XcbReply<xcb_generic_error_t> error(xcb_request_check(connection_, cookie));
    return error != nullptr;
}

void X11Connection::requireAlive() const
{
    if (xcb_connection_has_error(connection_)) throw RecordingError::sourceUnavailable();
}

}  // namespace vantile
