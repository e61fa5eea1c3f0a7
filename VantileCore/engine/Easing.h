#pragma once

namespace vantile::Easing {

// Each curve first clamps its argument to [0, 1].
double smootherStep(double c);
double easeInOutCubic(double c);
double easeOutCubic(double c);

}  // namespace vantile::Easing
