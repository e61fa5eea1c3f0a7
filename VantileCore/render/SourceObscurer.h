#pragma once

#include "media/FfmpegHandles.h"
#include "model/BlurRegion.h"

#include <QImage>

#include <cstdint>
#include <vector>

namespace vantile {

// Makes the privacy-blur regions of the recording unreadable in the source picture, before the
// compositors crop and scale it: so the obscured area follows every zoom, pan and motion blur,
// and the preview, the movie and the GIF show the same thing. A region is snapped outward to
// even recording pixels and cut into blocks counted from its own corner, so blocks neither
// jitter between frames nor split a 4:2:0 chroma sample.
class SourceObscurer {
public:
    SourceObscurer(std::vector<BlurRegion> regions, double videoWidth, double videoHeight);

    bool isEmpty() const { return regions_.empty(); }

    // `decoded` itself when no region covers `time`; otherwise an obscured copy, valid until the
    // next call. The decoder's frame is never written to: it may still be a reference picture.
    const AVFrame* obscured(const AVFrame* decoded, double time);
    // The same for a picture of the recording at any size (the preview's), mapped to it.
    const QImage* obscured(const QImage* image, double time);

    // The side of a pixelate block, and the radius of the blur, in recording pixels: large
    // enough to swallow a line of text whole (at least 12, about 1/40 of the short side; even).
    static int blockSize(double videoWidth, double videoHeight);

private:
    std::vector<std::size_t> activeAt(double time) const;
    // A frame of `source`'s format and size that nothing else references.
    AVFrame& writableFrame(const AVFrame& source);

    std::vector<BlurRegion> regions_;
    double videoWidth_ = 0;
    double videoHeight_ = 0;
    int blockSize_ = 12;
    // Obscured copies; one may still be referenced by whoever compared rows against it.
    std::vector<FrameHandle> frames_;
    const AVFrame* lastResult_ = nullptr;
    const std::uint8_t* lastSourcePixels_ = nullptr;
    std::int64_t lastSourcePts_ = 0;
    std::vector<std::size_t> lastActive_;
    QImage image_;
    QImage converted_;
};

}  // namespace vantile
