#pragma once

#include "capture/wayland/SessionBus.h"

#include <cstdint>
#include <string>

namespace vantile {

// Real input into a GNOME session through mutter's remote-desktop interface, for tests: clients
// receive it exactly as a person's input. It never passes through the kernel's input devices.
class RemoteDesktopSession {
public:
    static constexpr int leftButton = 272;  // BTN_LEFT
    static constexpr int rightButton = 273;

    // Starts a session on the monitor named by connector; throws SessionBusError.
    RemoteDesktopSession(const std::string& busAddress, const std::string& connector = "Meta-0");
    ~RemoteDesktopSession();

    RemoteDesktopSession(const RemoteDesktopSession&) = delete;
    RemoteDesktopSession& operator=(const RemoteDesktopSession&) = delete;

    // Monitor coordinates in logical pixels.
    void movePointer(double x, double y);
    void setButton(int button, bool pressed);
    void click(double x, double y, int button = leftButton);
    void setKey(std::uint32_t keycode, bool pressed);
    // The PipeWire node of the session's own monitor stream (which the input is relative to).
    std::uint32_t node() const { return node_; }

private:

    SessionBus bus_;
    std::string sessionPath_;
    std::string streamPath_;
    std::uint32_t node_ = 0;
};

}  // namespace vantile
