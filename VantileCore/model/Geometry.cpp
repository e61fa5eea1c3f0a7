#include "model/Geometry.h"

namespace vantile {

void to_json(Json& json, const CodablePoint& point)
{
    json = Json{{"x", point.x}, {"y", point.y}};
}

void decodeValue(const Json& json, CodablePoint& point)
{
    requireObject(json);
    decodeKey(json, "x", point.x);
    decodeKey(json, "y", point.y);
}

void to_json(Json& json, const CGRectCodable& rect)
{
    json = Json{{"x", rect.x}, {"y", rect.y}, {"width", rect.width}, {"height", rect.height}};
    encodeUnknownKeys(json, rect.unknownKeys);
}

void decodeValue(const Json& json, CGRectCodable& rect)
{
    requireObject(json);
    decodeKey(json, "x", rect.x);
    decodeKey(json, "y", rect.y);
    decodeKey(json, "width", rect.width);
    decodeKey(json, "height", rect.height);
    rect.unknownKeys = unknownKeysOf(json, {"x", "y", "width", "height"});
}

}  // namespace vantile
