#include "capture/wayland/WaylandCapturePlatform.h"

#include "capture/PulseAudioSource.h"
#include "capture/RecordingError.h"
#include "capture/wayland/WaylandScreenGrabber.h"

#include <cmath>

namespace vantile {

namespace {

// A first picture normally comes at once; a compositor that only sends on change may send none
// while the screen is still, and then the portal's own size has to do.
constexpr auto firstPictureTimeout = std::chrono::seconds(3);

}  // namespace

CodablePoint streamPointerToGlobal(const StreamPointer& pointer, const CGRectCodable& region)
{
    double x = pointer.position.x;
    double y = pointer.position.y;
    double width = pointer.streamSize.width;
    double height = pointer.streamSize.height;
    if (pointer.crop) {
        x -= pointer.crop->x;
        y -= pointer.crop->y;
        width = pointer.crop->width;
        height = pointer.crop->height;
    }
    const double scaleX = width > 0 && region.width > 0 ? region.width / width : 1;
    const double scaleY = height > 0 && region.height > 0 ? region.height / height : 1;
    return {region.x + x * scaleX, region.y + y * scaleY};
}

WaylandCapturePlatform::WaylandCapturePlatform(RestoreTokenStore tokens, PointerHandler onPointer,
                                               std::chrono::milliseconds dialogTimeout)
    : tokens_(std::move(tokens)), onPointer_(std::move(onPointer)), dialogTimeout_(dialogTimeout)
{
}

WaylandCapturePlatform::~WaylandCapturePlatform()
{
    // The stream goes before the portal session that granted it.
    stream_.reset();
    portal_.reset();
}

CaptureSource WaylandCapturePlatform::prepare(const CaptureSource& source, int fps)
{
    stream_.reset();
    portal_.reset();
    const bool window = source.kind == CaptureSource::SourceKind::window;
    const std::string tokenKind = window ? "window" : "monitor";
    ScreenCastGrant grant;
    try {
        portal_ = std::make_unique<ScreenCastPortal>();
    } catch (const SessionBusError& error) {
        throw RecordingError::captureStartFailed(error.what());
    }
    const auto target = window ? ScreenCastPortal::Target::window : ScreenCastPortal::Target::monitor;
    try {
        grant = portal_->start(target, tokens_.load(tokenKind), dialogTimeout_);
    } catch (const RecordingError&) {
        portal_.reset();
        throw;
    }
    if (grant.restoreToken) tokens_.save(tokenKind, *grant.restoreToken);
    cursorInPicture_ = !grant.cursorMetadata;

    const PortalStream& granted = grant.streams.front();
    CGRectCodable region;
    if (!window && granted.position) {
        region.x = granted.position->x;
        region.y = granted.position->y;
    }
    if (granted.size) {
        region.width = granted.size->width;
        region.height = granted.size->height;
    }
    {
        const std::lock_guard lock(regionMutex_);
        region_ = region;
    }
    stream_ = std::make_shared<PipeWireStream>(grant.pipewireDescriptor, granted.node, fps,
                                               [this](const StreamPointer& pointer) {
                                                   CGRectCodable region;
                                                   {
                                                       const std::lock_guard lock(regionMutex_);
                                                       region = region_;
                                                   }
                                                   if (onPointer_)
                                                       onPointer_(streamPointerToGlobal(pointer, region), pointer.time);
                                               });
    // A window's real size is the size of its pictures; a monitor keeps the portal's logical size.
    if (const auto picture = stream_->waitForFirstPicture(firstPictureTimeout); picture && (window || !granted.size)) {
        region.width = picture->width;
        region.height = picture->height;
        const std::lock_guard lock(regionMutex_);
        region_ = region;
    }
    if (stream_->ended()) throw RecordingError::sourceUnavailable();
    if (region.width <= 0 || region.height <= 0)
        throw RecordingError::captureStartFailed("the screen-cast stream told no size");

    CaptureSource prepared = source;
    prepared.region = region;
    return prepared;
}

std::unique_ptr<ScreenGrabber> WaylandCapturePlatform::openGrabber(const CaptureSource&)
{
    if (!stream_) throw RecordingError::captureStartFailed("no screen-cast stream was started");
    return std::make_unique<WaylandScreenGrabber>(stream_);
}

std::unique_ptr<AudioSource> WaylandCapturePlatform::openAudio(AudioSourceKind kind,
                                                               const std::optional<std::string>& deviceName)
{
    return std::make_unique<PulseAudioSource>(kind, deviceName);
}

}  // namespace vantile
