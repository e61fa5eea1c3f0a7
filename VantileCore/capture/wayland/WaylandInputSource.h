#pragma once

#include "capture/InputSource.h"
#include "capture/wayland/EvdevDevice.h"
#include "capture/wayland/InputDeviceSet.h"
#include "capture/wayland/PointerTracker.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace vantile {

// Global input on Wayland, which has no protocol to observe it: pointer positions and moves
// come from the position the compositor shares (the tracker), clicks, wheels and key activity
// from the kernel's input devices. Without access to those devices only the pointer is recorded.
class WaylandInputSource : public InputSource {
public:
    // The compositor shares pointer positions this much later than the kernel reports clicks.
    // Device input waits at most this long for the position at its time, so that it is told in
    // time order with the moves around it.
    static constexpr std::chrono::milliseconds pointerLatency{150};

    explicit WaylandInputSource(std::shared_ptr<PointerTracker> pointer,
                                std::filesystem::path inputDirectory = "/dev/input",
                                InputDeviceOpener openDevice = &EvdevDevice::open);
    // Clicks, wheels and key activity from elsewhere, such as the privileged helper.
    WaylandInputSource(std::shared_ptr<PointerTracker> pointer, std::unique_ptr<InputActivitySource> activity);
    ~WaylandInputSource() override;

    WaylandInputSource(const WaylandInputSource&) = delete;
    WaylandInputSource& operator=(const WaylandInputSource&) = delete;

    bool install(Handler handler) override;
    void remove() override;
    CodablePoint pointerLocation() override;
    int fileDescriptor() const override { return pollFd_; }
    void dispatchPending() override;
    // Chords are named in the layout the environment gives (KeyboardLayout::fromEnvironment), by
    // this process's decoders or by the helper; from the next install() on.
    void recordShortcuts(bool enabled) override;
    // The stop shortcut's own chord gets no badge; its presses stay typing activity, since the
    // kernel's devices cannot tell them from others.
    void leaveOutShortcut(const KeyShortcut& shortcut) override;

    // The devices read by this process itself; none when another source reads them.
    std::size_t openDeviceCount() const { return deviceSet_ ? deviceSet_->openDeviceCount() : 0; }

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

    // Delivers in time order what happened up to the pointer's latest time, or longer ago than
    // the latency; everything when `all`.
    void release(bool all);
    void deliver(RawInput input);
    void armTimer();

    std::shared_ptr<PointerTracker> pointer_;
    std::unique_ptr<InputActivitySource> activity_;
    InputDeviceSet* deviceSet_ = nullptr;  // activity_, when this process reads the devices
    int pollFd_ = -1;
    int timerFd_ = -1;  // fires when the oldest waiting input has waited long enough
    Handler handler_;
    std::vector<RawInput> waiting_;  // in time order
    bool flushing_ = false;
    ButtonState left_;
    ButtonState right_;
    std::string stopChord_;  // the chord left out, empty for none
};

}  // namespace vantile
