#pragma once

#include "engine/TimelineEditError.h"
#include "model/RecordingProject.h"

#include <cstddef>
#include <vector>

namespace vantile {

inline constexpr double smallestZoomScale = 1.0;
inline constexpr double largestZoomScale = 4.0;

// Timeline edits as pure functions: each returns the edited project or throws
// TimelineEditError, so a refused edit never touches the caller's project.
namespace TimelineEdits {

// Throws the first problem of the project's trim, cuts and edited segments.
void validate(const RecordingProject& project);

RecordingProject withTrim(const RecordingProject& project, TimeRange kept);
// Overlapping or touching cuts are merged into one.
RecordingProject withCut(const RecordingProject& project, TimeRange removed);
// Adds a user zoom; automatic segments make way for it (SegmentFitting), an overlapped edited one refuses.
RecordingProject withZoom(const RecordingProject& project, const FocusSegment& zoom);
// Replaces segment `index` by `changed`, now marked edited (move, resize, depth, focus point); the
// time it leaves shows the overview.
RecordingProject withSegmentChanged(const RecordingProject& project, std::size_t index, FocusSegment changed);
// The time a removed zoom leaves shows the overview.
RecordingProject withoutSegment(const RecordingProject& project, std::size_t index);
// No trim, no cuts, no speed regions, and the automatic plan again in place of the user's segments.
RecordingProject withoutEdits(const RecordingProject& project);

// The director's plan for the project's events and zoom intensity, ignoring the user's work.
std::vector<FocusSegment> plannedSegments(const RecordingProject& project);
// A fresh plan that keeps the user's edited segments (see mergeReplanned).
std::vector<FocusSegment> replannedSegments(const RecordingProject& project);

// A fresh plan merged with the project's edited segments: those stay, the planned ones make way for
// them as for a new zoom; sorted by start.
std::vector<FocusSegment> mergeReplanned(const RecordingProject& project, std::vector<FocusSegment> planned);

}  // namespace TimelineEdits

}  // namespace vantile
