#pragma once

#include "engine/TimelineEditError.h"
#include "model/RecordingProject.h"

#include <cstddef>

namespace vantile {

// Privacy-blur edits as pure functions: each returns the edited project or throws
// TimelineEditError, so a refused edit never touches the caller's project.
namespace BlurRegionEdits {

// The region's rectangle clipped to the recording's picture; refused when the span lies outside
// the recording or does not end after it starts, or when nothing of the rectangle is left.
BlurRegion fitted(const RecordingProject& project, BlurRegion region);

// Appends the fitted region.
RecordingProject withBlurRegion(const RecordingProject& project, const BlurRegion& region);
// Replaces region `index` by the fitted `changed` (a moved edge, another rectangle or style).
RecordingProject withBlurRegionChanged(const RecordingProject& project, std::size_t index, const BlurRegion& changed);
RecordingProject withoutBlurRegion(const RecordingProject& project, std::size_t index);

}  // namespace BlurRegionEdits

}  // namespace vantile
