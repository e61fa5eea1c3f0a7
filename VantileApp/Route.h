#pragma once

#include "model/JsonCoding.h"

namespace vantile {

// The screen the main window shows.
enum class Route { home, permissions, sourcePicker, recording, generating, preview };

inline constexpr EnumTexts<Route, 6> routeTexts{{
    "home", "permissions", "sourcePicker", "recording", "generating", "preview",
}};

}  // namespace vantile
