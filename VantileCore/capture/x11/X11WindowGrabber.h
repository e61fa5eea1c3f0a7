#pragma once

#include "capture/ScreenGrabber.h"
#include "capture/x11/X11Connection.h"
#include "capture/x11/X11SharedImage.h"

#include <memory>
#include <optional>
#include <string>

namespace vantile {

// Grabs one window's own contents through Composite, so overlapping windows and moves do
// not matter. The window's pixmap is named again whenever its size changes.
class X11WindowGrabber : public ScreenGrabber {
public:
    X11WindowGrabber(const std::optional<std::string>& displayName, std::uint32_t window);
    ~X11WindowGrabber() override;

    GrabbedImage grab() override;

private:
    void releasePixmap();

    X11Connection connection_;
    xcb_window_t window_;
    xcb_pixmap_t pixmap_ = 0;
    int width_ = 0;
    int height_ = 0;
    std::unique_ptr<X11SharedImage> image_;
    GrabbedImage last_;
};

}  // namespace vantile
