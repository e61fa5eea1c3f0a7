#include "model/RGBAColor.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace vantile {

RGBAColor RGBAColor::fromHex(std::uint32_t hex, double alpha)
{
    return {((hex >> 16) & 0xFF) / 255.0, ((hex >> 8) & 0xFF) / 255.0, (hex & 0xFF) / 255.0, alpha};
}

std::optional<RGBAColor> RGBAColor::fromHexText(std::string_view text)
{
    if (text.size() != 7 || text[0] != '#') return std::nullopt;
    std::uint32_t hex = 0;
    for (const char digit : text.substr(1)) {
        int value = 0;
        if (digit >= '0' && digit <= '9') value = digit - '0';
        else if (digit >= 'a' && digit <= 'f') value = digit - 'a' + 10;
        else if (digit >= 'A' && digit <= 'F') value = digit - 'A' + 10;
        else return std::nullopt;
        hex = hex * 16 + static_cast<std::uint32_t>(value);
    }
    return fromHex(hex);
}

std::string RGBAColor::hexText() const
{
    const auto byte = [](double channel) { return static_cast<int>(std::lround(std::clamp(channel, 0.0, 1.0) * 255)); };
    char text[8];
    std::snprintf(text, sizeof text, "#%02X%02X%02X", byte(red), byte(green), byte(blue));
    return text;
}

}  // namespace vantile
