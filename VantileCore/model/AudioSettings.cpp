#include "model/AudioSettings.h"

namespace vantile {

void to_json(Json& json, const AudioCaptureSettings& settings)
{
    json = Json{{"mode", settings.mode}};
    encodeOptionalKey(json, "microphoneDeviceID", settings.microphoneDeviceID);
    encodeUnknownKeys(json, settings.unknownKeys);
}

void decodeValue(const Json& json, AudioCaptureSettings& settings)
{
    requireObject(json);
    decodeKey(json, "mode", settings.mode);
    decodeOptionalKey(json, "microphoneDeviceID", settings.microphoneDeviceID);
    settings.unknownKeys = unknownKeysOf(json, {"mode", "microphoneDeviceID"});
}

void to_json(Json& json, const AudioInputDevice& device)
{
    json = Json{{"id", device.id}, {"name", device.name}};
}

void decodeValue(const Json& json, AudioInputDevice& device)
{
    requireObject(json);
    decodeKey(json, "id", device.id);
    decodeKey(json, "name", device.name);
}

}  // namespace vantile
