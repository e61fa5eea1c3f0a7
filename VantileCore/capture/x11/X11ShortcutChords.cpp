#include "capture/x11/X11ShortcutChords.h"

#include <xcb/xproto.h>

#include <algorithm>
#include <array>

namespace vantile {

namespace {

struct NamedKey {
    std::uint32_t keysym;
    const char* name;
};

constexpr std::array<NamedKey, 22> namedKeys{{
    {0x0020, "Space"},  {0xff09, "Tab"},     {0xfe20, "Tab"},    {0xff0d, "Enter"},  {0xff8d, "Enter"},
    {0xff1b, "Esc"},    {0xff08, "Backspace"}, {0xffff, "Delete"}, {0xff63, "Insert"}, {0xff50, "Home"},
    {0xff57, "End"},    {0xff55, "PageUp"},  {0xff56, "PageDown"}, {0xff51, "←"},     {0xff52, "↑"},
    {0xff53, "→"},      {0xff54, "↓"},       {0xff61, "Print"},  {0xff13, "Pause"},  {0xff14, "ScrollLock"},
    {0xff67, "Menu"},   {0xff6b, "Break"},
}};

}  // namespace

std::string keyNameOfKeysym(std::uint32_t keysym)
{
    if (keysym >= 'a' && keysym <= 'z') return std::string(1, static_cast<char>(keysym - 'a' + 'A'));
    // Digits and the printable ASCII punctuation name themselves.
    if (keysym > 0x20 && keysym < 0x7f && !(keysym >= 'A' && keysym <= 'Z')) {
        return std::string(1, static_cast<char>(keysym));
    }
    if (keysym >= 0xffbe && keysym <= 0xffd5) return "F" + std::to_string(keysym - 0xffbe + 1);
    const auto named = std::ranges::find(namedKeys, keysym, &NamedKey::keysym);
    return named == namedKeys.end() ? std::string() : named->name;
}

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
