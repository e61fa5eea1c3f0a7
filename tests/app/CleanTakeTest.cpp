#include "RunningApplication.h"

#include <QImage>
#include <QRgb>

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <functional>
#include <set>
#include <sstream>
#include <thread>

namespace vantile {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using nlohmann::json;

// Frames are looked at in half size: a Vantile window still covers hundreds of pixels there.
constexpr int scanWidth = 640;
constexpr int scanHeight = 360;
constexpr QRgb desktopColour = qRgb(255, 255, 255);
constexpr int colourTolerance = 40;
// Vantile's windows are dark (the main window, the countdown, the recording control) or carry dark
// text (a menu); what the desktop draws here is lighter (mutter's window shadows reach about 180).
constexpr int darkestDesktopGrey = 128;
// A frame with more dark pixels than this shows something of Vantile's.
constexpr int foreignPixelLimit = 40;

bool near(QRgb pixel, QRgb colour)
{
    return std::abs(qRed(pixel) - qRed(colour)) <= colourTolerance &&
           std::abs(qGreen(pixel) - qGreen(colour)) <= colourTolerance &&
           std::abs(qBlue(pixel) - qBlue(colour)) <= colourTolerance;
}

struct FrameScan {
    int frames = 0;
    int worstFrame = -1;
    int worstCount = 0;
};

// Decodes `input` (ffmpeg input options and source) in scan size and counts, per frame, the pixels
// `foreign` picks out; `until` limits the seconds read.
FrameScan scanFrames(const std::vector<std::string>& input, std::optional<double> until, const fs::path& scratch,
                     const std::function<int(const std::vector<unsigned char>&)>& countForeign)
{
    std::vector<std::string> arguments{"ffmpeg", "-v", "error", "-y"};
    arguments.insert(arguments.end(), input.begin(), input.end());
    if (until) arguments.insert(arguments.end(), {"-t", std::to_string(*until)});
    arguments.insert(arguments.end(), {"-vf", "scale=" + std::to_string(scanWidth) + ":" + std::to_string(scanHeight) +
                                                  ":flags=neighbor",
                                       "-f", "rawvideo", "-pix_fmt", "rgb24", scratch.string()});
    const auto decoded = testing::runCommand(arguments);
    EXPECT_EQ(decoded.exitCode, 0) << decoded.standardError;
    std::ifstream file(scratch, std::ios::binary);
    std::vector<unsigned char> frame(std::size_t(scanWidth) * scanHeight * 3);
    FrameScan scan;
    while (file.read(reinterpret_cast<char*>(frame.data()), std::streamsize(frame.size()))) {
        const int count = countForeign(frame);
        if (count > scan.worstCount) {
            scan.worstCount = count;
            scan.worstFrame = scan.frames;
        }
        ++scan.frames;
    }
    return scan;
}

QRgb pixelAt(const std::vector<unsigned char>& frame, int x, int y)
{
    const std::size_t at = (std::size_t(y) * scanWidth + x) * 3;
    return qRgb(frame[at], frame[at + 1], frame[at + 2]);
}

// Dark pixels of the recorded screen; `allowed` (in screen pixels) belongs to the desktop (a tray panel).
int foreignOnScreen(const std::vector<unsigned char>& frame, const std::optional<QRect>& allowed)
{
    const std::optional<QRect> allowedInScan =
        allowed ? std::optional<QRect>(QRect(allowed->x() / 2, allowed->y() / 2, allowed->width() / 2 + 1,
                                             allowed->height() / 2 + 1))
                : std::nullopt;
    int count = 0;
    for (int y = 0; y < scanHeight; ++y) {
        for (int x = 0; x < scanWidth; ++x) {
            if (qGray(pixelAt(frame, x, y)) >= darkestDesktopGrey) continue;
            if (allowedInScan && allowedInScan->contains(x, y)) continue;
            ++count;
        }
    }
    return count;
}

// In an exported frame: dark pixels inside the card, found as the box around the light recorded
// picture. The card's rounded corners show the template's background and are left out.
int foreignInCard(const std::vector<unsigned char>& frame)
{
    QRect card;
    for (int y = 0; y < scanHeight; ++y) {
        for (int x = 0; x < scanWidth; ++x) {
            if (near(pixelAt(frame, x, y), desktopColour)) card |= QRect(x, y, 1, 1);
        }
    }
    if (card.isEmpty()) return 0;
    constexpr int corner = 16;
    int count = 0;
    for (int y = card.top(); y <= card.bottom(); ++y) {
        for (int x = card.left(); x <= card.right(); ++x) {
            const bool inCorner = (x - card.left() < corner || card.right() - x < corner) &&
                                  (y - card.top() < corner || card.bottom() - y < corner);
            const QRgb pixel = pixelAt(frame, x, y);
            if (!inCorner && qGray(pixel) < darkestDesktopGrey) ++count;
        }
    }
    return count;
}

QPoint pointOf(const json& event) { return QPoint(int(event["x"].get<double>()), int(event["y"].get<double>())); }

json readJson(const fs::path& file)
{
    std::ifstream stream(file);
    return json::parse(stream, nullptr, false);
}

// How a take was stopped, and what the test knows of the stop.
struct Take {
    std::string path;
    fs::path project;
    std::optional<QRect> stopControl;  // the control clicked, in screen pixels
    std::optional<QRect> trayPanel;
    bool gestureStop = false;  // the pointer travelled to what it clicked
};

class CleanTakeTest : public testing::RunningApplication {
protected:
    void SetUp() override
    {
        RunningApplication::SetUp();
        // Two seconds keep the takes short; the hint and the hiding behave as with the automatic three.
        fs::create_directories(configHome() / "vantile");
        std::ofstream(configHome() / "vantile" / "vantile.ini") << "[recording]\ncountdown=2\n";
    }

