#include "capture/x11/X11SharedImage.h"

#include "capture/RecordingError.h"

#include <sys/ipc.h>
#include <sys/shm.h>

namespace vantile {

X11SharedImage::X11SharedImage(const X11Connection& connection, std::size_t capacity)
    : connection_(connection), capacity_(capacity)
{
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(connection_.get(), &xcb_shm_id);
    if (!extension || !extension->present) throw RecordingError::captureStartFailed("the X server lacks MIT-SHM");
    shmId_ = shmget(IPC_PRIVATE, capacity_, IPC_CREAT | 0600);
    if (shmId_ < 0) throw RecordingError::captureStartFailed("no shared memory for screen capture");
    void* address = shmat(shmId_, nullptr, 0);
    if (address == reinterpret_cast<void*>(-1)) {
        shmctl(shmId_, IPC_RMID, nullptr);
        throw RecordingError::captureStartFailed("cannot map shared memory for screen capture");
    }
    memory_ = static_cast<std::uint8_t*>(address);
    segment_ = xcb_generate_id(connection_.get());
    attached_ = !connection_.failed(xcb_shm_attach_checked(connection_.get(), segment_, shmId_, 0));
    // Marked for removal now, so a killed process leaves no segment behind.
    shmctl(shmId_, IPC_RMID, nullptr);
    if (!attached_) {
        shmdt(memory_);
        throw RecordingError::captureStartFailed("the X server cannot share memory with this process");
    }
}

X11SharedImage::~X11SharedImage()
{
    if (attached_) {
        xcb_shm_detach(connection_.get(), segment_);
        xcb_flush(connection_.get());
    }
    shmdt(memory_);
}

bool X11SharedImage::read(xcb_drawable_t drawable, int x, int y, int width, int height, GrabbedImage& image)
{
    const std::size_t needed = static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4;
    if (needed > capacity_ || width <= 0 || height <= 0) return false;
    xcb_generic_error_t* rawError = nullptr;
    const XcbReply<xcb_shm_get_image_reply_t> reply(xcb_shm_get_image_reply(
        connection_.get(),
        xcb_shm_get_image(connection_.get(), drawable, static_cast<std::int16_t>(x), static_cast<std::int16_t>(y),
                          static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height), ~0u,
                          XCB_IMAGE_FORMAT_Z_PIXMAP, segment_, 0),
        &rawError));
    const XcbReply<xcb_generic_error_t> error(rawError);
    if (!reply || error) return false;
    image = {memory_, width, height, width * 4};
    return true;
}

}  // namespace vantile
