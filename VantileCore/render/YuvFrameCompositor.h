#pragma once

#include "render/CropScaler.h"
#include "media/FfmpegHandles.h"
#include "render/FrameCompositor.h"
#include "render/SourceRowChanges.h"

#include <QImage>
#include <QRegion>

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace vantile {

// Draws export frames straight into the encoder's yuv420p planes. The static layer is
// converted once per layout and restored where a reused frame differs from it; the camera
// crop is scaled from the decoded frame's planes into the card, on the rows whose source
// changed since the reused frame last showed the same crop; overlays that did not change
// stay, and the others come off by copies of what lay beneath them. Only the cursor's
// surroundings and tiles offered as images go through RGB to be blended. The card's rounded
// corners need no blending: the video sits inside the card's margins, clear of the corner
// curves, and is not clipped. Frames the YUV path cannot take (no decoded frame, other pixel
// formats or matrices) are drawn in RGB and converted whole, so the result looks the same
// either way.
class YuvFrameCompositor {
public:
    YuvFrameCompositor(FrameCompositor& compositor, DecodedFrameLookup source);

    // Draws the frame at `time` into `frame` (yuv420p). `previous` is where the frame's planes
    // differed from the static layer when this compositor last drew it, and says that they
    // are as it left them (nothing: unknown, e.g. a fresh buffer or one drawn elsewhere).
    // Returns where they differ now. Times must not decrease.
    QRegion drawFrame(AVFrame& frame, const std::optional<QRegion>& previous, double time);

    // The slow, obvious version: the whole frame drawn in RGB and converted.
    QRegion drawFrameInRgb(AVFrame& frame, double time);

    // What lay under an overlay before it was blended there (the video, the static layer
    // and the overlays below), so a moving cursor or a changing tile comes off by a copy
    // instead of scaling the video's rows again.
    struct CleanPatch {
        QRect area;  // even-aligned
        std::vector<std::uint8_t> luma;
        std::vector<std::uint8_t> chroma;  // U rows, then V rows
    };

private:
    // Converts `area` (even-aligned) to RGB, lets `draw` paint there in canvas coordinates and
    // converts back only the 2 × 2 blocks it changed.
    void blendOverlay(AVFrame& frame, const QRect& area, const std::function<void(QPainter&)>& draw);
    // Blends a tile over `area` (even-aligned, covering the tile's part of the frame) in YUV:
    // blending commutes with the affine RGB → YUV matrix, so only the tile is converted, and
    // a tile that comes in planes is not converted at all.
    void blendTile(AVFrame& frame, const QRect& area, const OverlayTile& tile);
    // Writes the average of the crops `cameras` show over the video's window; false when the
    // source cannot be scaled.
    bool drawBlurredVideo(AVFrame& frame, const AVFrame& decoded, const std::vector<CameraKeyframe>& cameras,
                          const CompositorGeometry::FrameLayout& layout);

    // The cursor or a layer's tile as drawn over a frame, with the video's pixels beneath it.
    struct DrawnOverlay {
        QRect area;  // even-aligned
        std::optional<FrameCompositor::CursorOverlay> cursor;
        std::optional<OverlayTile> tile;
        CleanPatch under;

        bool sameAs(const DrawnOverlay& other) const
        {
            const bool sameTile = tile && other.tile ? tile->sameAs(*other.tile) && tile->image == other.tile->image &&
                                                           tile->planes == other.tile->planes
                                                     : tile.has_value() == other.tile.has_value();
            return area == other.area && cursor == other.cursor && sameTile;
        }
    };
    // What a reused frame shows: the crop its video was placed with, the source generation
    // it was drawn from, and the overlays drawn over it, in order.
    struct HeldVideo {
        const std::uint8_t* pixels = nullptr;
        CropScaler::Placement placement;
        std::int64_t generation = 0;
        std::vector<DrawnOverlay> overlays;
    };
    HeldVideo* heldVideo(const AVFrame& frame);
    void forget(const AVFrame& frame);
    // Which chroma rows of the held window to draw again because their source changed.
    std::vector<bool> rowsToRedraw(const HeldVideo& held) const;

    FrameCompositor& compositor_;
    DecodedFrameLookup source_;
    SourceObscurer obscurer_;
    CropScaler cropScaler_;
    FrameHandle staticFrame_;  // the static layer in yuv420p
    QRectF staticCanvas_;
    QImage rgbCanvas_;        // for frames drawn in RGB
    QImage overlay_;          // the area of the cursor or a tile in RGB
    QImage overlayBefore_;    // ... as they were before the cursor was drawn
    FrameHandle overlayPlanes_;  // ... converted back
    QImage tileColours_;         // a tile's area, straight (not premultiplied) ARGB
    FrameHandle tilePlanes_;     // ... in yuv420p
    std::vector<std::uint8_t> tileAlpha_;
    FrameHandle blurMoment_;  // one moment of a blurred frame
    std::vector<std::uint16_t> blurSums_;
    SourceRowChanges sourceRows_;
    std::vector<HeldVideo> heldVideos_;  // one per frame buffer in use, most recent last
};

}  // namespace vantile
