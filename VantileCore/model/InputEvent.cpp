#include "model/InputEvent.h"

namespace vantile {

void to_json(Json& json, const InputEvent& event)
{
    json = Json{{"time", event.time}, {"type", event.type}, {"x", event.x}, {"y", event.y}};
    encodeOptionalKey(json, "deltaX", event.deltaX);
    encodeOptionalKey(json, "deltaY", event.deltaY);
    encodeOptionalKey(json, "button", event.button);
    encodeOptionalKey(json, "keys", event.keys);
    encodeUnknownKeys(json, event.unknownKeys);
}

void decodeValue(const Json& json, InputEvent& event)
{
    requireObject(json);
    decodeKey(json, "time", event.time);
    decodeKey(json, "type", event.type);
    decodeKey(json, "x", event.x);
    decodeKey(json, "y", event.y);
    decodeOptionalKey(json, "deltaX", event.deltaX);
    decodeOptionalKey(json, "deltaY", event.deltaY);
    decodeOptionalKey(json, "button", event.button);
    decodeOptionalKey(json, "keys", event.keys);
    event.unknownKeys = unknownKeysOf(json, {"time", "type", "x", "y", "deltaX", "deltaY", "button", "keys"});
}

}  // namespace vantile
