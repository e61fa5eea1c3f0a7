#pragma once

#include "capture/ScreenGrabber.h"
#include "capture/x11/X11Connection.h"

#include <xcb/shm.h>

#include <cstddef>

namespace vantile {

// A MIT-SHM segment shared with the X server, kept for the whole session so each grab is
// one request and no copy through the socket.
class X11SharedImage {
public:
    X11SharedImage(const X11Connection& connection, std::size_t capacity);
    ~X11SharedImage();

    X11SharedImage(const X11SharedImage&) = delete;
    X11SharedImage& operator=(const X11SharedImage&) = delete;

    std::size_t capacity() const { return capacity_; }

    // Reads a rectangle of a drawable; false when the server refuses (drawable gone, area outside).
    bool read(xcb_drawable_t drawable, int x, int y, int width, int height, GrabbedImage& image);

private:
    const X11Connection& connection_;
    std::size_t capacity_;
    int shmId_ = -1;
    std::uint8_t* memory_ = nullptr;
    xcb_shm_seg_t segment_ = 0;
    bool attached_ = false;
};

}  // namespace vantile
