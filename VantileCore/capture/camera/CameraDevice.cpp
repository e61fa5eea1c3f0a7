#include "capture/camera/CameraDevice.h"

namespace vantile {

std::string cameraIdentifier(const std::string& name)
{
    std::string identifier = "camera-";
    for (const char character : name) {
        const bool kept = (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
                          (character >= '0' && character <= '9') || character == '.' || character == '_' ||
                          character == '-';
        identifier += kept ? character : '-';
    }
    return identifier;
}

void to_json(Json& json, const CameraDevice& camera)
{
    Json sizes = Json::array();
    for (const CameraSize& size : camera.sizes) sizes.push_back({{"width", size.width}, {"height", size.height}});
    json = {{"id", camera.id}, {"kind", "camera"}, {"title", camera.title}, {"sizes", sizes}};
}

}  // namespace vantile
