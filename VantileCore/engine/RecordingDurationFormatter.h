#pragma once

#include <string>

namespace vantile::RecordingDurationFormatter {

// The longest recording the application allows, in seconds.
inline constexpr double maximumRecordingDuration = 600.0;

// "mm:ss" of the whole seconds (negatives, infinities and NaN as 0); minutes grow past two digits.
std::string formatDuration(double seconds);

bool hasReachedMax(double elapsed, double maxDuration = maximumRecordingDuration);
double remaining(double elapsed, double maxDuration = maximumRecordingDuration);
double clampToMax(double elapsed, double maxDuration = maximumRecordingDuration);

}  // namespace vantile::RecordingDurationFormatter
