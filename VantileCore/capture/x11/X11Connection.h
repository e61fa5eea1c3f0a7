#pragma once

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

namespace vantile {

// xcb hands replies out as malloc'd blocks; this owns one.
struct XcbFree {
    void operator()(void* pointer) const { std::free(pointer); }
};
template <typename Reply>
using XcbReply = std::unique_ptr<Reply, XcbFree>;

// One connection to an X server, closed on destruction.
class X11Connection {
public:
    // Throws RecordingError::unsupportedSystem when no X server is reachable.
    explicit X11Connection(const std::optional<std::string>& displayName = std::nullopt);
    ~X11Connection();

    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;

    xcb_connection_t* get() const { return connection_; }
    xcb_screen_t* screen() const { return screen_; }
    xcb_window_t root() const { return screen_->root; }

    xcb_atom_t atom(const char* name) const;
    // Whether the last checked request failed; consumes the error.
    bool failed(xcb_void_cookie_t cookie) const;
    // Throws when the server has gone away, so callers stop instead of spinning.
    void requireAlive() const;

private:
    xcb_connection_t* connection_ = nullptr;
    xcb_screen_t* screen_ = nullptr;
};

}  // namespace vantile
