#include "ProjectSession.h"

#include "AppState.h"
#include "MainThreadResume.h"

namespace vantile {

ProjectSession::ProjectSession(AppState& state, const ProjectFileManager& files)
    : state_(state),
      files_(files),
      saver_([this](const RecordingProject& project, const std::filesystem::path& directory) {
          const std::lock_guard lock(writersMutex_);
          writers_.at(directory).save(project);
      })
{
    QObject::connect(&saver_, &ProjectSaver::saveFailed, &state_,
                     [this](const QString& message) { state_.setErrorMessage(message.toStdString()); });
}

void ProjectSession::open(RecordingProject project, const std::filesystem::path& directory)
{
    {
        const std::lock_guard lock(writersMutex_);
        writers_.insert_or_assign(directory, ProjectWriter(files_, directory, project));
    }
    editor_.emplace(std::move(project), directory, files_);
    editor_->setSaveProject([this](const RecordingProject& saved, const std::filesystem::path& where) {
        saver_.save(saved, where);
    });
    timeline_.emplace(editor_->project());
    state_.setProjectDirectory(directory);
    state_.setRenderSettings(editor_->renderSettings());
    state_.setCurrentProject(editor_->project());
}

void ProjectSession::openFromDisk(const std::filesystem::path& directory)
{
    if (state_.isBusy() || state_.route() == Route::recording) return;
    try {
        open(files_.loadProject(directory), directory);
        state_.setStatusMessage("Ready");
        state_.setRoute(Route::preview);
    } catch (...) {
        state_.setErrorMessage(describeError(std::current_exception()));
    }
}

void ProjectSession::close()
{
    if (!editor_) return;
    saver_.waitUntilSaved();
    {
        const std::lock_guard lock(writersMutex_);
        writers_.erase(editor_->directory());
    }
    editor_.reset();
    timeline_.reset();
    state_.setCurrentProject(std::nullopt);
    state_.setProjectDirectory(std::nullopt);
}

bool ProjectSession::editable() const { return !state_.isExporting(); }

void ProjectSession::publish()
{
    state_.setRenderSettings(editor_->renderSettings());
    state_.setCurrentProject(editor_->project());
}

void ProjectSession::edit(const std::function<void(ProjectSettingsEditor&)>& withProject,
                          const std::function<void(RenderSettings&)>& withoutProject)
{
    if (!editable()) return;
    if (editor_) {
        withProject(*editor_);
        publish();
        return;
    }
    RenderSettings settings = state_.renderSettings();
    withoutProject(settings);
    state_.setRenderSettings(settings);
}

void ProjectSession::applyRenderSettings(const RenderSettings& settings)
{
    edit([&](ProjectSettingsEditor& editor) { editor.applyRenderSettings(settings); },
         [&](RenderSettings& alone) { alone = settings; });
}

// Before the first recording the preset alone sizes the output.
void ProjectSession::updateAspectRatio(AspectRatio ratio)
{
    edit([&](ProjectSettingsEditor& editor) { editor.updateAspectRatio(ratio); },
         [&](RenderSettings& alone) {
             alone.aspectRatio = ratio;
             alone = alone.sizedFor(std::nullopt);
         });
}

void ProjectSession::updateResolutionPreset(ResolutionPreset preset)
{
    edit([&](ProjectSettingsEditor& editor) { editor.updateResolutionPreset(preset); },
         [&](RenderSettings& alone) {
             alone.resolutionPreset = preset;
             alone = alone.sizedFor(std::nullopt);
         });
}

void ProjectSession::changeZoomIntensity(ZoomIntensity intensity)
{
    edit([&](ProjectSettingsEditor& editor) { editor.changeZoomIntensity(intensity); },
         [&](RenderSettings& alone) { alone.zoomIntensity = intensity; });
}

void ProjectSession::changeFps(std::int64_t fps)
{
    edit([&](ProjectSettingsEditor& editor) { editor.changeFps(fps); }, [&](RenderSettings& alone) { alone.fps = fps; });
}

void ProjectSession::changeCursorSmoothing(CursorSmoothing smoothing)
{
    edit([&](ProjectSettingsEditor& editor) { editor.changeCursorSmoothing(smoothing); },
         [&](RenderSettings& alone) { alone.cursorSmoothing = smoothing; });
}

void ProjectSession::editTimeline(const std::function<void(TimelineModel&)>& change)
{
    if (!editable() || !editor_ || !timeline_) return;
    // The editor's project is the truth: settings and re-plans change it outside the timeline.
    timeline_->adopt(editor_->project());
    try {
        change(*timeline_);
    } catch (const TimelineEditError& error) {
        state_.setErrorMessage(error.what());
        return;
    }
    editor_->replaceTimeline(timeline_->state());
    publish();
}

void ProjectSession::showCameraBubble(const CameraBubbleLook& look)
{
    applyRenderSettings(look.appliedTo(state_.renderSettings()));
}

void ProjectSession::editCameraBubble(const CameraBubbleLook& look, const std::optional<CameraBubbleLook>& from)
{
    if (!editor_) {
        showCameraBubble(look);
        return;
    }
    editTimeline([&](TimelineModel& model) {
        if (from) {
            // The gesture's moves were shown without steps; its one step starts where it began.
            RecordingProject before = model.project();
            before.renderSettings = from->appliedTo(before.renderSettings);
            model.adopt(std::move(before));
        }
        model.setCameraBubble(look);
    });
}

RenderJob ProjectSession::exportJob(const std::optional<std::filesystem::path>& destination) const
{
    return editor_->makeExportJob(destination.value_or(editor_->defaultExportURL()));
}

void ProjectSession::recordExport(const std::filesystem::path& outputURL, std::int64_t bytes, Timestamp exportedAt)
{
    editor_->recordExport(outputURL, bytes, exportedAt);
    state_.setCurrentProject(editor_->project());
}

void ProjectSession::forgetExport(const std::string& recordedPath)
{
    editor_->forgetExport(recordedPath);
    state_.setCurrentProject(editor_->project());
}

}  // namespace vantile
