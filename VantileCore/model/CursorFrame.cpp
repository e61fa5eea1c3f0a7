#include "model/CursorFrame.h"

namespace vantile {

void to_json(Json& json, const CursorFrame& frame)
{
    json = Json{{"time", frame.time},
                {"x", frame.x},
                {"y", frame.y},
                {"visible", frame.visible},
                {"isClicking", frame.isClicking}};
    encodeUnknownKeys(json, frame.unknownKeys);
}

void decodeValue(const Json& json, CursorFrame& frame)
{
    requireObject(json);
    decodeKey(json, "time", frame.time);
    decodeKey(json, "x", frame.x);
    decodeKey(json, "y", frame.y);
    decodeKey(json, "visible", frame.visible);
    decodeKey(json, "isClicking", frame.isClicking);
    frame.unknownKeys = unknownKeysOf(json, {"time", "x", "y", "visible", "isClicking"});
}

void to_json(Json& json, const CameraKeyframe& keyframe)
{
    json = Json{{"time", keyframe.time},
                {"centerX", keyframe.centerX},
                {"centerY", keyframe.centerY},
                {"scale", keyframe.scale}};
}

void decodeValue(const Json& json, CameraKeyframe& keyframe)
{
    requireObject(json);
    decodeKey(json, "time", keyframe.time);
    decodeKey(json, "centerX", keyframe.centerX);
    decodeKey(json, "centerY", keyframe.centerY);
    decodeKey(json, "scale", keyframe.scale);
}

}  // namespace vantile
