#pragma once

#include "capture/CapturePlatform.h"
#include "capture/CaptureStatistics.h"
#include "capture/PlanarFrame.h"
#include "capture/RawMovieWriter.h"
#include "model/AudioSettings.h"
#include "model/CaptureInfo.h"
#include "model/CaptureSource.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <filesystem>
#include <mutex>
#include <thread>
#include <vector>

namespace vantile {

// One recording: a capture thread grabs frames on a steady clock at the recording's rate into a small pool,
// an encoder thread drains them (and the audio chunks) into the raw movie. A full pool drops
// the frame instead of ever making the capture wait.
class ScreenCaptureSession {
public:
    static constexpr double minimumWidth = 640;
    static constexpr double minimumHeight = 360;
    static constexpr double maximumWidth = 4096;
    static constexpr double maximumHeight = 2304;
    // Half a second of frames absorbs an encoder briefly starved of CPU.
    static constexpr double poolSeconds = 0.5;

    // `fps` is one of RecordingFrameRate::offered.
    ScreenCaptureSession(CapturePlatform& platform, const CaptureSource& source, std::filesystem::path outputURL,
                         AudioCaptureSettings audioSettings, int fps);
    ~ScreenCaptureSession();

    ScreenCaptureSession(const ScreenCaptureSession&) = delete;
    ScreenCaptureSession& operator=(const ScreenCaptureSession&) = delete;

    void start();
    RecordingResult stop();

    // Why capture ended before stop (source gone, audio device lost, disk full), if it did.
    std::optional<std::string> failure() const;
    CaptureStatistics statistics() const;
    // When the movie's first frame was taken; absent until it was.
    std::optional<std::chrono::steady_clock::time_point> firstFrameTime() const
    {
        if (!firstFrameKnown_) return std::nullopt;
        return firstFrameTime_;
    }

private:
    struct ReadyFrame {
        std::size_t slot;
        std::int64_t index;
    };
    struct AudioChunk {
        int track;
        std::int64_t firstSample;
        std::vector<float> samples;
    };

    void captureLoop();
    void encodeLoop();
    void convert(const GrabbedImage& image, PlanarFrame& frame);
    void acceptAudio(int track, const float* interleaved, std::size_t frameCount,
                     std::chrono::steady_clock::time_point firstSampleTime);
    void noteFailure(const std::string& message);
    void stopThreads();

    CaptureSource source_;
    std::filesystem::path outputURL_;
    AudioCaptureSettings audioSettings_;
    int width_;
    int height_;
    int fps_;
    std::chrono::steady_clock::duration frameInterval_;
    std::chrono::steady_clock::time_point startedAt_;

    std::unique_ptr<RawMovieWriter> writer_;
    std::unique_ptr<ScreenGrabber> grabber_;
    std::vector<std::unique_ptr<AudioSource>> audioSources_;  // index = audio track

    std::vector<PlanarFrame> pool_;
    std::vector<std::uint8_t> scaled_;  // BGRA at the recording size when the source differs

    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::vector<std::size_t> freeSlots_;
    std::deque<ReadyFrame> readyFrames_;
    std::deque<AudioChunk> audioChunks_;
    bool stopCapture_ = false;
    bool stopEncoding_ = false;
    std::optional<std::string> failure_;
    std::exception_ptr writeError_;
    CaptureStatistics statistics_;
    std::int64_t lastFrameIndex_ = -1;

    // Written once by the capture thread before the first frame is queued.
    std::atomic<bool> firstFrameKnown_ = false;
    std::chrono::steady_clock::time_point firstFrameTime_;

    std::thread captureThread_;
    std::thread encoderThread_;
    bool started_ = false;
    bool stopped_ = false;
};

}  // namespace vantile
