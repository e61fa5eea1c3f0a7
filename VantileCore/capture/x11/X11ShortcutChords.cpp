#include "capture/x11/X11ShortcutChords.h"

#include <xcb/xproto.h>

#include <algorithm>

namespace vantile {

X11ShortcutChords::X11ShortcutChords(std::vector<std::uint32_t> keysyms,
                                     std::vector<std::pair<std::uint8_t, std::uint16_t>> modifiers)
    : keysyms_(std::move(keysyms)), modifiers_(std::move(modifiers))
{
}

std::uint16_t X11ShortcutChords::heldMask() const
{
    std::uint16_t mask = 0;
    for (const auto& [keycode, bit] : modifiers_) {
        if (std::ranges::find(held_, keycode) != held_.end()) mask |= bit;
    }
    return mask;
}

std::optional<std::string> X11ShortcutChords::keyPressed(std::uint8_t keycode)
{
    if (std::ranges::find(modifiers_, keycode, &std::pair<std::uint8_t, std::uint16_t>::first) != modifiers_.end()) {
        if (std::ranges::find(held_, keycode) == held_.end()) held_.push_back(keycode);
        return std::nullopt;
    }
    const std::uint16_t mask = heldMask();
    const ChordModifiers held{.control = (mask & XCB_MOD_MASK_CONTROL) != 0,
                              .alt = (mask & XCB_MOD_MASK_1) != 0,
                              .super = (mask & XCB_MOD_MASK_4) != 0,
                              .shift = (mask & XCB_MOD_MASK_SHIFT) != 0};
    // Typing (no Ctrl, Alt or Super) leaves here before the key is looked up.
    if (!(held.control || held.alt || held.super) || keycode >= keysyms_.size()) return std::nullopt;
    return shortcutChord(held, keyNameOfKeysym(keysyms_[keycode]));
}

void X11ShortcutChords::keyReleased(std::uint8_t keycode)
{
    std::erase(held_, keycode);
}

}  // namespace vantile
