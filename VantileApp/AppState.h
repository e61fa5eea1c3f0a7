#pragma once

#include "AppServices.h"
#include "QmlValues.h"
#include "RecordingCountdown.h"
#include "capture/RecordingFrameRate.h"
#include "Route.h"
#include "StopTrigger.h"
#include "capture/PermissionStatus.h"
#include "model/RecordingProject.h"
#include "store/ProjectCatalog.h"

#include <QDateTime>
#include <QObject>
#include <QRectF>
#include <QThreadPool>
#include <QUrl>
#include <QVariant>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vantile {

class SourcesFlow;
class RecordingFlow;
class ProjectSession;
class ExportFlow;
class RecoveryFlow;
class ProjectListFlow;

// Everything AppState drives; handed over once at construction.
struct AppCollaborators {
    std::unique_ptr<PermissionService> permissions;
    std::unique_ptr<SourceService> sourceProvider;
    std::unique_ptr<ScreenRecorderService> recorder;
    std::shared_ptr<CameraService> cameras;  // absent: no cameras to offer
    std::unique_ptr<InputRecorderService> inputRecorder;
    std::unique_ptr<ExportService> exporter;
    std::optional<std::filesystem::path> projectsRoot;  // absent: the user's videos directory
    std::function<Timestamp()> wallClock = [] { return std::chrono::system_clock::now(); };
    std::chrono::milliseconds recordingTick{1000};
    // Where the capture stream says the pointer is, on desktops that tell it only so; empty elsewhere.
    std::function<std::optional<CodablePoint>()> streamPointer;
};

// The state the screens bind to, and the entry point of every flow: sources, recording,
// the open project's session and its export each live in a flow of their own, which
// publishes through the setters here. Lives on the main thread; slow steps run on the
// worker pool and resume here.
class AppState : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString route READ routeName WRITE setRouteName NOTIFY routeChanged)
    Q_PROPERTY(QVariantMap permissionStatus READ permissionStatusValue NOTIFY permissionStatusChanged)
    Q_PROPERTY(QVariantList sources READ sourcesValue NOTIFY sourcesChanged)
    Q_PROPERTY(QString selectedSourceId READ selectedSourceId WRITE selectSource NOTIFY selectedSourceChanged)
    Q_PROPERTY(QVariantMap currentProject READ currentProjectValue NOTIFY currentProjectChanged)
    Q_PROPERTY(bool hasProject READ hasProject NOTIFY currentProjectChanged)
    Q_PROPERTY(QString projectDirectory READ projectDirectoryText NOTIFY projectDirectoryChanged)
    Q_PROPERTY(bool isBusy READ isBusy NOTIFY isBusyChanged)
    Q_PROPERTY(bool isLoadingCameras READ isLoadingCameras NOTIFY isLoadingCamerasChanged)
    Q_PROPERTY(QString statusMessage READ statusMessageText NOTIFY statusMessageChanged)
    Q_PROPERTY(QString errorMessage READ errorMessageText NOTIFY errorMessageChanged)
    Q_PROPERTY(QVariantMap renderSettings READ renderSettingsValue NOTIFY renderSettingsChanged)
    Q_PROPERTY(QDateTime recordingStartTime READ recordingStartTimeValue NOTIFY recordingStartTimeChanged)
    Q_PROPERTY(double recordingElapsed READ recordingElapsed NOTIFY recordingElapsedChanged)
    Q_PROPERTY(QString recordingElapsedText READ recordingElapsedText NOTIFY recordingElapsedChanged)
    Q_PROPERTY(double recordingMaxDuration READ recordingMaxDuration NOTIFY recordingMaxDurationChanged)
    Q_PROPERTY(QString audioCaptureMode READ audioCaptureModeName WRITE setAudioCaptureModeName NOTIFY
                   audioCaptureModeChanged)
    Q_PROPERTY(QVariantList availableMicrophones READ availableMicrophonesValue NOTIFY availableMicrophonesChanged)
    Q_PROPERTY(QString selectedMicrophoneDeviceID READ selectedMicrophoneDeviceIDText WRITE
                   setSelectedMicrophoneDeviceIDText NOTIFY selectedMicrophoneDeviceIDChanged)
    Q_PROPERTY(QVariantList availableCameras READ availableCamerasValue NOTIFY availableCamerasChanged)
    // Empty: 不录制摄像头.
    Q_PROPERTY(QString selectedCameraId READ selectedCameraIdText WRITE selectCamera NOTIFY selectedCameraIdChanged)
    Q_PROPERTY(QUrl previewVideoURL READ previewVideoURLValue NOTIFY previewVideoURLChanged)
    Q_PROPERTY(QString videoReferenceText READ videoReferenceTextValue NOTIFY videoReferenceTextChanged)
    Q_PROPERTY(double exportProgress READ exportProgress NOTIFY exportProgressChanged)
    Q_PROPERTY(bool isExporting READ isExporting NOTIFY isExportingChanged)
    Q_PROPERTY(QString exportedFilePath READ exportedFilePath NOTIFY currentProjectChanged)
    Q_PROPERTY(QVariantMap settingOptions READ settingOptions CONSTANT)
    Q_PROPERTY(QVariantList systemWallpapers READ systemWallpapersValue CONSTANT)
    Q_PROPERTY(QVariantList unfinishedRecordings READ unfinishedRecordingsValue NOTIFY unfinishedRecordingsChanged)
    Q_PROPERTY(bool canUndo READ canUndo NOTIFY currentProjectChanged)
    Q_PROPERTY(QVariantList idleProposals READ idleProposalsValue NOTIFY idleProposalsChanged)
    Q_PROPERTY(bool isFindingIdle READ isFindingIdle NOTIFY idleProposalsChanged)
    Q_PROPERTY(bool canRedo READ canRedo NOTIFY currentProjectChanged)
    Q_PROPERTY(QVariantList projects READ projectsValue NOTIFY projectsChanged)
    Q_PROPERTY(QUrl projectsRootURL READ projectsRootURL CONSTANT)
    // The countdown before a recording: "auto", "off", "2" or "3".
    Q_PROPERTY(QString recordingCountdown READ recordingCountdownName WRITE setRecordingCountdownName NOTIFY
                   recordingCountdownChanged)
    // Frames per second of the next recording: 30 or 60.
    Q_PROPERTY(int recordingFps READ recordingFps WRITE setRecordingFps NOTIFY recordingFpsChanged)
    Q_PROPERTY(bool recordsShortcuts READ recordsShortcuts WRITE setRecordsShortcuts NOTIFY recordsShortcutsChanged)
    // Exporting to a chosen file, the project's exports, and quitting while an export runs.
    Q_PROPERTY(QVariantList exports READ exportsValue NOTIFY currentProjectChanged)
    Q_PROPERTY(QString replaceQuestion READ replaceQuestion NOTIFY replaceQuestionChanged)
    Q_PROPERTY(bool isAskingToQuit READ isAskingToQuit NOTIFY isAskingToQuitChanged)

