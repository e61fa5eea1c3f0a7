#pragma once

#include "capture/AudioSource.h"
#include "capture/ScreenGrabber.h"
#include "model/CaptureSource.h"

#include <memory>
#include <optional>
#include <string>

namespace vantile {

// Opens the live capture of a listed source on one display and sound server.
class CapturePlatform {
public:
    virtual ~CapturePlatform() = default;

    // Finds the live display or window by the source's id; throws
    // RecordingError::sourceUnavailable when it is gone.
    virtual std::unique_ptr<ScreenGrabber> openGrabber(const CaptureSource& source) = 0;
    virtual std::unique_ptr<AudioSource> openAudio(AudioSourceKind kind,
                                                   const std::optional<std::string>& deviceName) = 0;

    // Settles the source before anything is written: where the system's own dialog makes the
    // final choice, this asks it and returns the source with the region its stream really has.
    // Throws RecordingError (screenShareCancelled when the user says no).
    virtual CaptureSource prepare(const CaptureSource& source, int /*fps*/) { return source; }
    // Whether the pointer is drawn into the captured pictures, so the movie must not draw another.
    virtual bool cursorInPicture() const { return false; }
};

}  // namespace vantile
