#include "capture/KeysymName.h"

#include <algorithm>
#include <array>
#include <charconv>

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

constexpr std::uint32_t firstFunctionKey = 0xffbe;  // F1
constexpr int functionKeyCount = 24;

}  // namespace

std::string keyNameOfKeysym(std::uint32_t keysym)
{
    if (keysym >= 'a' && keysym <= 'z') return std::string(1, static_cast<char>(keysym - 'a' + 'A'));
    // Digits and the printable ASCII punctuation name themselves.
    if (keysym > 0x20 && keysym < 0x7f && !(keysym >= 'A' && keysym <= 'Z')) {
        return std::string(1, static_cast<char>(keysym));
    }
    if (keysym >= firstFunctionKey && keysym < firstFunctionKey + functionKeyCount)
        return "F" + std::to_string(keysym - firstFunctionKey + 1);
    const auto named = std::ranges::find(namedKeys, keysym, &NamedKey::keysym);
    return named == namedKeys.end() ? std::string() : named->name;
}

bool isKeysymKeyName(std::string_view name)
{
    // Letters come out upper-case, every other printable ASCII character as itself.
    if (name.size() == 1) return name[0] > 0x20 && name[0] < 0x7f && !(name[0] >= 'a' && name[0] <= 'z');
    if (name.size() >= 2 && name.size() <= 3 && name[0] == 'F' && name[1] != '0') {
        int number = 0;
        const auto [end, error] = std::from_chars(name.data() + 1, name.data() + name.size(), number);
        if (error == std::errc() && end == name.data() + name.size()) return number >= 1 && number <= functionKeyCount;
    }
    return std::ranges::any_of(namedKeys, [&](const NamedKey& key) { return name == key.name; });
}

}  // namespace vantile
