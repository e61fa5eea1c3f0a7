#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vantile {

// The badge name of a key by its unshifted keysym (X11 and xkbcommon share the numbering): "P",
// "7", "F5", "Tab", "Enter", "←", ",". Empty for modifiers and for keys a badge would not name.
std::string keyNameOfKeysym(std::uint32_t keysym);

// Whether keyNameOfKeysym() gives this name for some keysym.
bool isKeysymKeyName(std::string_view name);

}  // namespace vantile
