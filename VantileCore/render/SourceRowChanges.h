#pragma once

#include "media/FfmpegHandles.h"

#include <cstdint>
#include <vector>

namespace vantile {

// Which rows of the decoded source frames changed, and when. A screen recording changes
// little from frame to frame, so an output frame that already shows an earlier source frame
// keeps every row whose source rows stayed the same, instead of scaling them again.
class SourceRowChanges {
public:
    // Takes `frame` (yuv420p) as the frame now shown and returns its generation: a new one
    // when it is not the frame last observed. Only the luma rows [firstRow, lastRow] (and
    // their chroma rows) are compared; the others count as changed. Decoded frames are never
    // written to while referenced, so a buffer and its timestamp name their pixels.
    std::int64_t observe(const AVFrame& frame, int firstRow, int lastRow);

    // The generation in which any of the luma rows [lumaFirst, lumaLast] or the chroma rows
    // [chromaFirst, chromaLast] last changed.
    std::int64_t lastChange(int lumaFirst, int lumaLast, int chromaFirst, int chromaLast) const;

private:
    FrameHandle last_;
    std::int64_t generation_ = 0;
    std::vector<std::int64_t> lumaChanges_;
    std::vector<std::int64_t> chromaChanges_;  // either chroma plane
};

}  // namespace vantile
