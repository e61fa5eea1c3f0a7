#include "capture/RecordingFinisher.h"

#include "engine/CoordinateMapper.h"

namespace vantile {

RecordingProject RecordingFinisher::finish(const StoppedRecording& recording, const RenderSettings& renderSettings,
                                           Timestamp now) const
{
    const RecordingResult& result = recording.result;
    const std::vector<InputEvent> mappedEvents =
        CoordinateMapper::mapEventsToVideo(recording.events, recording.source.region, result.videoInfo);

    RenderSettings settings = renderSettings;
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
    project.audioSettings = recording.audioSettings;
    project.rawVideoPath = result.rawVideoURL.filename().string();

    project.focusSegments = focusPlanner_
                                .plan({.duration = result.duration,
                                       .videoWidth = static_cast<double>(result.videoInfo.width),
                                       .videoHeight = static_cast<double>(result.videoInfo.height),
                                       .events = mappedEvents,
                                       .zoomIntensity = settings.zoomIntensity})
                                .segments;
    project.cursorFrames = cursorSmoother_.smooth(mappedEvents, settings.fps, result.duration);

    projectFiles_.saveProject(project, recording.projectDirectory);
    return project;
}

}  // namespace vantile
