#pragma once

#include "model/Geometry.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantile::CaptureSourceFilter {

// Owning applications whose windows are system furniture.
inline constexpr std::array<std::string_view, 11> blockedAppNames{
    "Dock",     "SystemUIServer", "TextInputMenuAgent", "Control Center", "Notification Center", "Spotlight",
    "程序坞", "控制中心",       "通知中心",           "聚焦",           "搜狗输入法",
};

inline constexpr std::array<std::string_view, 9> blockedWindowTitles{
    "Item-0", "Menubar", "Dock", "Desktop", "Sound", "BentoBox", "Siri", "Clock", "WiFi",
};

inline constexpr std::array<std::string_view, 2> ownAppNames{"Vantile", "VantileApp"};

// Whether a window is worth offering for recording.
bool shouldIncludeWindow(const std::optional<std::string>& title, const std::optional<std::string>& appName,
                         const CGRectCodable& frame, const std::vector<CGRectCodable>& displayBounds);

std::string trimmed(std::string_view text);

}  // namespace vantile::CaptureSourceFilter
