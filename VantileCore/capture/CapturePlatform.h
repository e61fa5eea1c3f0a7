#pragma once

#include "capture/AudioSource.h"
#include "capture/ScreenGrabber.h"
#include "model/CaptureSource.h"

#include <memory>
#include <optional>
#include <string>

namespace vantile {

// Opens the live capture of a listed source on one display and sound server.
class CapturePlatform {
public:
    virtual ~CapturePlatform() = default;

    // Finds the live display or window by the source's id; throws
    // RecordingError::sourceUnavailable when it is gone.
    virtual std::unique_ptr<ScreenGrabber> openGrabber(const CaptureSource& source) = 0;
    virtual std::unique_ptr<AudioSource> openAudio(AudioSourceKind kind,
                                                   const std::optional<std::string>& deviceName) = 0;
};

}  // namespace vantile