public:
    explicit AppState(AppCollaborators collaborators, QObject* parent = nullptr);
    ~AppState() override;

    // Not owned; until set, window operations do nothing and showMainWindow() returns false.
    void setDesktopShell(DesktopShell* shell) { shell_ = shell; }
    DesktopShell* desktopShell() const { return shell_; }
    // Where the flows run their slow steps.
    QThreadPool& workers() { return workers_; }
    // The cameras the picker lists and previews; absent where none are offered.
    std::shared_ptr<CameraService> cameraService() const { return cameras_; }

    // Published state.
    Route route() const { return route_; }
    const PermissionStatus& permissionStatus() const { return permissionStatus_; }
    const std::vector<CaptureSource>& sources() const { return sources_; }
    const std::optional<CaptureSource>& selectedSource() const { return selectedSource_; }
    const std::optional<RecordingProject>& currentProject() const { return currentProject_; }
    const std::optional<std::filesystem::path>& projectDirectory() const { return projectDirectory_; }
    bool isBusy() const { return isBusy_; }
    // The cameras are listed apart from the screens: a camera portal may first ask the user.
    bool isLoadingCameras() const { return isLoadingCameras_; }
    const std::string& statusMessage() const { return statusMessage_; }
    const std::optional<std::string>& errorMessage() const { return errorMessage_; }
    const RenderSettings& renderSettings() const { return renderSettings_; }
    const std::optional<Timestamp>& recordingStartTime() const { return recordingStartTime_; }
    double recordingElapsed() const { return recordingElapsed_; }
    double recordingMaxDuration() const { return recordingMaxDuration_; }
    AudioCaptureMode audioCaptureMode() const { return audioCaptureMode_; }
    const std::vector<AudioInputDevice>& availableMicrophones() const { return availableMicrophones_; }
    const std::optional<std::string>& selectedMicrophoneDeviceID() const { return selectedMicrophoneDeviceID_; }
    const std::vector<CameraDevice>& availableCameras() const { return availableCameras_; }
    const std::optional<std::string>& selectedCameraId() const { return selectedCameraId_; }
    double exportProgress() const { return exportProgress_; }
    bool isExporting() const { return isExporting_; }
    const std::vector<std::filesystem::path>& unfinishedRecordings() const { return unfinishedRecordings_; }

    std::optional<std::filesystem::path> previewVideoURL() const;
    std::string videoReferenceText() const;

    // Setters of the published state, for the screens and the flows.
    void setRoute(Route route);
    void setSelectedSource(std::optional<CaptureSource> source);
    void setAudioCaptureMode(AudioCaptureMode mode);
    void setSelectedMicrophoneDeviceID(std::optional<std::string> id);
    void setRecordingMaxDuration(double seconds);
    void setPermissionStatus(const PermissionStatus& status);
    void setSources(std::vector<CaptureSource> sources);
    void setCurrentProject(std::optional<RecordingProject> project);
    void setProjectDirectory(std::optional<std::filesystem::path> directory);
    void setBusy(bool busy);
    void setLoadingCameras(bool loading);
    void setStatusMessage(const std::string& message);
    void setErrorMessage(std::optional<std::string> message);
    void setRenderSettings(const RenderSettings& settings);
    void setRecordingStartTime(std::optional<Timestamp> time);
    void setRecordingElapsed(double seconds);
    void setAvailableMicrophones(std::vector<AudioInputDevice> devices);
    void setAvailableCameras(std::vector<CameraDevice> cameras);
    void setSelectedCameraId(std::optional<std::string> id);
    void setExportProgress(double fraction);
    void setExporting(bool exporting);
    void setUnfinishedRecordings(std::vector<std::filesystem::path> directories);

    // Flows.
    Q_INVOKABLE void loadSources();
    Q_INVOKABLE void loadAudioInputs();
    Q_INVOKABLE void startRecording();
    // The main window's stop: the window is Vantile's own, so the take ends at the stop time.
    Q_INVOKABLE void stopRecording();
    // `gestureWay`: the places the stop gesture went, in global screen coordinates, when the caller
    // knows it (a tray icon's place); otherwise the shell is asked (the recording control).
    void stopRecording(StopTrigger trigger, std::vector<CGRectCodable> gestureWay = {});
    StopTrigger lastStopTrigger() const;
    void updateAspectRatio(AspectRatio ratio);
    void updateResolutionPreset(ResolutionPreset preset);
    void applyRenderSettings(const RenderSettings& settings);
    Q_INVOKABLE void exportCurrentProject();
    // The same frames as an animated GIF (export.gif beside the movie).
    Q_INVOKABLE void exportCurrentProjectAsGif();
    Q_INVOKABLE void cancelExport();
    Q_INVOKABLE void revealExportInFinder();
    Q_INVOKABLE bool showMainWindow();
    // Before the process ends: a running capture is stopped so its movie is finished on disk
    // (the events are already journalled beside it), and a running export is cancelled.
    void shutdown();
    // Opens an earlier recording's directory in the preview (`vantile DIR`).
    void openProject(const std::filesystem::path& directory);
    Q_INVOKABLE void hideMainWindow();
    // At start: recordings under the projects root that were cut off before being saved,
    // each offered to recover (into the preview) or to ignore.
    Q_INVOKABLE void findUnfinishedRecordings();
    Q_INVOKABLE void recoverUnfinishedRecording(const QString& directory);
    Q_INVOKABLE void ignoreUnfinishedRecording(const QString& directory);

    // The home screen's project list. Locations are directories, files inside a project, or
    // file URLs (from the folder dialog and drops).
    const std::vector<ProjectSummary>& projects() const { return projects_; }
    void setProjects(std::vector<ProjectSummary> projects);
    Q_INVOKABLE void refreshProjects();
    Q_INVOKABLE void openProjectLocation(const QString& location);
    Q_INVOKABLE void renameProject(const QString& directory, const QString& newName);
    Q_INVOKABLE void moveProjectToTrash(const QString& directory);
    QVariantList projectsValue() const;
    QUrl projectsRootURL() const;

    // The settings panel: one field changed by its raw name and value, handed on as the
    // whole settings, with the re-plan after a zoom change and the re-smooth after an fps
    // change. Ignored while an export runs, which renders the settings it started with.
    Q_INVOKABLE void changeRenderSetting(const QString& field, const QVariant& value);
    Q_INVOKABLE void updateAspectRatio(const QString& ratio);
    Q_INVOKABLE void updateResolutionPreset(const QString& preset);
    // A picture file (a path or a file URL) as the background: copied into the project first,
    // so the project keeps it; a file that is not a picture shows an error and changes nothing.
    Q_INVOKABLE void chooseBackgroundImage(const QString& file);

    // The settings panel's camera section ("cameraVisible", "cameraSize", "cameraShape",
    // "cameraMirror", "cameraShadow", "cameraPosition") and the bubble dragged on the preview.
    // Each change is one undo step in the timeline's history. Between the beginning and the
    // end of a gesture (a slider or a drag) changes show at once and become one step at its end.
    Q_INVOKABLE void changeCameraBubble(const QString& field, const QVariant& value);
    Q_INVOKABLE void beginCameraBubbleGesture();
    Q_INVOKABLE void endCameraBubbleGesture();
    void setCameraBubble(const CameraBubbleLook& look);

    // The timeline under the preview. Times are recording seconds, points raw-video pixels,
    // indexes positions in currentProject.segments. A refused edit shows its error and changes nothing.
    Q_INVOKABLE void addTimelineSegment(double playhead);
    Q_INVOKABLE void moveTimelineSegment(int index, double start);
    Q_INVOKABLE void resizeTimelineSegment(int index, double start, double end);
    Q_INVOKABLE void setTimelineSegmentDepth(int index, double scale);
    Q_INVOKABLE void setTimelineSegmentFocus(int index, double x, double y);
    Q_INVOKABLE void removeTimelineSegment(int index);
    Q_INVOKABLE void setTimelineTrim(double start, double end);
    Q_INVOKABLE void cutTimelineRange(double start, double end);
    Q_INVOKABLE void undoTimelineEdit();
    Q_INVOKABLE void redoTimelineEdit();
    // Speed regions (indexes in currentProject.speedRegions) and the idle finder: it scans the
    // take in the background and lists its proposals in idleProposals ({start, end}), which the
    // user applies one by one or all at once (indexes into that list), as 8x or as cuts.
    Q_INVOKABLE void addSpeedRegion(double start, double end, double speed);
    Q_INVOKABLE void changeSpeedRegion(int index, double start, double end, double speed);
    Q_INVOKABLE void removeSpeedRegion(int index);
    Q_INVOKABLE void findIdleStretches(double minimumSeconds);
    Q_INVOKABLE void applyIdleProposals(const QVariantList& indexes, bool asCuts);
    Q_INVOKABLE void dismissIdleProposals();
    QVariantList idleProposalsValue() const;
    bool isFindingIdle() const { return findingIdle_; }
    // Privacy blur: a rectangle between two raw-video points, made unreadable for
    // newBlurRegionLength seconds from the playhead; indexes are positions in currentProject.blurRegions.
    static constexpr double newBlurRegionLength = 3.0;
    Q_INVOKABLE void addBlurRegion(double playhead, double x1, double y1, double x2, double y2);
    Q_INVOKABLE void setBlurRegionSpan(int index, double start, double end);
    Q_INVOKABLE void removeBlurRegion(int index);
    // The crop, in raw-video pixels (taken inward to even pixels); each call is one undo step.
    Q_INVOKABLE void setCrop(double x, double y, double width, double height);
    Q_INVOKABLE void clearCrop();
    // Hides or shows one shortcut badge (numbered as currentProject.shortcuts lists them); one undo step.
    Q_INVOKABLE void setShortcutHidden(int index, bool hidden);
    bool canUndo() const;
    bool canRedo() const;

    // Text callouts (currentProject.textCallouts): the 文字 track and the settings panel edit
    // them, each change one undo step. Times are recording seconds, x and y fractions of the
    // output frame, style "title", "lowerThird" or "label". Returns the added callout's index, or -1.
    Q_INVOKABLE int addTextCallout(double playhead);
    Q_INVOKABLE void setTextCalloutText(int index, const QString& text);
    Q_INVOKABLE void setTextCalloutStyle(int index, const QString& style);
    Q_INVOKABLE void setTextCalloutSpan(int index, double start, double end);
    Q_INVOKABLE void moveTextCallout(int index, double x, double y);
    Q_INVOKABLE void removeTextCallout(int index);
    // Where the export draws callout `index` on a canvas of that size, so the preview can frame and drag it.
    Q_INVOKABLE QRectF textCalloutRect(int index, double canvasWidth, double canvasHeight) const;

    // The permission screen's row actions: "screenRecording", "accessibility", "inputMonitoring".
    Q_INVOKABLE void requestPermission(const QString& permission);
    Q_INVOKABLE void openPermissionSettings(const QString& permission);
    Q_INVOKABLE void refreshPermissionStatus();
    Q_INVOKABLE void openMicrophoneSettings();
    // A listed camera's id records it beside the screen; an empty or unlisted one records none.
    Q_INVOKABLE void selectCamera(const QString& id);

    // QML views of the published state.
    QString routeName() const { return QmlValues::text(routeTexts, route_); }
    void setRouteName(const QString& name);
    QVariantMap permissionStatusValue() const { return QmlValues::permissionStatus(permissionStatus_); }
    QVariantList sourcesValue() const { return QmlValues::sources(sources_); }
    QString selectedSourceId() const;
    void selectSource(const QString& id);
    QVariantMap currentProjectValue() const;
    bool hasProject() const { return currentProject_.has_value(); }
    QString projectDirectoryText() const;
    QString statusMessageText() const { return QString::fromStdString(statusMessage_); }
    QString errorMessageText() const { return QString::fromStdString(errorMessage_.value_or("")); }
    QVariantMap renderSettingsValue() const { return QmlValues::renderSettings(renderSettings_); }
    QDateTime recordingStartTimeValue() const { return QmlValues::dateTime(recordingStartTime_); }
    QString recordingElapsedText() const;
    QString audioCaptureModeName() const { return QmlValues::text(audioCaptureModeTexts, audioCaptureMode_); }
    void setAudioCaptureModeName(const QString& name);
    QVariantList availableMicrophonesValue() const { return QmlValues::microphones(availableMicrophones_); }
    QString selectedMicrophoneDeviceIDText() const;
    void setSelectedMicrophoneDeviceIDText(const QString& id);
    QVariantList availableCamerasValue() const { return QmlValues::cameras(availableCameras_); }
    QVariantList systemWallpapersValue() const;
    QString selectedCameraIdText() const { return QString::fromStdString(selectedCameraId_.value_or("")); }
    QUrl previewVideoURLValue() const;
    QString videoReferenceTextValue() const { return QString::fromStdString(videoReferenceText()); }
    QString exportedFilePath() const;
    QVariantMap settingOptions() const;
    QVariantList unfinishedRecordingsValue() const;

    // MARK: exporting to a chosen file, the project's exports, and quitting while an export runs

    // The save dialog: where it starts (the XDG videos directory), the name it offers (the
    // project's recording time, e.g. "Vantile 2026-11-25 23-10.mp4") and its name filters.
    Q_INVOKABLE QUrl exportFolder() const;
    Q_INVOKABLE QString suggestedExportName(bool gif) const;
    Q_INVOKABLE QUrl suggestedExportFile(bool gif) const;
    Q_INVOKABLE QStringList exportNameFilters(bool gif) const;
    // Exports to the file chosen in the save dialog; a name without a known extension gets
    // `extension` (of the chosen filter). An existing file is only replaced after
    // replaceQuestion is answered with confirmReplace().
    Q_INVOKABLE void exportTo(const QUrl& file, const QString& extension);
    Q_INVOKABLE void confirmReplace();
    Q_INVOKABLE void cancelReplace();
    QString replaceQuestion() const;
    // The exports of the open project, newest first: key (as recorded), name, path, format,
    // time and size.
    QVariantList exportsValue() const;
    Q_INVOKABLE void revealExport(const QString& key);
    Q_INVOKABLE void moveExportToTrash(const QString& key);
    // The tray's quit and closing the last window: quits at once unless an export runs, which
    // first asks (isAskingToQuit) whether to keep exporting or cancel it and quit.
    Q_INVOKABLE void requestQuit();
    Q_INVOKABLE void continueExporting();
    // Cancels the export and quits once it has ended (its partial file removed, nothing recorded).
    Q_INVOKABLE void cancelExportAndQuit();
    bool isAskingToQuit() const { return isAskingToQuit_; }
    // What quitting does; QCoreApplication::quit unless replaced.
    void setQuitAction(std::function<void()> quit) { quitAction_ = std::move(quit); }
    void setExportFolder(std::filesystem::path folder) { exportFolder_ = std::move(folder); }

