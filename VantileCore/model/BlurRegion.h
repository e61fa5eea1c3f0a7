#pragma once

#include "model/JsonCoding.h"

namespace vantile {

// A rectangle of the recording made unreadable for a stretch of time: in raw-video pixels, so it
// stays over the same content whatever the camera does, and in recording seconds.
struct BlurRegion {
    enum class Style { pixelate, blur };

    double start = 0;
    double end = 0;
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    Style style = Style::pixelate;

    UnknownKeys unknownKeys{};

    // Start inclusive, end exclusive, as for cuts.
    bool isActiveAt(double time) const { return time >= start && time < end; }

    bool operator==(const BlurRegion&) const = default;
};

inline constexpr EnumTexts<BlurRegion::Style, 2> blurStyleTexts{{"pixelate", "blur"}};
inline const auto& enumTexts(BlurRegion::Style) { return blurStyleTexts; }
inline void to_json(Json& json, BlurRegion::Style style) { json = blurStyleTexts.text(style); }

void to_json(Json& json, const BlurRegion& region);
// Refuses spans that do not end after they start and rectangles without area; whether the
// region fits the recording is the project's check.
void decodeValue(const Json& json, BlurRegion& region);

}  // namespace vantile
