#pragma once

#include <string>

namespace vantile {

// The XKB rule names (RMLVO) that pick a keyboard layout; empty fields take xkbcommon's
// defaults (the "evdev" rules, a "us" layout).
struct KeyboardLayout {
    std::string rules;
    std::string model;
    std::string layout;
    std::string variant;
    std::string options;

    bool operator==(const KeyboardLayout&) const = default;

    // The layout Wayland compositors and xkbcommon itself take from XKB_DEFAULT_RULES, _MODEL,
    // _LAYOUT, _VARIANT and _OPTIONS (desktopKeyboardLayout() also asks GNOME and KDE).
    static KeyboardLayout fromEnvironment();
};

// Whether `name` can be one field of the names: letters, digits and "_-,:+" only, at most 100
// characters. The privileged helper compiles a keymap from these as root, so no field may
// name a path ("/", "..") or anything but a rule name.
bool isKeyboardLayoutName(const std::string& name);

}  // namespace vantile
