#include "model/CameraRecording.h"

#include <cmath>

namespace vantile {

void to_json(Json& json, const CameraRecording& camera)
{
    json = Json{
        {"path", camera.path},
        {"width", camera.width},
        {"height", camera.height},
        {"fps", camera.fps},
        {"startOffset", camera.startOffset},
    };
    encodeUnknownKeys(json, camera.unknownKeys);
}

void decodeValue(const Json& json, CameraRecording& camera)
{
    requireObject(json);
    camera = CameraRecording{};
    decodeKey(json, "path", camera.path);
    decodeKey(json, "width", camera.width);
    decodeKey(json, "height", camera.height);
    decodeKeyOrKeep(json, "fps", camera.fps);
    decodeKey(json, "startOffset", camera.startOffset);
    camera.unknownKeys = unknownKeysOf(json, {"path", "width", "height", "fps", "startOffset"});

    if (camera.path.empty()) throw DecodingError("path", "must name a movie");
    // H.264 in 4:2:0 needs even sides; cameras are recorded at 1280x720 at most, older ones larger.
    const auto requireSide = [](const char* key, std::int64_t length) {
        if (length <= 0 || length % 2 != 0 || length > 4096) {
            throw DecodingError(key, "must be an even number between 2 and 4096");
        }
    };
    requireSide("width", camera.width);
    requireSide("height", camera.height);
    if (camera.fps < 1 || camera.fps > 240) throw DecodingError("fps", "must be between 1 and 240");
    if (!std::isfinite(camera.startOffset) || camera.startOffset < 0) {
        throw DecodingError("startOffset", "must be a number of seconds, 0 or more");
    }
}

}  // namespace vantile
