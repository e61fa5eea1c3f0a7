#include "capture/ScreenCaptureSession.h"

#include "capture/PlaceholderMovie.h"
#include "capture/RecordingError.h"

#include <libyuv/convert.h>
#include <libyuv/scale_argb.h>

#include <algorithm>
#include <cmath>
#include <exception>

namespace vantile {

namespace {

using SteadyClock = std::chrono::steady_clock;

double secondsBetween(SteadyClock::time_point from, SteadyClock::time_point to)
{
    return std::chrono::duration<double>(to - from).count();
}

}  // namespace

ScreenCaptureSession::ScreenCaptureSession(CapturePlatform& platform, const CaptureSource& source,
                                           std::filesystem::path outputURL, AudioCaptureSettings audioSettings, int fps)
    : source_(source),
      outputURL_(std::move(outputURL)),
      audioSettings_(std::move(audioSettings)),
      fps_(fps),
      frameInterval_(std::chrono::duration_cast<SteadyClock::duration>(std::chrono::duration<double>(1.0 / fps))),
      startedAt_(SteadyClock::now())
{
    const RecordingDimensions size =
        source_.recordingDimensions(minimumWidth, minimumHeight, maximumWidth, maximumHeight);
    width_ = static_cast<int>(size.width);
    height_ = static_cast<int>(size.height);

    std::vector<std::pair<AudioSourceKind, std::optional<std::string>>> audioKinds;
    if (capturesSystemAudio(audioSettings_.mode)) audioKinds.emplace_back(AudioSourceKind::systemAudio, std::nullopt);
    if (capturesMicrophone(audioSettings_.mode))
        audioKinds.emplace_back(AudioSourceKind::microphone, audioSettings_.microphoneDeviceID);

    writer_ = std::make_unique<RawMovieWriter>(outputURL_, width_, height_, static_cast<int>(audioKinds.size()),
                                               RawMovieEncoding{.fps = fps_});
    grabber_ = platform.openGrabber(source_);
    for (const auto& [kind, device] : audioKinds) audioSources_.push_back(platform.openAudio(kind, device));

    const auto poolSize = static_cast<std::size_t>(std::lround(poolSeconds * fps_));
    pool_.reserve(poolSize);
    for (std::size_t slot = 0; slot < poolSize; ++slot) {
        pool_.emplace_back(width_, height_);
        freeSlots_.push_back(slot);
    }
}

ScreenCaptureSession::~ScreenCaptureSession() { stopThreads(); }

void ScreenCaptureSession::start()
{
    for (std::size_t track = 0; track < audioSources_.size(); ++track) {
        try {
            audioSources_[track]->start(
                [this, track](const float* samples, std::size_t frames, SteadyClock::time_point time) {
                    acceptAudio(static_cast<int>(track), samples, frames, time);
                });
        } catch (...) {
            for (auto& source : audioSources_) source->stop();
            throw;
        }
    }
    started_ = true;
    encoderThread_ = std::thread([this] { encodeLoop(); });
    captureThread_ = std::thread([this] { captureLoop(); });
}

void ScreenCaptureSession::noteFailure(const std::string& message)
{
    const std::lock_guard lock(mutex_);
    if (!failure_) failure_ = message;
}

std::optional<std::string> ScreenCaptureSession::failure() const
{
    {
        const std::lock_guard lock(mutex_);
        if (failure_) return failure_;
    }
    for (const auto& source : audioSources_) {
        if (auto lost = source->failure()) return lost;
    }
    return std::nullopt;
}

CaptureStatistics ScreenCaptureSession::statistics() const
{
    const std::lock_guard lock(mutex_);
    return statistics_;
}

void ScreenCaptureSession::convert(const GrabbedImage& image, PlanarFrame& frame)
{
    const std::uint8_t* pixels = image.pixels;
    int stride = image.stride;
    // A window that is not the recording's size (resized, or below the minimum) is scaled to it.
    if (image.width != width_ || image.height != height_) {
        scaled_.resize(static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_) * 4);
        libyuv::ARGBScale(image.pixels, image.stride, image.width, image.height, scaled_.data(), width_ * 4, width_,
                          height_, libyuv::kFilterBilinear);
        pixels = scaled_.data();
        stride = width_ * 4;
    }
    libyuv::ARGBToI420(pixels, stride, frame.luma.data(), frame.lumaStride(), frame.blueDifference.data(),
                       frame.chromaStride(), frame.redDifference.data(), frame.chromaStride(), width_, height_);
}

