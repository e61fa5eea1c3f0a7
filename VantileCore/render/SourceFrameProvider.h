#pragma once

#include "render/MovieReader.h"

#include <QImage>

#include <cstdint>
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
    explicit SourceFrameProvider(const std::filesystem::path& url);

    bool hasMovie() const { return reader_ != nullptr; }
    int width() const { return reader_ ? reader_->width() : 0; }
    int height() const { return reader_ ? reader_->height() : 0; }

    // The image to show at `time`, valid until the next call; null when there is none.
    const QImage* frame(double time);
    // The same frame as decoded, unconverted; valid until the next call.
    const AVFrame* decodedFrame(double time);

private:
    struct TimedFrame {
        double time = 0;
        FrameHandle frame;
        std::uint64_t serial = 0;
    };

    const TimedFrame* nearest(double time);
    const TimedFrame* sequentialNearest(double time);

    std::unique_ptr<MovieReader> reader_;
    std::optional<TimedFrame> lastFrame_;
    std::optional<TimedFrame> nextFrame_;
    std::uint64_t nextSerial_ = 1;
    std::uint64_t convertedSerial_ = 0;
    QImage converted_;
    TimedFrame grabbed_;
};

}  // namespace vantile
