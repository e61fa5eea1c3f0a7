#include "capture/ScreenRecorder.h"

#include "capture/RecordingError.h"
#include "capture/ScreenCaptureSession.h"

namespace vantile {

ScreenRecorder::ScreenRecorder(CapturePlatform& platform) : platform_(platform) {}

ScreenRecorder::~ScreenRecorder() = default;

void ScreenRecorder::start(const CaptureSource& source, const std::filesystem::path& outputURL,
                           const AudioCaptureSettings& audioSettings, std::int64_t fps)
{
    session_.reset();
    recording_ = false;
    auto session =
        std::make_unique<ScreenCaptureSession>(platform_, source, outputURL, audioSettings, static_cast<int>(fps));
    session->start();
    session_ = std::move(session);
    recording_ = true;
}

RecordingResult ScreenRecorder::stop()
{
    if (!session_) throw RecordingError::notRecording();
    recording_ = false;
    return session_->stop();
}

bool ScreenRecorder::isRecording() const { return recording_; }

std::optional<std::string> ScreenRecorder::failure() const
{
    return session_ ? session_->failure() : std::nullopt;
}

CaptureStatistics ScreenRecorder::statistics() const { return session_ ? session_->statistics() : CaptureStatistics{}; }

std::optional<std::chrono::steady_clock::time_point> ScreenRecorder::firstFrameTime() const
{
    return session_ ? session_->firstFrameTime() : std::nullopt;
}

}  // namespace vantile