    std::set<fs::path> projectDirectories() const
    {
        std::set<fs::path> directories;
        std::error_code ignored;
        for (const auto& entry : fs::directory_iterator(projectsRoot(), ignored)) directories.insert(entry.path());
        return directories;
    }

    // Starts from the main window, as the keybinding would; the new project's directory.
    fs::path startTake()
    {
        EXPECT_TRUE(waitUntil([&] { return !visibleWindow("Vantile").empty(); }, 60s)) << log();
        const auto before = projectDirectories();
        const auto start = vantile({"--start-recording"});
        EXPECT_EQ(start.exitCode, 0) << start.standardError << log();
        fs::path project;
        for (const auto& directory : projectDirectories())
            if (!before.contains(directory)) project = directory;
        EXPECT_FALSE(project.empty());
        return project;
    }

    // The user's demo: into the other window and two clicks there; the pointer ends resting there.
    void demonstrate()
    {
        xdotool("mousemove " + std::to_string(demoArea.x() + 20) + " " + std::to_string(demoArea.y() + 50));
        xdotool("mousemove_relative 6 4");
        std::this_thread::sleep_for(300ms);
        xdotool("click 1");
        std::this_thread::sleep_for(600ms);
        xdotool("mousemove_relative 60 30");
        xdotool("click 1");
        std::this_thread::sleep_for(800ms);
    }

    // A hand's way to a point: steps the input log sees, not a warp.
    void travelTo(int x, int y)
    {
        const QRect pointer = pointerPosition();
        constexpr int steps = 8;
        int doneX = 0;
        int doneY = 0;
        for (int step = 1; step <= steps; ++step) {
            const int toX = (x - pointer.x()) * step / steps;
            const int toY = (y - pointer.y()) * step / steps;
            xdotool("mousemove_relative -- " + std::to_string(toX - doneX) + " " + std::to_string(toY - doneY));
            doneX = toX;
            doneY = toY;
            std::this_thread::sleep_for(40ms);
        }
    }

