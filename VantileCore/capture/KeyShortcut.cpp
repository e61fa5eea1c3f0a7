#include "capture/KeyShortcut.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

namespace vantile {

namespace {

constexpr std::uint32_t keysymF1 = 0xffbe;
constexpr int functionKeys = 35;

constexpr std::array<std::pair<const char*, std::uint32_t>, 11> namedKeys{{
    {"Space", 0x0020},
    {"Escape", 0xff1b},
    {"Pause", 0xff13},
    {"Print", 0xff61},
    {"Insert", 0xff63},
    {"Delete", 0xffff},
    {"Home", 0xff50},
    {"End", 0xff57},
    {"PageUp", 0xff55},
    {"PageDown", 0xff56},
    {"ScrollLock", 0xff14},
}};

std::string lowered(std::string text)
{
    std::ranges::transform(text, text.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    return text;
}

std::optional<std::uint32_t> keysymOf(const std::string& name)
{
    const std::string key = lowered(name);
    if (key.size() == 1 && std::isalnum(static_cast<unsigned char>(key[0]))) return std::uint32_t(key[0]);
    if (key.size() >= 2 && key[0] == 'f' && std::ranges::all_of(key.substr(1), ::isdigit) && key.size() <= 3) {
        const int number = std::stoi(key.substr(1));
        if (number >= 1 && number <= functionKeys) return keysymF1 + std::uint32_t(number - 1);
        return std::nullopt;
    }
    for (const auto& [keyName, keysym] : namedKeys) {
        if (lowered(keyName) == key) return keysym;
    }
    return std::nullopt;
}

}  // namespace

std::optional<KeyShortcut> parseKeyShortcut(const std::string& text)
{
    KeyShortcut shortcut;
    std::optional<std::uint32_t> key;
    std::size_t begin = 0;
    while (begin <= text.size()) {
        const std::size_t end = std::min(text.find('+', begin), text.size());
        std::string part = text.substr(begin, end - begin);
        part.erase(0, part.find_first_not_of(' '));
        part.erase(part.find_last_not_of(' ') + 1);
        begin = end + 1;
        const std::string name = lowered(part);
        // The key comes last; anything after it is not a shortcut.
        if (key) return std::nullopt;
        if (name == "ctrl" || name == "control") shortcut.control = true;
        else if (name == "shift") shortcut.shift = true;
        else if (name == "alt") shortcut.alt = true;
        else if (name == "super" || name == "meta") shortcut.super = true;
        else if (!(key = keysymOf(part))) return std::nullopt;
    }
    if (!key) return std::nullopt;
    shortcut.keysym = *key;
    return shortcut;
}

std::string describeKeyShortcut(const KeyShortcut& shortcut)
{
    std::string text;
    if (shortcut.control) text += "Ctrl+";
    if (shortcut.shift) text += "Shift+";
    if (shortcut.alt) text += "Alt+";
    if (shortcut.super) text += "Super+";
    if (shortcut.keysym >= keysymF1 && shortcut.keysym < keysymF1 + functionKeys)
        return text + "F" + std::to_string(shortcut.keysym - keysymF1 + 1);
    for (const auto& [name, keysym] : namedKeys) {
        if (keysym == shortcut.keysym) return text + name;
    }
    return text + char(std::toupper(static_cast<int>(shortcut.keysym)));
}

std::string portalTrigger(const KeyShortcut& shortcut)
{
    // XKB names the named keys in its own way; letters are the unshifted keysyms.
    static constexpr std::array<std::pair<std::uint32_t, const char*>, 4> xkbNames{{
        {0x0020, "space"}, {0xff55, "Page_Up"}, {0xff56, "Page_Down"}, {0xff14, "Scroll_Lock"}}};
    std::string text;
    if (shortcut.control) text += "CTRL+";
    if (shortcut.shift) text += "SHIFT+";
    if (shortcut.alt) text += "ALT+";
    if (shortcut.super) text += "LOGO+";
    for (const auto& [keysym, name] : xkbNames) {
        if (keysym == shortcut.keysym) return text + name;
    }
    const std::string described = describeKeyShortcut({.keysym = shortcut.keysym});
    if (described.size() == 1) return text + char(std::tolower(static_cast<unsigned char>(described[0])));
    return text + described;
}

}  // namespace vantile
