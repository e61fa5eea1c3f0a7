#pragma once

#include "model/InputEvent.h"
#include "model/RecordingProject.h"
#include "model/TimeRange.h"

#include <vector>

namespace vantile {

// How a proposed idle stretch is taken out of the movie.
enum class IdleRemoval { speed, cut };

inline constexpr double defaultIdleSeconds = 3.0;
inline constexpr double idleSpeed = 8.0;

// Stretches where nothing happens: no input was logged and the screen did not change.
namespace IdleFinder {

// The stretches of at least `minimumSeconds` between moments of activity, inside [0, duration].
// Activity is every logged event, every moment of a typing burst (from its start to its end)
// and every time in `screenChanges` (the times of frames that differ from the one before).
std::vector<TimeRange> idleStretches(const std::vector<InputEvent>& events, const std::vector<double>& screenChanges,
                                     double duration, double minimumSeconds);

// The project with `stretches` (or the parts of them that are neither cut nor already at
// another speed) played at idleSpeed, or cut. The result is validated like any edit.
RecordingProject withIdleRemoved(const RecordingProject& project, const std::vector<TimeRange>& stretches,
                                 IdleRemoval removal);

}  // namespace IdleFinder

}  // namespace vantile
