// Recording on a real headless GNOME session: mutter, PipeWire, the desktop portals. The session
// starts once for this whole program; the tests run in order and share its restore token.
#include "support/MediaProbe.h"
#include "support/ChildProcess.h"
#include "capture/wayland/PipeWireStream.h"
#include "capture/wayland/SessionBus.h"
#include "capture/wayland/WaylandCapturePlatform.h"
#include "support/DesktopDriver.h"
#include "support/HeadlessDesktop.h"
#include "support/AppInSession.h"
#include "support/ShellServicesStandIn.h"
#include "support/PulseAudioPlayer.h"
#include "support/RemoteDesktopSession.h"
#include "support/RunCommand.h"
#include "support/TemporaryDirectory.h"
#include "support/TestCameraDaemon.h"
#include "store/ProjectFileManager.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <mutex>
#include <thread>

using namespace std::chrono_literals;
using namespace vantile;
using namespace vantile::testing;

namespace {

// The session's user runs the command line. The build tree may sit where that user cannot reach
// (a clone under /root), so it runs a copy from a directory of its own.
const std::string& sessionCli()
{
    static const TemporaryDirectory directory;
    static const std::string copy = [] {
        const std::filesystem::path path = directory / "vantile-cli";
        std::filesystem::copy_file(VANTILE_CLI, path);
        std::filesystem::permissions(directory.path(), std::filesystem::perms(0755));
        std::filesystem::permissions(path, std::filesystem::perms(0755));
        return path.string();
    }();
    return copy;
}

// The session, a client window, and a driver that sees the monitor and clicks.
struct Session {
    // A small monitor keeps the recorder's work light on a busy test machine.
    // Its PipeWire publishes a test camera as WirePlumber publishes real ones.
    Session()
        : desktop({.width = width, .height = height, .pipewireConfiguration = TestCameraDaemon::cameraConfiguration()}),
          driver(desktop)
    {
        terminal = desktop.launch({"foot", "--window-size-pixels=800x500"});
        // The terminal's dark background covers part of the blue desktop once it maps.
        if (!driver.waitUntil([&] { return driver.darkPixels() > 100'000; }, 20s))
            throw std::runtime_error("foot did not appear");
    }

    static constexpr int width = 1280;
    static constexpr int height = 720;
    HeadlessDesktop desktop;
    DesktopDriver driver;
    std::unique_ptr<ChildProcess> terminal;
};

Session* session = nullptr;

// Every part of the session must be gone with it, its runtime directory too.
class SessionEnvironment : public ::testing::Environment {
public:
    void SetUp() override { session = new Session(); }
    void TearDown() override
    {
        const std::vector<pid_t> parts = session->desktop.processIds();
        const std::filesystem::path runtime = session->desktop.runtimeDirectory();
        EXPECT_GE(parts.size(), 7u);
        delete session;
        session = nullptr;
        for (pid_t part : parts) EXPECT_NE(kill(part, 0), 0) << "part " << part << " outlived the session";
        EXPECT_FALSE(std::filesystem::exists(runtime.parent_path()));
    }
};

// Waits until the recording under projectsRoot has written a second of its movie.
bool aSecondWritten(const std::filesystem::path& projectsRoot)
{
    return DesktopDriver::waitUntil([&] {
        const auto project = firstEntry(projectsRoot);
        return project && countVideoFrames(*project / "raw.mov") >= 30;
    }, 20s);
}

// A recording made by vantile-cli as the session's user, with its own state directory.
struct Recording {
    int status = -1;
    std::string printed;  // stdout
    std::string errors;   // stderr
    std::optional<std::filesystem::path> project;
};

double numberOf(const nlohmann::json& value)
{
    return value.is_string() ? std::stod(value.get<std::string>()) : value.get<double>();
}

// The movie's video stream as ffprobe reads it: null when the movie does not play.
nlohmann::json videoOf(const std::filesystem::path& movie) { return streamOfType(probe(movie), "video"); }

class WaylandRecording : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_NE(session, nullptr);
        for (const auto& path : {sharedState.path(), directory.path(), state()}) {
            std::filesystem::create_directories(path);
            session->desktop.share(path);
        }
    }

    std::filesystem::path state() const { return sharedState / "state"; }

    std::unique_ptr<ChildProcess> startRecording(const std::vector<std::string>& options, const std::string& name,
                                                 const std::filesystem::path& stateDirectory = {})
    {
        std::vector<std::string> command{"sh", "-c", "exec \"$@\" 2>\"$VANTILE_TEST_ERRORS\"", "sh", sessionCli(), "record",
                                         "--root", (directory / name).string()};
        command.insert(command.end(), options.begin(), options.end());
        return session->desktop.launch(command,
                                       {"VANTILE_BACKEND=wayland", "XDG_STATE_HOME=" + (stateDirectory.empty() ? state() : stateDirectory).string(),
                                        "VANTILE_TEST_ERRORS=" + (directory / (name + ".err")).string()},
                                       true);
    }

    // The recorder announces on stderr that the capture runs.
    bool captureRuns(const std::string& name) const
    {
        return DesktopDriver::waitUntil([&] { return readText(directory / (name + ".err")).find("Recording display-1") != std::string::npos; }, 20s);
    }

    Recording finish(ChildProcess& recorder, const std::string& name, std::chrono::seconds timeout)
    {
        Recording recording;
        while (auto line = recorder.readLine(timeout)) recording.printed += *line + "\n";
        int status = 0;
        DesktopDriver::waitUntil([&] { return waitpid(recorder.pid(), &status, WNOHANG) != 0; }, timeout);
        recording.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        recording.errors = readText(directory / (name + ".err"));
        recording.project = firstEntry(directory / name);
        return recording;
    }

    // The portal asks once a session for the camera; listing the sources is enough to be asked.
    void grantCameraOnce()
    {
        if (cameraGranted) return;
        auto lister = session->desktop.launch({sessionCli(), "sources", "--json"}, {"VANTILE_BACKEND=wayland"}, true);
        session->driver.answerAccessDialog(true);
        while (lister->readLine(20s)) {
        }
        cameraGranted = true;
    }

    // Shared by all tests of the run: the first answered dialog leaves the token the later ones reuse.
    static inline TemporaryDirectory sharedState;
    // The session's portal remembers the camera once granted and asks no more.
    static inline bool cameraGranted = false;
    TemporaryDirectory directory;
};

}  // namespace

// Listing asks the camera portal, whose dialog the user grants once for the session. The portal
// shows the camera but not its ports, so its sizes are not known before recording.
TEST_F(WaylandRecording, SourcesListTheMonitorTheDialogWindowAndTheGrantedCamera)
{
    auto lister = session->desktop.launch(
        {sessionCli(), "sources", "--json"}, {"VANTILE_BACKEND=wayland"}, true);
    session->driver.answerAccessDialog(true);
    cameraGranted = true;
    std::string printed;
    while (auto line = lister->readLine(20s)) printed += *line;
    const auto sources = nlohmann::json::parse(printed);
    ASSERT_EQ(sources.size(), 3u) << printed;
    EXPECT_EQ(sources[0]["id"], "display-1");
    EXPECT_EQ(numberOf(sources[0]["region"]["width"]), Session::width);
    EXPECT_EQ(numberOf(sources[0]["region"]["height"]), Session::height);
    EXPECT_EQ(sources[1]["kind"], "window");
    EXPECT_EQ(sources[2], nlohmann::json::parse(R"({"id": "camera-test-camera", "kind": "camera", "title": "Test Camera",
                                                     "sizes": []})"));
}

TEST_F(WaylandRecording, CancelledDialogLeavesNoProject)
{
    // The test's own state directory: no token, so the dialog appears.
    auto recorder = startRecording({"--duration", "2"}, "cancelled", directory.path());
    session->driver.answerDialog(false);
    const Recording recording = finish(*recorder, "cancelled", 20s);
    EXPECT_NE(recording.status, 0);
    EXPECT_NE(recording.errors.find("已取消屏幕共享。"), std::string::npos) << recording.errors;
    EXPECT_FALSE(recording.project) << "a cancelled share left " << recording.project->string();
    EXPECT_FALSE(std::filesystem::exists(directory / "vantile" / "screencast-monitor.token"));
}

TEST_F(WaylandRecording, MonitorRecordingHasRealFramesAndExactPointerMoves)
{
    auto recorder = startRecording({"--duration", "5.5"}, "first");
    session->driver.answerDialog(true);
    ASSERT_TRUE(captureRuns("first"));
    // Mutter paints the first pointer move after a long still spell 0.1-0.2 s late (measured on
    // this session); a first move wakes it, so the checked ones measure the recording's own timing.
    session->driver.input().movePointer(640, 360);
    const std::vector<std::pair<double, double>> targets{{300, 200}, {1000, 700}, {1200, 333}, {40, 650}, {1270, 20}};
    std::vector<std::chrono::steady_clock::time_point> injected;
    for (const auto& [x, y] : targets) {
        std::this_thread::sleep_for(700ms);
        // Mutter handles the move somewhere inside the call: its middle is the injection time.
        const auto before = std::chrono::steady_clock::now();
        session->driver.input().movePointer(x, y);
        injected.push_back(before + (std::chrono::steady_clock::now() - before) / 2);
    }
    const Recording recording = finish(*recorder, "first", 30s);
    ASSERT_EQ(recording.status, 0) << recording.errors;
    ASSERT_TRUE(recording.project);
    const std::filesystem::path project = *recording.project;
    EXPECT_EQ(recording.printed, project.string() + "\n");
    EXPECT_TRUE(std::filesystem::exists(state() / "vantile" / "screencast-monitor.token"));

    const auto video = videoOf(project / "raw.mov");
    ASSERT_FALSE(video.is_null());
    // A starved capture thread skips ticks (counted as dropped); never more frames than ticks.
    EXPECT_NEAR(numberOf(video["duration"]), 5.5, 0.2);
    EXPECT_GE(numberOf(video["nb_read_frames"]), 165 * 3 / 4);
    EXPECT_LE(numberOf(video["nb_read_frames"]), 165 + 1);
    EXPECT_EQ(video["width"], Session::width);
    EXPECT_EQ(video["height"], Session::height);
    EXPECT_EQ(video["r_frame_rate"], "30/1");

    // The recorded picture is the monitor as our own view of it shows it (the pointer aside).
    const std::vector<std::uint8_t> frame = frameAt(project / "raw.mov", 3.5);
    ASSERT_EQ(frame.size(), std::size_t(Session::width) * Session::height * 3);
    long differing = 0;
    long samples = 0;
    for (int y = 5; y < Session::height; y += 37) {
        for (int x = 5; x < Session::width; x += 41) {
            const ShownPixel live = session->driver.pixel(x, y);
            const std::uint8_t* recorded = frame.data() + (std::size_t(y) * Session::width + std::size_t(x)) * 3;
            ++samples;
            if (std::abs(live.red - recorded[0]) + std::abs(live.green - recorded[1]) + std::abs(live.blue - recorded[2]) > 45)
                ++differing;
        }
    }
    EXPECT_LT(differing, samples / 50) << differing << " of " << samples << " samples differ from the screen";

    // Every injected position arrives exactly, with the injected spacing in time.
    const auto events = nlohmann::json::parse(readText(project / ".vantile" / "events.json"));
    // Recorded minus injected times share one offset (the recording's start). How close they come
    // depends on the compositor's own latency, measured by the capture benchmark; here a loaded
    // machine may paint a move late, so each only has to land within a quarter of a second.
    std::vector<double> offsets;
    for (std::size_t index = 0; index < targets.size(); ++index) {
        const auto [x, y] = targets[index];
        const auto found = std::find_if(events.begin(), events.end(), [&](const nlohmann::json& event) {
            return event["type"] == "mouseMove" && std::abs(numberOf(event["x"]) - x) <= 1 &&
                   std::abs(numberOf(event["y"]) - y) <= 1;
        });
        ASSERT_NE(found, events.end()) << "no move to " << x << "," << y << " in " << events.dump();
        offsets.push_back(numberOf((*found)["time"]) - std::chrono::duration<double>(injected[index] - injected[0]).count());
    }
    std::vector<double> sorted = offsets;
    std::sort(sorted.begin(), sorted.end());
    const double offset = sorted[sorted.size() / 2];
    for (double each : offsets) EXPECT_NEAR(each, offset, 0.25) << events.dump();
    EXPECT_GT(offsets.front(), 0.3);
    EXPECT_LT(offsets.back() + std::chrono::duration<double>(injected.back() - injected.front()).count(), 5.5);
}

// The screen starts from the token; the camera comes from the session's PipeWire through the
// portal, granted once for the session.
TEST_F(WaylandRecording, ThePortalsCameraRecordsBesideTheScreenEquallyLong)
{
    ASSERT_TRUE(std::filesystem::exists(state() / "vantile" / "screencast-monitor.token"))
        << "the first recording must have run";
    grantCameraOnce();
    auto recorder = startRecording({"--duration", "4", "--camera", "camera-test-camera"}, "camera");
    const Recording recording = finish(*recorder, "camera", 30s);
    ASSERT_EQ(recording.status, 0) << recording.errors;
    EXPECT_EQ(recording.errors.find("摄像头"), std::string::npos) << recording.errors;
    ASSERT_TRUE(recording.project);
    const auto camera = videoOf(*recording.project / "camera.mov");
    ASSERT_FALSE(camera.is_null()) << recording.errors;
    EXPECT_EQ(camera["r_frame_rate"], "30/1");
    EXPECT_EQ(camera["width"], 320);
    const RecordingProject project = ProjectFileManager(directory / "camera").loadProject(*recording.project);
    ASSERT_TRUE(project.camera);
    const double startOffset = project.camera->startOffset;
    EXPECT_EQ(*project.camera, (CameraRecording{.path = "camera.mov", .width = 320, .height = 240, .fps = 30,
                                                .startOffset = startOffset}));
    EXPECT_GE(startOffset, 0);
    const double screenSeconds = videoPacketSeconds(*recording.project / "raw.mov");
    EXPECT_GT(screenSeconds, 3.9);
    EXPECT_NEAR(startOffset + videoPacketSeconds(*recording.project / "camera.mov"), screenSeconds, 1.0 / 30 + 1e-3);
}

// What the portal asks of mutter for a window, without the dialog (whose window list needs
// GNOME Shell): a window stream of the focused window, pointer as metadata.
class WindowCast {
public:
    explicit WindowCast(const std::string& busAddress) : bus_(busAddress)
    {
        BusMessage create = bus_.newMethodCall(service, "/org/gnome/Mutter/ScreenCast", service, "CreateSession");
        appendOptions(create.get(), {});
        const BusMessage created = bus_.call(create);
        const char* path = nullptr;
        checkBus(sd_bus_message_read(created.get(), "o", &path), "no session");
        session_ = path;
        BusMessage record = bus_.newMethodCall(service, session_, "org.gnome.Mutter.ScreenCast.Session", "RecordWindow");
        appendOptions(record.get(), {{"cursor-mode", std::uint32_t{2}}});
        const BusMessage recorded = bus_.call(record);
        checkBus(sd_bus_message_read(recorded.get(), "o", &path), "no stream");
        sd_bus_slot* slot = nullptr;
        checkBus(sd_bus_match_signal(bus_.get(), &slot, service, path, "org.gnome.Mutter.ScreenCast.Stream",
                                     "PipeWireStreamAdded",
                                     [](sd_bus_message* message, void* data, sd_bus_error*) {
                                         return sd_bus_message_read(message, "u", static_cast<std::uint32_t*>(data));
                                     },
                                     &node),
                 "cannot watch the stream");
        bus_.call(bus_.newMethodCall(service, session_, "org.gnome.Mutter.ScreenCast.Session", "Start"));
        bus_.processUntil([this] { return node != 0; }, 10s);
        sd_bus_slot_unref(slot);
    }
    ~WindowCast()
    {
        try {
            bus_.call(bus_.newMethodCall(service, session_, "org.gnome.Mutter.ScreenCast.Session", "Stop"));
        } catch (const SessionBusError&) {
        }
    }

