#include "model/SpeedRegion.h"

namespace vantile {

void to_json(Json& json, const SpeedRegion& region)
{
    json = Json{{"start", region.start}, {"end", region.end}, {"speed", region.speed}};
    encodeUnknownKeys(json, region.unknownKeys);
}

void decodeValue(const Json& json, SpeedRegion& region)
{
    requireObject(json);
    decodeKey(json, "start", region.start);
    decodeKey(json, "end", region.end);
    decodeKey(json, "speed", region.speed);
    if (!(region.start >= 0 && region.start < region.end)) {
        throw DecodingError("end", "a speed region must end after it starts");
    }
    if (!(region.speed >= slowestSpeed && region.speed <= fastestSpeed)) {
        throw DecodingError("speed", "must be between 0.25 and 16");
    }
    region.unknownKeys = unknownKeysOf(json, {"start", "end", "speed"});
}

}  // namespace vantile
