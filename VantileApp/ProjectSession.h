#pragma once

#include "ProjectSaver.h"
#include "model/RecordingProject.h"
#include "engine/TimelineModel.h"
#include "render/ProjectSettingsEditor.h"
#include "store/ProjectFileManager.h"
#include "store/ProjectWriter.h"

#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <optional>

namespace vantile {

class AppState;

// The open project: every edit goes through one ProjectSettingsEditor, the same the CLI
// uses, and every save through a background saver, in order. Settings changed before any
// project is open are kept for the next recording.
class ProjectSession {
public:
    ProjectSession(AppState& state, const ProjectFileManager& files);

    bool hasProject() const { return editor_.has_value(); }
    // Publishes `project` of `directory` as the open project with its own settings.
    void open(RecordingProject project, const std::filesystem::path& directory);
    // `vantile DIR`: loads an earlier recording into the preview.
    void openFromDisk(const std::filesystem::path& directory);
    // Lets go of the open project once its saves are on disk, so its folder can be renamed
    // or trashed; settings stay for the next recording.
    void close();

    void applyRenderSettings(const RenderSettings& settings);
    void updateAspectRatio(AspectRatio ratio);
    void updateResolutionPreset(ResolutionPreset preset);
    void changeZoomIntensity(ZoomIntensity intensity);
    void changeFps(std::int64_t fps);
    void changeCursorSmoothing(CursorSmoothing smoothing);

    // A timeline gesture on the open project: applied, saved in the background and published,
    // or refused with the error shown and nothing changed.
    void editTimeline(const std::function<void(TimelineModel&)>& change);
    bool canUndo() const { return timeline_ && timeline_->canUndo(); }
    bool canRedo() const { return timeline_ && timeline_->canRedo(); }

    // The camera bubble. Shown: applied and saved without an undo step, for the moves of a
    // drag or a slider. Edited: one undo step, from `from` (where such a gesture began) or
    // from the look shown now.
    void showCameraBubble(const CameraBubbleLook& look);
    void editCameraBubble(const CameraBubbleLook& look, const std::optional<CameraBubbleLook>& from = std::nullopt);

    // Only with an open project. Without a destination: export.mp4 in the project directory.
    RenderJob exportJob(const std::optional<std::filesystem::path>& destination = std::nullopt) const;
    void recordExport(const std::filesystem::path& outputURL, std::int64_t bytes, Timestamp exportedAt);
    // The open project's export recorded as `recordedPath` is gone.
    void forgetExport(const std::string& recordedPath);
    std::filesystem::path exportURL(const std::string& recordedPath) const { return editor_->exportURL(recordedPath); }

    void waitUntilSaved() { saver_.waitUntilSaved(); }
    // The open project's raw movie; nothing without a project.
    std::optional<std::filesystem::path> rawVideoURL() const
    {
        return editor_ ? std::optional(editor_->rawVideoURL()) : std::nullopt;
    }

private:
    // Edits wait while an export renders the settings it started with.
    bool editable() const;
    void edit(const std::function<void(ProjectSettingsEditor&)>& withProject,
              const std::function<void(RenderSettings&)>& withoutProject);
    void publish();

    AppState& state_;
    ProjectFileManager files_;
    // One writer per opened project, used on the saver's thread: each save lays what the app
    // changed over the project on disk, so an edit saved meanwhile by vantile-cli survives.
    // Declared before the saver, whose last saves on quitting still use them.
    std::mutex writersMutex_;
    std::map<std::filesystem::path, ProjectWriter> writers_;
    ProjectSaver saver_;
    std::optional<ProjectSettingsEditor> editor_;
    std::optional<TimelineModel> timeline_;
};

}  // namespace vantile