    std::uint32_t node = 0;

private:
    static constexpr const char* service = "org.gnome.Mutter.ScreenCast";
    SessionBus bus_;
    std::string session_;
};

TEST_F(WaylandRecording, WindowStreamIsTheWindowAndItsPointerIsWindowLocal)
{
    DesktopDriver& driver = session->driver;
    // The terminal's dark content on our view of the monitor.
    const std::vector<ShownArea> dark = driver.areasOf({0, 0, 0}, 39);
    ASSERT_FALSE(dark.empty());
    [[maybe_unused]] const auto [left, top, right, bottom, pixels] = dark.front();
    // The title bar above the content is light; its first dark row is the content's top.
    int contentTop = top;
    while (contentTop < bottom && driver.pixel(left + 400, contentTop).red >= 40) ++contentTop;
    driver.input().click(left + 400, contentTop + 250);  // focus the terminal

    std::mutex mutex;
    std::vector<StreamPointer> pointers;
    WindowCast cast(session->desktop.busAddress());
    ASSERT_NE(cast.node, 0u);
    PipeWireStream stream(session->desktop.openPipeWire(), cast.node, 60, [&](const StreamPointer& pointer) {
        const std::lock_guard lock(mutex);
        pointers.push_back(pointer);
    });
    const auto size = stream.waitForFirstPicture(10s);
    ASSERT_TRUE(size);
    // A 60 fps recording asks the compositor for up to 60 pictures a second, not 30.
    EXPECT_EQ(stream.negotiatedRate(), 60);
    // The picture is the window's content, as the monitor shows it.
    EXPECT_NEAR(size->width, right - left + 1, 2);
    EXPECT_NEAR(size->height, bottom - contentTop + 1, 2);

    // Positions in the window: the click's, then an injected move's.
    const CGRectCodable region{0, 0, double(size->width), double(size->height)};
    const auto arrivedAt = [&](double x, double y) {
        return driver.waitUntil([&] {
            const std::lock_guard lock(mutex);
            if (pointers.empty()) return false;
            const CodablePoint local = streamPointerToGlobal(pointers.back(), region);
            return std::abs(local.x - x) <= 1 && std::abs(local.y - y) <= 1;
        }, 5s);
    };
    EXPECT_TRUE(arrivedAt(400, 250));
    driver.input().movePointer(left + 123, contentTop + 45);
    EXPECT_TRUE(arrivedAt(123, 45));
}

TEST_F(WaylandRecording, TheTokenStartsTheNextRecordingWhichHearsTheSystemAndEndsPlayableWhenRevoked)
{
    ASSERT_TRUE(std::filesystem::exists(state() / "vantile" / "screencast-monitor.token"))
        << "the first recording must have run";
    // PipeWire's PulseAudio server has no sound card here: a null sink stands in for one.
    const std::string server = "PULSE_SERVER=" + session->desktop.pulseServer();
    ASSERT_EQ(runShell("env " + server + " pactl load-module module-null-sink sink_name=vantile_test >/dev/null && env " +
                       server + " pactl set-default-sink vantile_test")
                  .exitCode,
              0);
    setenv("PULSE_SERVER", session->desktop.pulseServer().c_str(), 1);
    // Nobody answers a dialog and nothing on screen changes: the token alone must start it.
    auto recorder = startRecording({"--duration", "30", "--audio", "system"}, "second");
    ASSERT_TRUE(captureRuns("second"));
    {
        PulseAudioPlayer player;
        player.play(PulseAudioPlayer::tone(440, 1.5));
        player.drain();
    }
    ASSERT_TRUE(aSecondWritten(directory / "second"));
    const auto revokedAt = std::chrono::steady_clock::now();
    session->desktop.revokeScreenCasts();
    const Recording recording = finish(*recorder, "second", 30s);
    const double stoppedAfter = std::chrono::duration<double>(std::chrono::steady_clock::now() - revokedAt).count();
    EXPECT_FALSE(session->driver.dialogShown());
    EXPECT_EQ(recording.status, 1) << recording.errors;
    EXPECT_NE(recording.errors.find("no longer available"), std::string::npos) << recording.errors;
    EXPECT_LT(stoppedAfter, 15);
    ASSERT_TRUE(recording.project);
    const auto video = videoOf(*recording.project / "raw.mov");
    ASSERT_FALSE(video.is_null()) << "the movie of a revoked recording does not play";
    EXPECT_GT(numberOf(video["duration"]), 1.4);
    EXPECT_LT(numberOf(video["duration"]), 10);
    const std::vector<float> samples = audioSamples(*recording.project / "raw.mov");
    // The sound runs as long as the picture: none of it is lost when the share goes away.
    EXPECT_NEAR(double(samples.size()) / 48000, numberOf(video["duration"]), 0.3);
    float loudest = 0;
    for (float sample : samples) loudest = std::max(loudest, std::abs(sample));
    EXPECT_GT(loudest, 0.2f) << "the tone is missing from the recording";
}

// The application itself, with Qt left to choose its platform: in this session, which has no X
// server, a window on the monitor is a native Wayland client's.
class WaylandApp : public WaylandRecording {
protected:
    std::unique_ptr<AppInSession> startRecordingApp()
    {
        auto app = std::make_unique<AppInSession>(
            session->desktop, session->driver, VANTILE_APP,
            std::vector<std::string>{"XDG_VIDEOS_DIR=" + directory.path().string(), "XDG_STATE_HOME=" + state().string()});
        EXPECT_TRUE(app->waitForMainWindow(60s)) << app->log();
        // The source picker lists the cameras. The portal's dialog would open behind the app's
        // window here (without GNOME Shell it is an ordinary window), so it is answered before.
        grantCameraOnce();
        app->clickLowestPrimaryButton();
        // The main window hides once the recording runs.
        EXPECT_TRUE(DesktopDriver::waitUntil([&] {
            if (session->driver.dialogShown()) session->driver.answerDialog(true);
            return !app->waitForMainWindow(0ms);
        }, 40s)) << app->log();
        return app;
    }
    bool hinted(const ShellServicesStandIn& shell, const std::string& bodyPart)
    {
        return DesktopDriver::waitUntil([&] {
            const auto sent = shell.notifications();
            return std::any_of(sent.begin(), sent.end(), [&](const SentNotification& each) {
                return each.summary == "正在录制" && each.body.find(bodyPart) != std::string::npos;
            });
        }, 10s);
    }
};

// Without a tray the control waits behind the screen's bottom-right corner, which the stream's
// pointer reaches; where the desktop put it is learnt from the click, and the take ends where the
// pointer set off for the corner.
TEST_F(WaylandApp, WithoutATrayItsControlWaitsBehindTheCornerAndItsStopGestureIsTrimmed)
{
    ShellServicesStandIn shell(session->desktop.busAddress(), false);
    const auto app = startRecordingApp();
    // This desktop has no global shortcuts portal: the hint names what stops instead.
    EXPECT_TRUE(hinted(shell, "屏幕共享指示器")) << app->log();
    const auto projects = directory / "VantileProjects";
    ASSERT_TRUE(aSecondWritten(projects)) << app->log();
    EXPECT_FALSE(app->waitForStopButton(1s)) << "the control is in the picture";

    // The user's last work moves away from the corner and rests; then the way to the corner.
    RemoteDesktopSession& input = session->driver.input();
    const auto glide = [&](double fromX, double fromY, double toX, double toY) {
        for (int step = 1; step <= 12; ++step) {
            input.movePointer(fromX + (toX - fromX) * step / 12, fromY + (toY - fromY) * step / 12);
            std::this_thread::sleep_for(40ms);
        }
    };
    input.movePointer(700, 400);
    std::this_thread::sleep_for(300ms);
    glide(700, 400, 150, 120);
    std::this_thread::sleep_for(1s);
    glide(150, 120, Session::width - 1, Session::height - 1);
    const std::optional<ShownArea> stop = app->waitForStopButton(10s);
    ASSERT_TRUE(stop) << "the corner did not reveal the control\n" << app->log();
    glide(Session::width - 1, Session::height - 1, stop->centreX(), stop->centreY());
    std::this_thread::sleep_for(200ms);
    input.click(stop->centreX(), stop->centreY());
    EXPECT_TRUE(DesktopDriver::waitUntil([&] { return !app->waitForStopButton(0ms); }, 10s));
    // The preview opens once the recording is finished and saved.
    ASSERT_TRUE(app->waitForMainWindow(60s)) << app->log();
    const auto project = *firstEntry(projects);
    const auto video = videoOf(project / "raw.mov");
    ASSERT_FALSE(video.is_null()) << "the recording's movie does not play";
    EXPECT_EQ(video["width"], Session::width);

    // Vantile is in no frame: neither the main window nor the control before it was asked for.
    const auto pixelsLike = [](const std::vector<std::uint8_t>& rgb, ShownPixel colour) {
        long alike = 0;
        for (std::size_t index = 0; index + 2 < rgb.size(); index += 3) {
            alike += std::abs(rgb[index] - colour.red) + std::abs(rgb[index + 1] - colour.green) +
                         std::abs(rgb[index + 2] - colour.blue) <= 12;
        }
        return alike;
    };
    for (const double time : {0.0, 0.5, 1.0}) {
        const std::vector<std::uint8_t> frame = frameAt(project / "raw.mov", time);
        ASSERT_FALSE(frame.empty());
        EXPECT_LT(pixelsLike(frame, AppInSession::windowBackground), 5'000) << "the main window at " << time << " s";
        EXPECT_LT(pixelsLike(frame, AppInSession::stopButton), 200) << "the recording control at " << time << " s";
    }

    const auto saved = nlohmann::json::parse(readText(project / ".vantile" / "project.json"));
    const auto events = nlohmann::json::parse(readText(project / ".vantile" / "events.json"));
    ASSERT_TRUE(saved.contains("trim")) << events.dump();
    const double keptEnd = numberOf(saved["trim"]["end"]);
    // The resting place is kept, and nothing of the way: no logged pointer near the corner or the
    // control before the end, and every move after it is on the way.
    const auto near = [](const nlohmann::json& event, double x, double y, double distance) {
        return std::hypot(numberOf(event["x"]) - x, numberOf(event["y"]) - y) <= distance;
    };
    bool restKept = false;
    for (const auto& event : events) {
        const double time = numberOf(event["time"]);
        if (time <= keptEnd) {
            // A loaded compositor may skip the glide's last places: the rest is where it last told.
            restKept = restKept || near(event, 150, 120, 60);
            EXPECT_FALSE(near(event, Session::width, Session::height, 200)) << "kept " << event.dump();
            EXPECT_FALSE(near(event, stop->centreX(), stop->centreY(), 60)) << "kept " << event.dump();
        } else {
            EXPECT_FALSE(near(event, 700, 400, 5)) << "the user's work is cut: " << event.dump();
        }
    }
    EXPECT_TRUE(restKept) << "trim ends at " << keptEnd << " in " << events.dump();
}

TEST_F(WaylandApp, WithATrayHostItRegistersItsItemAndShowsNoControl)
{
    ShellServicesStandIn shell(session->desktop.busAddress(), true);
    const auto app = startRecordingApp();
    EXPECT_TRUE(DesktopDriver::waitUntil([&] { return !shell.trayItems().empty(); }, 10s));
    EXPECT_TRUE(hinted(shell, "系统托盘"));
    EXPECT_FALSE(app->waitForStopButton(3s)) << "a recording control despite the tray";
}

int main(int argc, char** argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::AddGlobalTestEnvironment(new SessionEnvironment());
    return RUN_ALL_TESTS();
}
