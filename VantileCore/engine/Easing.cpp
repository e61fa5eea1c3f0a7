#include "engine/Easing.h"

namespace vantile::Easing {

namespace {

// NaN counts as 0, like any value that is not above 0.
double clampUnit(double c)
{
    if (!(c > 0)) return 0;
    if (c > 1) return 1;
    return c;
}

}  // namespace

double smootherStep(double c)
{
    c = clampUnit(c);
    return c * c * c * (c * (6 * c - 15) + 10);
}

}  // namespace vantile::Easing
