#pragma once

#include "capture/camera/CameraLister.h"
#include "capture/camera/CameraStream.h"

#include <chrono>
#include <memory>
#include <string>

namespace vantile {

// "default" picks the first listed camera.
inline constexpr const char* defaultCameraChoice = "default";

// Finds the chosen camera and starts it, waiting up to `firstPictureTimeout` for its first
// picture so the camera movie can start with the screen's. Throws CameraError.
std::unique_ptr<CameraStream> startChosenCamera(const std::string& choice, CameraLister& lister,
                                                std::chrono::milliseconds firstPictureTimeout = std::chrono::seconds(3));

}  // namespace vantile
