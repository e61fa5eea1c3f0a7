#include "capture/x11/X11Connection.h"

#include "capture/RecordingError.h"

#include <cstring>

namespace vantile {

X11Connection::X11Connection(const std::optional<std::string>& displayName)
{
    int screenNumber = 0;
    connection_ = xcb_connect(displayName ? displayName->c_str() : nullptr, &screenNumber);
    if (xcb_connection_has_error(connection_)) {
        xcb_disconnect(connection_);
        throw RecordingError::unsupportedSystem();
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
