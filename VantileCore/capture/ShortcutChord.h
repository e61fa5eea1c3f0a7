#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vantile {

// The modifiers held when a key goes down.
struct ChordModifiers {
    bool control = false;
    bool alt = false;
    bool super = false;
    bool shift = false;

    bool operator==(const ChordModifiers&) const = default;
};

// The name of a key chord as its badge shows it, "Ctrl+Shift+P", when Ctrl, Alt or Super is held
// and `keyName` names a key that is not itself a modifier. Plain keys and Shift with a key are
// typing and get no name, so nothing of what was typed is kept.
std::optional<std::string> shortcutChord(const ChordModifiers& held, std::string_view keyName);

// Whether `chord` is a name shortcutChord() gives for a key that keyNameOfKeysym() names: what a
// reader of names from elsewhere accepts.
bool isShortcutChordName(std::string_view chord);

}  // namespace vantile
