#include "PlatformServices.h"

#include "DesktopCameraService.h"

#include "capture/CaptureBackend.h"
#include "capture/EventJournal.h"
#include "capture/InputEventRecorder.h"
#include "capture/PermissionManager.h"
#include "capture/PulseAudioSource.h"
#include "capture/RecordingError.h"
#include "capture/ScreenRecorder.h"
#include "render/ExportManager.h"
#include "store/ProjectFileManager.h"

#include <QSocketNotifier>

#include <atomic>
#include <mutex>
#include <thread>

namespace vantile {

namespace {

// One back end for the whole application, chosen from the session at start.
struct SharedBackend {
    std::mutex mutex;
    std::unique_ptr<CaptureBackend> backend;
};

class BackendPermissionService : public PermissionService {
public:
    explicit BackendPermissionService(std::shared_ptr<SharedBackend> shared) : shared_(std::move(shared)) {}

    PermissionStatus currentStatus() override
    {
        try {
            const std::lock_guard lock(shared_->mutex);
            return shared_->backend->permissions();
        } catch (const std::exception&) {
            return {};  // no display server: nothing is granted
        }
    }
    bool requestScreenRecordingIfNeeded() override { return currentStatus().screenRecordingGranted; }
    void requestAccessibilityPrompt() override { manager_.requestAccessibilityPrompt(); }
    bool requestInputMonitoringIfNeeded() override
    {
        // Not under the lock: the user may take minutes over the password.
        return shared_->backend->requestInputMonitoring() || currentStatus().inputMonitoringGranted;
    }
    void openPrivacySettings() override { manager_.openPrivacySettings(); }
    void openAccessibilitySettings() override { manager_.openAccessibilitySettings(); }
    void openInputMonitoringSettings() override { manager_.openInputMonitoringSettings(); }
    void openMicrophoneSettings() override { manager_.openMicrophoneSettings(); }
    bool microphoneAccessGranted() override { return PermissionManager::microphoneAuthorized(); }
    bool recordingAllowed(const PermissionStatus& status) override
    {
        const std::lock_guard lock(shared_->mutex);
        return shared_->backend->canRecord(status);
    }

private:
    std::shared_ptr<SharedBackend> shared_;
    PermissionManager manager_;
};

class BackendSourceService : public SourceService {
public:
    explicit BackendSourceService(std::shared_ptr<SharedBackend> shared) : shared_(std::move(shared)) {}

    std::vector<CaptureSource> loadSources() override
    {
        const std::lock_guard lock(shared_->mutex);
        return shared_->backend->loadSources();
    }
    std::vector<AudioInputDevice> listMicrophones() override { return PulseAudioSource::listMicrophones(); }

private:
    std::shared_ptr<SharedBackend> shared_;
};

// Starts and stops arrive on the worker pool one after the other; failure() comes from the
// main thread in between, so one lock keeps the session pointer safe.
class BackendScreenRecorderService : public ScreenRecorderService {
public:
    explicit BackendScreenRecorderService(std::shared_ptr<SharedBackend> shared)
        : shared_(std::move(shared)), recorder_(shared_->backend->platform())
    {
    }

