#pragma once

#include "engine/TimelineEditError.h"
#include "model/RecordingProject.h"

#include <optional>

namespace vantile {

// Crop edits as pure functions: each returns the edited project or throws TimelineEditError.
namespace CropEdits {

// The rectangle (raw-video pixels) shrunk to the even-sided crop inside it. Refused when it
// reaches outside the recording or leaves a side under smallestCropSide.
RecordingCrop fitted(const RecordingProject& project, double x, double y, double width, double height);

// Sets (or, with nullopt, clears) the crop. The automatic zooms are planned again for the picture
// that is left; the user's own zooms stay where they were.
RecordingProject withCrop(const RecordingProject& project, const std::optional<RecordingCrop>& crop);

}  // namespace CropEdits

}  // namespace vantile
