#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vantile {

struct RGBAColor {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 1;

    static RGBAColor fromHex(std::uint32_t hex, double alpha = 1.0);
    // "#RRGGBB" (either case); nothing for any other text.
    static std::optional<RGBAColor> fromHexText(std::string_view text);
    // "#RRGGBB" of the nearest 8-bit colour; alpha is left out.
    std::string hexText() const;

    bool operator==(const RGBAColor&) const = default;
};

}  // namespace vantile
