#include "support/MediaProbe.h"
#include "X11TestSession.h"

#include "capture/CaptureSourceProvider.h"
#include "capture/InputEventRecorder.h"
#include "capture/RecordingError.h"
#include "capture/ScreenRecorder.h"
#include "capture/x11/X11CapturePlatform.h"
#include "capture/x11/X11InputSource.h"
#include "capture/x11/X11SourceLister.h"
#include "support/ChildProcess.h"
#include "support/RunCommand.h"

#include <poll.h>

#include <atomic>
#include <cmath>

namespace vantile {
namespace {

using namespace std::chrono_literals;
using vantile::testing::ColouredWindow;
using vantile::testing::frameAt;
using vantile::testing::probe;
using vantile::testing::streamOfType;
using Type = InputEvent::EventType;

struct Rgb {
    int red, green, blue;
};

Rgb pixelAt(const std::vector<std::uint8_t>& frame, int width, int x, int y)
{
    const std::size_t offset = (static_cast<std::size_t>(y) * width + x) * 3;
    if (offset + 2 >= frame.size()) return {-1, -1, -1};
    return {frame[offset], frame[offset + 1], frame[offset + 2]};
}

bool looksRed(Rgb pixel) { return pixel.red > 200 && pixel.green < 60 && pixel.blue < 60; }
bool looksGreen(Rgb pixel) { return pixel.green > 200 && pixel.red < 60 && pixel.blue < 60; }

CaptureSource findSource(const std::function<bool(const CaptureSource&)>& matches)
{
    X11SourceLister lister;
    for (const CaptureSource& source : CaptureSourceProvider(lister).loadSources()) {
        if (matches(source)) return source;
    }
    ADD_FAILURE() << "source not listed";
    return {};
}

// Dispatches global input on this thread until `until`.
void pumpInput(X11InputSource& input, std::chrono::steady_clock::time_point until)
{
    while (std::chrono::steady_clock::now() < until) {
        pollfd descriptor{input.fileDescriptor(), POLLIN, 0};
        poll(&descriptor, 1, 20);
        input.dispatchPending();
    }
}

class X11RecordingTest : public vantile::testing::X11TestSession {};

TEST_F(X11RecordingTest, ListsTheDisplayAndTitledWindowsButNotTinyOnes)
{
    ColouredWindow editor(40, 60, 500, 300, 0x3366cc, "Quarterly report");
    ColouredWindow tooltip(10, 10, 120, 40, 0xffffff, "Tip");
    X11SourceLister lister;
    const auto sources = CaptureSourceProvider(lister).loadSources();
    ASSERT_EQ(sources.size(), 2u);
    EXPECT_TRUE(sources[0].id.starts_with("display-"));
    EXPECT_EQ(sources[0].region, (CGRectCodable{0, 0, 1280, 720}));
    EXPECT_EQ(sources[1].id, "window-" + std::to_string(editor.id()));
    EXPECT_EQ(sources[1].title, "Quarterly report");
    EXPECT_EQ(sources[1].appName, "Test App");
    EXPECT_EQ(sources[1].region, (CGRectCodable{40, 60, 500, 300}));
}

TEST_F(X11RecordingTest, DisplayRecordingShowsTheScreenAndLogsInputInCaptureLocalCoordinates)
{
    ColouredWindow red(200, 150, 400, 300, 0xff0000, "Red");
    const CaptureSource display = findSource([](const CaptureSource& source) { return source.id.starts_with("display-"); });
    X11CapturePlatform platform;
    ScreenRecorder recorder(platform);
    recorder.start(display, directory / "raw.mov", {});
    X11InputSource input;
    InputEventRecorder inputRecorder(&input);
    // An offset region checks that positions are made local to it.
    inputRecorder.start({100, 50, 1000, 600});

    std::atomic<bool> scriptDone = false;
    std::thread script([&scriptDone] {
        const auto step = [](const std::string& arguments) {
            std::this_thread::sleep_for(250ms);
            xdotool(arguments);
        };
        step("mousemove 400 300");
        step("mousemove_relative 10 5");
        step("click 1");
        step("click 3");
        step("click 4");
        step("click 5");
        step("click 6");
        step("click 7");
        step("type --delay 60 abc");
        std::this_thread::sleep_for(300ms);
        step("mousedown 1");
        step("mousemove_relative 30 0");
        step("mouseup 1");
        step("mousemove 1250 700");
        step("mousemove_relative 5 5");
        scriptDone = true;
    });
    while (!scriptDone) pumpInput(input, std::chrono::steady_clock::now() + 50ms);
    pumpInput(input, std::chrono::steady_clock::now() + 300ms);
    script.join();
    const auto events = inputRecorder.stop();
    const RecordingResult result = recorder.stop();

    std::vector<InputEvent> notMoves;
    for (const InputEvent& event : events) {
        if (event.type != Type::mouseMove && event.type != Type::mouseDragged) notMoves.push_back(event);
    }
    const std::vector<Type> expected{Type::leftMouseDown, Type::leftMouseUp, Type::rightMouseDown, Type::rightMouseUp,
                                     Type::scrollWheel,   Type::scrollWheel, Type::scrollWheel,    Type::scrollWheel,
                                     Type::typingActivityStart, Type::typingActivityEnd, Type::leftMouseDown,
                                     Type::leftMouseUp};
    ASSERT_EQ(notMoves.size(), expected.size());
    for (std::size_t index = 0; index < expected.size(); ++index)
        EXPECT_EQ(notMoves[index].type, expected[index]) << "event " << index;
    // Pressed at global (410, 305): local to the region at (100, 50).
    EXPECT_EQ(notMoves[0].x, 310);
    EXPECT_EQ(notMoves[0].y, 255);
    EXPECT_EQ(notMoves[2].button, "right");
    EXPECT_EQ(notMoves[4].deltaY, 1.0);
    EXPECT_EQ(notMoves[5].deltaY, -1.0);
    EXPECT_EQ(notMoves[6].deltaX, 1.0);
    EXPECT_EQ(notMoves[7].deltaX, -1.0);
    EXPECT_EQ(notMoves[11].x, 340);  // released after the drag moved 30 to the right

    const auto dragged = std::count_if(events.begin(), events.end(),
                                       [](const InputEvent& event) { return event.type == Type::mouseDragged; });
    EXPECT_GE(dragged, 1);
    ASSERT_EQ(events.back().type, Type::mouseMove);
    EXPECT_EQ(events.back().x, 1000);  // beyond the region: clamped to its edge
    EXPECT_EQ(events.back().y, 600);
    for (std::size_t index = 1; index < events.size(); ++index) EXPECT_LE(events[index - 1].time, events[index].time);

    EXPECT_EQ(result.videoInfo, (VideoInfo{"raw.mov", 1280, 720, 30}));
    const auto video = streamOfType(probe(directory / "raw.mov"), "video");
    ASSERT_FALSE(video.is_null());
    const double seconds = std::stod(video["duration"].get<std::string>());
    const double frames = std::stod(video["nb_read_frames"].get<std::string>());
    EXPECT_GT(seconds, 4.5);
    // The frame clock is 30 Hz; a loaded machine may drop some frames but never adds any.
    EXPECT_EQ(video["r_frame_rate"], "30/1");
    EXPECT_LE(frames, seconds * 30 + 1);
    EXPECT_GE(frames, seconds * 20);
    const auto frame = frameAt(directory / "raw.mov", 1.0);
    EXPECT_TRUE(looksRed(pixelAt(frame, 1280, 400, 300)));
    EXPECT_FALSE(looksRed(pixelAt(frame, 1280, 100, 100)));
}

// Warps send no raw motion: only the pointer poll sees them. Each press comes ~100 ms after its
// warp, so the logged path must already be at the press when it comes.
TEST_F(X11RecordingTest, WarpedPointerMovesAreLoggedAndThePathReachesEveryClick)
{
    X11InputSource input;
    InputEventRecorder inputRecorder(&input);
    inputRecorder.start({0, 0, 1280, 720});
    const std::vector<CodablePoint> targets{{100, 80}, {1100, 650}, {640, 90}, {30, 700}, {900, 300}, {905, 302}};
    std::atomic<bool> scriptDone = false;
    std::thread script([&] {
        for (const CodablePoint& target : targets) {
            xdotool("mousemove " + std::to_string(int(target.x)) + " " + std::to_string(int(target.y)));
            std::this_thread::sleep_for(100ms);
            xdotool("click 1");
            std::this_thread::sleep_for(60ms);
        }
        // A drag whose motion is a warp too.
        xdotool("mousedown 1");
        xdotool("mousemove 200 200");
        std::this_thread::sleep_for(100ms);
        xdotool("mouseup 1");
        scriptDone = true;
    });
    while (!scriptDone) pumpInput(input, std::chrono::steady_clock::now() + 50ms);
    pumpInput(input, std::chrono::steady_clock::now() + 200ms);
    script.join();
    const auto events = inputRecorder.stop();

    std::optional<InputEvent> lastMove;
    std::size_t presses = 0;
    bool draggedToTarget = false;
    for (const InputEvent& event : events) {
        if (event.type == Type::mouseMove) lastMove = event;
        if (event.type == Type::mouseDragged && event.x == 200 && event.y == 200) draggedToTarget = true;
        if (event.type != Type::leftMouseDown || presses >= targets.size()) continue;
        const CodablePoint& target = targets[presses++];
        EXPECT_EQ(event.x, target.x);
        EXPECT_EQ(event.y, target.y);
        ASSERT_TRUE(lastMove) << "no move before press " << presses;
        EXPECT_LE(std::abs(lastMove->x - event.x), 1.0) << "press " << presses;
        EXPECT_LE(std::abs(lastMove->y - event.y), 1.0) << "press " << presses;
    }
    EXPECT_EQ(presses, targets.size());
    EXPECT_TRUE(draggedToTarget);
}

TEST_F(X11RecordingTest, WindowRecordingFollowsAMovingCoveredWindowUntilItCloses)
{
    ColouredWindow green(50, 50, 480, 270, 0x00ff00, "Green");
    const CaptureSource source = findSource([](const CaptureSource& candidate) { return candidate.title == "Green"; });
    ColouredWindow cover(100, 100, 300, 200, 0xff0000, "Cover");  // on top of half the window
    X11CapturePlatform platform;
    ScreenRecorder recorder(platform);
    recorder.start(source, directory / "raw.mov", {});
    ASSERT_TRUE(waitUntil([&] { return recorder.statistics().encodedFrames >= 30; }, 5s));
    green.move(700, 400);
    ASSERT_TRUE(waitUntil([&] { return recorder.statistics().encodedFrames >= 60; }, 5s));
    green.destroy();
    ASSERT_TRUE(waitUntil([&] { return recorder.failure().has_value(); }, 1s));
    EXPECT_EQ(*recorder.failure(), RecordingError::sourceUnavailable().what());
    const RecordingResult result = recorder.stop();

    // 480 x 270 is below the minimum: scaled up to 640 x 360.
    EXPECT_EQ(result.videoInfo, (VideoInfo{"raw.mov", 640, 360, 30}));
    const auto video = streamOfType(probe(directory / "raw.mov"), "video");
    ASSERT_FALSE(video.is_null());
    const double frames = std::stod(video["nb_read_frames"].get<std::string>());
    EXPECT_LE(frames, 2.5 * 30);
    EXPECT_GE(frames, 60);
    for (const double time : {0.5, 1.5}) {
        const auto frame = frameAt(directory / "raw.mov", time);
        EXPECT_TRUE(looksGreen(pixelAt(frame, 640, 320, 180))) << "at " << time;
        EXPECT_TRUE(looksGreen(pixelAt(frame, 640, 150, 120))) << "covered part at " << time;
    }
}

TEST_F(X11RecordingTest, WithoutAnXServerEveryEntryPointSaysSo)
{
    X11CapturePlatform platform(std::string(":987"));
    ScreenRecorder recorder(platform);
    const CaptureSource source{.id = "display-1", .region = {0, 0, 640, 360}};
    EXPECT_THROW(recorder.start(source, directory / "raw.mov", {}), RecordingError);
    EXPECT_FALSE(recorder.isRecording());
    const std::string output = vantile::testing::commandOutput("DISPLAY=:987 " + std::string(VANTILE_CLI) +
                                                                " record --duration 1 --root " +
                                                                directory.path().string() + " 2>&1");
    EXPECT_NE(output.find("Screen capture is not supported on this display server."), std::string::npos) << output;
}

// A bare X server (no window manager, no other client, resetting whenever its last client
// leaves), as a headless test machine runs one: listing and recording must work every time.
TEST(BareServerSources, EveryListingAndShortRecordingSucceeds)
{
    ChildProcess server({"Xvfb", "-displayfd", "1", "-screen", "0", "640x480x24", "-nolisten", "tcp"},
                        {.captureOutput = true});
    const auto number = server.readLine(std::chrono::seconds(15));
    ASSERT_TRUE(number && !number->empty());
    const char* previous = std::getenv("DISPLAY");
    const std::string saved = previous ? previous : "";
    ::setenv("DISPLAY", (":" + *number).c_str(), 1);
    vantile::testing::TemporaryDirectory root;
    for (int round = 0; round < 15; ++round) {
        const auto sources = vantile::testing::runCli({"sources", "--json"});
        ASSERT_EQ(sources.exitCode, 0) << "round " << round << ": " << sources.standardError;
        EXPECT_EQ(sources.standardOutput.find("fallback"), std::string::npos) << sources.standardOutput;
        const auto recorded = vantile::testing::runCli({"record", "--duration", "0.5", "--root", root.path().string()});
        ASSERT_EQ(recorded.exitCode, 0) << "round " << round << ": " << recorded.standardError;
    }
    if (previous) {
        ::setenv("DISPLAY", saved.c_str(), 1);
    } else {
        ::unsetenv("DISPLAY");
    }
}

}  // namespace
}  // namespace vantile
