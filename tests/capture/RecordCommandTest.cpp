#include "support/MediaProbe.h"
#include "X11TestSession.h"

#include "support/ChildProcess.h"
#include "capture/EventJournal.h"
#include "support/NullSinkSoundServer.h"
#include "support/PulseAudioPlayer.h"
#include "capture/RecordingError.h"
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
using vantile::testing::probe;
using vantile::testing::runCli;
using vantile::testing::streamOfType;

class RecordCommandTest : public vantile::testing::X11TestSession {
protected:
    // The only recording's event journal, which may not exist yet.
    std::filesystem::path journal() const
    {
        std::error_code error;
        for (const auto& entry : std::filesystem::directory_iterator(directory / "projects", error))
            return entry.path() / ProjectFileManager::metadataFolderName / EventJournal::fileName;
        return {};
    }

    static long journalled(const std::filesystem::path& file, InputEvent::EventType type)
    {
        const auto events = EventJournal::read(file);
        return std::count_if(events.begin(), events.end(), [&](const InputEvent& event) { return event.type == type; });
    }

    std::filesystem::path onlyProject() const
    {
        std::vector<std::filesystem::path> projects;
        for (const auto& entry : std::filesystem::directory_iterator(directory / "projects"))
            projects.push_back(entry.path());
        EXPECT_EQ(projects.size(), 1u);
        return projects.empty() ? directory.path() : projects.front();
    }
};

// The end of the last video packet as ffprobe reads the file, independently of our reader.
double playableSeconds(const std::filesystem::path& movie)
{
    const std::string packets = vantile::testing::commandOutput(
        "ffprobe -v error -select_streams v -show_entries packet=pts_time,duration_time -of csv=p=0 " +
        vantile::testing::quoted(movie) + " 2>/dev/null");
    double first = 1e9, end = 0;
    std::istringstream lines(packets);
    for (std::string line; std::getline(lines, line);) {
        const auto comma = line.find(',');
        if (comma == std::string::npos) continue;
        const double time = std::stod(line.substr(0, comma));
        first = std::min(first, time);
        end = std::max(end, time + std::stod(line.substr(comma + 1)));
    }
    return end - first;
}

TEST_F(RecordCommandTest, AKilledRecordingIsRecoveredAsTheStopFlowWouldHave)
{
    ChildProcess recorder({VANTILE_CLI, "record", "--duration", "60", "--root", (directory / "projects").string()},
                          {});
    // Input is logged from the moment the movie has frames.
    ASSERT_TRUE(waitUntil([&] { return std::filesystem::exists(journal()); }));
    const std::filesystem::path project = onlyProject();
    ASSERT_TRUE(waitUntil([&] { return playableSeconds(project / "raw.mov") >= 0.5; }));
    xdotool("mousemove 300 200 click 1");
    ASSERT_TRUE(waitUntil([&] { return journalled(journal(), InputEvent::EventType::leftMouseUp) > 0; }));
    ASSERT_TRUE(waitUntil([&] { return playableSeconds(project / "raw.mov") >= 2; }));
    kill(recorder.pid(), SIGKILL);
    recorder.stop();

    const double playable = playableSeconds(project / "raw.mov");
    std::vector<InputEvent> logged = EventJournal::read(journal());
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
        return std::filesystem::exists(journal()) && vantile::testing::countVideoFrames(onlyProject() / "raw.mov") >= 30;
    }));
    for (int click = 0; click < 3; ++click) {
        xdotool("mousemove " + std::to_string(200 + click * 300) + " 400 click 1");
        ASSERT_TRUE(waitUntil([&] { return journalled(journal(), InputEvent::EventType::leftMouseDown) == click + 1; }, 10s));
    }
    kill(recorder.pid(), SIGINT);
    const auto printed = recorder.readLine(30s);
    ASSERT_TRUE(printed);
    int status = -1;
    ASSERT_EQ(waitpid(recorder.pid(), &status, 0), recorder.pid());
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);

    const std::filesystem::path project = onlyProject();
    EXPECT_EQ(std::filesystem::path(*printed), project);
    // What the finisher made of it is checked on its own; here the interrupt must reach it.
    const RecordingProject saved = ProjectFileManager(directory / "projects").loadProject(project);
    EXPECT_EQ(std::count_if(saved.events.begin(), saved.events.end(),
                            [](const InputEvent& event) { return event.type == InputEvent::EventType::leftMouseDown; }),
              3);
    EXPECT_FALSE(saved.focusSegments.empty());
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

}  // namespace
}  // namespace vantile
