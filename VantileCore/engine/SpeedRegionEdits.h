#pragma once

#include "engine/TimelineEditError.h"
#include "model/RecordingProject.h"

#include <cstddef>

namespace vantile::SpeedRegionEdits {

// Throws the first problem of the project's speed regions: outside the recording, a speed
// outside 0.25–16, out of order or overlapping.
void validate(const RecordingProject& project);

// Adds a region; one that overlaps another is refused.
RecordingProject withRegion(const RecordingProject& project, const SpeedRegion& region);
// Replaces region `index` (new edges or speed); it may not reach into its neighbours.
RecordingProject withRegionChanged(const RecordingProject& project, std::size_t index, const SpeedRegion& changed);
RecordingProject withoutRegion(const RecordingProject& project, std::size_t index);

}  // namespace vantile::SpeedRegionEdits
