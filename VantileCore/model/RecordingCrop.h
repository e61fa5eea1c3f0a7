#pragma once

#include "model/JsonCoding.h"

#include <cstdint>

namespace vantile {

// The part of the recording that is kept, in raw-video pixels. Every side is even, so the
// cropped picture's chroma samples stay whole.
struct RecordingCrop {
    std::int64_t x = 0;
    std::int64_t y = 0;
    std::int64_t width = 0;
    std::int64_t height = 0;

    UnknownKeys unknownKeys{};

    bool operator==(const RecordingCrop&) const = default;
};

// The smallest side a crop may have; a smaller picture has nothing left to zoom into.
inline constexpr std::int64_t smallestCropSide = 64;

void to_json(Json& json, const RecordingCrop& crop);
// Refuses odd or negative values and sides under smallestCropSide; whether the crop fits the
// recording is the project's check.
void decodeValue(const Json& json, RecordingCrop& crop);

}  // namespace vantile
