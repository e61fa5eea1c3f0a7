#pragma once

#include "model/JsonCoding.h"

namespace vantile {

// One planned interval of the camera, in video pixels.
struct FocusSegment {
    enum class SegmentType { overview, clickFocus, typingFocus, scrollFocus };

    double start = 0;
    double end = 0;
    SegmentType type = SegmentType::overview;
    double centerX = 0;
    double centerY = 0;
    double scale = 1;
    // Made or changed by the user; re-planning keeps it.
    bool edited = false;

    UnknownKeys unknownKeys{};

    bool operator==(const FocusSegment&) const = default;
};

inline constexpr EnumTexts<FocusSegment::SegmentType, 4> segmentTypeTexts{{
    "overview", "clickFocus", "typingFocus", "scrollFocus",
}};
inline const auto& enumTexts(FocusSegment::SegmentType) { return segmentTypeTexts; }
inline void to_json(Json& json, FocusSegment::SegmentType type) { json = segmentTypeTexts.text(type); }

void to_json(Json& json, const FocusSegment& segment);
void decodeValue(const Json& json, FocusSegment& segment);

}  // namespace vantile
