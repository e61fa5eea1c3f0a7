#include "capture/x11/X11CapturePlatform.h"

#include "capture/PulseAudioSource.h"
#include "capture/RecordingError.h"
#include "capture/x11/X11DisplayGrabber.h"
#include "capture/x11/X11SourceLister.h"
#include "capture/x11/X11WindowGrabber.h"

namespace vantile {

std::unique_ptr<ScreenGrabber> X11CapturePlatform::openGrabber(const CaptureSource& source)
{
    X11SourceLister lister(displayName_);
    if (source.id.starts_with("display-")) {
        for (const ListedDisplay& display : lister.screens()) {
            if ("display-" + std::to_string(display.number) == source.id)
                return std::make_unique<X11DisplayGrabber>(displayName_, display.frame);
        }
    } else if (source.id.starts_with("window-")) {
        for (const ListedWindow& window : lister.shareableContent().windows) {
            if ("window-" + std::to_string(window.number) == source.id)
                return std::make_unique<X11WindowGrabber>(displayName_, static_cast<std::uint32_t>(window.number));
        }
    }
    throw RecordingError::sourceUnavailable();
}

std::unique_ptr<AudioSource> X11CapturePlatform::openAudio(AudioSourceKind kind,
                                                           const std::optional<std::string>& deviceName)
{
    return std::make_unique<PulseAudioSource>(kind, deviceName);
}

}  // namespace vantile
