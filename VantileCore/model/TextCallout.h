#pragma once

#include "model/Geometry.h"
#include "model/JsonCoding.h"

#include <optional>
#include <string>

namespace vantile {

// How a callout looks and where it sits unless placed: a large centred title card, a bar at
// the lower left, or a small pill near the top.
enum class TextCalloutStyle { title, lowerThird, label };

inline constexpr EnumTexts<TextCalloutStyle, 3> textCalloutStyleTexts{{"title", "lowerThird", "label"}};
inline const auto& enumTexts(TextCalloutStyle) { return textCalloutStyleTexts; }

// A caption shown over the output frame from `start` to `end` (recording seconds).
struct TextCallout {
    double start = 0;
    double end = 0;
    std::string text;
    TextCalloutStyle style = TextCalloutStyle::label;
    // The callout's centre as fractions (0-1) of the output frame; absent = the style's own place.
    std::optional<CodablePoint> position;

    UnknownKeys unknownKeys{};

    bool operator==(const TextCallout&) const = default;
};

void to_json(Json& json, const TextCallout& callout);
// Fails on empty text, a span that does not end after it starts, and positions outside 0-1.
void decodeValue(const Json& json, TextCallout& callout);

// The first problem of `callout` on its own (the recording's length aside), as a key and a
// sentence; empty when there is none. Shared by decoding and editing.
struct TextCalloutProblem {
    std::string key;
    std::string problem;
};
std::optional<TextCalloutProblem> textCalloutProblem(const TextCallout& callout);

}  // namespace vantile
