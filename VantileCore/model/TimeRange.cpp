#include "model/TimeRange.h"

namespace vantile {

void to_json(Json& json, const TimeRange& range)
{
    json = Json{{"start", range.start}, {"end", range.end}};
    encodeUnknownKeys(json, range.unknownKeys);
}

void decodeValue(const Json& json, TimeRange& range)
{
    requireObject(json);
    decodeKey(json, "start", range.start);
    decodeKey(json, "end", range.end);
    range.unknownKeys = unknownKeysOf(json, {"start", "end"});
}

}  // namespace vantile
