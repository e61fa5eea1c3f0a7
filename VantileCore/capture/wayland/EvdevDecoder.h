#pragma once

#include "capture/InputSource.h"
#include "capture/wayland/EvdevShortcutChords.h"

#include <linux/input.h>

#include <memory>
#include <optional>
#include <vector>

namespace vantile {

// Turns the event stream of one input device into button, wheel and key activity stamped with
// the events' own times (the monotonic clock once the device reports on it). A key's code is
// looked at only to tell keys from buttons, and, while shortcuts are recorded, by the chord
// namer; it is never kept or passed on.
class EvdevDecoder {
public:
    // With a keymap, chords with Ctrl, Alt or Super are also reported by name (`shortcut`), right
    // after their key's press; nullptr stops that.
    void recordShortcuts(std::shared_ptr<const EvdevKeymap> keymap);

    // Activity is appended when the frame that reported it ends (SYN_REPORT).
    void feed(const input_event& event, std::vector<RawInput>& activity);

    static std::chrono::steady_clock::time_point timeOf(const input_event& event);

private:
    // Wheels that report in 1/120 notches also report whole notches; once an axis is seen in
    // 1/120 notches its whole-notch events are ignored, so nothing counts twice.
    struct WheelAxis {
        bool highResolution = false;
        int remainder = 0;  // 1/120 notches not yet a whole notch
        int wholeNotches = 0;
        int highResolutionUnits = 0;
        bool reportedHighResolution = false;

        int notchesOfFrame();
    };

    void finishFrame(std::vector<RawInput>& activity);
    void button(bool pressed, bool& held, RawInput::Kind down, RawInput::Kind up, const input_event& event);

    std::vector<RawInput> frame_;
    std::size_t wheelSlot_ = 0;  // where in the frame the wheel turned first
    bool wheelTurned_ = false;
    std::chrono::steady_clock::time_point wheelTime_;
    WheelAxis vertical_;
    WheelAxis horizontal_;
    bool leftHeld_ = false;
    bool rightHeld_ = false;
    // As of the last report, to undo the unfinished frame when events are dropped.
    bool leftHeldReported_ = false;
    bool rightHeldReported_ = false;
    bool droppingUntilReport_ = false;
    std::optional<EvdevShortcutChords> chords_;
};

}  // namespace vantile
