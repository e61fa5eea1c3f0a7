#pragma once

#include "AppServices.h"
#include "AppState.h"
#include "capture/InputEventRecorder.h"
#include "capture/camera/CameraError.h"
#include "store/ProjectFileManager.h"
#include "support/TemporaryDirectory.h"

#include <QTest>
#include <QThread>

#include <atomic>
#include <chrono>
#include <fstream>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

namespace vantile::testing {

// The calls every fake saw, in order, across threads.
class CallLog {
public:
    void add(std::string entry)
    {
        std::lock_guard lock(mutex_);
        entries_.push_back(std::move(entry));
    }
    std::vector<std::string> entries() const
    {
        std::lock_guard lock(mutex_);
        return entries_;
    }
    bool contains(const std::string& entry) const { return std::ranges::count(entries(), entry) > 0; }

private:
    mutable std::mutex mutex_;
    std::vector<std::string> entries_;
};

// Holds a worker inside a fake until the test lets it go, so busy states can be observed.
class Gate {
public:
    void close() { open_ = false; }
    void open() { open_ = true; }
    void pass() const
    {
        while (!open_) QThread::msleep(1);
    }

private:
    std::atomic<bool> open_{true};
};

inline CaptureSource sampleDisplay(const std::string& id = "display-42")
{
    return {id, CaptureSource::SourceKind::display, id.substr(id.find('-') + 1), std::nullopt, "Display", "screen",
            {100, 50, 800, 450}, 1};
}

inline CaptureSource sampleWindow()
{
    return {"window-7", CaptureSource::SourceKind::window, std::nullopt, "7", "Editor", "notes.txt", {0, 0, 640, 480}, 1};
}

// Moves, a click and a typing burst inside the sample display's region.
inline std::vector<InputEvent> sampleEvents()
{
    std::vector<InputEvent> events;
    for (int i = 0; i < 30; ++i) events.push_back({0.1 * i, InputEvent::EventType::mouseMove, 10.0 * i, 5.0 * i, {}, {}, {}});
    events.push_back({3.0, InputEvent::EventType::leftMouseDown, 400, 200, {}, {}, "left"});
    events.push_back({3.1, InputEvent::EventType::leftMouseUp, 400, 200, {}, {}, "left"});
    events.push_back({4.0, InputEvent::EventType::typingActivityStart, 400, 200, {}, {}, {}});
    events.push_back({5.0, InputEvent::EventType::typingActivityEnd, 400, 200, {}, {}, {}});
    return events;
}

// Each fake notes its calls in the log shared by all of them.
struct LoggingFake {
    explicit LoggingFake(CallLog& log) : log_(log) {}
    CallLog& log_;
};

// Grants what `status` says; only the microphone settings call and the input request are logged,
// since a refused microphone must send the user there and the input helper asks for consent.
class FakePermissions : public PermissionService, LoggingFake {
public:
    using LoggingFake::LoggingFake;

    PermissionStatus currentStatus() override { return status; }
    bool requestScreenRecordingIfNeeded() override { return status.screenRecordingGranted; }
    void requestAccessibilityPrompt() override {}
    bool requestInputMonitoringIfNeeded() override
    {
        log_.add("permissions.requestInputMonitoring");
        if (inputHelperConsents) status.inputMonitoringGranted = true;
        return status.inputMonitoringGranted;
    }
    void openPrivacySettings() override {}
    void openAccessibilitySettings() override {}
    void openInputMonitoringSettings() override {}
    void openMicrophoneSettings() override { log_.add("permissions.openMicrophoneSettings"); }
    bool microphoneAccessGranted() override { return microphoneGranted; }

    PermissionStatus status{true, true, true};
    std::atomic<bool> microphoneGranted{true};
    // The user agrees to the input helper when asked.
    std::atomic<bool> inputHelperConsents{false};
};

class FakeSources : public SourceService, LoggingFake {
public:
    using LoggingFake::LoggingFake;

    std::vector<CaptureSource> loadSources() override
    {
        gate.pass();
        log_.add("sources.load");
        std::lock_guard lock(mutex);
        if (failure) throw std::runtime_error(*failure);
        return sources;
    }
    std::vector<AudioInputDevice> listMicrophones() override
    {
        std::lock_guard lock(mutex);
        if (microphonesFail) throw std::runtime_error("no sound server");
        return microphones;
    }

    std::mutex mutex;
    std::vector<CaptureSource> sources;
    std::vector<AudioInputDevice> microphones;
    std::optional<std::string> failure;
    bool microphonesFail = false;
    Gate gate;
};

// Lists what `cameras` holds; a start finds the camera silent, as a busy one is.
class FakeCameras : public CameraService {
public:
    std::vector<CameraDevice> listCameras() override
    {
        gate.pass();
        std::lock_guard lock(mutex);
        return cameras;
    }
    std::unique_ptr<CameraStream> start(const std::string&) override { throw CameraError::noPicture(); }

