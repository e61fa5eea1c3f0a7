#include "capture/ShortcutChord.h"

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

}  // namespace vantile
