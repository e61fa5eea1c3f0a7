#pragma once

#include "model/RecordingProject.h"

#include <string>

namespace vantile::cli {

// "kept", "trim", "cuts" and (when there are any) "texts" lines of a project's timeline edit, aligned like `info`.
std::string describeTimelineEdit(const RecordingProject& project);
// A count, then one line per focus segment (or per edited one): index (as `info --json` lists
// them), times, type, focus point, scale, edited.
std::string describeSegments(const RecordingProject& project, bool onlyEdited = false);
// One "blur" line listing the privacy-blur regions (index, span, rectangle, style); nothing without any.
std::string describeBlurRegions(const RecordingProject& project);
// {"duration": kept seconds, "trim": {"start","end"}, "cuts": [...], "segments": [...]}, and "blurRegions", "textCallouts" and "crop" when there are any
Json timelineJson(const RecordingProject& project);

}  // namespace vantile::cli
