#pragma once

#include "capture/InputSource.h"
#include "capture/wayland/EvdevDevice.h"
#include "capture/wayland/InputDeviceSet.h"
#include "capture/wayland/PointerTracker.h"

#include <filesystem>
#include <memory>

namespace vantile {

// Global input on Wayland, which has no protocol to observe it: pointer positions and moves
// come from the position the compositor shares (the tracker), clicks, wheels and key activity
// from the kernel's input devices. Without access to those devices only the pointer is recorded.
class WaylandInputSource : public InputSource {
public:
    explicit WaylandInputSource(std::shared_ptr<PointerTracker> pointer,
                                std::filesystem::path inputDirectory = "/dev/input",
                                InputDeviceOpener openDevice = &EvdevDevice::open);
    ~WaylandInputSource() override;

    WaylandInputSource(const WaylandInputSource&) = delete;
    WaylandInputSource& operator=(const WaylandInputSource&) = delete;

    bool install(Handler handler) override;
    void remove() override;
    CodablePoint pointerLocation() override;
    int fileDescriptor() const override { return pollFd_; }
    void dispatchPending() override;

    std::size_t openDeviceCount() const { return devices_.openDeviceCount(); }

private:
    // A button's state with its last change, so a move reported late still learns whether the
    // button was held when it happened.
    struct ButtonState {
        bool held = false;
        bool heldBefore = false;
        PointerTracker::TimePoint changedAt;

        bool heldAt(PointerTracker::TimePoint time) const { return time < changedAt ? heldBefore : held; }
        void set(bool pressed, PointerTracker::TimePoint time);
    };

    void deliver(RawInput input);

    std::shared_ptr<PointerTracker> pointer_;
    InputDeviceSet devices_;
    int pollFd_ = -1;
    Handler handler_;
    ButtonState left_;
    ButtonState right_;
};

}  // namespace vantile
