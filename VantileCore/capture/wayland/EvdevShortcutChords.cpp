#include "capture/wayland/EvdevShortcutChords.h"

#include "capture/ShortcutChord.h"

#include <algorithm>

namespace vantile {

std::optional<std::string> EvdevShortcutChords::keyChanged(unsigned code, int value)
{
    using Modifier = EvdevKeymap::Modifier;
    if (value == 0) {
        std::erase_if(held_, [&](const HeldModifier& held) { return held.code == code; });
        return std::nullopt;
    }
    if (value != 1) return std::nullopt;
    const Modifier modifier = keymap_->modifierOf(code);
    if (modifier != Modifier::none) {
        if (std::ranges::find(held_, code, &HeldModifier::code) == held_.end()) held_.push_back({code, modifier});
        return std::nullopt;
    }
    const auto holds = [&](Modifier wanted) { return std::ranges::find(held_, wanted, &HeldModifier::modifier) != held_.end(); };
    const ChordModifiers chord{.control = holds(Modifier::control),
                               .alt = holds(Modifier::alt),
                               .super = holds(Modifier::super),
                               .shift = holds(Modifier::shift)};
    // Typing (no Ctrl, Alt or Super) leaves here before the key's name is looked up.
    if (!(chord.control || chord.alt || chord.super)) return std::nullopt;
    return shortcutChord(chord, keymap_->keyName(code));
}

}  // namespace vantile
