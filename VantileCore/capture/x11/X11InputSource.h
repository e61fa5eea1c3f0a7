#pragma once

#include "capture/InputSource.h"
#include "capture/x11/X11Connection.h"

#include <optional>
#include <string>

namespace vantile {

// Global input through XInput2 raw events on the root window, on a connection of its own.
// Raw events report device activity whatever window has focus or grabs the pointer.
class X11InputSource : public InputSource {
public:
    explicit X11InputSource(const std::optional<std::string>& displayName = std::nullopt);

    bool install(Handler handler) override;
    void remove() override;
    CodablePoint pointerLocation() override;
    int fileDescriptor() const override;
    void dispatchPending() override;

private:
    void deliver(const xcb_generic_event_t* event);
    bool selectRawEvents(bool enable);

    X11Connection connection_;
    std::uint8_t xinputOpcode_ = 0;
    Handler handler_;
    bool leftHeld_ = false;
    bool rightHeld_ = false;
};

}  // namespace vantile
