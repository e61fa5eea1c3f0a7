#pragma once

#include "capture/KeysymName.h"
#include "capture/ShortcutChord.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vantile {

// Follows the modifier keys from raw key events and names the chords pressed with Ctrl, Alt or
// Super. A plain key's identity is looked at only while one of those is held.
class X11ShortcutChords {
public:
    X11ShortcutChords() = default;
    // `keysyms`: each keycode's unshifted keysym; `modifiers`: each modifier key with its bit.
    X11ShortcutChords(std::vector<std::uint32_t> keysyms, std::vector<std::pair<std::uint8_t, std::uint16_t>> modifiers);

    // The chord's name when this press makes one.
    std::optional<std::string> keyPressed(std::uint8_t keycode);
    void keyReleased(std::uint8_t keycode);

private:
    std::uint16_t heldMask() const;

    std::vector<std::uint32_t> keysyms_;
    std::vector<std::pair<std::uint8_t, std::uint16_t>> modifiers_;
    std::vector<std::uint8_t> held_;
};

}  // namespace vantile
