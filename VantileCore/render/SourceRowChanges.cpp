#include "render/SourceRowChanges.h"

#include "render/RenderError.h"

#include <algorithm>
#include <cstring>

namespace vantile {

namespace {

bool rowsDiffer(const AVFrame& a, const AVFrame& b, int plane, int row, int width)
{
    return std::memcmp(a.data[plane] + static_cast<std::ptrdiff_t>(row) * a.linesize[plane],
                       b.data[plane] + static_cast<std::ptrdiff_t>(row) * b.linesize[plane],
                       static_cast<std::size_t>(width)) != 0;
}

}  // namespace

std::int64_t SourceRowChanges::observe(const AVFrame& frame, int firstRow, int lastRow)
{
    if (last_ && last_->data[0] == frame.data[0] && last_->pts == frame.pts && last_->width == frame.width &&
        last_->height == frame.height) {
        return generation_;
    }
    ++generation_;
    const int chromaWidth = (frame.width + 1) / 2;
    const int chromaHeight = (frame.height + 1) / 2;
    if (!last_ || last_->width != frame.width || last_->height != frame.height || last_->format != frame.format) {
        lumaChanges_.assign(static_cast<std::size_t>(frame.height), generation_);
        chromaChanges_.assign(static_cast<std::size_t>(chromaHeight), generation_);
    } else {
        for (int row = 0; row < frame.height; ++row) {
            if (row < firstRow || row > lastRow || rowsDiffer(*last_, frame, 0, row, frame.width)) {
                lumaChanges_[static_cast<std::size_t>(row)] = generation_;
            }
        }
        for (int row = 0; row < chromaHeight; ++row) {
            if (row < firstRow / 2 || row > lastRow / 2 || rowsDiffer(*last_, frame, 1, row, chromaWidth) ||
                rowsDiffer(*last_, frame, 2, row, chromaWidth)) {
                chromaChanges_[static_cast<std::size_t>(row)] = generation_;
            }
        }
    }
    // A reference, not a copy: the decoder hands out another buffer while this one is held.
    if (!last_) last_ = allocateFrame();
    av_frame_unref(last_.get());
    if (av_frame_ref(last_.get(), &frame) < 0) throw RenderError::pixelBufferCreationFailed();
    return generation_;
}

std::int64_t SourceRowChanges::lastChange(int lumaFirst, int lumaLast, int chromaFirst, int chromaLast) const
{
    const auto latest = [](const std::vector<std::int64_t>& changes, int first, int last) {
        std::int64_t found = 0;
        for (int row = std::max(first, 0); row <= last && row < static_cast<int>(changes.size()); ++row) {
            found = std::max(found, changes[static_cast<std::size_t>(row)]);
        }
        return found;
    };
    return std::max(latest(lumaChanges_, lumaFirst, lumaLast), latest(chromaChanges_, chromaFirst, chromaLast));
}

}  // namespace vantile
