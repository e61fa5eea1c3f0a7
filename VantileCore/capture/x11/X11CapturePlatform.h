#pragma once

#include "capture/CapturePlatform.h"

namespace vantile {

// Displays and windows of an X server, sound through PulseAudio.
class X11CapturePlatform : public CapturePlatform {
public:
    explicit X11CapturePlatform(std::optional<std::string> displayName = std::nullopt)
        : displayName_(std::move(displayName))
    {
    }

    std::unique_ptr<ScreenGrabber> openGrabber(const CaptureSource& source) override;
    std::unique_ptr<AudioSource> openAudio(AudioSourceKind kind,
                                           const std::optional<std::string>& deviceName) override;

private:
    std::optional<std::string> displayName_;
};

}  // namespace vantile
