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

double easeInOutCubic(double c)
{
    c = clampUnit(c);
    if (c < 0.5) return 4 * c * c * c;
    const double falling = 2 - 2 * c;
    return 1 - falling * falling * falling * 0.5;
}

double easeOutCubic(double c)
{
    c = clampUnit(c);
    const double remaining = 1 - c;
    return 1 - remaining * remaining * remaining;
}

}  // namespace vantile::Easing