    Gate gate;  // closed: the listing waits, as for a camera portal's question
    std::mutex mutex;
    std::vector<CameraDevice> cameras;
};

class FakeRecorder : public ScreenRecorderService, LoggingFake {
public:
    using LoggingFake::LoggingFake;

    void start(const CaptureSource& source, const std::filesystem::path& outputURL,
               const AudioCaptureSettings& audioSettings, std::int64_t fps) override
    {
        startGate.pass();
        log_.add("recorder.start " + source.id);
        std::lock_guard lock(mutex);
        startedOutput = outputURL;
        startedAudio = audioSettings;
        startedFps = fps;
        if (startFailure) throw std::runtime_error(*startFailure);
        std::ofstream(outputURL) << "raw";
        firstFrame = std::chrono::steady_clock::now();
    }
    RecordingResult stop() override
    {
        stopGate.pass();
        log_.add("recorder.stop");
        std::lock_guard lock(mutex);
        if (stopFailure) throw std::runtime_error(*stopFailure);
        return {startedOutput, 6, VideoInfo{startedOutput.filename().string(), 1600, 900, startedFps}};
    }
    std::optional<std::string> failure() override
    {
        std::lock_guard lock(mutex);
        return captureFailure;
    }
    std::optional<CaptureSource> startedSource() override
    {
        std::lock_guard lock(mutex);
        return settledSource;
    }
    bool cursorInPicture() override { return pointerInPicture; }
    std::optional<std::chrono::steady_clock::time_point> firstFrameTime() override
    {
        std::lock_guard lock(mutex);
        return firstFrame;
    }

    std::mutex mutex;
    std::optional<CaptureSource> settledSource;  // what a system dialog would have made of the choice
    std::int64_t startedFps = 30;
    bool pointerInPicture = false;
    std::optional<std::string> startFailure;
    std::optional<std::string> stopFailure;
    std::optional<std::string> captureFailure;
    std::filesystem::path startedOutput;
    AudioCaptureSettings startedAudio;
    std::optional<std::chrono::steady_clock::time_point> firstFrame;
    Gate startGate;
    Gate stopGate;
};

class FakeInputRecorder : public InputRecorderService, LoggingFake {
public:
    using LoggingFake::LoggingFake;

    void start(const CGRectCodable& region, const std::filesystem::path&,
               std::optional<std::chrono::steady_clock::time_point>,
               std::shared_ptr<const ExcludedAreas> ownWindows, std::int64_t fps) override
    {
        log_.add("input.start");
        startedRegion = region;
        startedFps = fps;
        ownWindows_ = std::move(ownWindows);
        if (startFailure) throw std::runtime_error(*startFailure);
    }
    // With a script, the real recorder logs it (with the own windows handed in at start);
    // otherwise the canned events come back.
    std::vector<InputEvent> stop() override
    {
        log_.add("input.stop");
        if (script.empty()) return events;
        const auto epoch = std::chrono::steady_clock::now();
        InputEventRecorder recorder(nullptr, [epoch] { return epoch; });
        recorder.setExcludedAreas(ownWindows_);
        recorder.start(startedRegion);
        for (const ScriptedInput& input : script) {
            recorder.handle({.kind = input.kind,
                             .time = epoch + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                                 std::chrono::duration<double>(input.time)),
                             .location = input.where});
        }
        return recorder.stop();
    }

    // Input at seconds into the recording, at a global screen position.
    struct ScriptedInput {
        double time;
        RawInput::Kind kind;
        CodablePoint where;
    };

    std::vector<InputEvent> events = sampleEvents();
    std::vector<ScriptedInput> script;
    CGRectCodable startedRegion;
    std::int64_t startedFps = 0;
    std::optional<std::string> startFailure;

private:
    std::shared_ptr<const ExcludedAreas> ownWindows_;
};

class FakeExporter : public ExportService, LoggingFake {
public:
    using LoggingFake::LoggingFake;

    // The job is read by the test once the export is at half or done, so it needs no lock.
    void exportMovie(const RenderJob& job, ExportMonitor& monitor) override
    {
        log_.add("exporter.export");
        lastJob = job;
        monitor.report(0.5);
        while (holdUntilCancelled && !monitor.isCancelled()) QThread::msleep(2);
        if (monitor.isCancelled()) throw std::runtime_error("Export cancelled.");
        if (failure) throw std::runtime_error(*failure);
        std::ofstream(job.outputURL) << "movie";
        monitor.report(1);
    }

    std::optional<RenderJob> lastJob;
    std::optional<std::string> failure;
    std::atomic<bool> holdUntilCancelled{false};
};

class FakeShell : public DesktopShell, LoggingFake {
public:
    using LoggingFake::LoggingFake;

