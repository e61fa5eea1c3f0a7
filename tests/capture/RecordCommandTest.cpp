#include "support/MediaProbe.h"
#include "X11TestSession.h"

#include "support/ChildProcess.h"
#include "capture/EventJournal.h"
#include "support/NullSinkSoundServer.h"
#include "support/PulseAudioPlayer.h"
#include "capture/RecordingError.h"
#include "capture/RecordingFinisher.h"
#include "capture/ScreenRecorder.h"
#include "capture/x11/X11CapturePlatform.h"
#include "capture/x11/X11SourceLister.h"
#include "store/ProjectFileManager.h"
#include "support/RunCommand.h"

#include <signal.h>
#include <sys/wait.h>

#include <cmath>
#include <functional>
#include <sstream>

namespace vantile {
namespace {

using namespace std::chrono_literals;
using vantile::testing::ColouredWindow;
using vantile::testing::probe;
using vantile::testing::runCli;
using vantile::testing::streamOfType;
using Type = InputEvent::EventType;

class RecordCommandTest : public vantile::testing::X11TestSession {
protected:
    // The only recording's project directory and event journal, which may not exist yet.
    std::filesystem::path recording() const { return testing::firstEntry(directory / "projects").value_or(directory.path()); }
    std::filesystem::path journal() const { return recording() / ProjectFileManager::metadataFolderName / EventJournal::fileName; }

    static long journalled(const std::filesystem::path& file, Type type)
    {
        const auto events = EventJournal::read(file).events;
        return std::count_if(events.begin(), events.end(), [&](const InputEvent& event) { return event.type == type; });
    }
};


TEST_F(RecordCommandTest, AKilledRecordingIsRecoveredAsTheStopFlowWouldHave)
{
    ChildProcess recorder({VANTILE_CLI, "record", "--duration", "60", "--root", (directory / "projects").string()},
                          {});
    // Input is logged from the moment the movie has frames.
    ASSERT_TRUE(waitUntil([&] { return std::filesystem::exists(journal()); }));
    const std::filesystem::path project = recording();
    ASSERT_TRUE(waitUntil([&] { return vantile::testing::videoPacketSeconds(project / "raw.mov") >= 0.5; }));
    xdotool("mousemove 300 200 click 1");
    ASSERT_TRUE(waitUntil([&] { return journalled(journal(), Type::leftMouseUp) > 0; }));
    ASSERT_TRUE(waitUntil([&] { return vantile::testing::videoPacketSeconds(project / "raw.mov") >= 2; }));
    kill(recorder.pid(), SIGKILL);
    recorder.stop();

    const double playable = vantile::testing::videoPacketSeconds(project / "raw.mov");
    std::vector<InputEvent> logged = EventJournal::read(journal()).events;
    std::erase_if(logged, [&](const InputEvent& event) { return event.time > playable + 1e-6; });

    const auto recovered = runCli({"recover", project.string()});
    ASSERT_EQ(recovered.exitCode, 0) << recovered.standardError;
    EXPECT_EQ(recovered.standardOutput, project.string() + "\n");
    const RecordingProject saved = ProjectFileManager(directory / "projects").loadProject(project);
    EXPECT_NEAR(saved.duration, playable, 1e-3);
    EXPECT_EQ(saved.video, (VideoInfo{"raw.mov", 1280, 720, 30}));
    EXPECT_EQ(saved.events, logged);  // a display at the origin: capture pixels are video pixels
    EXPECT_FALSE(saved.focusSegments.empty());
    EXPECT_FALSE(std::filesystem::exists(journal()));
    EXPECT_EQ(runCli({"recover", project.string()}).exitCode, 1);  // once only
}

TEST_F(RecordCommandTest, InterruptStopsLikeTheAppAndSavesThePlannedProject)
{
    ChildProcess recorder({VANTILE_CLI, "record", "--root", (directory / "projects").string()},
                          {.captureOutput = true});
    // Input is logged from the moment the movie has frames.
    ASSERT_TRUE(waitUntil([&] {
        return std::filesystem::exists(journal()) && vantile::testing::countVideoFrames(recording() / "raw.mov") >= 30;
    }));
    for (int click = 0; click < 3; ++click) {
        xdotool("mousemove " + std::to_string(200 + click * 300) + " 400 click 1");
        ASSERT_TRUE(waitUntil([&] { return journalled(journal(), Type::leftMouseDown) == click + 1; }, 10s));
    }
    kill(recorder.pid(), SIGINT);
    const auto printed = recorder.readLine(30s);
    ASSERT_TRUE(printed);
    int status = -1;
    ASSERT_EQ(waitpid(recorder.pid(), &status, 0), recorder.pid());
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);

