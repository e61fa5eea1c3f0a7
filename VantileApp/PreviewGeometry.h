#pragma once

#include "model/CursorFrame.h"
#include "model/Geometry.h"
#include "model/RecordingProject.h"

#include <QSize>

#include <optional>
#include <string>
#include <vector>

namespace vantile::PreviewGeometry {

// The source-video point shown at (x, y) of a canvas of `canvasWidth` × `canvasHeight` at `time`,
// through the same layout and camera crop as the compositor; nothing outside the video.
std::optional<CodablePoint> videoPointAt(const RecordingProject& project, const RenderSettings& settings,
                                         double canvasWidth, double canvasHeight, double x, double y, double time);

// "m:ss" of whole seconds (no hours field); "0:00" for a negative or non-finite time.
std::string formatPlaybackTime(double time);

// The largest size of the output's aspect that fits `available`, in whole pixels, at least 2 × 2.
QSize fittedCanvasSize(double outputWidth, double outputHeight, QSize available);

}  // namespace vantile::PreviewGeometry
