#include "render/SourceFrameProvider.h"

#include "render/RenderError.h"

#include <cmath>
#include <string>

namespace vantile {

SourceFrameProvider::SourceFrameProvider(const std::filesystem::path& url, MovieReader::Fidelity fidelity,
                                         std::optional<RecordingCrop> crop)
    : crop_(std::move(crop))
{
    std::error_code error;
    if (!std::filesystem::exists(url, error)) return;
    reader_ = std::make_unique<MovieReader>(url, fidelity);
    if (crop_ && (crop_->x < 0 || crop_->y < 0 || crop_->x + crop_->width > reader_->width() ||
                  crop_->y + crop_->height > reader_->height())) {
        throw RenderError(RenderError::Kind::sizeMismatch,
                          "The crop " + std::to_string(crop_->width) + " x " + std::to_string(crop_->height) + " at " +
                              std::to_string(crop_->x) + "," + std::to_string(crop_->y) + " does not fit the " +
                              std::to_string(reader_->width()) + " x " + std::to_string(reader_->height()) +
                              " raw movie.");
    }
    if (crop_) croppedFrame_ = allocateFrame();
}

int SourceFrameProvider::width() const
{
    if (!reader_) return 0;
    return crop_ ? static_cast<int>(crop_->width) : reader_->width();
}

int SourceFrameProvider::height() const
{
    if (!reader_) return 0;
    return crop_ ? static_cast<int>(crop_->height) : reader_->height();
}

const SourceFrameProvider::TimedFrame* SourceFrameProvider::sequentialNearest(double time)
{
    if (!reader_) return nullptr;
    // A jump over a cut: restart at a keyframe past what is decoded rather than decode the
    // removed frames one by one.
    const double decoded = nextFrame_ ? nextFrame_->time : lastFrame_ ? lastFrame_->time : 0;
    if (time > decoded + 0.5) {
        const auto keyframe = reader_->keyframeTimeAtOrBefore(time);
        if (keyframe && *keyframe > decoded + 1e-6) {
            reader_->seek(*keyframe);
            lastFrame_.reset();
            nextFrame_.reset();
        }
    }
    while (nextFrame_) {
        if (time < nextFrame_->time) {
            if (!lastFrame_) return &*nextFrame_;
            const bool nextIsNearer = std::abs(nextFrame_->time - time) < std::abs(lastFrame_->time - time);
            return nextIsNearer ? &*nextFrame_ : &*lastFrame_;
        }
        lastFrame_ = std::move(nextFrame_);
        nextFrame_.reset();
    }
    while (FrameHandle decoded = reader_->readFrame()) {
        TimedFrame timed{reader_->frameTime(*decoded), std::move(decoded)};
        if (time < timed.time) {
            nextFrame_ = std::move(timed);
            if (!lastFrame_) return &*nextFrame_;
            // A tie keeps the earlier frame.
            const bool lastIsNearer = std::abs(lastFrame_->time - time) <= std::abs(nextFrame_->time - time);
            return lastIsNearer ? &*lastFrame_ : &*nextFrame_;
        }
        lastFrame_ = std::move(timed);
    }
    return lastFrame_ ? &*lastFrame_ : nullptr;
}

const SourceFrameProvider::TimedFrame* SourceFrameProvider::nearest(double time)
{
    if (const TimedFrame* found = sequentialNearest(time)) return found;
    if (!reader_) return nullptr;
    FrameHandle grabbed = reader_->frameAt(time);
    if (!grabbed) return nullptr;
    grabbed_ = TimedFrame{reader_->frameTime(*grabbed), std::move(grabbed)};
    return &grabbed_;
}

const AVFrame* SourceFrameProvider::decodedFrame(double time)
{
    const TimedFrame* timed = nearest(time);
    if (!timed) return nullptr;
    if (!crop_) return timed->frame.get();
    const AVFrame& whole = *timed->frame;
    av_frame_unref(croppedFrame_.get());
    if (av_frame_ref(croppedFrame_.get(), &whole) < 0) throw RenderError::pixelBufferCreationFailed();
    croppedFrame_->crop_left = static_cast<std::size_t>(crop_->x);
    croppedFrame_->crop_top = static_cast<std::size_t>(crop_->y);
    croppedFrame_->crop_right = static_cast<std::size_t>(whole.width - crop_->x - crop_->width);
    croppedFrame_->crop_bottom = static_cast<std::size_t>(whole.height - crop_->y - crop_->height);
    // Even offsets keep 4:2:0 chroma whole, so the unaligned pointers are exact.
    if (av_frame_apply_cropping(croppedFrame_.get(), AV_FRAME_CROP_UNALIGNED) < 0) {
        throw RenderError::pixelBufferCreationFailed();
    }
    return croppedFrame_.get();
}

}  // namespace vantile
