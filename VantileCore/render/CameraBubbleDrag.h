#pragma once

#include "model/Geometry.h"
#include "model/RenderSettings.h"

#include <optional>

namespace vantile {

// Moving the camera bubble with the pointer over the output frame, in canvas pixels. The
// bubble follows the pointer as `custom`, never nearer an edge than the margin, and on release
// goes to a corner when it lies close to that corner's place.
class CameraBubbleDrag {
public:
    // A released bubble within this fraction of the frame's width and height of a corner's
    // place goes there.
    static constexpr double snapDistance = 0.03;

    // Whether `point` is on the bubble as `settings` place it (its square).
    static bool hits(const CGRectCodable& canvas, const RenderSettings& settings, CodablePoint point);

    // A drag that grabbed the bubble at `point`; nothing when the point misses it or it is hidden.
    static std::optional<CameraBubbleDrag> begin(const CGRectCodable& canvas, const RenderSettings& settings,
                                                 CodablePoint point);

    // The settings with the bubble carried by the pointer, now at `point`.
    RenderSettings movedTo(CodablePoint point) const;
    // The settings when the pointer lets go at `point`: at a corner when near it, else as moved.
    RenderSettings releasedAt(CodablePoint point) const;

private:
    CameraBubbleDrag(const CGRectCodable& canvas, const RenderSettings& settings, CodablePoint grab);

    CGRectCodable canvas_;
    RenderSettings start_;
    CodablePoint grabFromCenter_;  // where the pointer holds the bubble, from its centre
};

}  // namespace vantile
