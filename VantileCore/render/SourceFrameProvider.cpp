#include "render/SourceFrameProvider.h"

#include "render/ImageConversion.h"

#include <cmath>

namespace vantile {

SourceFrameProvider::SourceFrameProvider(const std::filesystem::path& url)
{
    std::error_code error;
    if (!std::filesystem::exists(url, error)) return;
    reader_ = std::make_unique<MovieReader>(url);
}

const QImage* SourceFrameProvider::image(const TimedFrame& timed)
{
    if (convertedSerial_ != timed.serial) {
        convertFrameToImage(*timed.frame, converted_);
        convertedSerial_ = timed.serial;
    }
    return &converted_;
}

const QImage* SourceFrameProvider::sequentialFrame(double time)
{
    if (!reader_) return nullptr;
    while (nextFrame_) {
        if (time < nextFrame_->time) {
            if (!lastFrame_) return image(*nextFrame_);
            const bool nextIsNearer = std::abs(nextFrame_->time - time) < std::abs(lastFrame_->time - time);
            return image(nextIsNearer ? *nextFrame_ : *lastFrame_);
        }
        lastFrame_ = std::move(nextFrame_);
        nextFrame_.reset();
    }
    while (FrameHandle decoded = reader_->readFrame()) {
        TimedFrame timed{reader_->frameTime(*decoded), std::move(decoded), nextSerial_++};
        if (time < timed.time) {
            nextFrame_ = std::move(timed);
            if (!lastFrame_) return image(*nextFrame_);
            // A tie keeps the earlier frame.
            const bool lastIsNearer = std::abs(lastFrame_->time - time) <= std::abs(nextFrame_->time - time);
            return image(lastIsNearer ? *lastFrame_ : *nextFrame_);
        }
        lastFrame_ = std::move(timed);
    }
    return lastFrame_ ? image(*lastFrame_) : nullptr;
}

const QImage* SourceFrameProvider::frame(double time)
{
    if (const QImage* found = sequentialFrame(time)) return found;
    if (!reader_) return nullptr;
    FrameHandle grabbed = reader_->frameAt(time);
    if (!grabbed) return nullptr;
    grabbed_ = TimedFrame{reader_->frameTime(*grabbed), std::move(grabbed), nextSerial_++};
    return image(grabbed_);
}

}  // namespace vantile
