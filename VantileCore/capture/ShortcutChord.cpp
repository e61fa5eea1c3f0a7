#include "capture/ShortcutChord.h"

#include "capture/KeysymName.h"

#include <array>

namespace vantile {

std::optional<std::string> shortcutChord(const ChordModifiers& held, std::string_view keyName)
{
    if (!(held.control || held.alt || held.super) || keyName.empty()) return std::nullopt;
    std::string chord;
    if (held.control) chord += "Ctrl+";
    if (held.alt) chord += "Alt+";
    if (held.super) chord += "Super+";
    if (held.shift) chord += "Shift+";
    return chord.append(keyName);
}

bool isShortcutChordName(std::string_view chord)
{
    // The modifiers in shortcutChord()'s order, each at most once.
    constexpr std::array<std::string_view, 4> prefixes{"Ctrl+", "Alt+", "Super+", "Shift+"};
    ChordModifiers held;
    std::array<bool*, 4> flags{&held.control, &held.alt, &held.super, &held.shift};
    for (std::size_t index = 0; index < prefixes.size(); ++index) {
        if (!chord.starts_with(prefixes[index])) continue;
        *flags[index] = true;
        chord.remove_prefix(prefixes[index].size());
    }
    return (held.control || held.alt || held.super) && isKeysymKeyName(chord);
}

}  // namespace vantile