void ScreenCaptureSession::captureLoop()
{
    std::int64_t index = 0;
    SteadyClock::time_point firstTime;
    SteadyClock::time_point due = SteadyClock::now();
    for (;;) {
        {
            std::unique_lock lock(mutex_);
            wake_.wait_until(lock, due, [this] { return stopCapture_; });
            if (stopCapture_) return;
        }
        GrabbedImage image;
        try {
            image = grabber_->grab();
        } catch (const std::exception& error) {
            noteFailure(error.what());
            return;
        }
        const SteadyClock::time_point now = SteadyClock::now();
        if (!firstFrameKnown_) {
            if (!image.pixels) {
                due = now + frameInterval_;
                continue;
            }
            firstTime = now;
            firstFrameTime_ = now;
            firstFrameKnown_ = true;
        }

        std::optional<std::size_t> slot;
        {
            const std::lock_guard lock(mutex_);
            if (image.pixels && !freeSlots_.empty()) {
                slot = freeSlots_.back();
                freeSlots_.pop_back();
            } else {
                ++statistics_.droppedFrames;
                if (image.pixels) ++statistics_.encoderBusyDrops;
            }
        }
        if (slot) {
            convert(image, pool_[*slot]);
            const std::lock_guard lock(mutex_);
            readyFrames_.push_back({*slot, index});
            ++statistics_.capturedFrames;
            wake_.notify_all();
        }

        // Ticks that already passed while grabbing are skipped and counted as dropped.
        const auto next = SteadyClock::now();
        std::int64_t nextIndex = index + 1;
        const auto behind = static_cast<std::int64_t>(std::floor(secondsBetween(firstTime, next) * fps_));
        if (behind > nextIndex) {
            const std::lock_guard lock(mutex_);
            statistics_.droppedFrames += behind - nextIndex;
            nextIndex = behind;
        }
        index = nextIndex;
        due = firstTime + index * frameInterval_;
    }
}

void ScreenCaptureSession::acceptAudio(int track, const float* interleaved, std::size_t frameCount,
                                       SteadyClock::time_point firstSampleTime)
{
    // Sound heard before the first video frame is never written; the frame is time zero for all tracks.
    if (!firstFrameKnown_) return;
    auto firstSample = static_cast<std::int64_t>(
        std::llround(secondsBetween(firstFrameTime_, firstSampleTime) * AudioSource::sampleRate));
    std::size_t skip = 0;
    if (firstSample < 0) {
        skip = static_cast<std::size_t>(-firstSample);
        if (skip >= frameCount) return;
        firstSample = 0;
    }
    const float* begin = interleaved + skip * AudioSource::channelCount;
    AudioChunk chunk{track, firstSample,
                     std::vector<float>(begin, interleaved + frameCount * AudioSource::channelCount)};
    const std::lock_guard lock(mutex_);
    if (stopEncoding_) return;
    audioChunks_.push_back(std::move(chunk));
    wake_.notify_all();
}

void ScreenCaptureSession::encodeLoop()
{
    bool writing = true;
    for (;;) {
        std::deque<AudioChunk> chunks;
        std::optional<ReadyFrame> frame;
        {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [this] { return stopEncoding_ || !readyFrames_.empty() || !audioChunks_.empty(); });
            chunks.swap(audioChunks_);
            if (!readyFrames_.empty()) {
                frame = readyFrames_.front();
                readyFrames_.pop_front();
            } else if (chunks.empty() && stopEncoding_) {
                return;
            }
        }
        // After a write failure the queues are still drained so the capture never stalls.
        if (writing) {
            try {
                for (const AudioChunk& chunk : chunks)
                    writer_->writeAudio(chunk.track, chunk.firstSample, chunk.samples.data(),
                                        chunk.samples.size() / AudioSource::channelCount);
                if (frame) {
                    writer_->writeVideo(pool_[frame->slot], frame->index);
                    const std::lock_guard lock(mutex_);
                    ++statistics_.encodedFrames;
                    lastFrameIndex_ = frame->index;
                }
            } catch (const std::exception& error) {
                noteFailure(error.what());
                const std::lock_guard lock(mutex_);
                writeError_ = std::current_exception();
                writing = false;
            }
        }
        if (frame) {
            const std::lock_guard lock(mutex_);
            freeSlots_.push_back(frame->slot);
        }
    }
}

void ScreenCaptureSession::stopThreads()
{
    if (!started_) return;
    {
        const std::lock_guard lock(mutex_);
        stopCapture_ = true;
        wake_.notify_all();
    }
    if (captureThread_.joinable()) captureThread_.join();
    for (auto& source : audioSources_) source->stop();
    {
        const std::lock_guard lock(mutex_);
        stopEncoding_ = true;
        wake_.notify_all();
    }
    if (encoderThread_.joinable()) encoderThread_.join();
    grabber_.reset();
}

RecordingResult ScreenCaptureSession::stop()
{
    if (stopped_) throw RecordingError::notRecording();
    stopped_ = true;
    stopThreads();
    const double wall = std::chrono::duration<double>(SteadyClock::now() - startedAt_).count();

    std::int64_t encoded = 0;
    std::exception_ptr writeError;
    {
        const std::lock_guard lock(mutex_);
        encoded = statistics_.encodedFrames;
        writeError = writeError_;
    }
    // The fragments written before the failure stay playable; the caller reports the error.
    if (writeError) std::rethrow_exception(writeError);
    try {
        writer_->finish();
        writer_.reset();
        // Nothing was captured: a placeholder of the recording's length keeps the project playable.
        if (encoded == 0)
            PlaceholderMovie::write(outputURL_, width_, height_, std::max(wall, 1.0), fps_);
    } catch (const RecordingError&) {
        throw;
    } catch (const std::exception& error) {
        // The placeholder writer's own error, or the file system's.
        throw RecordingError::captureStopFailed(error.what());
    }

    const double frameSeconds =
        encoded > 0 ? std::max(static_cast<double>(lastFrameIndex_) / fps_, 1.0) : 0.0;
    return RecordingResult{
        .rawVideoURL = outputURL_,
        .duration = std::max(frameSeconds, std::max(wall, 1.0)),
        .videoInfo = {.path = outputURL_.filename().string(), .width = width_, .height = height_, .fps = fps_},
    };
}

}  // namespace vantile
