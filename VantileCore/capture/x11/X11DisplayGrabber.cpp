#include "capture/x11/X11DisplayGrabber.h"

#include "capture/RecordingError.h"

namespace vantile {

X11DisplayGrabber::X11DisplayGrabber(const std::optional<std::string>& displayName, const CGRectCodable& area)
    : connection_(displayName),
      area_(area),
      image_(connection_, static_cast<std::size_t>(area.width) * static_cast<std::size_t>(area.height) * 4)
{
    if (connection_.screen()->root_depth != 24 && connection_.screen()->root_depth != 32)
        throw RecordingError::captureStartFailed("only 24- and 32-bit displays can be recorded");
}

GrabbedImage X11DisplayGrabber::grab()
{
    connection_.requireAlive();
    GrabbedImage image;
    // Fails once the monitor's area no longer lies inside the root window (monitor unplugged).
    if (!image_.read(connection_.root(), static_cast<int>(area_.x), static_cast<int>(area_.y),
                     static_cast<int>(area_.width), static_cast<int>(area_.height), image))
        throw RecordingError::sourceUnavailable();
    return image;
}

}  // namespace vantile
