#include "model/CameraBubbleLook.h"

namespace vantile {

CameraBubbleLook CameraBubbleLook::of(const RenderSettings& settings)
{
    return {settings.cameraVisible, settings.cameraPosition, settings.cameraCenterX, settings.cameraCenterY,
            settings.cameraSize,    settings.cameraShape,    settings.cameraMirror,  settings.cameraShadow};
}

RenderSettings CameraBubbleLook::appliedTo(RenderSettings settings) const
{
    settings.cameraVisible = visible;
    settings.cameraPosition = position;
    settings.cameraCenterX = centerX;
    settings.cameraCenterY = centerY;
    settings.cameraSize = size;
    settings.cameraShape = shape;
    settings.cameraMirror = mirror;
    settings.cameraShadow = shadow;
    return settings;
}

}  // namespace vantile