signals:
    void replaceQuestionChanged();
    void isAskingToQuitChanged();
    void routeChanged();
    void permissionStatusChanged();
    void sourcesChanged();
    void selectedSourceChanged();
    void currentProjectChanged();
    void projectDirectoryChanged();
    void isBusyChanged();
    void isLoadingCamerasChanged();
    void statusMessageChanged();
    void errorMessageChanged();
    void renderSettingsChanged();
    void recordingStartTimeChanged();
    void recordingElapsedChanged();
    void recordingMaxDurationChanged();
    void audioCaptureModeChanged();
    void availableMicrophonesChanged();
    void selectedMicrophoneDeviceIDChanged();
    void availableCamerasChanged();
    void selectedCameraIdChanged();
    void previewVideoURLChanged();
    void videoReferenceTextChanged();
    void exportProgressChanged();
    void isExportingChanged();
    void unfinishedRecordingsChanged();
    void projectsChanged();
    void idleProposalsChanged();

public:
    // The countdown before the first frame.
    CountdownChoice recordingCountdown() const { return recordingCountdown_; }
    void setRecordingCountdown(CountdownChoice choice);
    QString recordingCountdownName() const { return countdownChoiceName(recordingCountdown_); }
    void setRecordingCountdownName(const QString& name);
    // A start is counting down: nothing is captured yet, and a stop cancels it.
    bool isCountingDown() const;
    void cancelCountdown();
    // The next recording's frame rate; a rate that is not offered is ignored.
    int recordingFps() const { return recordingFps_; }
    // Whether the next recording logs keyboard shortcuts (chords with Ctrl, Alt or Super) for
    // the export's badges. Off until the user turns it on.
    bool recordsShortcuts() const { return recordsShortcuts_; }
    void setRecordsShortcuts(bool records);
    void setRecordingFps(int fps);

