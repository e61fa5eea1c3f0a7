#pragma once

#include "model/JsonCoding.h"
#include "model/TimeRange.h"

namespace vantile {

inline constexpr double slowestSpeed = 0.25;
inline constexpr double fastestSpeed = 16.0;

// A stretch of the recording played faster or slower than it was recorded: 4 plays it in a
// quarter of its length. Cuts win over it; regions never overlap.
struct SpeedRegion {
    double start = 0;
    double end = 0;
    double speed = 1;

    TimeRange range() const { return {start, end}; }

    UnknownKeys unknownKeys{};

    bool operator==(const SpeedRegion&) const = default;
};

void to_json(Json& json, const SpeedRegion& region);
// Refuses a speed outside slowestSpeed–fastestSpeed or an empty stretch.
void decodeValue(const Json& json, SpeedRegion& region);

}  // namespace vantile
