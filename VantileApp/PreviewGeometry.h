#pragma once

#include "model/CursorFrame.h"
#include "model/Geometry.h"
#include "model/RecordingProject.h"

#include <QSize>

#include <optional>
#include <string>
#include <vector>

namespace vantile::PreviewGeometry {

// The source video size all preview geometry uses: the project's, each side at least 1;
// 16 × 9 without a project.
struct VideoSize {
    double width = 16;
    double height = 9;
};
VideoSize sourceVideoSize(const std::optional<RecordingProject>& project);

// The camera at `time`: the project's focus segments turned into keyframes and sampled;
// the whole frame at scale 1 without a project.
CameraKeyframe cameraState(const std::optional<RecordingProject>& project, double time);

// The part of the source video the camera shows in a content area of `contentWidth` ×
// `contentHeight`; the compositor's own crop, so preview and export agree.
CGRectCodable sourceCropRect(const VideoSize& video, const CameraKeyframe& camera, double contentWidth,
                             double contentHeight);

// Where the whole movie lies so that `crop` fills the content area.
CGRectCodable playerFrame(const VideoSize& video, const CGRectCodable& crop, double contentWidth,
                          double contentHeight);

// The source-video point shown at (x, y) of a canvas of `canvasWidth` × `canvasHeight` at `time`,
// through the same layout and camera crop as the compositor; nothing outside the video.
std::optional<CodablePoint> videoPointAt(const RecordingProject& project, const RenderSettings& settings,
                                         double canvasWidth, double canvasHeight, double x, double y, double time);

// "m:ss" of whole seconds (no hours field); "0:00" for a negative or non-finite time.
std::string formatPlaybackTime(double time);

// The largest size of the output's aspect that fits `available`, in whole pixels, at least 2 × 2.
QSize fittedCanvasSize(double outputWidth, double outputHeight, QSize available);

}  // namespace vantile::PreviewGeometry
