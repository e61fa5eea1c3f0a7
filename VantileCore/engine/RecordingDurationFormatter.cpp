#include "engine/RecordingDurationFormatter.h"

#include <algorithm>
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

bool hasReachedMax(double elapsed, double maxDuration)
{
    return elapsed >= maxDuration;
}

double remaining(double elapsed, double maxDuration)
{
    return std::max(maxDuration - elapsed, 0.0);
}

double clampToMax(double elapsed, double maxDuration)
{
    return std::max(std::min(elapsed, maxDuration), 0.0);
}

}  // namespace vantile::RecordingDurationFormatter
