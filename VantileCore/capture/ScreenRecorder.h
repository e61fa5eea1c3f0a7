#pragma once

#include "capture/CapturePlatform.h"
#include "capture/CaptureStatistics.h"
#include "capture/RecordingFrameRate.h"
#include "model/AudioSettings.h"
#include "model/CaptureInfo.h"
#include "model/CaptureSource.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace vantile {

class ScreenCaptureSession;

// Records one display or window into a raw movie and hands back the RecordingResult.
class ScreenRecorder {
public:
    explicit ScreenRecorder(CapturePlatform& platform);
    ~ScreenRecorder();

    // `fps` is one of RecordingFrameRate::offered.
    void start(const CaptureSource& source, const std::filesystem::path& outputURL,
               const AudioCaptureSettings& audioSettings, std::int64_t fps = RecordingFrameRate::standard);
    // Throws RecordingError::notRecording without a prior start.
    RecordingResult stop();

    bool isRecording() const;
    // Why the running capture ended on its own, if it did; the caller should then stop.
    std::optional<std::string> failure() const;
    CaptureStatistics statistics() const;
    // When the running movie's first frame was taken; absent until it was.
    std::optional<std::chrono::steady_clock::time_point> firstFrameTime() const;

private:
    CapturePlatform& platform_;
    std::unique_ptr<ScreenCaptureSession> session_;
    bool recording_ = false;
};

}  // namespace vantile
