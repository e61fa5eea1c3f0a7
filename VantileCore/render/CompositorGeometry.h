#pragma once

#include "model/CursorFrame.h"
#include "model/Geometry.h"
#include "model/RenderSettings.h"

namespace vantile {

// The compositor's layout arithmetic, in output pixels (origin top left, y down) and
// raw-video pixels. Plain functions so the live preview can place its overlays the same way.
namespace CompositorGeometry {

inline constexpr double cardMarginX = 12;        // video inset from the card's left and right edges
inline constexpr double cardMarginBottom = 12;   // video inset from the card's bottom edge
inline constexpr double shadowCasterRadius = 24;
inline constexpr double shadowOffsetY = 12;
inline constexpr double shadowBlur = 36;

double barHeight(WindowChrome chrome);

// Largest rectangle of the source's aspect centred in `inside`.
CGRectCodable aspectFitRect(double sourceWidth, double sourceHeight, const CGRectCodable& inside);

// The part of a W × H source that the camera shows in a target of `target`'s aspect.
CGRectCodable cropRect(double sourceWidth, double sourceHeight, const CGRectCodable& target,
                       const CameraKeyframe& camera);

struct FrameLayout {
    bool hasCard = false;
    CGRectCodable card;   // meaningful only with a card
    CGRectCodable video;  // where the camera crop lands
    double barHeight = 0;

    bool operator==(const FrameLayout&) const = default;
};

FrameLayout frameLayout(const CGRectCodable& canvas, double videoWidth, double videoHeight, bool backgroundEnabled,
                        const RenderPreset& preset);
// The frame's layout for the settings: the card's, or with `fill` the video over the whole canvas.
// The template's preset with the settings' own choices, a chosen padding and corner radius
// scaled to `canvas` (padding from its short side, the radius from 1080p).
RenderPreset framePreset(const RenderSettings& settings, const CGRectCodable& canvas);
FrameLayout frameLayout(const CGRectCodable& canvas, double videoWidth, double videoHeight,
                        const RenderSettings& settings);

// A source-video point mapped through the crop into the video rectangle (not clipped).
CodablePoint mapToCanvas(double x, double y, const CGRectCodable& crop, const CGRectCodable& videoRect);

// 0.84 still, up to 1.18 at speed, +0.2 while clicking; 0.84 always without dynamic scaling.
double cursorScale(bool dynamicScale, double speed, bool isClicking, double videoWidth, double videoHeight);

struct Ripple {
    double radius = 12;
    double alpha = 0.35;

    bool operator==(const Ripple&) const = default;
};
// The ripple repeats every 0.35 s of movie time.
Ripple rippleAt(double time);

// The camera bubble keeps this fraction of the canvas's short side from its edges.
inline constexpr double cameraBubbleMargin = 0.04;
// The bubble's square in canvas pixels (whole pixels, so its tile is sharp): its side is the
// settings' fraction of the short side, at a corner or centred on the custom fractions, and
// never nearer an edge than the margin. It does not follow the zoom.
CGRectCodable cameraBubbleRect(const CGRectCodable& canvas, const RenderSettings& settings);

// Motion blur: how many moments a frame blends over its shutter for a motion of `pixels`
// (output pixels) during it. One when still, so a still frame is drawn as without blur;
// then one more for each step of 1.5 px, up to 8.
int shutterSampleCount(double pixels);
// The `index`th of `count` moments: the middles of equal parts of the shutter, which is
// open `shutter` seconds around `time`.
double shutterTime(double time, double shutter, int index, int count);
// The farthest any edge of the crop moves in output pixels from crop `from` to crop `to`
// shown in `target`.
double cropMotion(const CGRectCodable& from, const CGRectCodable& to, const CGRectCodable& target);

}  // namespace CompositorGeometry

}  // namespace vantile
