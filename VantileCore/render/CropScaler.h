#pragma once

#include "render/BilinearPlaneScaler.h"

#include <QImage>
#include <QPainter>
#include <QRectF>

#include <cstdint>
#include <functional>
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

    // Where a crop lands in a canvas. The scalers take whole pixels: the source pixels the
    // crop touches (the block) are scaled by the crop's factor into a virtual image, and the
    // part of it the target covers (the window) is written.
    struct Placement {
        QRect window;       // canvas pixels written; empty when the target covers none
        QRect block;        // source pixels scaled
        QSize virtualSize;  // what the block is scaled to
        QPoint clip;        // the window's top-left inside the virtual image

        bool operator==(const Placement&) const = default;
    };

    // Where the crop of a decoded yuv420p frame lands in the yuv420p `canvas`, over the pixels
    // whose centres lie in `target`; nothing when either is not yuv420p or the crop leaves the source.
    static std::optional<Placement> placeInto(const AVFrame& canvas, const AVFrame& source, const QRectF& crop,
                                              const QRectF& target);

    // The source rows that canvas rows 2 × `chromaRow` and 2 × `chromaRow` + 1 are scaled from,
    // inclusive; nothing when every row may depend on every other (a strong reduction).
    struct SourceRows {
        int lumaFirst = 0;
        int lumaLast = 0;
        int chromaFirst = 0;
        int chromaLast = 0;
    };
    static std::optional<SourceRows> sourceRowsOf(const Placement& placement, int chromaRow);

    // Scales the placed crop straight into the planes of `canvas`, with no RGB in between,
    // on the canvas rows 2 × c and 2 × c + 1 for which `redraws(c)` holds. A chroma sample
    // that the window's odd edges only partly cover is mixed with what `canvas` holds there,
    // by the share of its pixels each side owns. False when the source cannot be scaled.
    bool drawPlaced(AVFrame& canvas, const AVFrame& source, const Placement& placement,
                    const std::function<bool(int chromaRow)>& redraws);

    // `placeInto` and `drawPlaced` on every row. Returns the pixels written, or nothing
    // (writing nothing) when the crop cannot be placed.
    std::optional<QRect> drawInto(AVFrame& canvas, const AVFrame& source, const QRectF& crop, const QRectF& target);

private:
    std::vector<std::uint8_t> scratch_;  // scaled YUV planes, reused from frame to frame
    std::vector<std::uint8_t> rows_;     // one scaled row of each plane
    BilinearPlaneScaler lumaScaler_;
    BilinearPlaneScaler blueScaler_;
    BilinearPlaneScaler redScaler_;
};

}  // namespace vantile