    const std::filesystem::path project = recording();
    EXPECT_EQ(std::filesystem::path(*printed), project);
    // What the finisher made of it is checked on its own; here the interrupt must reach it.
    const RecordingProject saved = ProjectFileManager(directory / "projects").loadProject(project);
    EXPECT_EQ(std::count_if(saved.events.begin(), saved.events.end(),
                            [](const InputEvent& event) { return event.type == Type::leftMouseDown; }),
              3);
    EXPECT_FALSE(saved.focusSegments.empty());
}

TEST_F(RecordCommandTest, SixtyFpsTakeRunsItsLengthAtSixtyWithClicksOnTheirFramesAndExportsAtItsRate)
{
    ChildProcess recorder({VANTILE_CLI, "record", "--fps", "60", "--duration", "4", "--root",
                           (directory / "projects").string()},
                          {.captureOutput = true});
    ASSERT_TRUE(waitUntil([&] {
        return std::filesystem::exists(journal()) && vantile::testing::videoPacketSeconds(recording() / "raw.mov") >= 1;
    }));
    // The screen turns red just after the click, so the movie must turn red at the click's time.
    xdotool("mousemove 640 360 click 1");
    const ColouredWindow red(0, 0, 1280, 720, 0xff0000, "Red");
    const auto printed = recorder.readLine(60s);
    ASSERT_TRUE(printed);
    const std::filesystem::path project(*printed);

    const RecordingProject saved = ProjectFileManager(directory / "projects").loadProject(project);
    EXPECT_EQ(saved.video, (VideoInfo{"raw.mov", 1280, 720, 60}));
    EXPECT_EQ(saved.renderSettings.fps, 60);  // never chosen: the export follows the recording
    EXPECT_EQ(saved.cursorFrames.size(), static_cast<std::size_t>(saved.duration * 60) + 1);
    const auto video = streamOfType(probe(project / "raw.mov"), "video");
    ASSERT_FALSE(video.is_null());
    EXPECT_EQ(video["r_frame_rate"], "60/1");
    const double seconds = std::stod(video["duration"].get<std::string>());
    EXPECT_NEAR(seconds, 4, 0.4);
    EXPECT_NEAR(saved.duration, seconds, 0.3);
    // A loaded machine may drop frames but never adds any.
    const double frames = std::stod(video["nb_read_frames"].get<std::string>());
    EXPECT_LE(frames, seconds * 60 + 1);
    EXPECT_GE(frames, seconds * 45);

    const auto click = std::find_if(saved.events.begin(), saved.events.end(),
                                    [](const InputEvent& event) { return event.type == Type::leftMouseDown; });
    ASSERT_NE(click, saved.events.end());
    const auto samples = vantile::testing::centreSamples(project / "raw.mov");
    const auto firstRed = std::find_if(samples.begin(), samples.end(), [](const auto& sample) {
        return sample.red > 200 && sample.green < 60 && sample.blue < 60;
    });
    ASSERT_NE(firstRed, samples.end());
    EXPECT_NEAR(firstRed->time, click->time, 0.3);

    const auto exported = runCli({"export", project.string(), "--resolution", "720p"});
    ASSERT_EQ(exported.exitCode, 0) << exported.standardError;
    EXPECT_EQ(streamOfType(probe(project / "export.mp4"), "video")["r_frame_rate"], "60/1");
    // An explicit rate wins and stays the project's choice.
    const auto chosen = runCli({"export", project.string(), "--resolution", "720p", "--fps", "24", "-o",
                                (directory / "chosen.mp4").string()});
    ASSERT_EQ(chosen.exitCode, 0) << chosen.standardError;
    EXPECT_EQ(streamOfType(probe(directory / "chosen.mp4"), "video")["r_frame_rate"], "24/1");
    EXPECT_EQ(ProjectFileManager(directory / "projects").loadProject(project).renderSettings.fps, 24);
    // A 30 fps project keeps exporting at 30.
    const std::filesystem::path thirty = directory / "thirty";
    ASSERT_EQ(runCli({"sample", thirty.string(), "--duration", "1", "--width", "320", "--height", "180"}).exitCode, 0);
    ASSERT_EQ(runCli({"export", thirty.string(), "--resolution", "720p"}).exitCode, 0);
    EXPECT_EQ(streamOfType(probe(thirty / "export.mp4"), "video")["r_frame_rate"], "30/1");
}

TEST_F(RecordCommandTest, SystemAudioAndMicrophoneLandOnTheirOwnTracksSystemFirstUntilTheMicrophoneGoes)
{
    NullSinkSoundServer sound(directory / "pulse");
    setenv("PULSE_SERVER", sound.serverAddress().c_str(), 1);
    // The microphone is a second null sink's monitor; the system's sound plays on the default sink.
    const std::string module =
        vantile::testing::commandOutput("pactl load-module module-null-sink sink_name=headset 2>/dev/null");
    ASSERT_FALSE(module.empty());
    PulseAudioPlayer systemPlayer;
    setenv("PULSE_SINK", "headset", 1);
    PulseAudioPlayer microphonePlayer;
    unsetenv("PULSE_SINK");
    X11CapturePlatform platform;
    ScreenRecorder recorder(platform);
    const ListedDisplay screen = X11SourceLister().screens().front();
    recorder.start({.id = "display-" + std::to_string(screen.number), .region = screen.frame}, directory / "raw.mov",
                   {AudioCaptureMode::systemAndMicrophone, "headset.monitor"});
    const auto started = std::chrono::steady_clock::now();
    // A second of silence first.
    ASSERT_TRUE(waitUntil([&] { return recorder.statistics().encodedFrames >= 30; }, 4s));
    const double playedAt = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    std::thread microphoneSpeaks([&] {
        microphonePlayer.play(PulseAudioPlayer::tone(600, 0.8, 0.5));
        microphonePlayer.drain();
    });
    systemPlayer.play(PulseAudioPlayer::tone(1000, 0.8, 0.5));
    systemPlayer.drain();
    microphoneSpeaks.join();
    const std::int64_t encoded = recorder.statistics().encodedFrames;
    ASSERT_TRUE(waitUntil([&] { return recorder.statistics().encodedFrames >= encoded + 30; }, 4s));
    // A microphone that disappears ends capture with a message; the movie keeps both tracks.
    EXPECT_FALSE(recorder.failure());
    vantile::testing::commandOutput("pactl unload-module " + module);
    ASSERT_TRUE(waitUntil([&] { return recorder.failure().has_value(); }, 5s));
    EXPECT_EQ(*recorder.failure(), "the microphone stopped delivering sound");
    recorder.stop();
    unsetenv("PULSE_SERVER");

    const auto probed = probe(directory / "raw.mov");
    for (int track = 0; track < 2; ++track) {
        const auto audio = streamOfType(probed, "audio", track);
        ASSERT_FALSE(audio.is_null());
        EXPECT_EQ(audio["codec_name"], "aac");
        EXPECT_EQ(audio["sample_rate"], "48000");
        EXPECT_EQ(audio["channels"], 2);
    }
    const auto system = vantile::testing::audioSamples(directory / "raw.mov", 0);
    const auto microphone = vantile::testing::audioSamples(directory / "raw.mov", 1);
    const auto level = [](const std::vector<float>& samples, double frequency, double from, double to) {
        return vantile::testing::toneLevel(samples, frequency, static_cast<std::size_t>(from * 48000),
                                           static_cast<std::size_t>(to * 48000));
    };
    // The first frame follows the start within a frame or two; the player's and the null sink's
    // buffering put the sound about a quarter second after the call that played it.
    double onset = -1;
    for (double time = 0; time < 3; time += 0.01) {
        if (level(system, 1000, time, time + 0.01) > 0.2) {
            onset = time;
            break;
        }
    }
    EXPECT_LT(level(system, 1000, 0.0, 0.7), 0.01);
    EXPECT_GT(onset, playedAt - 0.1);
    EXPECT_LT(onset, playedAt + 0.4);
    // A loaded machine may drop a few blocks of the player's sound, so only a ceiling is strict:
    // more than the tone's own level would mean the two sources were mixed.
    const double systemLevel = level(system, 1000, onset + 0.1, onset + 0.6);
    EXPECT_GT(systemLevel, 0.2);
    EXPECT_LT(systemLevel, 0.58);
    // Each tone on its own track only; the microphone's anywhere after the system's began.
    const double end = static_cast<double>(std::min(system.size(), microphone.size())) / 48000;
    double loudest = 0;
    for (double time = onset; time < end; time += 0.05) loudest = std::max(loudest, level(microphone, 600, time, time + 0.1));
    EXPECT_GT(loudest, 0.4);
    EXPECT_LT(level(system, 600, 0, end), 0.02);
    EXPECT_LT(level(microphone, 1000, 0, end), 0.02);
}

TEST_F(RecordCommandTest, AMissingSoundServerFailsTheStartWithAMessage)
{
    setenv("PULSE_SERVER", (directory / "nowhere").c_str(), 1);
    const std::string output = vantile::testing::commandOutput(
        std::string(VANTILE_CLI) + " record --audio system --duration 1 --root " + (directory / "p").string() + " 2>&1");
    unsetenv("PULSE_SERVER");
    EXPECT_NE(output.find("Could not start capture: no audio server is running"), std::string::npos) << output;
    // Nothing was recorded, so nothing may look like a recording.
    EXPECT_TRUE(!std::filesystem::exists(directory / "p") || std::filesystem::is_empty(directory / "p"));
}

TEST(RecordingFinisherTest, MapsPlansSmoothsAndSavesTheProjectTheAppWouldSave)
{
    const vantile::testing::TemporaryDirectory root;
    const std::filesystem::path directory = ProjectFileManager(root.path()).createProjectDirectory();
    StoppedRecording stopped;
    // A 1000 x 500 window recorded at 2000 x 1000: video pixels are twice the local points.
    stopped.source = {.id = "window-42", .kind = CaptureSource::SourceKind::window, .windowId = "42",
                      .appName = "Editor", .title = "Draft", .region = {300, 200, 1000, 500}};
    stopped.result = {directory / "raw.mov", 6.5, {"raw.mov", 2000, 1000, 30}};
    stopped.audioSettings = {AudioCaptureMode::system, std::nullopt};
    stopped.projectDirectory = directory;
    stopped.events = {
        {0.5, Type::mouseMove, 100, 100},
        {1.0, Type::leftMouseDown, 250, 125, {}, {}, "left"},
        {1.1, Type::leftMouseUp, 250, 125, {}, {}, "left"},
        {3.0, Type::typingActivityStart, 250, 125},
        {4.0, Type::typingActivityEnd, 250, 125},
    };
    RenderSettings settings;
    settings.aspectRatio = AspectRatio::portrait9x16;
    settings.fps = 24;

    const ProjectFileManager files(root.path());
    const FocusPlanner planner;
    const CursorPathSmoother smoother;
    const Timestamp now = parseISO8601("2026-11-23T10:00:00Z");
    const RecordingProject project = RecordingFinisher(files, planner, smoother).finish(stopped, settings, now);

    EXPECT_EQ(project.id, directory.filename().string());
    EXPECT_EQ(project.duration, 6.5);
    EXPECT_EQ(project.capture,
              (CaptureInfo{CaptureInfo::SourceType::window, std::nullopt, "42", "Editor", "Draft", {300, 200, 1000, 500}, 1}));
    EXPECT_EQ(project.audioSettings, stopped.audioSettings);
    ASSERT_EQ(project.events.size(), 5u);
    EXPECT_EQ(project.events[1], (InputEvent{1.0, Type::leftMouseDown, 500, 250, {}, {}, "left"}));
    const OutputSize size = outputSize(AspectRatio::portrait9x16, stopped.result.videoInfo, ResolutionPreset::p1080);
    EXPECT_EQ(project.renderSettings.outputWidth, size.width);
    EXPECT_EQ(project.renderSettings.outputHeight, size.height);
    EXPECT_EQ(project.renderSettings.fps, 24);
    EXPECT_EQ(project.focusSegments,
              planner
                  .plan({6.5, 2000, 1000, project.events, settings.zoomIntensity})
                  .segments);
    EXPECT_EQ(project.cursorFrames, smoother.smooth(project.events, 24, 6.5));
    EXPECT_FALSE(project.cursorFrames.empty());

    EXPECT_EQ(files.loadProject(directory), project);
}

TEST(RecordingFinisherTest, SettingsAtTheDefaultRateFollowTheRecordingAndAChosenRateStays)
{
    const vantile::testing::TemporaryDirectory root;
    const ProjectFileManager files(root.path());
    const FocusPlanner planner;
    const CursorPathSmoother smoother;
    const auto finished = [&](std::int64_t recorded, std::int64_t chosen) {
        StoppedRecording stopped;
        stopped.projectDirectory = files.createProjectDirectory();
        stopped.source = {.id = "display-1", .region = {0, 0, 1280, 720}};
        stopped.result = {stopped.projectDirectory / "raw.mov", 2.0, {"raw.mov", 1280, 720, recorded}};
        stopped.events = {{0.5, Type::mouseMove, 100, 100}, {1.0, Type::leftMouseDown, 300, 200, {}, {}, "left"}};
        RenderSettings settings;
        settings.fps = chosen;
        return RecordingFinisher(files, planner, smoother).finish(stopped, settings);
    };
    const RecordingProject sixty = finished(60, 30);
    EXPECT_EQ(sixty.renderSettings.fps, 60);
    EXPECT_EQ(sixty.cursorFrames.size(), 121u);  // the cursor is smoothed at the rate it is exported at
    EXPECT_EQ(finished(30, 30).renderSettings.fps, 30);
    EXPECT_EQ(finished(60, 24).renderSettings.fps, 24);
    EXPECT_EQ(finished(30, 60).renderSettings.fps, 60);
}

}  // namespace
}  // namespace vantile