    QRect pointerPosition() const
    {
        const std::string shell = testing::commandOutput("DISPLAY=" + display->name() + " xdotool getmouselocation --shell");
        const auto value = [&](const std::string& name) {
            const auto at = shell.find(name + "=");
            return at == std::string::npos ? -1 : std::stoi(shell.substr(at + name.size() + 1));
        };
        return QRect(value("X"), value("Y"), 1, 1);
    }

    std::vector<std::string> visibleWindowsOfVantile() const
    {
        std::vector<std::string> windows;
        std::istringstream found(
            testing::commandOutput("DISPLAY=" + display->name() + " xdotool search --onlyvisible --classname vantile 2>/dev/null"));
        for (std::string window; std::getline(found, window);) windows.push_back(window);
        return windows;
    }

    // Vantile's icon inside trayer's panel, once it has docked there.
    std::string dockedIcon() const
    {
        const QRect panel = windowGeometry(visibleWindow("panel"));
        for (const auto& window : visibleWindowsOfVantile()) {
            const QRect area = windowGeometry(window);
            if (panel.contains(area.center()) && area.width() < panel.width()) return window;
        }
        return {};
    }

    // The rows of the menu's item texts, from a picture of the screen: the last item quits, the
    // one before it stops the recording.
    std::optional<int> secondToLastTextRow(const QRect& menu)
    {
        const fs::path picture = directory / "menu.png";
        testing::runCommand({"ffmpeg", "-v", "error", "-y", "-f", "x11grab", "-video_size", "1280x720", "-i",
                             display->name(), "-frames:v", "1", picture.string()});
        const QImage screen(QString::fromStdString(picture.string()));
        std::vector<std::pair<int, int>> rows;  // first and last screen row of each text line
        for (int y = menu.top() + 2; y < menu.bottom() - 2; ++y) {
            bool text = false;
            for (int x = menu.left() + 4; x < menu.right() - 4 && !text; ++x) text = qGray(screen.pixel(x, y)) < 110;
            if (!text) continue;
            if (!rows.empty() && rows.back().second >= y - 2) rows.back().second = y;
            else rows.emplace_back(y, y);
        }
        if (rows.size() < 2) return std::nullopt;
        const auto& stopItem = rows[rows.size() - 2];
        return (stopItem.first + stopItem.second) / 2;
    }

    bool saved(const fs::path& project) const { return fs::exists(project / ".vantile" / "project.json"); }

    QRect demoArea;  // the other window, where the window manager put it

