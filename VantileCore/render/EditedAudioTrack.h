#pragma once

#include "engine/OutputTimeline.h"
#include "media/FfmpegHandles.h"
#include "render/AudioTempoStage.h"

#include <cstdint>
#include <filesystem>
#include <memory>

namespace vantile {

// One audio track of the raw movie with the timeline's edits applied: decoded, only the kept
// ranges played back to back (each at its speed), re-encoded with AAC at the track's own rate
// and channels (Opus when the container takes no AAC, at 48 kHz unless Opus takes the track's own rate), and
// written as a track of `output`. It reads the raw movie through its own demuxer, so several
// tracks and the video can be interleaved freely.
class EditedAudioTrack {
public:
    // Adds the track's stream to `output` (before its header is written).
    EditedAudioTrack(const std::filesystem::path& rawVideoURL, int streamIndex, const OutputTimeline& timeline,
                     double outputDuration, AVFormatContext& output);

    // Encodes and writes until the track reaches `outputSeconds` or its end.
    void writeUntil(double outputSeconds);
    // Writes the rest, drains the encoder.
    void finish();

private:
    bool decodeMore();
    void keepKeptSamples(std::int64_t firstSample, int count, const float* const* planes);
    void queueSamples(const float* const* planes, std::int64_t count);
    void finishTempoStage();
    void encodeFrame(int count);
    void sendToEncoder(const AVFrame* frame);
    // Float samples come as one plane per channel, or as one plane of interleaved frames.
    int planeCount() const { return interleaved_ ? 1 : channels_; }
    int samplesPerFrame() const { return interleaved_ ? channels_ : 1; }

    const OutputTimeline& timeline_;
    AVFormatContext& output_;
    InputFormatHandle input_;
    int streamIndex_ = 0;
    AVStream* outputStream_ = nullptr;
    CodecContextHandle decoder_;
    CodecContextHandle encoder_;
    SwrContextHandle converter_;
    AudioFifoHandle pending_;
    FrameHandle decoded_ = allocateFrame();
    FrameHandle converted_ = allocateFrame();
    FrameHandle encoded_ = allocateFrame();
    PacketHandle packet_ = allocatePacket();
    int sampleRate_ = 0;
    int channels_ = 0;
    bool interleaved_ = false;
    std::int64_t nextSourceSample_ = 0;  // the raw track's next sample index (at the encoder's rate) not yet seen
    std::int64_t samplesQueued_ = 0;     // kept samples handed to the queue so far
    std::int64_t samplesLimit_ = 0;      // the output's length in samples
    std::int64_t samplesEncoded_ = 0;
    bool inputFinished_ = false;
    bool encoderFlushed_ = false;
    // The faster or slower range being played, with its index among the timeline's ranges.
    std::unique_ptr<AudioTempoStage> tempoStage_;
    std::size_t tempoStageIndex_ = 0;
};

}  // namespace vantile
