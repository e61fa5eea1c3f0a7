#pragma once

#include "engine/TimelineModel.h"
#include "render/RenderJob.h"
#include "store/ProjectFileManager.h"
#include "store/ProjectWriter.h"

#include <filesystem>
#include <functional>

namespace vantile {

// How the preview panel applies setting changes to the open project and prepares its export:
// every change is saved (a failed save is ignored, as it is only a convenience), a zoom
// change re-plans the focus segments, a frame-rate change re-smooths the cursor, and a
// finished export is recorded in the project. Shared by the application and the CLI.
class ProjectSettingsEditor {
public:
    // The current settings start as the project's own.
    ProjectSettingsEditor(RecordingProject project, std::filesystem::path directory, ProjectFileManager files);

    // How the project reaches the disk. By default it is written at once, as what this editor
    // changed laid over the project on disk (another program's edits survive); a failed write
    // of a settings change is ignored and one of a recorded export throws. The application
    // hands the writes to a background saver instead.
    using SaveProject = std::function<void(const RecordingProject&, const std::filesystem::path&)>;
    void setSaveProject(SaveProject save) { saveProject_ = std::move(save); }

    const RecordingProject& project() const { return project_; }
    const RenderSettings& renderSettings() const { return renderSettings_; }
    const std::filesystem::path& directory() const { return directory_; }

    // The output size follows the ratio (or preset) and the project's video.
    void updateAspectRatio(AspectRatio ratio);
    void updateResolutionPreset(ResolutionPreset preset);
    // Stores the settings in the project, drops its now stale preview and export, and saves.
    void applyRenderSettings(const RenderSettings& settings);
    void rebuildFocusSegments();
    void rebuildCursorFrames();

    // The preview panel's own handlers for the two settings that recompute project data.
    void changeZoomIntensity(ZoomIntensity intensity);
    void changeFps(std::int64_t fps);
    // The cursor path is smoothed again the chosen way.
    void changeCursorSmoothing(CursorSmoothing smoothing);
    // Takes a timeline edit (trim, cuts, segments, the camera bubble) made and validated elsewhere, and saves it.
    void replaceTimeline(const TimelineState& timeline);

    std::filesystem::path rawVideoURL() const;
    std::filesystem::path defaultExportURL() const { return directory_ / "export.mp4"; }
    // Throws RenderError before any work when the project could not record the destination.
    RenderJob makeExportJob(const std::filesystem::path& outputURL) const;
    // Remembers a finished export in the project as its latest and in its list of exports (an
    // earlier record of the same file gives way), and saves it; a failed direct save throws.
    void recordExport(const std::filesystem::path& outputURL, std::int64_t bytes, Timestamp exportedAt);
    // Forgets the export recorded under `recordedPath` (its file is gone), and saves.
    void forgetExport(const std::string& recordedPath);
    // Where a recorded export's file is.
    std::filesystem::path exportURL(const std::string& recordedPath) const;
    // From now on changes stay in memory until recordExport saves them together with the
    // export, so an export that fails or is refused leaves the project as it was.
    void holdSavesUntilExportRecorded() { holdingSaves_ = true; }

private:
    void saveQuietly();
    void saveOrThrow(RecordingProject updated);
    // How the project names a movie at `outputURL`: by name inside the project, else in full.
    std::string recordedExportPath(const std::filesystem::path& outputURL) const;

    RecordingProject project_;
    std::filesystem::path directory_;
    ProjectWriter writer_;
    RenderSettings renderSettings_;
    SaveProject saveProject_;
    bool holdingSaves_ = false;
};

}  // namespace vantile
