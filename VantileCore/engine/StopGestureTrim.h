#pragma once

#include "model/Geometry.h"
#include "model/InputEvent.h"

#include <optional>
#include <vector>

namespace vantile {

// Where a take ends once the gesture that stopped it is left out. Stopping from the recording
// control or the tray means moving the pointer there and clicking; that tail is the
// application, not the user's demo. The gesture may pass several places in turn (a hot corner
// that reveals the control, then the control where the desktop put it).
//
// For each place of the way, from the last, walking back from the stop through the time-sorted
// events:
// 1. the arrival: the events on or within `arrivalMargin` of the place (a click on a tray icon,
//    moves over it);
// 2. the approach: before it, the run of pointer moves whose distance to the place keeps growing
//    as one walks back (shrinking as the pointer went), `approachTolerance` allowing for a hand's
//    jitter, up to the arrival at the place before. Any other event (a click, a drag, a scroll,
//    typing) is the user's and ends the walk.
// The take ends at the gesture's first event: the pointer rests where the user left it until it
// set off. No end when there is no gesture, or when it would remove more than `longestRemoved`
// for each place (a slow drift is the user's, not a stop gesture).
namespace StopGestureTrim {

inline constexpr double arrivalMargin = 16;
inline constexpr double approachTolerance = 8;
inline constexpr double longestRemoved = 4;

// `events` and `way` share one coordinate space; `stopTime` is on the events' clock.
std::optional<double> keptEnd(const std::vector<InputEvent>& events, const std::vector<CGRectCodable>& way,
                              double stopTime);

// Euclidean distance from a point to a rectangle, 0 on or inside it.
double distance(const CodablePoint& point, const CGRectCodable& rectangle);

}  // namespace StopGestureTrim

}  // namespace vantile
