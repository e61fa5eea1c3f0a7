#include "render/ProjectSettingsEditor.h"

#include "engine/CroppedRecording.h"
#include "engine/CursorPathSmoother.h"
#include "engine/TimelineEdits.h"
#include "render/RenderError.h"

#include <algorithm>
#include <cctype>

namespace vantile {

ProjectSettingsEditor::ProjectSettingsEditor(RecordingProject project, std::filesystem::path directory,
                                             ProjectFileManager files)
    : project_(std::move(project)),
      directory_(std::move(directory)),
      writer_(std::move(files), directory_, project_),
      renderSettings_(project_.renderSettings)
{
}

void ProjectSettingsEditor::saveQuietly()
{
    if (holdingSaves_) return;
    if (saveProject_) {
        saveProject_(project_, directory_);
        return;
    }
    try {
        writer_.save(project_);
    } catch (const std::exception&) {
        // Settings saves are best effort; the next successful save catches up.
    }
}

void ProjectSettingsEditor::updateAspectRatio(AspectRatio ratio)
{
    RenderSettings settings = renderSettings_;
    settings.aspectRatio = ratio;
    applyRenderSettings(settings.sizedFor(CroppedRecording::view(project_).video));
}

void ProjectSettingsEditor::updateResolutionPreset(ResolutionPreset preset)
{
    RenderSettings settings = renderSettings_;
    settings.resolutionPreset = preset;
    applyRenderSettings(settings.sizedFor(CroppedRecording::view(project_).video));
}

void ProjectSettingsEditor::applyRenderSettings(const RenderSettings& settings)
{
    renderSettings_ = settings;
    project_.renderSettings = settings;
    project_.previewVideoPath.reset();
    project_.exportVideoPath.reset();
    saveQuietly();
}

void ProjectSettingsEditor::rebuildFocusSegments()
{
    RecordingProject planning = project_;
    planning.renderSettings.zoomIntensity = renderSettings_.zoomIntensity;
    project_.focusSegments = TimelineEdits::replannedSegments(planning);
    saveQuietly();
}

void ProjectSettingsEditor::rebuildCursorFrames()
{
    project_.cursorFrames = CursorPathSmoother().smooth(project_.events, renderSettings_.fps, project_.duration,
                                                        renderSettings_.cursorSmoothing);
    saveQuietly();
}

void ProjectSettingsEditor::changeZoomIntensity(ZoomIntensity intensity)
{
    RenderSettings settings = renderSettings_;
    settings.zoomIntensity = intensity;
    applyRenderSettings(settings);
    rebuildFocusSegments();
}

void ProjectSettingsEditor::changeFps(std::int64_t fps)
{
    RenderSettings settings = renderSettings_;
    settings.fps = fps;
    applyRenderSettings(settings);
    rebuildCursorFrames();
}

void ProjectSettingsEditor::changeCursorSmoothing(CursorSmoothing smoothing)
{
    RenderSettings settings = renderSettings_;
    settings.cursorSmoothing = smoothing;
    applyRenderSettings(settings);
    rebuildCursorFrames();
}

void ProjectSettingsEditor::replaceTimeline(const TimelineState& timeline)
{
    project_.trim = timeline.trim;
    project_.cuts = timeline.cuts;
    project_.focusSegments = timeline.focusSegments;
    project_.speedRegions = timeline.speedRegions;
    project_.textCallouts = timeline.textCallouts;
    project_.blurRegions = timeline.blurRegions;
    project_.crop = timeline.crop;
    project_.hiddenShortcuts = timeline.hiddenShortcuts;
    project_.previewVideoPath.reset();
    if (CameraBubbleLook::of(renderSettings_) != timeline.cameraBubble) {
        // Through applyRenderSettings, which saves: the settings changed as from the panel.
        applyRenderSettings(timeline.cameraBubble.appliedTo(renderSettings_));
        return;
    }
    saveQuietly();
}

std::filesystem::path ProjectSettingsEditor::rawVideoURL() const
{
    const std::filesystem::path raw(project_.rawVideoPath);
    return raw.is_absolute() ? raw : directory_ / raw;
}

RenderJob ProjectSettingsEditor::makeExportJob(const std::filesystem::path& outputURL) const
{
    (void)recordedExportPath(outputURL);
    return RenderJob{project_, rawVideoURL(), project_.focusSegments, project_.cursorFrames, renderSettings_,
                     outputURL};
}

std::string ProjectSettingsEditor::recordedExportPath(const std::filesystem::path& outputURL) const
{
    const std::filesystem::path absoluteOutput = std::filesystem::absolute(outputURL).lexically_normal();
    std::filesystem::path absoluteDirectory = std::filesystem::absolute(directory_).lexically_normal();
    if (!absoluteDirectory.has_filename()) absoluteDirectory = absoluteDirectory.parent_path();
    // A movie inside the project is recorded by name, as the application writes it; one
    // exported elsewhere by its full path.
    const std::string recorded = absoluteOutput.parent_path() == absoluteDirectory ? absoluteOutput.filename().string()
                                                                                    : absoluteOutput.string();
    if (!isValidUtf8(recorded)) {
        throw RenderError(RenderError::Kind::fileSystem,
                          "Cannot export to " + outputURL.string() +
                              ": the project can only record a path that is valid UTF-8; choose another name or folder.");
    }
    return recorded;
}

void ProjectSettingsEditor::saveOrThrow(RecordingProject updated)
{
    if (saveProject_) {
        saveProject_(updated, directory_);
    } else {
        writer_.save(updated);
    }
    project_ = std::move(updated);
}

void ProjectSettingsEditor::recordExport(const std::filesystem::path& outputURL, std::int64_t bytes,
                                         Timestamp exportedAt)
{
    RecordingProject updated = project_;
    const std::string recorded = recordedExportPath(outputURL);
    updated.exportVideoPath = recorded;
    std::erase_if(updated.exports, [&](const ExportRecord& earlier) { return earlier.path == recorded; });
    std::string format = outputURL.extension().string();
    if (!format.empty()) format.erase(0, 1);
    std::transform(format.begin(), format.end(), format.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    updated.exports.push_back({.path = recorded, .format = format, .exportedAt = exportedAt, .bytes = bytes});
    saveOrThrow(std::move(updated));
}

void ProjectSettingsEditor::forgetExport(const std::string& recordedPath)
{
    RecordingProject updated = project_;
    std::erase_if(updated.exports, [&](const ExportRecord& record) { return record.path == recordedPath; });
    if (updated.exportVideoPath == recordedPath) updated.exportVideoPath.reset();
    if (updated == project_) return;
    saveOrThrow(std::move(updated));
}

std::filesystem::path ProjectSettingsEditor::exportURL(const std::string& recordedPath) const
{
    const std::filesystem::path path(recordedPath);
    return path.is_absolute() ? path : directory_ / path;
}

}  // namespace vantile
