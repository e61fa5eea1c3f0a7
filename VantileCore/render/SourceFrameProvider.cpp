#include "render/SourceFrameProvider.h"

#include <cmath>

namespace vantile {

SourceFrameProvider::SourceFrameProvider(const std::filesystem::path& url, MovieReader::Fidelity fidelity)
{
    std::error_code error;
    if (!std::filesystem::exists(url, error)) return;
    reader_ = std::make_unique<MovieReader>(url, fidelity);
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
    return timed ? timed->frame.get() : nullptr;
}

}  // namespace vantile
