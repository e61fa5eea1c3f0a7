#include "capture/CaptureSourceFilter.h"

#include <algorithm>
#include <cmath>

namespace vantile::CaptureSourceFilter {

namespace {

template <std::size_t count>
bool contains(const std::array<std::string_view, count>& names, const std::string& name)
{
    return std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

std::string trimmed(std::string_view text)
{
    constexpr std::string_view whitespace = " \t\n\r\v\f";
    const auto first = text.find_first_not_of(whitespace);
    if (first == std::string_view::npos) return {};
    const auto last = text.find_last_not_of(whitespace);
    return std::string(text.substr(first, last - first + 1));
}

bool shouldIncludeWindow(const std::optional<std::string>& title, const std::optional<std::string>& appName,
                         const CGRectCodable& frame, const std::vector<CGRectCodable>& displayBounds)
{
    const std::string cleanTitle = trimmed(title.value_or(""));
    const std::string cleanAppName = trimmed(appName.value_or(""));
    if (cleanTitle.empty() || cleanAppName.empty()) return false;
    if (frame.width < 240 || frame.height < 140) return false;
    if (contains(blockedAppNames, cleanAppName)) return false;
    if (contains(blockedWindowTitles, cleanTitle) || cleanTitle.starts_with("Wallpaper")) return false;
    if (contains(ownAppNames, cleanAppName)) return false;
    if (cleanTitle != cleanAppName) return true;
    if (cleanAppName != "Finder" && cleanAppName != "访达") return true;
    // The file manager's own-named window as large as a display is the desktop itself.
    return std::none_of(displayBounds.begin(), displayBounds.end(), [&](const CGRectCodable& display) {
        return std::fabs(frame.width - display.width) <= 2 && std::fabs(frame.height - display.height) <= 80;
    });
}

}  // namespace vantile::CaptureSourceFilter
