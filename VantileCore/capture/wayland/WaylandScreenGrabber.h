#pragma once

#include "capture/ScreenGrabber.h"
#include "capture/wayland/PipeWireStream.h"

#include <memory>

namespace vantile {

// Hands the newest picture of a screen-cast stream to the recording's capture clock; between
// pictures (nothing changed on screen) it hands the last one again.
class WaylandScreenGrabber : public ScreenGrabber {
public:
    explicit WaylandScreenGrabber(std::shared_ptr<PipeWireStream> stream) : stream_(std::move(stream)) {}

    // Throws RecordingError::sourceUnavailable once the stream ended (revoked, window closed).
    GrabbedImage grab() override;

private:
    std::shared_ptr<PipeWireStream> stream_;
    StreamPicture picture_;
};

}  // namespace vantile
