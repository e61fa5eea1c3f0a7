#include "AppState.h"

#include "ExportFlow.h"
#include "MainThreadResume.h"
#include "ProjectListFlow.h"
#include "ProjectSession.h"
#include "RecordingFlow.h"
#include "RecoveryFlow.h"
#include "SettingsOptions.h"
#include "SourcesFlow.h"
#include "engine/RecordingDurationFormatter.h"

#include <QCoreApplication>

namespace vantile {

namespace fs = std::filesystem;

AppState::AppState(AppCollaborators collaborators, QObject* parent)
    : QObject(parent), cameras_(collaborators.cameras), permissions_(std::move(collaborators.permissions))
{
    workers_.setMaxThreadCount(2);
    permissionStatus_ = permissions_->currentStatus();
    const ProjectFileManager projectFiles(collaborators.projectsRoot);
    projectsRoot_ = projectFiles.rootDirectory();
    const std::function<Timestamp()> wallClock = collaborators.wallClock;
    session_ = std::make_unique<ProjectSession>(*this, projectFiles);
    sourcesFlow_ = std::make_unique<SourcesFlow>(*this, std::move(collaborators.sourceProvider), collaborators.cameras);
    recordingFlow_ = std::make_unique<RecordingFlow>(
        *this, *permissions_, *session_,
        RecordingFlow::Parts{std::move(collaborators.recorder), std::move(collaborators.inputRecorder), projectFiles,
                             std::move(collaborators.wallClock), collaborators.recordingTick,
                             std::move(collaborators.cameras)});
    exportFlow_ = std::make_unique<ExportFlow>(*this, *session_, std::move(collaborators.exporter), wallClock);
    recoveryFlow_ = std::make_unique<RecoveryFlow>(*this, *session_, projectFiles);
    projectListFlow_ = std::make_unique<ProjectListFlow>(*this, *session_, *recoveryFlow_, projectFiles);
    quitAction_ = [] { QCoreApplication::quit(); };
    connect(this, &AppState::isExportingChanged, this, [this] {
        if (!isExporting_ && quitWhenExportEnds_) {
            quitWhenExportEnds_ = false;
            quitAction_();
        }
    });
}

AppState::~AppState()
{
    exportFlow_->cancel();
    recordingFlow_->cancelTimer();
    workers_.waitForDone();
    session_->waitUntilSaved();
}

// MARK: published state

void AppState::setRoute(Route route)
{
    if (route_ == route) return;
    route_ = route;
    emit routeChanged();
}

void AppState::setPermissionStatus(const PermissionStatus& status)
{
    if (permissionStatus_ == status) return;
    permissionStatus_ = status;
    emit permissionStatusChanged();
}

void AppState::setSources(std::vector<CaptureSource> sources)
{
    if (sources_ == sources) return;
    sources_ = std::move(sources);
    emit sourcesChanged();
}

void AppState::setSelectedSource(std::optional<CaptureSource> source)
{
    if (selectedSource_ == source) return;
    selectedSource_ = std::move(source);
    emit selectedSourceChanged();
}

void AppState::setCurrentProject(std::optional<RecordingProject> project)
{
    currentProject_ = std::move(project);
    emit currentProjectChanged();
    notifyDerivedTexts();
}

void AppState::setProjectDirectory(std::optional<fs::path> directory)
{
    if (projectDirectory_ == directory) return;
    projectDirectory_ = std::move(directory);
    emit projectDirectoryChanged();
    emit previewVideoURLChanged();
}

void AppState::setBusy(bool busy)
{
    if (isBusy_ == busy) return;
    isBusy_ = busy;
    emit isBusyChanged();
}

void AppState::setLoadingCameras(bool loading)
{
    if (isLoadingCameras_ == loading) return;
    isLoadingCameras_ = loading;
    emit isLoadingCamerasChanged();
}

void AppState::setStatusMessage(const std::string& message)
{
    if (statusMessage_ == message) return;
    statusMessage_ = message;
    emit statusMessageChanged();
}

void AppState::setErrorMessage(std::optional<std::string> message)
{
    if (errorMessage_ == message) return;
    errorMessage_ = std::move(message);
    emit errorMessageChanged();
}

void AppState::setRenderSettings(const RenderSettings& settings)
{
    if (renderSettings_ == settings) return;
    renderSettings_ = settings;
    emit renderSettingsChanged();
    notifyDerivedTexts();
}

void AppState::setRecordingStartTime(std::optional<Timestamp> time)
{
    if (recordingStartTime_ == time) return;
    recordingStartTime_ = time;
    emit recordingStartTimeChanged();
}

void AppState::setRecordingElapsed(double seconds)
{
    if (recordingElapsed_ == seconds) return;
    recordingElapsed_ = seconds;
    emit recordingElapsedChanged();
}

void AppState::setRecordingCountdown(CountdownChoice choice)
{
    if (recordingCountdown_ == choice) return;
    recordingCountdown_ = choice;
    emit recordingCountdownChanged();
}

void AppState::setRecordingCountdownName(const QString& name)
{
    if (const auto choice = parseCountdownChoice(name)) setRecordingCountdown(*choice);
}

void AppState::setRecordsShortcuts(bool records)
{
    if (recordsShortcuts_ == records) return;
    recordsShortcuts_ = records;
    emit recordsShortcutsChanged();
}

void AppState::setRecordingFps(int fps)
{
    if (recordingFps_ == fps || !RecordingFrameRate::isOffered(fps)) return;
    recordingFps_ = fps;
    emit recordingFpsChanged();
}

bool AppState::isCountingDown() const { return recordingFlow_->isCountingDown(); }
void AppState::cancelCountdown() { recordingFlow_->cancelCountdown(); }

void AppState::setRecordingMaxDuration(double seconds)
{
    if (recordingMaxDuration_ == seconds) return;
    recordingMaxDuration_ = seconds;
    emit recordingMaxDurationChanged();
}

void AppState::setAudioCaptureMode(AudioCaptureMode mode)
{
    if (audioCaptureMode_ == mode) return;
    audioCaptureMode_ = mode;
    emit audioCaptureModeChanged();
}

void AppState::setAvailableMicrophones(std::vector<AudioInputDevice> devices)
{
    if (availableMicrophones_ == devices) return;
    availableMicrophones_ = std::move(devices);
    emit availableMicrophonesChanged();
}

void AppState::setAvailableCameras(std::vector<CameraDevice> cameras)
{
    if (availableCameras_ == cameras) return;
    availableCameras_ = std::move(cameras);
    emit availableCamerasChanged();
}

void AppState::setSelectedCameraId(std::optional<std::string> id)
{
    if (selectedCameraId_ == id) return;
    selectedCameraId_ = std::move(id);
    emit selectedCameraIdChanged();
}

void AppState::setSelectedMicrophoneDeviceID(std::optional<std::string> id)
{
    if (selectedMicrophoneDeviceID_ == id) return;
    selectedMicrophoneDeviceID_ = std::move(id);
    emit selectedMicrophoneDeviceIDChanged();
}

void AppState::setExportProgress(double fraction)
{
    if (exportProgress_ == fraction) return;
    exportProgress_ = fraction;
    emit exportProgressChanged();
}

void AppState::setExporting(bool exporting)
{
    if (isExporting_ == exporting) return;
    isExporting_ = exporting;
    emit isExportingChanged();
}

void AppState::notifyDerivedTexts()
{
    emit previewVideoURLChanged();
    emit videoReferenceTextChanged();
}

std::optional<fs::path> AppState::previewVideoURL() const
{
    if (!projectDirectory_ || !currentProject_) return std::nullopt;
    return *projectDirectory_ / currentProject_->rawVideoPath;
}

std::string AppState::videoReferenceText() const
{
    if (!currentProject_) return {};
    return "原视频 " + std::to_string(currentProject_->video.width) + " x " +
           std::to_string(currentProject_->video.height) + " · 当前输出 " + std::to_string(renderSettings_.outputWidth) +
           " x " + std::to_string(renderSettings_.outputHeight) + " · " + std::to_string(renderSettings_.fps) + " fps";
}

// MARK: flows

void AppState::loadSources() { sourcesFlow_->loadSources(); }
void AppState::loadAudioInputs() { sourcesFlow_->loadAudioInputs(); }
void AppState::startRecording() { recordingFlow_->start(); }
void AppState::stopRecording() { stopRecording(StopTrigger::keyboardOrCommand); }

void AppState::stopRecording(StopTrigger trigger, std::vector<CGRectCodable> gestureWay)
{
    recordingFlow_->stop(trigger, std::move(gestureWay));
}
StopTrigger AppState::lastStopTrigger() const { return recordingFlow_->stopTrigger(); }
void AppState::updateAspectRatio(AspectRatio ratio) { session_->updateAspectRatio(ratio); }
void AppState::updateResolutionPreset(ResolutionPreset preset) { session_->updateResolutionPreset(preset); }
void AppState::applyRenderSettings(const RenderSettings& settings) { session_->applyRenderSettings(settings); }
void AppState::exportCurrentProject() { exportFlow_->start(ExportFlow::Format::movie); }
void AppState::exportCurrentProjectAsGif() { exportFlow_->start(ExportFlow::Format::gif); }

bool AppState::canUndo() const { return session_->canUndo(); }
bool AppState::canRedo() const { return session_->canRedo(); }
void AppState::cancelExport() { exportFlow_->cancel(); }
void AppState::revealExportInFinder() { exportFlow_->reveal(); }
void AppState::openProject(const fs::path& directory) { session_->openFromDisk(directory); }

void AppState::findUnfinishedRecordings() { recoveryFlow_->findUnfinished(); }

void AppState::recoverUnfinishedRecording(const QString& directory)
{
    recoveryFlow_->recover(directory.toStdString());
}

void AppState::ignoreUnfinishedRecording(const QString& directory) { recoveryFlow_->ignore(directory.toStdString()); }

void AppState::setUnfinishedRecordings(std::vector<fs::path> directories)
{
    if (unfinishedRecordings_ == directories) return;
    unfinishedRecordings_ = std::move(directories);
    emit unfinishedRecordingsChanged();
}

QVariantList AppState::unfinishedRecordingsValue() const
{
    QVariantList list;
    for (const fs::path& directory : unfinishedRecordings_) {
        list.append(QVariantMap{{"directory", QString::fromStdString(directory.string())},
                                {"name", QString::fromStdString(directory.filename().string())}});
    }
    return list;
}

void AppState::setProjects(std::vector<ProjectSummary> projects)
{
    if (projects_ == projects) return;
    projects_ = std::move(projects);
    emit projectsChanged();
}

void AppState::refreshProjects() { projectListFlow_->refresh(); }

void AppState::openProjectLocation(const QString& location) { projectListFlow_->open(location); }

void AppState::renameProject(const QString& directory, const QString& newName)
{
    projectListFlow_->rename(directory.toStdString(), newName.toStdString());
}

void AppState::moveProjectToTrash(const QString& directory) { projectListFlow_->moveToTrash(directory.toStdString()); }

QVariantList AppState::projectsValue() const { return QmlValues::projects(projects_); }

QUrl AppState::projectsRootURL() const { return QUrl::fromLocalFile(QString::fromStdString(projectsRoot_.string())); }

void AppState::shutdown()
{
    exportFlow_->cancel();
    recordingFlow_->shutdown();
    session_->waitUntilSaved();
}

bool AppState::showMainWindow()
{
    if (shell_) shell_->dismissRecordingHint();
    return shell_ && shell_->showMainWindow();
}

void AppState::hideMainWindow()
{
    if (shell_) shell_->hideMainWindow();
}

// MARK: screen-facing helpers

void AppState::changeRenderSetting(const QString& field, const QVariant& value)
{
    const auto change = QmlValues::renderSettingChange(renderSettings_, field, value);
    if (!change) return;
    std::visit(
        [this](const auto& edit) {
            using Edit = std::decay_t<decltype(edit)>;
            if constexpr (std::is_same_v<Edit, RenderSettings>) session_->applyRenderSettings(edit);
            if constexpr (std::is_same_v<Edit, ZoomIntensity>) session_->changeZoomIntensity(edit);
            if constexpr (std::is_same_v<Edit, QmlValues::FpsChange>) session_->changeFps(edit.fps);
            if constexpr (std::is_same_v<Edit, AspectRatio>) session_->updateAspectRatio(edit);
            if constexpr (std::is_same_v<Edit, ResolutionPreset>) session_->updateResolutionPreset(edit);
            if constexpr (std::is_same_v<Edit, CursorSmoothing>) session_->changeCursorSmoothing(edit);
        },
        *change);
}

void AppState::updateAspectRatio(const QString& ratio)
{
    if (const auto parsed = QmlValues::parse(aspectRatioTexts, ratio)) updateAspectRatio(*parsed);
}

void AppState::updateResolutionPreset(const QString& preset)
{
    if (const auto parsed = QmlValues::parse(resolutionPresetTexts, preset)) updateResolutionPreset(*parsed);
}

void AppState::requestPermission(const QString& permission)
{
    if (permission == "screenRecording") {
        permissions_->requestScreenRecordingIfNeeded();
    } else if (permission == "accessibility") {
        permissions_->requestAccessibilityPrompt();
    } else if (permission == "inputMonitoring") {
        runOffMainThread(
            workers_, this, [service = permissions_.get()] { return service->requestInputMonitoringIfNeeded(); },
            [this](bool) { refreshPermissionStatus(); });
        return;
    }
    refreshPermissionStatus();
}

void AppState::openPermissionSettings(const QString& permission)
{
    if (permission == "screenRecording") {
        permissions_->openPrivacySettings();
    } else if (permission == "accessibility") {
        permissions_->openAccessibilitySettings();
    } else if (permission == "inputMonitoring") {
        permissions_->openInputMonitoringSettings();
    }
}

void AppState::refreshPermissionStatus() { setPermissionStatus(permissions_->currentStatus()); }
void AppState::openMicrophoneSettings() { permissions_->openMicrophoneSettings(); }

void AppState::setRouteName(const QString& name)
{
    // Screens only move between the screens before a recording; the flows own the rest.
    const auto parsed = QmlValues::parse(routeTexts, name);
    if (parsed && (*parsed == Route::home || *parsed == Route::permissions || *parsed == Route::sourcePicker)) {
        setRoute(*parsed);
    }
}

QString AppState::selectedSourceId() const
{
    return selectedSource_ ? QString::fromStdString(selectedSource_->id) : QString();
}

void AppState::selectSource(const QString& id) { sourcesFlow_->selectSource(id.toStdString()); }

void AppState::selectCamera(const QString& id) { sourcesFlow_->selectCamera(id.toStdString()); }

QVariantMap AppState::currentProjectValue() const
{
    return currentProject_ ? QmlValues::project(*currentProject_) : QVariantMap();
}

QString AppState::projectDirectoryText() const
{
    return projectDirectory_ ? QString::fromStdString(projectDirectory_->string()) : QString();
}

QString AppState::recordingElapsedText() const
{
    return QString::fromStdString(RecordingDurationFormatter::formatDuration(recordingElapsed_));
}

void AppState::setAudioCaptureModeName(const QString& name)
{
    if (const auto parsed = QmlValues::parse(audioCaptureModeTexts, name)) setAudioCaptureMode(*parsed);
}

QString AppState::selectedMicrophoneDeviceIDText() const
{
    return QString::fromStdString(selectedMicrophoneDeviceID_.value_or(""));
}

void AppState::setSelectedMicrophoneDeviceIDText(const QString& id)
{
    setSelectedMicrophoneDeviceID(id.isEmpty() ? std::nullopt : std::optional<std::string>(id.toStdString()));
}

QUrl AppState::previewVideoURLValue() const
{
    const auto url = previewVideoURL();
    return url ? QUrl::fromLocalFile(QString::fromStdString(url->string())) : QUrl();
}

QString AppState::exportedFilePath() const
{
    if (!projectDirectory_ || !currentProject_ || !currentProject_->exportVideoPath) return {};
    return QString::fromStdString((*projectDirectory_ / *currentProject_->exportVideoPath).string());
}

QVariantMap AppState::settingOptions() const { return SettingsOptions::all(); }

}  // namespace vantile
