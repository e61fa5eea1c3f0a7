#include "capture/wayland/KeyboardLayout.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

namespace vantile {

namespace {

std::string environmentValue(const char* name)
{
    const char* value = std::getenv(name);
    return value && isKeyboardLayoutName(value) ? value : "";
}

}  // namespace

KeyboardLayout KeyboardLayout::fromEnvironment()
{
    return {.rules = environmentValue("XKB_DEFAULT_RULES"),
            .model = environmentValue("XKB_DEFAULT_MODEL"),
            .layout = environmentValue("XKB_DEFAULT_LAYOUT"),
            .variant = environmentValue("XKB_DEFAULT_VARIANT"),
            .options = environmentValue("XKB_DEFAULT_OPTIONS")};
}

bool isKeyboardLayoutName(const std::string& name)
{
    constexpr std::size_t longest = 100;
    return name.size() <= longest && std::ranges::all_of(name, [](char character) {
               return std::isalnum(static_cast<unsigned char>(character)) || character == '_' || character == '-' ||
                      character == ',' || character == ':' || character == '+';
           });
}

}  // namespace vantile