    // Everything the kept take must not hold of Vantile.
    void checkTake(const Take& take)
    {
        SCOPED_TRACE(take.path);
        ASSERT_TRUE(waitUntil([&] { return saved(take.project); }, 30s)) << log();
        const json project = readJson(take.project / ".vantile" / "project.json");
        const json events = readJson(take.project / ".vantile" / "events.json");
        const json segments = readJson(take.project / ".vantile" / "focus_segments.json");
        ASSERT_TRUE(project.is_object() && events.is_array() && segments.is_array());

        // The user's clicks are in; the last one ends the demo.
        double lastClick = -1;
        int clicks = 0;
        for (const auto& event : events) {
            if (event["type"] == "leftMouseUp" && demoArea.contains(pointOf(event))) {
                lastClick = event["time"].get<double>();
                ++clicks;
            }
        }
        EXPECT_EQ(clicks, 2) << events.dump();
        std::optional<double> gestureStart;
        for (const auto& event : events) {
            if (event["type"] == "mouseMove" && event["time"].get<double>() > lastClick) {
                gestureStart = event["time"].get<double>();
                break;
            }
        }
        // Vantile's own windows take no part in the demo, nor do the keys that stop it. The way to
        // the hot corner may cross where the control will appear; from the corner on it is there.
        bool controlShown = false;
        for (const auto& event : events) {
            const QPoint point = pointOf(event);
            controlShown = controlShown || (take.stopControl && point.x() >= 1270 && point.y() >= 710);
            if (take.stopControl && (controlShown || event["type"] != "mouseMove")) {
                EXPECT_FALSE(take.stopControl->contains(point)) << event.dump();
            }
            EXPECT_NE(event["type"], "typingActivityStart") << event.dump();
        }
        for (const auto& segment : segments) {
            const QPoint centre{int(segment["centerX"].get<double>()), int(segment["centerY"].get<double>())};
            for (const auto& area : {take.stopControl, take.trayPanel}) {
                if (area) {
                    EXPECT_FALSE(area->adjusted(-40, -40, 40, 40).contains(centre)) << segment.dump();
                }
            }
        }

        // A stop by pointer leaves its way there out of the kept take; a key or a command leaves nothing to trim.
        std::optional<double> keptEnd;
        if (project.contains("trim")) keptEnd = project["trim"]["end"].get<double>();
        if (take.gestureStop) {
            ASSERT_TRUE(keptEnd && gestureStart) << project.dump();
            EXPECT_LE(*keptEnd, *gestureStart + 1e-6);
            EXPECT_GE(*keptEnd, lastClick);
        } else if (keptEnd) {
            EXPECT_GE(*keptEnd, lastClick);
        }

        const FrameScan raw =
            scanFrames({"-i", (take.project / "raw.mov").string()}, keptEnd, directory / "frames.rgb",
                       [&](const std::vector<unsigned char>& frame) { return foreignOnScreen(frame, take.trayPanel); });
        EXPECT_GT(raw.frames, 30);
        EXPECT_LE(raw.worstCount, foreignPixelLimit) << "frame " << raw.worstFrame << " of " << raw.frames;
    }
};

// A take stopped each way a user can (a desktop keybinding running `vantile --toggle-recording`,
// the stop shortcut, 停止 on the control behind the hot corner, the tray menu's stop item) keeps
// nothing of Vantile: no frame of its windows, no input over them, no zoom onto them, and the way
// to a clicked stop is trimmed off by default.
TEST_F(CleanTakeTest, NoStopPathLeavesVantileInTheKeptTake)
{
    const auto windowManager = startCompositingWindowManager();
    testing::ColouredWindow desktop(0, 0, 1280, 720, 0xffffff, "desktop", testing::ColouredWindow::Role::desktop);
    testing::ColouredWindow demoWindow(400, 250, 300, 200, 0xc8e6ff, "demo", testing::ColouredWindow::Role::frameless);
    launchApplication();
    ASSERT_TRUE(waitUntil([&] { return !visibleWindow("Vantile").empty(); }, 60s)) << log();
    std::this_thread::sleep_for(500ms);
    demoArea = windowGeometry(std::to_string(demoWindow.id()));
    ASSERT_EQ(demoArea.size(), QSize(300, 200));

    // The main window is on the screen now: the scan must see it, or it could not fail below.
    ASSERT_TRUE(waitUntil([&] {
        const FrameScan screen = scanFrames({"-f", "x11grab", "-video_size", "1280x720", "-i", display->name(),
                                             "-frames:v", "1"},
                                            std::nullopt, directory / "screen.rgb",
                                            [](const auto& frame) { return foreignOnScreen(frame, std::nullopt); });
        return screen.worstCount > 100 * foreignPixelLimit;
    }, 20s));

    // A stop while the countdown runs cancels it: nothing is recorded, the main window is back,
    // and the start that was waiting says why.
    {
        const auto before = projectDirectories();
        ChildProcess start({"sh", "-c", "exec \"$0\" --start-recording 2>&1", VANTILE_APP},
                           {.environment = environment, .captureOutput = true});
        ASSERT_TRUE(waitUntil([&] { return !visibleWindow("Vantile 即将开始录制").empty(); }, 20s)) << log();
        const auto stop = vantile({"--stop-recording"});
        EXPECT_EQ(stop.exitCode, 0) << stop.standardError;
        const auto answer = start.readLine(10s);
        ASSERT_TRUE(answer.has_value());
        EXPECT_NE(answer->find("cancelled before it started"), std::string::npos) << *answer;
        EXPECT_TRUE(waitUntil([&] { return visibleWindow("Vantile 即将开始录制").empty(); }, 10s));
        EXPECT_EQ(projectDirectories(), before);
    }

    // `vantile --toggle-recording`, as a desktop keybinding runs it.
    {
        Take take{"--toggle-recording", startTake()};
        demonstrate();
        const auto stop = vantile({"--toggle-recording"});
        EXPECT_EQ(stop.exitCode, 0) << stop.standardError;
        checkTake(take);
    }
    // The stop shortcut.
    {
        Take take{"shortcut", startTake()};
        demonstrate();
        xdotool("key ctrl+shift+F9");
        checkTake(take);
    }
    // The hot corner: rest in it, then press 停止 on the control that appears.
    {
        Take take{"hot corner", startTake(), {}, {}, true};
        demonstrate();
        travelTo(1279, 719);
        std::string control;
        ASSERT_TRUE(waitUntil([&] { return !(control = visibleWindow("Vantile 正在录制")).empty(); }, 10s)) << log();
        std::this_thread::sleep_for(200ms);
        take.stopControl = windowGeometry(control);
        // 停止 sits at the control's right end.
        travelTo(take.stopControl->right() - 40, take.stopControl->center().y());
        xdotool("click 1");
        checkTake(take);

        // The exported movie: Vantile's dark windows in the light recorded picture would show.
        const fs::path movie = directory / "hot-corner.mp4";
        const auto exported = testing::runCli({"export", take.project.string(), "-o", movie.string(), "--resolution",
                                               "720p", "--no-cursor", "--no-ripple"});
        ASSERT_EQ(exported.exitCode, 0) << exported.standardError;
        const FrameScan scan = scanFrames({"-i", movie.string()}, std::nullopt, directory / "export.rgb",
                                          [](const auto& frame) { return foreignInCard(frame); });
        EXPECT_GT(scan.frames, 30);
        EXPECT_LE(scan.worstCount, foreignPixelLimit) << "frame " << scan.worstFrame << " of " << scan.frames;
    }

    // The tray: a panel from Debian's trayer holds the icon; its menu's stop item ends the take.
    if (testing::runShell("command -v trayer").exitCode != 0) {
        ADD_FAILURE() << "trayer is missing: scripts/setup installs it";
        return;
    }
    ChildProcess tray({"trayer", "--edge", "bottom", "--align", "right", "--widthtype", "pixel", "--width", "64",
                       "--height", "32", "--SetDockType", "true", "--SetPartialStrut", "true"},
                      {.environment = environment});
    std::string icon;
    ASSERT_TRUE(waitUntil([&] { return !(icon = dockedIcon()).empty(); }, 20s)) << log();
    {
        Take take{"tray", startTake(), {}, windowGeometry(visibleWindow("panel")), true};
        demonstrate();
        const QRect iconArea = windowGeometry(icon);
        travelTo(iconArea.center().x(), iconArea.center().y());
        const auto before = visibleWindowsOfVantile();
        xdotool("click 3");
        std::string menu;
        ASSERT_TRUE(waitUntil([&] {
            for (const auto& window : visibleWindowsOfVantile())
                if (std::ranges::find(before, window) == before.end()) menu = window;
            return !menu.empty();
        }, 10s)) << log();
        std::this_thread::sleep_for(300ms);
        const QRect menuArea = windowGeometry(menu);
        const std::optional<int> stopRow = secondToLastTextRow(menuArea);
        ASSERT_TRUE(stopRow) << "no menu items found in " << menuArea.x() << "," << menuArea.y();
        travelTo(menuArea.center().x(), *stopRow);
        xdotool("click 1");
        checkTake(take);
    }
    application.reset();
    windowManager->stop();
}

}  // namespace
}  // namespace vantile
