#include "engine/RecordingDurationFormatter.h"

#include <cinttypes>
#include <cmath>
#include <cstdint>
#include <cstdio>

namespace vantile::RecordingDurationFormatter {

std::string formatDuration(double seconds)
{
    // Outside the 64-bit range (or NaN) there is no clock to show; treat it as nothing elapsed.
    std::int64_t whole = 0;
    if (std::isfinite(seconds) && seconds > 0 && seconds < 9.2e18) whole = static_cast<std::int64_t>(seconds);
    char text[48];
    std::snprintf(text, sizeof text, "%02" PRId64 ":%02" PRId64, whole / 60, whole % 60);
    return text;
}

}  // namespace vantile::RecordingDurationFormatter
