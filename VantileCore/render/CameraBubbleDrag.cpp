#include "render/CameraBubbleDrag.h"

#include "render/CompositorGeometry.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace vantile {

namespace {

constexpr std::array<CameraPosition, 4> corners{CameraPosition::bottomRight, CameraPosition::bottomLeft,
                                                CameraPosition::topRight, CameraPosition::topLeft};

}  // namespace

CameraBubbleDrag::CameraBubbleDrag(const CGRectCodable& canvas, const RenderSettings& settings, CodablePoint grab)
    : canvas_(canvas), start_(settings), grabFromCenter_(grab)
{
}

bool CameraBubbleDrag::hits(const CGRectCodable& canvas, const RenderSettings& settings, CodablePoint point)
{
    const CGRectCodable bubble = CompositorGeometry::cameraBubbleRect(canvas, settings);
    return point.x >= bubble.minX() && point.x < bubble.maxX() && point.y >= bubble.minY() && point.y < bubble.maxY();
}

std::optional<CameraBubbleDrag> CameraBubbleDrag::begin(const CGRectCodable& canvas, const RenderSettings& settings,
                                                        CodablePoint point)
{
    if (!settings.cameraVisible || canvas.width <= 0 || canvas.height <= 0 || !hits(canvas, settings, point)) {
        return std::nullopt;
    }
    const CGRectCodable bubble = CompositorGeometry::cameraBubbleRect(canvas, settings);
    return CameraBubbleDrag(canvas, settings,
                            {point.x - (bubble.x + bubble.width / 2), point.y - (bubble.y + bubble.height / 2)});
}

RenderSettings CameraBubbleDrag::movedTo(CodablePoint point) const
{
    const CGRectCodable bubble = CompositorGeometry::cameraBubbleRect(canvas_, start_);
    const double margin = std::round(CompositorGeometry::cameraBubbleMargin * std::min(canvas_.width, canvas_.height));
    // The centre's room: the bubble's square stays inside the margin (or at its top left when
    // it cannot fit), so the stored fractions say where it is drawn.
    const auto kept = [&](double wanted, double origin, double length) {
        const double low = origin + margin + bubble.width / 2;
        const double high = std::max(origin + length - margin - bubble.width / 2, low);
        return (std::clamp(wanted, low, high) - origin) / length;
    };
    RenderSettings moved = start_;
    moved.cameraPosition = CameraPosition::custom;
    moved.cameraCenterX = kept(point.x - grabFromCenter_.x, canvas_.x, canvas_.width);
    moved.cameraCenterY = kept(point.y - grabFromCenter_.y, canvas_.y, canvas_.height);
    return moved;
}

RenderSettings CameraBubbleDrag::releasedAt(CodablePoint point) const
{
    RenderSettings moved = movedTo(point);
    const CGRectCodable bubble = CompositorGeometry::cameraBubbleRect(canvas_, moved);
    const double reachX = snapDistance * canvas_.width;
    const double reachY = snapDistance * canvas_.height;
    std::optional<CameraPosition> nearest;
    double nearestDistance = 0;
    for (const CameraPosition corner : corners) {
        RenderSettings placed = moved;
        placed.cameraPosition = corner;
        const CGRectCodable place = CompositorGeometry::cameraBubbleRect(canvas_, placed);
        const double dx = std::abs(bubble.x - place.x);
        const double dy = std::abs(bubble.y - place.y);
        if (dx > reachX || dy > reachY) continue;
        if (!nearest || std::hypot(dx, dy) < nearestDistance) {
            nearest = corner;
            nearestDistance = std::hypot(dx, dy);
        }
    }
    if (!nearest) return moved;
    // A corner keeps no centre, so the settings read as if the bubble was never dragged.
    const RenderSettings defaults;
    moved.cameraPosition = *nearest;
    moved.cameraCenterX = defaults.cameraCenterX;
    moved.cameraCenterY = defaults.cameraCenterY;
    return moved;
}

}  // namespace vantile
