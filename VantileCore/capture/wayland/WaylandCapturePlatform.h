#pragma once

#include "capture/CapturePlatform.h"
#include "capture/wayland/PipeWireStream.h"
#include "capture/wayland/RestoreTokenStore.h"
#include "capture/wayland/ScreenCastPortal.h"

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>

namespace vantile {

// Global screen coordinates of a stream's pointer. A monitor sits at its position in the
// compositor's space; a window's own rectangle is the space of a window recording, since Wayland
// tells no window positions. Stream pixels are scaled to the region's points.
CodablePoint streamPointerToGlobal(const StreamPointer& pointer, const CGRectCodable& region);

// Screen capture through the desktop's screen-cast portal and PipeWire, sound through the
// PulseAudio API (which PipeWire serves too).
class WaylandCapturePlatform : public CapturePlatform {
public:
    using PointerHandler = std::function<void(CodablePoint global, std::chrono::steady_clock::time_point when)>;

    // onPointer runs on the stream's thread.
    WaylandCapturePlatform(RestoreTokenStore tokens, PointerHandler onPointer,
                           std::chrono::milliseconds dialogTimeout = std::chrono::minutes(5));
    ~WaylandCapturePlatform() override;

    CaptureSource prepare(const CaptureSource& source, int fps) override;
    std::unique_ptr<ScreenGrabber> openGrabber(const CaptureSource& source) override;
    std::unique_ptr<AudioSource> openAudio(AudioSourceKind kind,
                                           const std::optional<std::string>& deviceName) override;
    bool cursorInPicture() const override { return cursorInPicture_; }

    // The id of the source whose picture the system dialog chooses.
    static constexpr const char* dialogWindowSourceId = "window-dialog";

private:
    RestoreTokenStore tokens_;
    PointerHandler onPointer_;
    std::chrono::milliseconds dialogTimeout_;
    std::unique_ptr<ScreenCastPortal> portal_;
    std::shared_ptr<PipeWireStream> stream_;
    bool cursorInPicture_ = false;

    std::mutex regionMutex_;
    CGRectCodable region_;
};

}  // namespace vantile
