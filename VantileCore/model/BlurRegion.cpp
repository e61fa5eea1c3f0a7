#include "model/BlurRegion.h"

#include <cmath>

namespace vantile {

void to_json(Json& json, const BlurRegion& region)
{
    json = Json{{"start", region.start}, {"end", region.end},       {"x", region.x},
                {"y", region.y},         {"width", region.width},   {"height", region.height},
                {"style", region.style}};
    encodeUnknownKeys(json, region.unknownKeys);
}

void decodeValue(const Json& json, BlurRegion& region)
{
    requireObject(json);
    region = BlurRegion{};
    decodeKey(json, "start", region.start);
    decodeKey(json, "end", region.end);
    decodeKey(json, "x", region.x);
    decodeKey(json, "y", region.y);
    decodeKey(json, "width", region.width);
    decodeKey(json, "height", region.height);
    decodeKeyOrKeep(json, "style", region.style);
    region.unknownKeys = unknownKeysOf(json, {"start", "end", "x", "y", "width", "height", "style"});

    if (!std::isfinite(region.start) || region.start < 0) throw DecodingError("start", "must be 0 or more seconds");
    if (!std::isfinite(region.end) || !(region.end > region.start)) {
        throw DecodingError("end", "must come after start");
    }
    if (!std::isfinite(region.x) || !std::isfinite(region.y)) throw DecodingError("x", "must be a finite number");
    if (!std::isfinite(region.width) || !(region.width > 0)) throw DecodingError("width", "must be greater than 0");
    if (!std::isfinite(region.height) || !(region.height > 0)) throw DecodingError("height", "must be greater than 0");
}

}  // namespace vantile
