#pragma once

namespace vantile::Easing {

// Clamps its argument to [0, 1] first.
double smootherStep(double c);

}  // namespace vantile::Easing
