#include "AppState.h"

#include "AppFlowError.h"
#include "SettingsOptions.h"
#include "capture/RecordingFinisher.h"
#include "engine/RecordingDurationFormatter.h"

#include <QCollator>

#include <algorithm>
#include <exception>

namespace vantile {

namespace fs = std::filesystem;

namespace {

template <typename Enum, std::size_t Count>
QString rawText(const EnumTexts<Enum, Count>& texts, Enum value)
{
    const auto text = texts.text(value);
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

template <typename Enum, std::size_t Count>
std::optional<Enum> parseText(const EnumTexts<Enum, Count>& texts, const QString& text)
{
    try {
        return texts.parse(text.toStdString());
    } catch (const DecodingError&) {
        return std::nullopt;
    }
}

std::string describe(const std::exception_ptr& error)
{
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& caught) {
        return caught.what();
    } catch (...) {
        return "Unknown error.";
    }
}

QVariantMap sourceValue(const CaptureSource& source)
{
    return {
        {"id", QString::fromStdString(source.id)},
        {"kind", rawText(sourceKindTexts, source.kind)},
        {"title", QString::fromStdString(source.title)},
        {"appName", QString::fromStdString(source.appName)},
        {"x", source.region.x},
        {"y", source.region.y},
        {"width", source.region.width},
        {"height", source.region.height},
    };
}

}  // namespace

struct AppState::StopOutcome {
    std::optional<RenderSettings> sizedSettings;
    std::optional<RecordingProject> project;
    std::optional<std::string> failure;
};

template <typename Work, typename Done>
void AppState::runInBackground(Work work, Done done)
{
    // Always resumes through the event loop, never inside the call that started the work,
    // even when the work is over before the call returns.
    workers_.start([this, work = std::move(work), done = std::move(done)]() mutable {
        auto result = work();
        QMetaObject::invokeMethod(
            this, [done = std::move(done), result = std::move(result)]() mutable { done(std::move(result)); },
            Qt::QueuedConnection);
    });
}

AppState::AppState(AppCollaborators collaborators, QObject* parent)
    : QObject(parent),
      permissions_(std::move(collaborators.permissions)),
      sourceProvider_(std::move(collaborators.sourceProvider)),
      recorder_(std::move(collaborators.recorder)),
      inputRecorder_(std::move(collaborators.inputRecorder)),
      projectFiles_(collaborators.projectsRoot),
      exporter_(std::move(collaborators.exporter)),
      wallClock_(std::move(collaborators.wallClock)),
      recordingTick_(collaborators.recordingTick)
{
    workers_.setMaxThreadCount(2);
    permissionStatus_ = permissions_->currentStatus();
}

AppState::~AppState()
{
    if (exportMonitor_) exportMonitor_->cancel();
    cancelRecordingTimer();
    workers_.waitForDone();
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

void AppState::setRecordingMaxDuration(double seconds)
{
    if (recordingMaxDuration_ == seconds) return;
    recordingMaxDuration_ = seconds;
    emit recordingMaxDurationChanged();
}

void AppState::setPreviewIsPartial(bool partial)
{
    if (previewIsPartial_ == partial) return;
    previewIsPartial_ = partial;
    emit previewIsPartialChanged();
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

// MARK: sources and microphones

void AppState::loadSources()
{
    // A load while another flow runs would clear its busy flag under it.
    if (isBusy_) return;
    setBusy(true);
    setStatusMessage("Loading capture sources");
    loadAudioInputs();
    runInBackground(
        [provider = sourceProvider_.get()]() -> std::pair<std::vector<CaptureSource>, std::optional<std::string>> {
            try {
                return {provider->loadSources(), std::nullopt};
            } catch (...) {
                return {{}, describe(std::current_exception())};
            }
        },
        [this](std::pair<std::vector<CaptureSource>, std::optional<std::string>> loaded) {
            if (loaded.second) {
                setErrorMessage(loaded.second);
            } else {
                setSources(std::move(loaded.first));
                if (!selectedSource_ && !sources_.empty()) setSelectedSource(sources_.front());
            }
            setBusy(false);
        });
}

void AppState::loadAudioInputs()
{
    std::vector<AudioInputDevice> devices;
    try {
        devices = sourceProvider_->listMicrophones();
    } catch (const std::exception&) {
        // No sound server: simply no microphones to offer.
    }
    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    std::stable_sort(devices.begin(), devices.end(), [&](const AudioInputDevice& a, const AudioInputDevice& b) {
        return collator.compare(QString::fromStdString(a.name), QString::fromStdString(b.name)) < 0;
    });
    setAvailableMicrophones(std::move(devices));
    if (selectedMicrophoneDeviceID_) {
        const bool listed = std::any_of(availableMicrophones_.begin(), availableMicrophones_.end(),
                                        [&](const AudioInputDevice& d) { return d.id == *selectedMicrophoneDeviceID_; });
        if (!listed) setSelectedMicrophoneDeviceID(std::nullopt);
    }
}

// MARK: recording

void AppState::startRecording()
{
    if (isBusy_) return;
    if (!selectedSource_) {
        setErrorMessage("Select a window or display first.");
        return;
    }
    setPermissionStatus(permissions_->currentStatus());
    if (!permissionStatus_.allGranted()) {
        setStatusMessage("Missing permissions for recording.");
        setRoute(Route::permissions);
        setErrorMessage(permissionStatus_.missingPermissionMessage());
        return;
    }
    setBusy(true);
    setErrorMessage(std::nullopt);
    setStatusMessage("Starting recording");

    // Later changes of the choices do not affect this recording.
    const AudioCaptureSettings audioSettings{audioCaptureMode_, selectedMicrophoneDeviceID_};
    if (!capturesMicrophone(audioSettings.mode)) {
        beginCapture(audioSettings);
        return;
    }
    runInBackground([permissions = permissions_.get()] { return permissions->microphoneAccessGranted(); },
                    [this, audioSettings](bool granted) {
                        if (!granted) {
                            setErrorMessage("请允许麦克风权限后再开始录制。");
                            permissions_->openMicrophoneSettings();
                            setBusy(false);
                            return;
                        }
                        beginCapture(audioSettings);
                    });
}

void AppState::beginCapture(const AudioCaptureSettings& audioSettings)
{
    fs::path directory;
    try {
        directory = projectFiles_.createProjectDirectory(wallClock_());
    } catch (...) {
        finishStart(audioSettings, describe(std::current_exception()));
        return;
    }
    setProjectDirectory(directory);
    runInBackground(
        [recorder = recorder_.get(), source = *selectedSource_, output = directory / "raw.mov",
         audioSettings]() -> std::optional<std::string> {
            try {
                recorder->start(source, output, audioSettings);
                return std::nullopt;
            } catch (...) {
                return describe(std::current_exception());
            }
        },
        [this, audioSettings](std::optional<std::string> failure) { finishStart(audioSettings, failure); });
}

void AppState::finishStart(const AudioCaptureSettings& audioSettings, const std::optional<std::string>& failure)
{
    if (failure) {
        cancelRecordingTimer();
        setBusy(false);
        setRoute(Route::sourcePicker);
        setErrorMessage(failure);
        return;
    }
    activeAudioSettings_ = audioSettings;
    try {
        inputRecorder_->start(selectedSource_->region, *projectDirectory_);
    } catch (...) {
        // Without the input log there is no auto-direction: stop the capture again.
        const std::string reason = describe(std::current_exception());
        try {
            recorder_->stop();
        } catch (const std::exception&) {
            // The start failure is the one worth telling.
        }
        activeAudioSettings_.reset();
        finishStart(audioSettings, reason);
        return;
    }
    setRecordingStartTime(wallClock_());
    setRecordingElapsed(0);
    setRoute(Route::recording);
    setStatusMessage("Recording");
    startRecordingTimer();
    setBusy(false);
    hideMainWindow();
    showRecordingStartedHint();
}

void AppState::startRecordingTimer()
{
    cancelRecordingTimer();
    recordingTimerTask_ = std::make_unique<QTimer>();
    recordingTimerTask_->setTimerType(Qt::PreciseTimer);
    recordingTimerTask_->setInterval(recordingTick_);
    connect(recordingTimerTask_.get(), &QTimer::timeout, this, &AppState::recordingTimerTick);
    recordingTimerTask_->start();
}

void AppState::cancelRecordingTimer()
{
    recordingTimerTask_.reset();
}

void AppState::recordingTimerTick()
{
    if (route_ != Route::recording) {
        // The loop ends by itself once the recording is over; deleting the timer inside
        // its own signal is deferred.
        if (recordingTimerTask_) recordingTimerTask_.release()->deleteLater();
        return;
    }
    if (recordingStartTime_) {
        setRecordingElapsed(std::chrono::duration<double>(wallClock_() - *recordingStartTime_).count());
    }
    if (!captureFailure_) {
        captureFailure_ = recorder_->failure();
        if (captureFailure_) {
            // The capture ended on its own: keep what was recorded and say why afterwards.
            if (recordingTimerTask_) recordingTimerTask_.release()->deleteLater();
            QMetaObject::invokeMethod(this, &AppState::stopRecording, Qt::QueuedConnection);
            return;
        }
    }
    if (recordingMaxDuration_ <= recordingElapsed_) {
        setStatusMessage("Reached max duration; stopping.");
        if (recordingTimerTask_) recordingTimerTask_.release()->deleteLater();
        QMetaObject::invokeMethod(this, &AppState::stopRecording, Qt::QueuedConnection);
    }
}

void AppState::stopRecording()
{
    if (route_ != Route::recording) {
        cancelRecordingTimer();
        return;
    }
    if (isBusy_) return;
    dismissRecordingHint();
    setBusy(true);
    setStatusMessage("Generating demo");
    setRoute(Route::generating);
    cancelRecordingTimer();

    std::vector<InputEvent> events = inputRecorder_->stop();
    runInBackground(
        [this, events = std::move(events), source = selectedSource_, directory = projectDirectory_,
         settings = renderSettings_, audio = activeAudioSettings_.value_or(AudioCaptureSettings{})]() {
            StopOutcome outcome;
            try {
                const RecordingResult result = recorder_->stop();
                if (!source || !directory) throw AppFlowError::missingProjectContext();
                // The published settings take the recorded size even when saving fails below.
                RenderSettings sized = settings;
                const OutputSize size = outputSize(sized.aspectRatio, result.videoInfo, sized.resolutionPreset);
                sized.outputWidth = size.width;
                sized.outputHeight = size.height;
                outcome.sizedSettings = sized;
                const RecordingFinisher finisher(projectFiles_, focusPlanner_, cursorSmoother_);
                outcome.project = finisher.finish(StoppedRecording{events, result, *source, audio, *directory},
                                                  settings, wallClock_());
            } catch (...) {
                outcome.failure = describe(std::current_exception());
            }
            return outcome;
        },
        [this](StopOutcome outcome) { finishStop(std::move(outcome)); });
}

void AppState::finishStop(StopOutcome outcome)
{
    if (outcome.sizedSettings) setRenderSettings(*outcome.sizedSettings);
    if (outcome.project) {
        setCurrentProject(std::move(outcome.project));
        setStatusMessage("Ready");
        setRoute(Route::preview);
    } else {
        setRoute(Route::sourcePicker);
        setErrorMessage(outcome.failure);
    }
    setBusy(false);
    setRecordingStartTime(std::nullopt);
    setRecordingElapsed(0);
    activeAudioSettings_.reset();
    if (!outcome.failure && captureFailure_) setErrorMessage(captureFailure_);
    captureFailure_.reset();
    if (!outcome.failure) showMainWindow();
}

// MARK: settings

void AppState::applyRenderSettings(const RenderSettings& settings)
{
    setRenderSettings(settings);
    if (!currentProject_ || !projectDirectory_) return;
    // Clears the now stale preview and export of the project and saves it, quietly.
    ProjectSettingsEditor editor = settingsEditor();
    editor.applyRenderSettings(settings);
    setPreviewIsPartial(false);
    setCurrentProject(editor.project());
}

// The output size follows the recorded video, or the preset alone before the first recording.
std::optional<VideoInfo> AppState::currentVideo() const
{
    return currentProject_ ? std::optional<VideoInfo>(currentProject_->video) : std::nullopt;
}

void AppState::updateAspectRatio(AspectRatio ratio)
{
    RenderSettings settings = renderSettings_;
    settings.aspectRatio = ratio;
    applyRenderSettings(settings.sizedFor(currentVideo()));
}

void AppState::updateResolutionPreset(ResolutionPreset preset)
{
    RenderSettings settings = renderSettings_;
    settings.resolutionPreset = preset;
    applyRenderSettings(settings.sizedFor(currentVideo()));
}

void AppState::rebuildFocusSegmentsForCurrentProject()
{
    if (!currentProject_ || !projectDirectory_) return;
    ProjectSettingsEditor editor = settingsEditor();
    editor.rebuildFocusSegments();
    setCurrentProject(editor.project());
}

void AppState::rebuildCursorFramesForCurrentProject()
{
    if (!currentProject_ || !projectDirectory_) return;
    ProjectSettingsEditor editor = settingsEditor();
    editor.rebuildCursorFrames();
    setCurrentProject(editor.project());
}

ProjectSettingsEditor AppState::settingsEditor() const
{
    // The project carries the controller's settings: every change goes through applyRenderSettings.
    RecordingProject project = *currentProject_;
    project.renderSettings = renderSettings_;
    return ProjectSettingsEditor(std::move(project), *projectDirectory_, projectFiles_);
}

// MARK: export

void AppState::exportCurrentProject()
{
    if (isBusy_) return;
    if (!currentProject_ || !projectDirectory_) {
        setErrorMessage("No project to export.");
        return;
    }
    setBusy(true);
    setStatusMessage("Exporting MP4");
    setExportProgress(0);

    const fs::path outputURL = *projectDirectory_ / "export.mp4";
    RenderJob job{*currentProject_,          *projectDirectory_ / currentProject_->rawVideoPath,
                  currentProject_->focusSegments, currentProject_->cursorFrames,
                  renderSettings_,           outputURL};

    exportMonitor_ = std::make_shared<ExportMonitor>([this](double fraction) {
        QMetaObject::invokeMethod(
            this, [this, fraction] { if (exportMonitor_) setExportProgress(fraction); }, Qt::QueuedConnection);
    });
    emit isExportingChanged();
    runInBackground(
        [exporter = exporter_.get(), monitor = exportMonitor_, job = std::move(job)]() -> std::optional<std::string> {
            try {
                exporter->exportMovie(job, *monitor);
                return std::nullopt;
            } catch (...) {
                return describe(std::current_exception());
            }
        },
        [this, outputURL](std::optional<std::string> failure) {
            exportMonitor_.reset();
            emit isExportingChanged();
            if (failure) {
                setErrorMessage(failure);
                setBusy(false);
                return;
            }
            setExportProgress(1);
            RecordingProject project = *currentProject_;
            project.exportVideoPath = outputURL.filename().string();
            try {
                projectFiles_.saveProject(project, *projectDirectory_);
                setCurrentProject(std::move(project));
                setStatusMessage("Exported");
            } catch (...) {
                setErrorMessage(describe(std::current_exception()));
            }
            setBusy(false);
        });
}

void AppState::cancelExport()
{
    if (exportMonitor_) exportMonitor_->cancel();
}

void AppState::revealExportInFinder()
{
    if (!projectDirectory_ || !currentProject_ || !currentProject_->exportVideoPath) return;
    if (shell_) shell_->revealFile(*projectDirectory_ / *currentProject_->exportVideoPath);
}

void AppState::shutdown()
{
    cancelExport();
    cancelRecordingTimer();
    dismissRecordingHint();
    if (route_ != Route::recording || isBusy_) return;
    inputRecorder_->stop();
    try {
        recorder_->stop();
    } catch (const std::exception&) {
        // Quitting anyway; the fragmented movie stays playable up to its last fragment.
    }
    setRoute(Route::sourcePicker);
}

void AppState::openProject(const fs::path& directory)
{
    if (isBusy_ || route_ == Route::recording) return;
    try {
        RecordingProject project = projectFiles_.loadProject(directory);
        setProjectDirectory(directory);
        setRenderSettings(project.renderSettings);
        setCurrentProject(std::move(project));
        setStatusMessage("Ready");
        setRoute(Route::preview);
    } catch (...) {
        setErrorMessage(describe(std::current_exception()));
    }
}

// MARK: windows

bool AppState::showMainWindow()
{
    dismissRecordingHint();
    return shell_ && shell_->showMainWindow();
}

void AppState::hideMainWindow()
{
    if (shell_) shell_->hideMainWindow();
}

void AppState::showRecordingStartedHint()
{
    if (shell_ && selectedSource_) shell_->showRecordingHint(*selectedSource_);
}

void AppState::dismissRecordingHint()
{
    if (shell_) shell_->dismissRecordingHint();
}

// MARK: screen-facing helpers

void AppState::changeRenderSetting(const QString& field, const QVariant& value)
{
    RenderSettings settings = renderSettings_;
    const QString text = value.toString();
    if (field == "templateName") {
        if (const auto parsed = parseText(templateNameTexts, text)) settings.templateName = *parsed;
    } else if (field == "backgroundEnabled") {
        settings.backgroundEnabled = value.toBool();
    } else if (field == "showCursor") {
        settings.showCursor = value.toBool();
    } else if (field == "showClickRipple") {
        settings.showClickRipple = value.toBool();
    } else if (field == "cursorTheme") {
        if (const auto parsed = parseText(cursorThemeTexts, text)) settings.cursorTheme = *parsed;
    } else if (field == "cursorEffect") {
        if (const auto parsed = parseText(cursorEffectTexts, text)) settings.cursorEffect = *parsed;
    } else if (field == "dynamicCursorScale") {
        settings.dynamicCursorScale = value.toBool();
    } else if (field == "zoomIntensity") {
        if (const auto parsed = parseText(zoomIntensityTexts, text)) settings.zoomIntensity = *parsed;
    } else if (field == "fps") {
        const int fps = value.toInt();
        if (fps > 0) settings.fps = fps;
    } else if (field == "aspectRatio") {
        updateAspectRatio(text);
        return;
    } else if (field == "resolutionPreset") {
        updateResolutionPreset(text);
        return;
    } else {
        return;
    }
    applyRenderSettings(settings);
    if (field == "zoomIntensity") rebuildFocusSegmentsForCurrentProject();
    if (field == "fps") rebuildCursorFramesForCurrentProject();
}

void AppState::updateAspectRatio(const QString& ratio)
{
    if (const auto parsed = parseText(aspectRatioTexts, ratio)) updateAspectRatio(*parsed);
}

void AppState::updateResolutionPreset(const QString& preset)
{
    if (const auto parsed = parseText(resolutionPresetTexts, preset)) updateResolutionPreset(*parsed);
}

void AppState::requestPermission(const QString& permission)
{
    if (permission == "screenRecording") {
        permissions_->requestScreenRecordingIfNeeded();
    } else if (permission == "accessibility") {
        permissions_->requestAccessibilityPrompt();
    } else if (permission == "inputMonitoring") {
        permissions_->requestInputMonitoringIfNeeded();
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

void AppState::refreshPermissionStatus()
{
    setPermissionStatus(permissions_->currentStatus());
}

void AppState::openMicrophoneSettings()
{
    permissions_->openMicrophoneSettings();
}

QString AppState::routeName() const
{
    return rawText(routeTexts, route_);
}

void AppState::setRouteName(const QString& name)
{
    // Screens only move between the screens before a recording; the flows own the rest.
    const auto parsed = parseText(routeTexts, name);
    if (parsed && (*parsed == Route::home || *parsed == Route::permissions || *parsed == Route::sourcePicker)) {
        setRoute(*parsed);
    }
}

QVariantMap AppState::permissionStatusValue() const
{
    return {
        {"screenRecordingGranted", permissionStatus_.screenRecordingGranted},
        {"accessibilityGranted", permissionStatus_.accessibilityGranted},
        {"inputMonitoringGranted", permissionStatus_.inputMonitoringGranted},
        {"allGranted", permissionStatus_.allGranted()},
        {"missingPermissionMessage", QString::fromStdString(permissionStatus_.missingPermissionMessage())},
    };
}

QVariantList AppState::sourcesValue() const
{
    QVariantList list;
    for (const auto& source : sources_) list.append(sourceValue(source));
    return list;
}

QString AppState::selectedSourceId() const
{
    return selectedSource_ ? QString::fromStdString(selectedSource_->id) : QString();
}

void AppState::selectSource(const QString& id)
{
    const auto found = std::find_if(sources_.begin(), sources_.end(),
                                    [&](const CaptureSource& s) { return s.id == id.toStdString(); });
    if (found != sources_.end()) setSelectedSource(*found);
}

QVariantMap AppState::currentProjectValue() const
{
    if (!currentProject_) return {};
    const auto& project = *currentProject_;
    return {
        {"id", QString::fromStdString(project.id)},
        {"duration", project.duration},
        {"videoWidth", static_cast<qlonglong>(project.video.width)},
        {"videoHeight", static_cast<qlonglong>(project.video.height)},
        {"eventCount", static_cast<qlonglong>(project.events.size())},
        {"focusSegmentCount", static_cast<qlonglong>(project.focusSegments.size())},
        {"cursorFrameCount", static_cast<qlonglong>(project.cursorFrames.size())},
        {"exportVideoPath", QString::fromStdString(project.exportVideoPath.value_or(""))},
    };
}

QString AppState::projectDirectoryText() const
{
    return projectDirectory_ ? QString::fromStdString(projectDirectory_->string()) : QString();
}

QVariantMap AppState::renderSettingsValue() const
{
    const auto& s = renderSettings_;
    return {
        {"aspectRatio", rawText(aspectRatioTexts, s.aspectRatio)},
        {"templateName", rawText(templateNameTexts, s.templateName)},
        {"zoomIntensity", rawText(zoomIntensityTexts, s.zoomIntensity)},
        {"resolutionPreset", rawText(resolutionPresetTexts, s.resolutionPreset)},
        {"backgroundEnabled", s.backgroundEnabled},
        {"showCursor", s.showCursor},
        {"showClickRipple", s.showClickRipple},
        {"cursorTheme", rawText(cursorThemeTexts, s.cursorTheme)},
        {"cursorEffect", rawText(cursorEffectTexts, s.cursorEffect)},
        {"dynamicCursorScale", s.dynamicCursorScale},
        {"outputWidth", static_cast<qlonglong>(s.outputWidth)},
        {"outputHeight", static_cast<qlonglong>(s.outputHeight)},
        {"fps", static_cast<qlonglong>(s.fps)},
    };
}

QDateTime AppState::recordingStartTimeValue() const
{
    if (!recordingStartTime_) return {};
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(recordingStartTime_->time_since_epoch()).count();
    return QDateTime::fromMSecsSinceEpoch(milliseconds);
}

QString AppState::recordingElapsedText() const
{
    return QString::fromStdString(RecordingDurationFormatter::formatDuration(recordingElapsed_));
}

QString AppState::audioCaptureModeName() const
{
    return rawText(audioCaptureModeTexts, audioCaptureMode_);
}

void AppState::setAudioCaptureModeName(const QString& name)
{
    if (const auto parsed = parseText(audioCaptureModeTexts, name)) setAudioCaptureMode(*parsed);
}

QVariantList AppState::availableMicrophonesValue() const
{
    QVariantList list;
    for (const auto& device : availableMicrophones_) {
        list.append(QVariantMap{{"id", QString::fromStdString(device.id)}, {"name", QString::fromStdString(device.name)}});
    }
    return list;
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

}  // namespace vantile

namespace vantile {

QVariantMap AppState::settingOptions() const
{
    return SettingsOptions::all();
}

}  // namespace vantile
