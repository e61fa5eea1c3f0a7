#include "capture/wayland/WaylandScreenGrabber.h"

#include "capture/RecordingError.h"

namespace vantile {

GrabbedImage WaylandScreenGrabber::grab()
{
    if (stream_->ended()) throw RecordingError::sourceUnavailable();
    stream_->takeNewest(picture_);
    if (picture_.sequence == 0) return {};
    return {picture_.pixels.data(), picture_.width, picture_.height, picture_.width * 4};
}

}  // namespace vantile
