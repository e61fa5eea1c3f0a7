#pragma once

#include "render/BilinearPlaneScaler.h"

#include <QImage>
#include <QPainter>
#include <QRectF>

#include <cstdint>
#include <optional>
#include <vector>

struct AVFrame;

namespace vantile {

// Draws the `crop` part of a source picture scaled into `target`, bilinear, the way
// QPainter::drawImage(target, source, crop) does with smooth transforms. When the painter
// paints untransformed and unclipped onto a 32-bit image, the scaling runs through libyuv
// on one thread (Qt's costs two to three times the CPU, spread over its worker threads); the
// crop's sub-pixel position is kept to within half an output pixel.
class CropScaler {
public:
    // Falls back to Qt's drawing when libyuv cannot write straight into the painter's image.
    void draw(QPainter& painter, const QImage& source, const QRectF& crop, const QRectF& target);

    // A decoded yuv420p frame is scaled in YUV and converted to RGB only where it lands,
    // which saves converting the whole frame first. Returns false, drawing nothing, for other
    // pixel formats or painters libyuv cannot write through; the caller converts and draws
    // an image instead.
    bool draw(QPainter& painter, const AVFrame& source, const QRectF& crop, const QRectF& target);

    // Scales the crop of a decoded yuv420p frame straight into the yuv420p planes of `canvas`,
    // over the pixels whose centres lie in `target`, with no RGB in between. A chroma sample
    // that the target's odd edges only partly cover is mixed with what `canvas` holds there,
    // by the share of its pixels each side owns. Returns the pixels written, or nothing
    // (writing nothing) when the source is not yuv420p or the crop leaves it.
    std::optional<QRect> drawInto(AVFrame& canvas, const AVFrame& source, const QRectF& crop, const QRectF& target);

private:

    // Which decoded frame and block scratch_ holds scaled, so a frame shown again (an output
    // rate above the movie's, or a camera at rest on a repeated frame) is not scaled again.
    // Decoded frames are never written to, so buffer and timestamp name their pixels.
    struct ScratchContent {
        const void* pixels = nullptr;
        std::int64_t pts = 0;
        QRect block;
        QSize size;

        bool operator==(const ScratchContent&) const = default;
    };

    std::vector<std::uint8_t> scratch_;  // the scaled YUV planes, reused from frame to frame
    ScratchContent scratchContent_;
    BilinearPlaneScaler lumaScaler_;
    BilinearPlaneScaler chromaScaler_;  // both chroma planes share a size
};

}  // namespace vantile
