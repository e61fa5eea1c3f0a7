#pragma once

#include "capture/InputSource.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <set>
#include <vector>

namespace vantile {

// Leaves the stop shortcut's own key presses out of the input log, so stopping with it does not end
// the take in a burst of typing. Presses of the shortcut's modifier keys are held back until it is
// clear what they belong to: the shortcut's key drops them with it; any other key, a button, or
// the modifier's release hands them on with the time they were pressed. Keys are X keycodes, seen
// only here and never passed on.
class ShortcutKeyFilter {
public:
    using Deliver = std::function<void(const RawInput&)>;
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    struct Modifier {
        std::uint8_t keycode = 0;
        std::uint16_t mask = 0;  // the modifier bit the key sets (Shift, Control, Mod1, Mod4)

        bool operator==(const Modifier&) const = default;
    };

    ShortcutKeyFilter() = default;
    // `shortcutKeys`: the keycodes of the shortcut's key; `modifiers`: the keys that set the bits of
    // `requiredMask`, the shortcut's modifiers.
    ShortcutKeyFilter(std::vector<std::uint8_t> shortcutKeys, std::vector<Modifier> modifiers,
                      std::uint16_t requiredMask, Clock clock = nullptr);

    void keyPressed(std::uint8_t keycode, const Deliver& deliver);
    void keyReleased(std::uint8_t keycode, const Deliver& deliver);
    // A pointer button or wheel: modifiers held for it (Shift+click) are the user's.
    void flush(const Deliver& deliver);
    void reset();

private:
    const Modifier* modifierOf(std::uint8_t keycode) const;
    std::uint16_t heldMask() const;

    std::vector<std::uint8_t> shortcutKeys_;
    std::vector<Modifier> modifiers_;
    std::uint16_t requiredMask_ = 0;
    Clock clock_;
    std::set<std::uint8_t> heldModifiers_;
    struct HeldBack {
        std::uint8_t keycode;
        RawInput press;
    };
    std::vector<HeldBack> heldBack_;
    // Keys whose press went with the shortcut: their releases go too.
    std::set<std::uint8_t> swallowed_;
};

}  // namespace vantile
