#include "model/RecordingCrop.h"

#include <string>

namespace vantile {

void to_json(Json& json, const RecordingCrop& crop)
{
    json = Json{{"x", crop.x}, {"y", crop.y}, {"width", crop.width}, {"height", crop.height}};
    encodeUnknownKeys(json, crop.unknownKeys);
}

void decodeValue(const Json& json, RecordingCrop& crop)
{
    requireObject(json);
    crop = RecordingCrop{};
    decodeKey(json, "x", crop.x);
    decodeKey(json, "y", crop.y);
    decodeKey(json, "width", crop.width);
    decodeKey(json, "height", crop.height);
    crop.unknownKeys = unknownKeysOf(json, {"x", "y", "width", "height"});
    const auto requireEven = [](const char* key, std::int64_t value, std::int64_t least) {
        if (value < least || value % 2 != 0) {
            throw DecodingError(key, "must be an even number of at least " + std::to_string(least));
        }
    };
    requireEven("x", crop.x, 0);
    requireEven("y", crop.y, 0);
    requireEven("width", crop.width, smallestCropSide);
    requireEven("height", crop.height, smallestCropSide);
}

}  // namespace vantile