    void start(const CaptureSource& source, const std::filesystem::path& outputURL,
               const AudioCaptureSettings& audioSettings, std::int64_t fps) override
    {
        std::lock_guard lock(mutex_);
        startedSource_.reset();
        CaptureSource prepared;
        try {
            prepared = shared_->backend->platform().prepare(source, static_cast<int>(fps));
        } catch (...) {
            // Nothing was recorded (the share dialog was declined): the new project directory goes too.
            std::error_code ignored;
            std::filesystem::remove(outputURL.parent_path(), ignored);
            throw;
        }
        recorder_.start(prepared, outputURL, audioSettings, fps);
        startedSource_ = prepared;
        // The input log's clock starts with the first frame: wait for it, briefly (a stream that
        // takes longer leaves the log counting from its own start).
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
        while (!recorder_.firstFrameTime() && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    std::optional<std::chrono::steady_clock::time_point> firstFrameTime() override
    {
        std::lock_guard lock(mutex_);
        return recorder_.firstFrameTime();
    }
    std::optional<CaptureSource> startedSource() override
    {
        std::lock_guard lock(mutex_);
        return startedSource_;
    }
    bool cursorInPicture() override
    {
        std::lock_guard lock(mutex_);
        return shared_->backend->platform().cursorInPicture();
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
    std::shared_ptr<SharedBackend> shared_;
    std::mutex mutex_;
    ScreenRecorder recorder_;
    std::optional<CaptureSource> startedSource_;
};

// The recorder's clock, read first when its timebase is made at start: that first reading
// answers `origin`, so event times count from the movie's first frame, and every later one the
// time now. Copies of the clock share the one first reading.
Timebase::Clock clockStartingAt(std::optional<std::chrono::steady_clock::time_point> origin)
{
    if (!origin) return nullptr;
    auto originPending = std::make_shared<std::atomic<bool>>(true);
    return [origin = *origin, originPending] {
        return originPending->exchange(false) ? origin : std::chrono::steady_clock::now();
    };
}

// Global input, read on the main thread whenever the input source has events.
class BackendInputRecorderService : public InputRecorderService {
public:
    BackendInputRecorderService(std::shared_ptr<SharedBackend> shared, std::optional<KeyShortcut> stopShortcut)
        : shared_(std::move(shared)), stopShortcut_(std::move(stopShortcut))
    {
    }

    void start(const CGRectCodable& captureRegion, const std::filesystem::path& projectDirectory,
               std::optional<std::chrono::steady_clock::time_point> clockOrigin,
               std::shared_ptr<const ExcludedAreas> ownWindows, std::int64_t fps) override
    {
        stop();
        {
            const std::lock_guard lock(shared_->mutex);
            source_ = shared_->backend->makeInputSource();
        }
        if (stopShortcut_) source_->leaveOutShortcut(*stopShortcut_);
        source_->recordShortcuts(recordsShortcuts_);
        recorder_ = std::make_unique<InputEventRecorder>(source_.get(), clockStartingAt(clockOrigin));
        recorder_->setExcludedAreas(std::move(ownWindows));
        const auto metadata = projectDirectory / ProjectFileManager::metadataFolderName;
        std::filesystem::create_directories(metadata);
        journal_ = std::make_unique<EventJournal>(metadata / EventJournal::fileName);
        recorder_->setEventObserver([journal = journal_.get()](const InputEvent& event) { journal->append(event); });
        recorder_->start(captureRegion, fps);
        if (!recorder_->isMonitoring()) {
            stop();
            throw std::runtime_error("Global input events cannot be observed on this display server.");
        }
        if (source_->fileDescriptor() >= 0) {
            notifier_ = std::make_unique<QSocketNotifier>(source_->fileDescriptor(), QSocketNotifier::Read);
            QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] { source_->dispatchPending(); });
        }
    }

    void setRecordsShortcuts(bool records) override { recordsShortcuts_ = records; }

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
    std::shared_ptr<SharedBackend> shared_;
    std::optional<KeyShortcut> stopShortcut_;
    bool recordsShortcuts_ = false;
    std::unique_ptr<InputSource> source_;
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

AppCollaborators makePlatformCollaborators(std::optional<KeyShortcut> stopShortcut)
{
    auto shared = std::make_shared<SharedBackend>();
    shared->backend = makeCaptureBackend(chooseCaptureBackend());
    AppCollaborators collaborators;
    collaborators.permissions = std::make_unique<BackendPermissionService>(shared);
    collaborators.sourceProvider = std::make_unique<BackendSourceService>(shared);
    collaborators.recorder = std::make_unique<BackendScreenRecorderService>(shared);
    collaborators.cameras = std::make_shared<DesktopCameraService>();
    collaborators.inputRecorder = std::make_unique<BackendInputRecorderService>(shared, std::move(stopShortcut));
    collaborators.exporter = std::make_unique<MovieExportService>();
    if (shared->backend->kind() == CaptureBackendKind::wayland)
        collaborators.streamPointer = [shared] { return shared->backend->streamPointer(); };
    return collaborators;
}

}  // namespace vantile
