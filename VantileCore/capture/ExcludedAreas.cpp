#include "capture/ExcludedAreas.h"

#include <algorithm>

namespace vantile {

void ExcludedAreas::set(std::vector<CGRectCodable> areas)
{
    const std::lock_guard lock(mutex_);
    areas_ = std::move(areas);
}

std::vector<CGRectCodable> ExcludedAreas::areas() const
{
    const std::lock_guard lock(mutex_);
    return areas_;
}

bool ExcludedAreas::contains(const CodablePoint& point) const
{
    const std::lock_guard lock(mutex_);
    return std::ranges::any_of(areas_, [&](const CGRectCodable& area) {
        return point.x >= area.minX() && point.x < area.maxX() && point.y >= area.minY() && point.y < area.maxY();
    });
}

}  // namespace vantile
