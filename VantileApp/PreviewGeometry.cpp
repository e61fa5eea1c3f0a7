#include "PreviewGeometry.h"

#include "engine/CameraPathBuilder.h"
#include "engine/CroppedRecording.h"
#include "render/CompositorGeometry.h"
#include "render/FrameProviders.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace vantile::PreviewGeometry {
namespace {

// The project's video size, each side at least 1.
struct VideoSize {
    double width;
    double height;
};

VideoSize sourceVideoSize(const RecordingProject& project)
{
    return {std::max(static_cast<double>(project.video.width), 1.0),
            std::max(static_cast<double>(project.video.height), 1.0)};
}

CameraKeyframe cameraState(const RecordingProject& project, const RenderSettings& settings,
                           const CGRectCodable& shown, double time)
{
    const VideoSize video = sourceVideoSize(project);
    const auto keyframes =
        CameraPathBuilder::buildKeyframes(project.focusSegments, project.duration, video.width, video.height);
    if (settings.layout != VideoLayout::fill) return CameraPathBuilder::cameraStateAt(time, keyframes);
    // Filling the frame, the overview follows the pointer as the compositor's camera does.
    CameraFrameProvider camera(keyframes);
    const CGRectCodable overview = CompositorGeometry::cropRect(video.width, video.height, shown, {0, 0, 0, 1});
    camera.followInOverview(
        PointerFollowTrack(project.cursorFrames, video.width, video.height, overview.width, overview.height));
    return camera.stateAt(time);
}

}  // namespace

std::optional<CodablePoint> videoPointAt(const RecordingProject& whole, const RenderSettings& settings,
                                         double canvasWidth, double canvasHeight, double x, double y, double time)
{
    // The preview shows what the crop leaves; the answer is in the whole recording's pixels.
    const RecordingProject project = CroppedRecording::view(whole);
    const VideoSize video = sourceVideoSize(project);
    const auto layout =
        CompositorGeometry::frameLayout({0, 0, canvasWidth, canvasHeight}, video.width, video.height, settings);
    const CGRectCodable& shown = layout.video;
    if (!(shown.width > 0 && shown.height > 0) || x < shown.x || y < shown.y || x > shown.x + shown.width ||
        y > shown.y + shown.height) {
        return std::nullopt;
    }
    const CGRectCodable crop =
        CompositorGeometry::cropRect(video.width, video.height, shown, cameraState(project, settings, shown, time));
    return CroppedRecording::pointInRecording({crop.x + (x - shown.x) / shown.width * crop.width,
                                               crop.y + (y - shown.y) / shown.height * crop.height},
                                              whole.crop);
}

std::string formatPlaybackTime(double time)
{
    if (!std::isfinite(time) || time < 0) return "0:00";
    const auto seconds = static_cast<long long>(std::floor(time));
    const long long minutes = seconds / 60;
    char text[32];
    std::snprintf(text, sizeof text, "%lld:%02lld", minutes, seconds - 60 * minutes);
    return text;
}

QSize fittedCanvasSize(double outputWidth, double outputHeight, QSize available)
{
    const double aspect = outputWidth / std::max(outputHeight, 1.0);
    double width = std::max(available.width(), 2);
    double height = width / aspect;
    if (height > available.height()) {
        height = std::max(available.height(), 2);
        width = height * aspect;
    }
    return {std::max(static_cast<int>(std::floor(width)), 2), std::max(static_cast<int>(std::floor(height)), 2)};
}

}  // namespace vantile::PreviewGeometry
