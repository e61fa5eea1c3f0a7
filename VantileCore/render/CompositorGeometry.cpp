#include "render/CompositorGeometry.h"

#include "engine/Easing.h"

#include <algorithm>
#include <cmath>

namespace vantile::CompositorGeometry {

double barHeight(WindowChrome chrome)
{
    switch (chrome) {
    case WindowChrome::browser:
        return 44;
    case WindowChrome::macWindow:
    case WindowChrome::linuxTitleBar:
        return 38;
    case WindowChrome::none:
        // No bar: the video sits the same distance from every edge of the card.
        return cardMarginBottom;
    }
    return 44;
}

CGRectCodable aspectFitRect(double sourceWidth, double sourceHeight, const CGRectCodable& inside)
{
    const double aspect = std::max(sourceWidth, 1.0) / std::max(sourceHeight, 1.0);
    const double insideAspect = inside.height < 1 ? inside.width : inside.width / inside.height;
    double width = 0;
    double height = 0;
    if (aspect < insideAspect) {
        height = inside.height;
        width = aspect * height;
    } else {
        width = inside.width;
        height = width / aspect;
    }
    return {inside.x + (inside.width - width) / 2, inside.y + (inside.height - height) / 2, width, height};
}

CGRectCodable cropRect(double sourceWidth, double sourceHeight, const CGRectCodable& target,
                       const CameraKeyframe& camera)
{
    double targetAspect = target.height >= 1 ? target.width / target.height : target.width;
    if (targetAspect < 0.001) targetAspect = 0.001;
    const double sourceAspect = sourceHeight > 0 ? sourceWidth / sourceHeight : sourceWidth;
    double width = sourceWidth;
    double height = sourceWidth / targetAspect;
    if (targetAspect < sourceAspect) {
        width = targetAspect * sourceHeight;
        height = sourceHeight;
    }
    if (camera.scale >= 1) {
        width = std::min(width / camera.scale, sourceWidth);
        height = std::min(height / camera.scale, sourceHeight);
    } else {
        width = std::min(width, sourceWidth);
        height = std::min(height, sourceHeight);
    }
    const double x = std::min(std::max(sourceWidth - width, 0.0), std::max(camera.centerX - width / 2, 0.0));
    const double y = std::min(std::max(sourceHeight - height, 0.0), std::max(camera.centerY - height / 2, 0.0));
    return {x, y, width, height};
}

FrameLayout frameLayout(const CGRectCodable& canvas, double videoWidth, double videoHeight, bool backgroundEnabled,
                        const RenderPreset& preset)
{
    FrameLayout layout;
    if (!backgroundEnabled) {
        layout.video = aspectFitRect(videoWidth, videoHeight, canvas);
        return layout;
    }
    layout.hasCard = true;
    layout.barHeight = barHeight(preset.windowChrome);
    const CGRectCodable inner{canvas.x + preset.padding, canvas.y + preset.padding, canvas.width - 2 * preset.padding,
                              canvas.height - 2 * preset.padding};
    const double availableWidth = std::max(inner.width - 2 * cardMarginX, 2.0);
    const double availableHeight = std::max(inner.height - layout.barHeight - cardMarginBottom, 2.0);
    const double aspect = videoWidth / std::max(videoHeight, 1.0);
    double width = availableWidth;
    double height = availableWidth / aspect;
    if (availableHeight < availableWidth / aspect) {
        height = availableHeight;
        width = aspect * availableHeight;
    }
    const double cardWidth = width + 2 * cardMarginX;
    const double cardHeight = layout.barHeight + height + cardMarginBottom;
    const double midX = canvas.x + canvas.width / 2;
    const double midY = canvas.y + canvas.height / 2;
    layout.card = {midX - cardWidth / 2, midY - cardHeight / 2, cardWidth, cardHeight};
    layout.video = {layout.card.x + cardMarginX, layout.card.y + layout.barHeight, width, height};
    return layout;
}

RenderPreset framePreset(const RenderSettings& settings, const CGRectCodable& canvas)
{
    RenderPreset preset = RenderPreset::forSettings(settings);
    const double shortSide = std::max(std::min(canvas.width, canvas.height), 0.0);
    if (settings.cardPadding) preset.padding = std::round(*settings.cardPadding * shortSide);
    if (settings.cardCornerRadius) preset.cornerRadius = *settings.cardCornerRadius * shortSide / 1080;
    return preset;
}

FrameLayout frameLayout(const CGRectCodable& canvas, double videoWidth, double videoHeight,
                        const RenderSettings& settings)
{
    if (settings.layout == VideoLayout::fill) {
        FrameLayout filled;
        filled.video = canvas;
        return filled;
    }
    return frameLayout(canvas, videoWidth, videoHeight, settings.backgroundEnabled, framePreset(settings, canvas));
}

CodablePoint mapToCanvas(double x, double y, const CGRectCodable& crop, const CGRectCodable& videoRect)
{
    return {videoRect.x + (x - crop.x) / crop.width * videoRect.width,
            videoRect.y + (y - crop.y) / crop.height * videoRect.height};
}

double cursorScale(bool dynamicScale, double speed, bool isClicking, double videoWidth, double videoHeight)
{
    if (!dynamicScale) return 0.84;
    const double diagonal = std::max(std::hypot(videoWidth, videoHeight), 1.0);
    const double normalized = speed / (diagonal * 0.85);
    const double u = normalized <= 0 ? 0 : std::min(normalized, 1.0);
    return 0.84 + 0.34 * Easing::smootherStep(u) + (isClicking ? 0.2 : 0);
}

Ripple rippleAt(double time)
{
    const double phase = std::fmod(time, 0.35) / 0.35;
    return {12 + 30 * phase, 0.35 - 0.35 * phase};
}

CGRectCodable cameraBubbleRect(const CGRectCodable& canvas, const RenderSettings& settings)
{
    // On whole chroma samples from the canvas's corner, so the export blends the bubble
    // straight into its planes, where it lands exactly as drawn in RGB.
    const auto evenDown = [](double value) { return 2 * std::floor(value / 2); };
    const auto evenUp = [](double value) { return 2 * std::ceil(value / 2); };
    const auto evenNearest = [](double value) { return 2 * std::round(value / 2); };
    const double shortSide = std::min(canvas.width, canvas.height);
    const double margin = std::round(cameraBubbleMargin * shortSide);
    const double side = std::max(evenNearest(settings.cameraSize * shortSide), 2.0);
    const double left = evenUp(margin);
    const double top = evenUp(margin);
    const double right = std::max(evenDown(canvas.width - margin - side), left);
    const double bottom = std::max(evenDown(canvas.height - margin - side), top);
    double x = right;
    double y = bottom;
    switch (settings.cameraPosition) {
    case CameraPosition::bottomRight: break;
    case CameraPosition::bottomLeft: x = left; break;
    case CameraPosition::topRight: y = top; break;
    case CameraPosition::topLeft:
        x = left;
        y = top;
        break;
    case CameraPosition::custom:
        x = std::clamp(evenNearest(settings.cameraCenterX * canvas.width - side / 2), left, right);
        y = std::clamp(evenNearest(settings.cameraCenterY * canvas.height - side / 2), top, bottom);
        break;
    }
    return {canvas.x + x, canvas.y + y, side, side};
}

int shutterSampleCount(double pixels)
{
    constexpr double step = 1.5;
    constexpr int most = 8;
    if (!(pixels >= 0.5)) return 1;
    return std::min(most, static_cast<int>(std::ceil(pixels / step)) + 1);
}

double shutterTime(double time, double shutter, int index, int count)
{
    if (count <= 1) return time;
    return time - shutter / 2 + shutter * (index + 0.5) / count;
}

double cropMotion(const CGRectCodable& from, const CGRectCodable& to, const CGRectCodable& target)
{
    const double narrowest = std::min(from.width, to.width);
    if (narrowest <= 0) return 0;
    const double scale = target.width / narrowest;
    const double edges = std::max({std::abs(to.x - from.x), std::abs(to.y - from.y),
                                   std::abs(to.x + to.width - from.x - from.width),
                                   std::abs(to.y + to.height - from.y - from.height)});
    return edges * scale;
}

}  // namespace vantile::CompositorGeometry
