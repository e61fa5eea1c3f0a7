#pragma once

#include <algorithm>

namespace vantile::MathUtils {

double distance(double x1, double y1, double x2, double y2);

// With lower > upper the result is upper.
template <typename T>
constexpr T clamp(T value, T lower, T upper)
{
    return std::min(std::max(value, lower), upper);
}

}  // namespace vantile::MathUtils
