#pragma once

#include <QImage>
#include <QRect>
#include <QRectF>

#include <cstdint>
#include <optional>

namespace vantile {

// What one overlay shows at one time: a premultiplied ARGB image placed at `rect` (canvas
// pixels; it may reach past the canvas, which clips it). `content` changes whenever the
// image's pixels do, so a frame that already shows the same tile need not draw it again.
struct OverlayTile {
    QRect rect;
    std::int64_t content = 0;
    const QImage* image = nullptr;  // valid until the layer is asked again

    bool sameAs(const OverlayTile& other) const { return rect == other.rect && content == other.content; }
};

// One feature drawn over the finished picture, above the card, the cursor and the ripples.
// Both compositors draw its tile: the RGB one directly, the YUV one by blending only the
// tile's rectangle. Adding one means a class beside this one and a line in addOverlayLayers,
// which every compositor's layers come from.
class OverlayLayer {
public:
    virtual ~OverlayLayer() = default;

    // The tile at recording `time` on `canvas`, or nothing when the layer shows nothing then.
    // Times must not decrease.
    virtual std::optional<OverlayTile> tileAt(double time, const QRectF& canvas) = 0;
};

}  // namespace vantile
