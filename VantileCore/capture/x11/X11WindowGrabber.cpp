#include "capture/x11/X11WindowGrabber.h"

#include "capture/RecordingError.h"

#include <xcb/composite.h>

namespace vantile {

X11WindowGrabber::X11WindowGrabber(const std::optional<std::string>& displayName, std::uint32_t window)
    : connection_(displayName), window_(window)
{
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(connection_.get(), &xcb_composite_id);
    if (!extension || !extension->present)
        throw RecordingError::captureStartFailed("the X server lacks the Composite extension");
    const XcbReply<xcb_composite_query_version_reply_t> version(xcb_composite_query_version_reply(
        connection_.get(), xcb_composite_query_version(connection_.get(), 0, 4), nullptr));
    if (!version) throw RecordingError::captureStartFailed("the X server lacks the Composite extension");
    if (connection_.failed(
            xcb_composite_redirect_window_checked(connection_.get(), window_, XCB_COMPOSITE_REDIRECT_AUTOMATIC)))
        throw RecordingError::sourceUnavailable();
}

X11WindowGrabber::~X11WindowGrabber()
{
    releasePixmap();
    xcb_composite_unredirect_window(connection_.get(), window_, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
    xcb_flush(connection_.get());
}

void X11WindowGrabber::releasePixmap()
{
    if (pixmap_) xcb_free_pixmap(connection_.get(), pixmap_);
    pixmap_ = 0;
}

GrabbedImage X11WindowGrabber::grab()
{
    connection_.requireAlive();
    const XcbReply<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(connection_.get(), xcb_get_geometry(connection_.get(), window_), nullptr));
    if (!geometry) throw RecordingError::sourceUnavailable();
    const int width = geometry->width;
    const int height = geometry->height;
    if (!pixmap_ || width != width_ || height != height_) {
        releasePixmap();
        const xcb_pixmap_t pixmap = xcb_generate_id(connection_.get());
        // An unmapped window has no pixmap; keep showing its last picture until it returns.
        if (connection_.failed(xcb_composite_name_window_pixmap_checked(connection_.get(), window_, pixmap)))
            return last_;
        pixmap_ = pixmap;
        width_ = width;
        height_ = height;
        const std::size_t needed = static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4;
        if (!image_ || image_->capacity() < needed) {
            image_.reset();
            last_ = {};
            image_ = std::make_unique<X11SharedImage>(connection_, needed);
        }
    }
    GrabbedImage image;
    if (!image_->read(pixmap_, 0, 0, width_, height_, image)) {
        releasePixmap();
        return last_;
    }
    last_ = image;
    return image;
}

}  // namespace vantile
