#pragma once

#include "model/RecordingCrop.h"
#include "render/MovieReader.h"

#include <filesystem>
#include <memory>
#include <optional>

namespace vantile {

// Raw-movie frames for increasing output times: decodes sequentially with a one-frame
// look-ahead and answers the decoded frame nearest each time; random access is the fallback.
class SourceFrameProvider {
public:
    // A missing file gives a provider that answers nothing (the compositor draws its placeholder);
    // a file that exists but cannot be read throws RenderError(unreadableMovie).
    // With a crop, every frame (and the size) is that part of the movie's picture; a crop the
    // movie cannot hold throws RenderError(sizeMismatch).
    explicit SourceFrameProvider(const std::filesystem::path& url,
                                 MovieReader::Fidelity fidelity = MovieReader::Fidelity::exact,
                                 std::optional<RecordingCrop> crop = std::nullopt);

    bool hasMovie() const { return reader_ != nullptr; }
    int width() const;
    int height() const;
    // Seconds, 0 when there is no movie or it does not say.
    double duration() const { return reader_ ? reader_->duration() : 0; }

    // The decoded frame to show at `time`, valid until the next call; null when there is none.
    const AVFrame* decodedFrame(double time);

private:
    struct TimedFrame {
        double time = 0;
        FrameHandle frame;
    };

    const TimedFrame* nearest(double time);
    const TimedFrame* sequentialNearest(double time);

    std::unique_ptr<MovieReader> reader_;
    std::optional<TimedFrame> lastFrame_;
    std::optional<TimedFrame> nextFrame_;
    TimedFrame grabbed_;
    std::optional<RecordingCrop> crop_;
    // A reference to the shown frame's buffers with the crop applied; the decoded frames stay whole.
    FrameHandle croppedFrame_;
};

}  // namespace vantile
