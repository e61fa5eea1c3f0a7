#include "PlatformServices.h"

#include "capture/CaptureSourceProvider.h"
#include "capture/EventJournal.h"
#include "capture/InputEventRecorder.h"
#include "capture/PermissionManager.h"
#include "capture/PulseAudioSource.h"
#include "capture/RecordingError.h"
#include "capture/ScreenRecorder.h"
#include "capture/x11/X11CapturePlatform.h"
#include "capture/x11/X11InputSource.h"
#include "capture/x11/X11SourceLister.h"
#include "render/ExportManager.h"
#include "store/ProjectFileManager.h"

#include <QSocketNotifier>

#include <mutex>

namespace vantile {

namespace {

class X11PermissionService : public PermissionService {
public:
    PermissionStatus currentStatus() override
    {
        try {
            return manager_.currentStatus();
        } catch (const std::exception&) {
            return {};  // no display server: nothing is granted
        }
    }
    bool requestScreenRecordingIfNeeded() override { return currentStatus().screenRecordingGranted; }
    void requestAccessibilityPrompt() override { manager_.requestAccessibilityPrompt(); }
    bool requestInputMonitoringIfNeeded() override { return currentStatus().inputMonitoringGranted; }
    void openPrivacySettings() override { manager_.openPrivacySettings(); }
    void openAccessibilitySettings() override { manager_.openAccessibilitySettings(); }
    void openInputMonitoringSettings() override { manager_.openInputMonitoringSettings(); }
    void openMicrophoneSettings() override { manager_.openMicrophoneSettings(); }
    bool microphoneAccessGranted() override { return PermissionManager::microphoneAuthorized(); }

private:
    PermissionManager manager_;
};

class X11SourceService : public SourceService {
public:
    std::vector<CaptureSource> loadSources() override
    {
        X11SourceLister lister;
        return CaptureSourceProvider(lister).loadSources();
    }
    std::vector<AudioInputDevice> listMicrophones() override { return PulseAudioSource::listMicrophones(); }
};

// Starts and stops arrive on the worker pool one after the other; failure() comes from the
// main thread in between, so one lock keeps the session pointer safe.
class X11ScreenRecorderService : public ScreenRecorderService {
public:
    void start(const CaptureSource& source, const std::filesystem::path& outputURL,
               const AudioCaptureSettings& audioSettings) override
    {
        std::lock_guard lock(mutex_);
        recorder_.start(source, outputURL, audioSettings);
    }
    RecordingResult stop() override
    {
        std::lock_guard lock(mutex_);
        return recorder_.stop();
    }
    std::optional<std::string> failure() override
    {
        std::unique_lock lock(mutex_, std::try_to_lock);
        return lock.owns_lock() ? recorder_.failure() : std::nullopt;
    }

private:
    std::mutex mutex_;
    X11CapturePlatform platform_;
    ScreenRecorder recorder_{platform_};
};

// Global input through XInput2, read on the main thread whenever the connection has events.
class X11InputRecorderService : public InputRecorderService {
public:
    void start(const CGRectCodable& captureRegion, const std::filesystem::path& projectDirectory) override
    {
        stop();
        source_ = std::make_unique<X11InputSource>();
        recorder_ = std::make_unique<InputEventRecorder>(source_.get());
        const auto metadata = projectDirectory / ProjectFileManager::metadataFolderName;
        std::filesystem::create_directories(metadata);
        journal_ = std::make_unique<EventJournal>(metadata / EventJournal::fileName);
        recorder_->setEventObserver([journal = journal_.get()](const InputEvent& event) { journal->append(event); });
        recorder_->start(captureRegion);
        if (!recorder_->isMonitoring()) {
            stop();
            throw std::runtime_error("Global input events cannot be observed on this display server.");
        }
        if (source_->fileDescriptor() >= 0) {
            notifier_ = std::make_unique<QSocketNotifier>(source_->fileDescriptor(), QSocketNotifier::Read);
            QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] { source_->dispatchPending(); });
        }
    }

    std::vector<InputEvent> stop() override
    {
        notifier_.reset();
        std::vector<InputEvent> events;
        if (recorder_) {
            source_->dispatchPending();
            events = recorder_->stop();
        }
        recorder_.reset();
        journal_.reset();
        source_.reset();
        return events;
    }

private:
    std::unique_ptr<X11InputSource> source_;
    std::unique_ptr<InputEventRecorder> recorder_;
    std::unique_ptr<EventJournal> journal_;
    std::unique_ptr<QSocketNotifier> notifier_;
};

class MovieExportService : public ExportService {
public:
    void exportMovie(const RenderJob& job, ExportMonitor& monitor) override
    {
        ExportManager().exportMovie(job, &monitor);
    }
};

}  // namespace

AppCollaborators makePlatformCollaborators()
{
    AppCollaborators collaborators;
    collaborators.permissions = std::make_unique<X11PermissionService>();
    collaborators.sourceProvider = std::make_unique<X11SourceService>();
    collaborators.recorder = std::make_unique<X11ScreenRecorderService>();
    collaborators.inputRecorder = std::make_unique<X11InputRecorderService>();
    collaborators.exporter = std::make_unique<MovieExportService>();
    return collaborators;
}

}  // namespace vantile
