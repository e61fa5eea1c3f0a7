#pragma once

#include "render/CropScaler.h"
#include "media/FfmpegHandles.h"
#include "render/FrameCompositor.h"

#include <QImage>
#include <QRegion>

#include <optional>

namespace vantile {

// Draws export frames straight into the encoder's yuv420p planes. The static layer is
// converted once per layout and restored where a reused frame differs from it; the camera
// crop is scaled from the decoded frame's planes into the card; only the cursor's
// surroundings go through RGB to be blended. The card's rounded corners need no blending:
// the video sits inside the card's margins, clear of the corner curves, and is not clipped.
// Frames the YUV path cannot take (no decoded
// frame, other pixel formats or matrices) are drawn in RGB and converted whole, so the
// result looks the same either way.
class YuvFrameCompositor {
public:
    YuvFrameCompositor(FrameCompositor& compositor, DecodedFrameLookup source);

    // Draws the frame at `time` into `frame` (yuv420p). `previous` is where the frame's planes
    // differed from the static layer when it was last drawn (nothing: unknown, e.g. a fresh
    // buffer). Returns where they differ now. Times must not decrease.
    QRegion drawFrame(AVFrame& frame, const std::optional<QRegion>& previous, double time);

    // The slow, obvious version: the whole frame drawn in RGB and converted.
    QRegion drawFrameInRgb(AVFrame& frame, double time);

private:
    // Converts the surroundings of the cursor to RGB, draws it there and converts back the
    // 2 × 2 blocks it changed.
    void blendCursor(AVFrame& frame, const FrameCompositor::CursorOverlay& overlay, const QRect& area);

    FrameCompositor& compositor_;
    DecodedFrameLookup source_;
    CropScaler cropScaler_;
    FrameHandle staticFrame_;  // the static layer in yuv420p
    QRectF staticCanvas_;
    QImage rgbCanvas_;        // for frames drawn in RGB
    QImage overlay_;          // the cursor's surroundings in RGB
    QImage overlayBefore_;    // ... as they were before the cursor was drawn
    FrameHandle overlayPlanes_;  // ... converted back
};

}  // namespace vantile
