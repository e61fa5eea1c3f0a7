#include "engine/StopGestureTrim.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vantile::StopGestureTrim {

double distance(const CodablePoint& point, const CGRectCodable& rectangle)
{
    const double dx = std::max({rectangle.minX() - point.x, 0.0, point.x - rectangle.maxX()});
    const double dy = std::max({rectangle.minY() - point.y, 0.0, point.y - rectangle.maxY()});
    return std::hypot(dx, dy);
}

std::optional<double> keptEnd(const std::vector<InputEvent>& events, const std::vector<CGRectCodable>& way,
                              double stopTime)
{
    const auto distanceOf = [&](const InputEvent& event, const CGRectCodable& place) {
        return distance({event.x, event.y}, place);
    };
    // Events logged after the stop (the input clock ran a moment longer) are not in the take.
    std::size_t first = static_cast<std::size_t>(
        std::upper_bound(events.begin(), events.end(), stopTime,
                         [](double time, const InputEvent& event) { return time < event.time; }) -
        events.begin());
    const std::size_t end = first;
    for (std::size_t place = way.size(); place-- > 0;) {
        const CGRectCodable& target = way[place];
        while (first > 0 && distanceOf(events[first - 1], target) <= arrivalMargin) --first;
        const auto arrivedBefore = [&](const InputEvent& event) {
            return place > 0 && distanceOf(event, way[place - 1]) <= arrivalMargin;
        };
        double farthest = -std::numeric_limits<double>::infinity();
        while (first > 0 && events[first - 1].type == InputEvent::EventType::mouseMove &&
               !arrivedBefore(events[first - 1]) && distanceOf(events[first - 1], target) >= farthest - approachTolerance) {
            farthest = std::max(farthest, distanceOf(events[first - 1], target));
            --first;
        }
    }
    if (first == end) return std::nullopt;
    const double keptUntil = events[first].time;
    if (keptUntil <= 0 || stopTime - keptUntil > longestRemoved * double(way.size())) return std::nullopt;
    return keptUntil;
}

}  // namespace vantile::StopGestureTrim
