#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vantile {

// A key with its modifiers, as a user writes it ("Ctrl+Shift+F9"). The key is an X keysym, the
// naming both X11 and the Wayland portals' trigger strings use.
struct KeyShortcut {
    std::uint32_t keysym = 0;
    bool control = false;
    bool shift = false;
    bool alt = false;
    bool super = false;

    bool operator==(const KeyShortcut&) const = default;
};

// Modifiers (Ctrl, Shift, Alt, Super, case-insensitive, also "Control" and "Meta") joined by "+"
// to one key: F1-F35, a letter, a digit, or Space, Escape, Pause, Print, Insert, Delete, Home,
// End, PageUp, PageDown, ScrollLock. Nothing for anything else.
std::optional<KeyShortcut> parseKeyShortcut(const std::string& text);
// The canonical spelling, as the hint and the recording control show it: "Ctrl+Shift+F9".
std::string describeKeyShortcut(const KeyShortcut& shortcut);

// The same shortcut as the desktop portals' preferred triggers spell it: upper-case modifiers
// and the key's XKB name joined by "+" ("CTRL+SHIFT+F9").
std::string portalTrigger(const KeyShortcut& shortcut);

constexpr const char* defaultStopShortcut = "Ctrl+Shift+F9";

}  // namespace vantile
