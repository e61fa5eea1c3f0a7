#pragma once

#include "media/FfmpegHandles.h"

#include <filesystem>

namespace vantile {

// Decodes the first video stream of a movie in presentation order, with the decoder's own
// frame threads; seeking gives random access.
class MovieReader {
public:
    // Throws RenderError(unreadableMovie) when the file cannot be opened or has no decodable video.
    explicit MovieReader(const std::filesystem::path& path);

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

private:
    void seek(double time);

    std::filesystem::path path_;
    InputFormatHandle format_;
    CodecContextHandle decoder_;
    PacketHandle packet_;
    int streamIndex_ = -1;
    bool draining_ = false;
    bool finished_ = false;
};

}  // namespace vantile
