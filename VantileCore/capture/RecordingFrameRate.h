#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

namespace vantile::RecordingFrameRate {

// The rates a screen can be recorded at: 30 keeps files and CPU small, 60 suits fast motion.
inline constexpr std::int64_t standard = 30;
inline constexpr std::array<std::int64_t, 2> offered = {30, 60};

inline bool isOffered(std::int64_t fps) { return std::ranges::find(offered, fps) != offered.end(); }

}  // namespace vantile::RecordingFrameRate
