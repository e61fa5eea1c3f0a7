#pragma once

#include "capture/ScreenGrabber.h"
#include "capture/x11/X11Connection.h"
#include "capture/x11/X11SharedImage.h"
#include "model/Geometry.h"

#include <optional>
#include <string>

namespace vantile {

// Grabs a monitor's rectangle of the root window through MIT-SHM.
class X11DisplayGrabber : public ScreenGrabber {
public:
    X11DisplayGrabber(const std::optional<std::string>& displayName, const CGRectCodable& area);

    GrabbedImage grab() override;

private:
    X11Connection connection_;
    CGRectCodable area_;
    X11SharedImage image_;
};

}  // namespace vantile