    bool showMainWindow() override
    {
        log_.add("shell.showMainWindow");
        return true;
    }
    void hideMainWindow() override { log_.add("shell.hideMainWindow"); }
    void showRecordingHint(const CaptureSource& recorded) override { log_.add("shell.showHint " + recorded.id); }
    void dismissRecordingHint() override {}
    void revealFile(const std::filesystem::path& file) override { log_.add("shell.reveal " + file.string()); }
    std::vector<CGRectCodable> ownWindowAreas() override
    {
        return controlArea ? std::vector{*controlArea} : std::vector<CGRectCodable>{};
    }
    std::vector<CGRectCodable> stopGestureWay(StopTrigger trigger) override
    {
        if (trigger != StopTrigger::control || !controlArea) return {};
        return {*controlArea};
    }

    bool recordsEveryScreen(const CaptureSource&) override { return everyScreen; }
    // The countdown waits for the test to end it.
    void runCountdown(int seconds, const CaptureSource& recorded, std::function<void()> finished,
                      std::function<void()> cancelled) override
    {
        log_.add("shell.countdown " + std::to_string(seconds) + " " + recorded.id);
        countdownFinished = std::move(finished);
        countdownCancelled = std::move(cancelled);
    }
    void cancelCountdown() override
    {
        log_.add("shell.cancelCountdown");
        if (countdownCancelled) std::exchange(countdownCancelled, nullptr)();
    }

    std::optional<CGRectCodable> controlArea;  // the recording control, in global screen coordinates
    bool everyScreen = false;
    std::function<void()> countdownFinished;
    std::function<void()> countdownCancelled;
};

// A wall clock the test moves by hand; read from worker threads too.
class FakeClock {
public:
    Timestamp now() const { return start_ + std::chrono::milliseconds(offsetMilliseconds_.load()); }
    void advance(double seconds) { offsetMilliseconds_ += static_cast<long long>(seconds * 1000); }

private:
    Timestamp start_ = std::chrono::system_clock::from_time_t(1'800'000'000);
    std::atomic<long long> offsetMilliseconds_{0};
};

// Records every value a published text takes, in order.
struct TextTrail {
    std::vector<std::string> statuses;
    std::vector<std::string> routes;

    explicit TextTrail(AppState& state)
    {
        QObject::connect(&state, &AppState::statusMessageChanged, [&] { statuses.push_back(state.statusMessage()); });
        QObject::connect(&state, &AppState::routeChanged, [&] { routes.push_back(state.routeName().toStdString()); });
    }
};

// Pumps the main thread's events until `condition` holds or the time is up.
template <typename Condition>
bool waitFor(Condition condition, int milliseconds = 5000)
{
    return QTest::qWaitFor(condition, milliseconds);
}

// An AppState over fakes, with its projects under a temporary root.
struct AppFixture {
    TemporaryDirectory root;
    CallLog log;
    FakeClock clock;
    FakePermissions* permissions = new FakePermissions(log);
    FakeSources* sources = new FakeSources(log);
    FakeRecorder* recorder = new FakeRecorder(log);
    FakeInputRecorder* input = new FakeInputRecorder(log);
    FakeExporter* exporter = new FakeExporter(log);
    FakeShell shell{log};
    std::shared_ptr<FakeCameras> fakeCameras = std::make_shared<FakeCameras>();
    std::unique_ptr<AppState> state;

    explicit AppFixture(std::chrono::milliseconds tick = std::chrono::milliseconds(1000),
                        std::shared_ptr<CameraService> cameras = nullptr)
    {
        AppCollaborators collaborators;
        collaborators.permissions.reset(permissions);
        collaborators.sourceProvider.reset(sources);
        collaborators.recorder.reset(recorder);
        collaborators.inputRecorder.reset(input);
        collaborators.exporter.reset(exporter);
        collaborators.projectsRoot = root.path() / "projects";
        collaborators.wallClock = [this] { return clock.now(); };
        collaborators.recordingTick = tick;
        collaborators.cameras = cameras ? std::move(cameras) : fakeCameras;
        state = std::make_unique<AppState>(std::move(collaborators));
        state->setDesktopShell(&shell);
    }

    void loadSources(std::vector<CaptureSource> list = {sampleDisplay(), sampleWindow()})
    {
        {
            std::lock_guard lock(sources->mutex);
            sources->sources = std::move(list);
        }
        waitFor([&] { return !state->isBusy(); });
        state->loadSources();
        waitFor([&] { return !state->isBusy() && !state->isLoadingCameras(); });
    }

    // Starts a recording of the first listed source and waits until it runs.
    bool record()
    {
        loadSources();
        state->startRecording();
        return waitFor([&] { return !state->isBusy(); }) && state->route() == Route::recording;
    }

    // The current project as its directory holds it, once the saves in flight are done.
    RecordingProject savedProject()
    {
        state->shutdown();
        return ProjectFileManager(root / "projects").loadProject(*state->projectDirectory());
    }

    // Records and stops, leaving the preview of a saved project.
    bool recordAndStop()
    {
        if (!record()) return false;
        clock.advance(6);
        state->stopRecording();
        return waitFor([&] { return !state->isBusy(); }) && state->route() == Route::preview;
    }
};

}  // namespace vantile::testing
