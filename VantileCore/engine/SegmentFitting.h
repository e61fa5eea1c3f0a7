#pragma once

#include "model/FocusSegment.h"

#include <vector>

namespace vantile {

// How the automatic plan gives way to the user's zooms, so that the camera reaches an edited zoom
// by its start and leaves it at its end.
namespace SegmentFitting {

// Edited segments stay as they are. Automatic ones are cut back out of each edited segment and out of
// the room the camera needs to move into it; pieces shorter than a camera move go. Where the camera
// would otherwise hold an edited zoom past its end, an overview runs from that end to whatever comes
// next (or the end of the recording). Automatic overviews with nothing between them join. Sorted by start.
std::vector<FocusSegment> fitAroundEdited(const std::vector<FocusSegment>& segments, double duration,
                                          double videoWidth, double videoHeight);

// The parts of `range` that no segment covers, each at least a camera move long, as overviews.
std::vector<FocusSegment> overviewsWhereUncovered(const std::vector<FocusSegment>& segments, double start, double end,
                                                  double videoWidth, double videoHeight);

}  // namespace SegmentFitting

}  // namespace vantile
