#pragma once

#include "media/FfmpegHandles.h"
#include "render/AudioFilterGraph.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace vantile {

// One stretch of an audio track played at another speed. Up to 2x (and down to 0.25x) the
// tempo changes and the pitch stays (libavfilter's atempo); faster than 2x it would only
// chatter, so the stretch is muted with a short fade at each edge. It gives exactly the
// number of samples it was asked for, so the sound stays on the picture's clock.
class AudioTempoStage {
public:
    static constexpr double fastestAudibleSpeed = 2.0;
    static constexpr double fadeSeconds = 0.03;

    // Float samples, planar (one plane a channel) or interleaved (one plane).
    using Emit = std::function<void(const float* const* planes, std::int64_t count)>;

    AudioTempoStage(double speed, int sampleRate, AVSampleFormat format, const AVChannelLayout& layout,
                    std::int64_t outputSamples);
    ~AudioTempoStage();
    AudioTempoStage(const AudioTempoStage&) = delete;
    AudioTempoStage& operator=(const AudioTempoStage&) = delete;

    // The stretch's samples in order; output goes to `emit` as soon as it is ready.
    void push(const float* const* planes, std::int64_t count, const Emit& emit);
    // The rest: whatever the filter still holds, then silence up to the promised length.
    void finish(const Emit& emit);

private:
    int planeCount() const { return interleaved_ ? 1 : channels_; }
    int valuesPerSample() const { return interleaved_ ? channels_ : 1; }
    // Hands on as much of `planes` as is still owed.
    void emitOwed(const float* const* planes, std::int64_t count, const Emit& emit);
    void emitSilence(std::int64_t count, const Emit& emit);
    void pushMuted(const float* const* planes, std::int64_t count, const Emit& emit);
    void pullFiltered(const Emit& emit);

    double speed_;
    int sampleRate_;
    AVSampleFormat format_;
    int channels_;
    bool interleaved_;
    std::int64_t owed_;      // samples still to give
    std::int64_t given_ = 0;
    std::int64_t taken_ = 0;  // samples pushed in
    // atempo's path.
    std::unique_ptr<AudioFilterGraph> graph_;
    FrameHandle input_ = allocateFrame();
    AVChannelLayout layout_{};
    // The muted path: the head fades out, the last `fade_` samples seen fade back in.
    std::int64_t fade_ = 0;
    std::vector<std::vector<float>> tail_;
};

}  // namespace vantile
