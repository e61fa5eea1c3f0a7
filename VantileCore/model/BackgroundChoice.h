#pragma once

#include "model/JsonCoding.h"
#include "model/RGBAColor.h"

#include <string>

namespace vantile {

// What lies behind the card: the template's own colours, one colour, a picture kept in the
// project, or one of the wallpapers drawn by Vantile itself.
struct BackgroundChoice {
    enum class Kind { templateColors, solid, image, generated };

    static constexpr int generatedCount = 8;
    static constexpr double maximumBlur = 50;

    Kind kind = Kind::templateColors;
    RGBAColor color;        // `solid`
    std::string imagePath;  // `image`: relative to the project folder
    int generatedIndex = 1;  // `generated`: 1 to `generatedCount`
    double blur = 0;         // `image`: the Gaussian's spread in pixels at 1080p, 0 to 50

    static BackgroundChoice solid(RGBAColor color) { return {Kind::solid, color, {}, 1, 0}; }
    static BackgroundChoice image(std::string path, double blur = 0) { return {Kind::image, {}, std::move(path), 1, blur}; }
    static BackgroundChoice generated(int index) { return {Kind::generated, {}, {}, index, 0}; }

    bool operator==(const BackgroundChoice&) const = default;
};

// The choice as the command line names it: "template", "#RRGGBB", "generated-N" or the image's path.
std::string describe(const BackgroundChoice& choice);
// "generated-N" within range gives N.
std::optional<int> generatedIndexOf(std::string_view text);

// Written as at most one of `backgroundColor`, `backgroundImage` or `backgroundGenerated`
// (with `backgroundBlur` beside an image); the template's colours write nothing.
void encodeBackground(Json& settings, const BackgroundChoice& choice);
BackgroundChoice decodeBackground(const Json& settings);

}  // namespace vantile
