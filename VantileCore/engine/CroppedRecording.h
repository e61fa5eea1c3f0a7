#pragma once

#include "model/RecordingProject.h"

#include <optional>
#include <vector>

namespace vantile {

// The recording as its crop leaves it. Everything downstream (planning, the camera, the cursor,
// ripples, blur and export) works on this view, so none of it needs to know a crop exists.
// A project keeps its data in the whole recording's pixels; the view is derived each time.
namespace CroppedRecording {

// A recording of the crop's size, with events, cursor samples and zoom centres moved by the crop's
// origin and kept inside it (a point outside lands on the nearest edge), overviews centred on it,
// and blur rectangles clipped to it (dropped when nothing is left). Without a crop, the project as
// it is. The view itself has no crop.
RecordingProject view(const RecordingProject& project);

std::vector<FocusSegment> segmentsInside(std::vector<FocusSegment> segments, const RecordingCrop& crop);
std::vector<CursorFrame> cursorInside(std::vector<CursorFrame> frames, const RecordingCrop& crop);

// Segments planned on the view, back in the whole recording's pixels.
std::vector<FocusSegment> segmentsInRecording(std::vector<FocusSegment> segments,
                                              const std::optional<RecordingCrop>& crop);
// A point of the view in the whole recording's pixels.
CodablePoint pointInRecording(CodablePoint point, const std::optional<RecordingCrop>& crop);

}  // namespace CroppedRecording

}  // namespace vantile
