#include "model/FocusSegment.h"

namespace vantile {

void to_json(Json& json, const FocusSegment& segment)
{
    json = Json{{"start", segment.start},     {"end", segment.end},         {"type", segment.type},
                {"centerX", segment.centerX}, {"centerY", segment.centerY}, {"scale", segment.scale}};
    // Only when set, so planned segments encode as they always have.
    if (segment.edited) json["edited"] = true;
    encodeUnknownKeys(json, segment.unknownKeys);
}

void decodeValue(const Json& json, FocusSegment& segment)
{
    requireObject(json);
    decodeKey(json, "start", segment.start);
    decodeKey(json, "end", segment.end);
    decodeKey(json, "type", segment.type);
    decodeKey(json, "centerX", segment.centerX);
    decodeKey(json, "centerY", segment.centerY);
    decodeKey(json, "scale", segment.scale);
    decodeKeyOrKeep(json, "edited", segment.edited);
    segment.unknownKeys = unknownKeysOf(json, {"start", "end", "type", "centerX", "centerY", "scale", "edited"});
}

}  // namespace vantile