signals:
    void recordingCountdownChanged();
    void recordingFpsChanged();
    void recordsShortcutsChanged();

public:
    // The editor's ruler: its marks in output time for a track `pixelWidth` wide that shows the
    // whole recording, each as {"time": recording seconds where it sits, "label"}.
    Q_INVOKABLE QVariantList timelineRulerTicks(double pixelWidth) const;

private:
    CountdownChoice recordingCountdown_ = CountdownChoice::automatic;
    int recordingFps_ = static_cast<int>(RecordingFrameRate::standard);
    bool recordsShortcuts_ = false;

    void notifyDerivedTexts();

    Route route_ = Route::home;
    PermissionStatus permissionStatus_;
    std::vector<CaptureSource> sources_;
    std::optional<CaptureSource> selectedSource_;
    std::optional<RecordingProject> currentProject_;
    std::optional<std::filesystem::path> projectDirectory_;
    bool isBusy_ = false;
    bool isLoadingCameras_ = false;
    std::string statusMessage_;
    std::optional<std::string> errorMessage_;
    RenderSettings renderSettings_ = RenderSettings::defaultLandscape();
    std::optional<CameraBubbleLook> cameraBubbleGestureStart_;
    std::optional<Timestamp> recordingStartTime_;
    double recordingElapsed_ = 0;
    double recordingMaxDuration_ = 600;
    AudioCaptureMode audioCaptureMode_ = AudioCaptureMode::none;
    std::vector<AudioInputDevice> availableMicrophones_;
    std::optional<std::string> selectedMicrophoneDeviceID_;
    std::vector<CameraDevice> availableCameras_;
    std::shared_ptr<CameraService> cameras_;
    std::optional<std::string> selectedCameraId_;
    double exportProgress_ = 0;
    std::vector<TimeRange> idleProposals_;
    bool findingIdle_ = false;

    bool isExporting_ = false;
    std::vector<std::filesystem::path> unfinishedRecordings_;
    std::vector<ProjectSummary> projects_;
    std::filesystem::path projectsRoot_;

    std::unique_ptr<PermissionService> permissions_;
    DesktopShell* shell_ = nullptr;
    QThreadPool workers_;
    std::unique_ptr<ProjectSession> session_;
    std::unique_ptr<SourcesFlow> sourcesFlow_;
    std::unique_ptr<RecordingFlow> recordingFlow_;
    std::unique_ptr<ExportFlow> exportFlow_;
    std::unique_ptr<RecoveryFlow> recoveryFlow_;
    std::unique_ptr<ProjectListFlow> projectListFlow_;

    // Exporting to a chosen file and quitting while an export runs.
    void setAskingToQuit(bool asking);
    std::optional<std::filesystem::path> exportFolder_;  // absent: the XDG videos directory
    std::optional<std::filesystem::path> pendingReplacement_;
    bool isAskingToQuit_ = false;
    bool quitWhenExportEnds_ = false;
    std::function<void()> quitAction_;
};

}  // namespace vantile
