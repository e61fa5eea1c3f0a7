#include "capture/camera/CameraChoice.h"

#include "capture/camera/CameraError.h"

#include <algorithm>

namespace vantile {

std::unique_ptr<CameraStream> startChosenCamera(const std::string& choice, CameraLister& lister,
                                                std::chrono::milliseconds firstPictureTimeout)
{
    const std::vector<CameraDevice> cameras = lister.cameras();
    if (cameras.empty()) {
        if (const auto reason = lister.unavailableReason()) throw CameraError::unavailable(*reason);
        if (choice == defaultCameraChoice) throw CameraError::noCameras();
    }
    const auto found = choice == defaultCameraChoice
                           ? cameras.begin()
                           : std::find_if(cameras.begin(), cameras.end(),
                                          [&](const CameraDevice& camera) { return camera.id == choice; });
    if (found == cameras.end()) throw CameraError::notFound(choice);
    std::unique_ptr<CameraStream> stream = lister.start(*found);
    if (!stream->waitForFirstPicture(firstPictureTimeout)) throw CameraError::noPicture();
    return stream;
}

}  // namespace vantile
