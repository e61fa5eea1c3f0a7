#pragma once

#include <string>

namespace vantile::RecordingDurationFormatter {

// "mm:ss" of the whole seconds (negatives, infinities and NaN as 0); minutes grow past two digits.
std::string formatDuration(double seconds);

}  // namespace vantile::RecordingDurationFormatter
