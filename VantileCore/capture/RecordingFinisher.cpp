#include "capture/RecordingFinisher.h"

#include "engine/CoordinateMapper.h"
#include "engine/StopGestureTrim.h"
#include "engine/TimelineEdits.h"

#include <algorithm>

namespace vantile {

namespace {

// The kept stretch without the stop gesture, or none when there is no gesture to leave out or
// the editor would refuse the trim.
std::optional<TimeRange> stopGestureTrim(const RecordingProject& project, const StoppedRecording& recording)
{
    if (recording.stopGestureWay.empty()) return std::nullopt;
    // The events are still capture-local here, clamped to the region, so the target is made
    // local and clamped the same way: a tray beyond the recorded area is then reached where the
    // logged pointer stops at the area's edge.
    const CGRectCodable& region = recording.source.region;
    const auto clampX = [&](double x) { return std::clamp(x - region.minX(), 0.0, region.width); };
    const auto clampY = [&](double y) { return std::clamp(y - region.minY(), 0.0, region.height); };
    std::vector<CGRectCodable> way;
    for (const CGRectCodable& global : recording.stopGestureWay) {
        const double left = clampX(global.minX());
        const double top = clampY(global.minY());
        way.push_back({left, top, clampX(global.maxX()) - left, clampY(global.maxY()) - top});
    }
    const auto end = StopGestureTrim::keptEnd(recording.events, way, project.duration);
    if (!end) return std::nullopt;
    RecordingProject trimmed = project;
    trimmed.trim = TimeRange{0, *end};
    try {
        TimelineEdits::validate(trimmed);
    } catch (const TimelineEditError&) {
        return std::nullopt;
    }
    return trimmed.trim;
}

}  // namespace

RecordingProject RecordingFinisher::finish(const StoppedRecording& recording, const RenderSettings& renderSettings,
                                           Timestamp now) const
{
    const RecordingResult& result = recording.result;
    const std::vector<InputEvent> mappedEvents =
        CoordinateMapper::mapEventsToVideo(recording.events, recording.source.region, result.videoInfo);

    RenderSettings settings = renderSettings;
    // Settings at the default rate carry no choice of the user's: they follow the recording, so a
    // 60 fps take exports at 60 while a picked rate stays.
    if (settings.fps == RenderSettings{}.fps) settings.fps = result.videoInfo.fps;
    const OutputSize size = outputSize(settings.aspectRatio, result.videoInfo, settings.resolutionPreset);
    settings.outputWidth = size.width;
    settings.outputHeight = size.height;

    RecordingProject project;
    project.id = recording.projectDirectory.filename().string();
    if (project.id.empty()) project.id = recording.projectDirectory.parent_path().filename().string();
    project.createdAt = now;
    project.duration = result.duration;
    project.capture = recording.source.captureInfo();
    project.video = result.videoInfo;
    project.events = mappedEvents;
    project.renderSettings = settings;
    project.camera = recording.camera;
    project.audioSettings = recording.audioSettings;
    project.rawVideoPath = result.rawVideoURL.filename().string();

    project.focusSegments = focusPlanner_
                                .plan({.duration = result.duration,
                                       .videoWidth = static_cast<double>(result.videoInfo.width),
                                       .videoHeight = static_cast<double>(result.videoInfo.height),
                                       .events = mappedEvents,
                                       .zoomIntensity = settings.zoomIntensity})
                                .segments;
    project.cursorFrames = cursorSmoother_.smooth(mappedEvents, settings.fps, result.duration, settings.cursorSmoothing);
    project.trim = stopGestureTrim(project, recording);

    projectFiles_.saveProject(project, recording.projectDirectory);
    return project;
}

}  // namespace vantile
