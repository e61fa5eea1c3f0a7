#pragma once

#include "capture/KeyShortcut.h"
#include "model/Geometry.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace vantile {

// What a global input monitor reports. Key events carry no key identity on purpose: the
// recorder only learns that a key went down or up.
struct RawInput {
    enum class Kind {
        leftMouseDown,
        leftMouseUp,
        rightMouseDown,
        rightMouseUp,
        mouseMoved,
        leftMouseDragged,
        rightMouseDragged,
        keyDown,
        keyUp,
        scrollWheel,
        // A chord with Ctrl, Alt or Super, named in `keys`; only from sources asked to log them.
        shortcut,
    };

    Kind kind = Kind::mouseMoved;
    double scrollingDeltaX = 0;  // scrollWheel only; up and left are positive
    double scrollingDeltaY = 0;
    std::string keys;  // shortcut only: "Ctrl+Shift+P"
    // Monitors that learn when and where input happened (kernel timestamps, a pointer history)
    // set these; otherwise the recorder takes the time of handling and asks the source where
    // the pointer is. The location is in global screen coordinates.
    std::optional<std::chrono::steady_clock::time_point> time;
    std::optional<CodablePoint> location;

    bool operator==(const RawInput&) const = default;
};

// A global input monitor of one display server. Events are delivered from dispatchPending()
// on the thread that calls it, so the recorder needs no lock.
class InputSource {
public:
    using Handler = std::function<void(const RawInput&)>;

    virtual ~InputSource() = default;

    // Returns false when the display server refuses to deliver global input.
    virtual bool install(Handler handler) = 0;
    virtual void remove() = 0;

    // Global screen coordinates (origin top left, y down, pixels).
    virtual CodablePoint pointerLocation() = 0;

    // A descriptor that becomes readable when events wait, or -1 when there is none.
    virtual int fileDescriptor() const = 0;
    virtual void dispatchPending() = 0;

    // The application's own shortcut (the stop key): its presses are not the user's typing. Sources
    // that cannot tell keys apart ignore it.
    virtual void leaveOutShortcut(const KeyShortcut&) {}
    // Whether key chords with Ctrl, Alt or Super are reported by name (off unless the user asked).
    // Keys without those modifiers are never named. Sources that cannot name keys ignore it.
    virtual void recordShortcuts(bool) {}
};

}  // namespace vantile
