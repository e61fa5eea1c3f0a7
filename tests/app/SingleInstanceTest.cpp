#include "RunningApplication.h"

#include <QImage>

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

namespace vantile {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

class SingleInstanceTest : public testing::RunningApplication {};

TEST_F(SingleInstanceTest, SecondProcessesRaiseStartAndStopTheRunningOneWithoutBecomingAnother)
{
    // With nothing running, there is nothing to stop.
    const auto lonelyStop = vantile({"--stop-recording"});
    EXPECT_EQ(lonelyStop.exitCode, 1);
    EXPECT_NE(lonelyStop.standardError.find("not running"), std::string::npos) << lonelyStop.standardError;
    EXPECT_EQ(std::ranges::count(lonelyStop.standardError, '\n'), 1) << lonelyStop.standardError;

    launchApplication();
    ASSERT_TRUE(waitUntil([&] { return instanceOwner() != 0; }, 60s)) << log();
    const unsigned first = instanceOwner();
    EXPECT_EQ(first, unsigned(application->pid()));

    // A plain second start raises the first window and ends; the first stays the instance.
    const auto second = vantile({});
    EXPECT_EQ(second.exitCode, 0) << second.standardError;
    EXPECT_TRUE(application->isRunning());
    EXPECT_EQ(instanceOwner(), first);

    const auto idleStop = vantile({"--stop-recording"});
    EXPECT_EQ(idleStop.exitCode, 1);
    EXPECT_NE(idleStop.standardError.find("not recording"), std::string::npos) << idleStop.standardError;
    const auto unknownSource = vantile({"--start-recording", "--source", "display-999999"});
    EXPECT_EQ(unknownSource.exitCode, 1);
    EXPECT_NE(unknownSource.standardError.find("display-999999"), std::string::npos) << unknownSource.standardError;

    // The start answers once the recording runs; the stop once its project is saved.
    const auto start = vantile({"--start-recording"});
    ASSERT_EQ(start.exitCode, 0) << start.standardError;
    ASSERT_TRUE(waitUntil([&] { return recordingDirectory().has_value(); }, 30s));
    std::this_thread::sleep_for(1500ms);
    xdotool("mousemove 300 200 click 1");
    std::this_thread::sleep_for(500ms);
    const auto stop = vantile({"--stop-recording"});
    ASSERT_EQ(stop.exitCode, 0) << stop.standardError;
    const fs::path project = stop.standardOutput.substr(0, stop.standardOutput.find('\n'));
    EXPECT_EQ(project, *recordingDirectory());
    EXPECT_TRUE(fs::exists(project / ".vantile" / "project.json"));
    EXPECT_TRUE(fs::exists(project / ".vantile" / "events.json"));
    EXPECT_EQ(instanceOwner(), first);
}

TEST_F(SingleInstanceTest, TheGlobalShortcutStopsARecordingWhateverTheLockKeys)
{
    // Nothing running: the option starts Vantile, which records at once.
    launchApplication({"--start-recording"});
    ASSERT_TRUE(waitUntil([&] { return recordingDirectory().has_value(); }, 60s)) << log();
    std::this_thread::sleep_for(1000ms);
    const fs::path project = *recordingDirectory();
    EXPECT_FALSE(fs::exists(project / ".vantile" / "project.json"));

    // Caps Lock on: the grab must still catch the combination.
    xdotool("key Caps_Lock");
    xdotool("key ctrl+shift+F9");
    EXPECT_TRUE(waitUntil([&] { return fs::exists(project / ".vantile" / "project.json"); }, 30s)) << log();
    xdotool("key Caps_Lock");
    EXPECT_TRUE(application->isRunning());
}

// The mean brightness (0-255) of `area` in an image file; -1 when it cannot be read.
double meanBrightness(const fs::path& image, const QRect& area)
{
    const QImage picture(QString::fromStdString(image.string()));
    if (picture.isNull()) return -1;
    const QRect inside = area.intersected(picture.rect());
    double sum = 0;
    for (int y = inside.top(); y <= inside.bottom(); ++y) {
        for (int x = inside.left(); x <= inside.right(); ++x) sum += qGray(picture.pixel(x, y));
    }
    return inside.isEmpty() ? -1 : sum / (double(inside.width()) * inside.height());
}

TEST_F(SingleInstanceTest, TheMoviesFirstFrameHoldsNoneOfTheMainWindowUnderACompositingWindowManager)
{
    // A compositing window manager draws the screen itself: an unmapped window stays in the
    // picture until it has redrawn.
    const auto windowManager = startCompositingWindowManager();
    // A white desktop under the dark main window.
    testing::ColouredWindow desktop(0, 0, 1280, 720, 0xffffff, "desktop");
    launchApplication();
    std::string mainWindowId;
    ASSERT_TRUE(waitUntil([&] { return !(mainWindowId = visibleWindow("Vantile")).empty(); }, 60s));
    std::this_thread::sleep_for(500ms);
    const QRect mainWindow = windowGeometry(mainWindowId);
    // Only where the white window lies below can the main window's absence be seen.
    const QRect watched = mainWindow.intersected(windowGeometry(visibleWindow("desktop")));
    ASSERT_GT(watched.width() * watched.height(), 100 * 100) << mainWindowId;

    // The window is really on the screen before the recording: the check below could fail.
    const fs::path before = directory / "before.png";
    ASSERT_TRUE(waitUntil([&] {
        testing::runCommand({"ffmpeg", "-v", "error", "-y", "-f", "x11grab", "-video_size", "1280x720", "-i",
                             display->name(), "-frames:v", "1", before.string()});
        const double brightness = meanBrightness(before, watched);
        return brightness >= 0 && brightness < 100;
    }, 30s)) << meanBrightness(before, watched);

    const auto start = vantile({"--start-recording"});
    ASSERT_EQ(start.exitCode, 0) << start.standardError;
    std::this_thread::sleep_for(1000ms);
    const auto stop = vantile({"--stop-recording"});
    ASSERT_EQ(stop.exitCode, 0) << stop.standardError;
    const fs::path project = stop.standardOutput.substr(0, stop.standardOutput.find('\n'));

    const fs::path firstFrame = directory / "first.png";
    const auto decoded = testing::runCommand({"ffmpeg", "-v", "error", "-y", "-i", (project / "raw.mov").string(),
                                              "-frames:v", "1", firstFrame.string()});
    ASSERT_EQ(decoded.exitCode, 0) << decoded.standardError;
    EXPECT_GT(meanBrightness(firstFrame, watched), 240);
    application.reset();
    windowManager->stop();
}

}  // namespace
}  // namespace vantile
