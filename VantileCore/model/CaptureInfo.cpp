#include "model/CaptureInfo.h"

namespace vantile {

void to_json(Json& json, const CaptureInfo& info)
{
    json = Json{{"sourceType", info.sourceType}, {"region", info.region}, {"scaleFactor", info.scaleFactor}};
    encodeOptionalKey(json, "displayId", info.displayId);
    encodeOptionalKey(json, "windowId", info.windowId);
    encodeOptionalKey(json, "appName", info.appName);
    encodeOptionalKey(json, "windowTitle", info.windowTitle);
    encodeUnknownKeys(json, info.unknownKeys);
}

void decodeValue(const Json& json, CaptureInfo& info)
{
    requireObject(json);
    decodeKey(json, "sourceType", info.sourceType);
    decodeOptionalKey(json, "displayId", info.displayId);
    decodeOptionalKey(json, "windowId", info.windowId);
    decodeOptionalKey(json, "appName", info.appName);
    decodeOptionalKey(json, "windowTitle", info.windowTitle);
    decodeKey(json, "region", info.region);
    decodeKey(json, "scaleFactor", info.scaleFactor);
    info.unknownKeys = unknownKeysOf(json, {"sourceType", "displayId", "windowId", "appName", "windowTitle", "region", "scaleFactor"});
}

void to_json(Json& json, const VideoInfo& info)
{
    json = Json{{"path", info.path}, {"width", info.width}, {"height", info.height}, {"fps", info.fps}};
    encodeUnknownKeys(json, info.unknownKeys);
}

void decodeValue(const Json& json, VideoInfo& info)
{
    requireObject(json);
    decodeKey(json, "path", info.path);
    decodeKey(json, "width", info.width);
    decodeKey(json, "height", info.height);
    decodeKey(json, "fps", info.fps);
    info.unknownKeys = unknownKeysOf(json, {"path", "width", "height", "fps"});
}

}  // namespace vantile
