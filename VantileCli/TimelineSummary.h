#pragma once

#include "model/RecordingProject.h"

#include <string>

namespace vantile::cli {

// "kept", "trim", "cuts" and (when there are any) "texts" lines of a project's timeline edit, aligned like `info`.
std::string describeTimelineEdit(const RecordingProject& project);
// A count, then one line per focus segment (or per edited one): index (as `info --json` lists
// them), times, type, focus point, scale, edited.
std::string describeSegments(const RecordingProject& project, bool onlyEdited = false);
// {"duration": kept seconds, "trim": {"start","end"}, "cuts": [...], "segments": [...]}, and
// "textCallouts": [...] when the project has any.
Json timelineJson(const RecordingProject& project);

}  // namespace vantile::cli
