#pragma once

#include "media/FfmpegHandles.h"

#include <QImage>
#include <QRect>
#include <QRectF>

#include <cstdint>
#include <vector>

namespace vantile {

// A tile's pixels as yuv420p planes (BT.601, limited range) with a straight alpha plane, for
// the compositor that draws into the encoder's planes: blending them there needs no round
// trip through RGB.
struct PlanarTile {
    FrameHandle planes;               // the tile's size
    std::vector<std::uint8_t> alpha;  // one byte a pixel, rows of the tile's width
};

// What one overlay shows at one time: an image placed at `rect` (canvas pixels; it may reach
// past the canvas, which clips it). `content` changes whenever the pixels do, so a frame that
// already shows the same tile need not draw it again.
struct OverlayTile {
    QRect rect;
    std::int64_t content = 0;
    // Valid until the layer is asked again. A tile has its image, or, where the compositor
    // takes planes and the layer offers them, its planes instead (then on even coordinates).
    const QImage* image = nullptr;  // premultiplied ARGB, the rect's size
    const PlanarTile* planes = nullptr;

    bool sameAs(const OverlayTile& other) const { return rect == other.rect && content == other.content; }
};

// How a compositor takes tiles.
enum class TileForm { image, planesWhereOffered };

// One feature drawn over the finished picture, above the card, the cursor and the ripples.
// Both compositors draw its tiles: the RGB one directly, the YUV one by blending only the
// tiles' rectangles. Adding one means a class beside this one and a line in addOverlayLayers,
// which every compositor's layers come from.
class OverlayLayer {
public:
    virtual ~OverlayLayer() = default;

    // The tiles at recording `time` on `canvas`, drawn in order; none when the layer shows
    // nothing then. Times must not decrease.
    virtual std::vector<OverlayTile> tilesAt(double time, const QRectF& canvas, TileForm form) = 0;
};

}  // namespace vantile
