#pragma once

#include "media/FfmpegHandles.h"

#include <filesystem>
#include <optional>

namespace vantile {

// Decodes the first video stream of a movie in presentation order, with the decoder's own
// frame threads; seeking gives random access.
class MovieReader {
public:
    // How closely frames must match what was encoded. A picture shown much smaller than it
    // was recorded hides what the in-loop deblocking filter does, a large share of decoding.
    enum class Fidelity { exact, shownSmall };

    // Throws RenderError(unreadableMovie) when the file cannot be opened or has no decodable video.
    explicit MovieReader(const std::filesystem::path& path, Fidelity fidelity = Fidelity::exact);

    int width() const { return decoder_->width; }
    int height() const { return decoder_->height; }
    // Seconds; 0 when the container does not say.
    double duration() const;

    // The next frame, or null at the end of the stream. A damaged tail ends the stream.
    FrameHandle readFrame();
    // Presentation time of a frame from this reader, in seconds, never negative.
    double frameTime(const AVFrame& frame) const;

    // The frame presented at `time` (the last one starting at or before it), or null.
    FrameHandle frameAt(double time);

    // Where decoding restarts after seek(time): the last keyframe at or before `time` in the
    // container's index; nothing when the index does not say.
    std::optional<double> keyframeTimeAtOrBefore(double time) const;
    // Positions the stream at that keyframe; the next readFrame() decodes from there.
    void seek(double time);

private:

    std::filesystem::path path_;
    InputFormatHandle format_;
    CodecContextHandle decoder_;
    PacketHandle packet_;
    int streamIndex_ = -1;
    bool draining_ = false;
    bool finished_ = false;
};

}  // namespace vantile
