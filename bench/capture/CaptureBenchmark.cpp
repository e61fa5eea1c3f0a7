// Records a virtual display whose whole picture changes every frame and reports whether capture
// keeps up: frames captured against the recording's clock, frames dropped, and the recorder's CPU.
// Usage: capture_bench [SECONDS [WIDTHxHEIGHT@FPS[+camera] ...]]
//   (default 60 s; 1920x1080@30, 1920x1080@60, 2560x1600@30, 3840x2160@30, 1920x1080@30+camera)
// "+camera" records a 720p30 camera beside the screen, as a recording with a camera does.

#include "../support/SyntheticCamera.h"
#include "capture/ScreenRecorder.h"
#include "capture/camera/CameraRecorder.h"
#include "support/VirtualDisplay.h"
#include "capture/x11/X11CapturePlatform.h"
#include "capture/x11/X11Connection.h"
#include "capture/x11/X11SourceLister.h"

#include <sys/resource.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace vantile;

double cpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

double threadCpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_THREAD, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

struct Scenario {
    int width = 1920;
    int height = 1080;
    int fps = 30;
    bool camera = false;
};

// Like a page scrolled without pause under a playing video: each frame the whole screen moves up
// by a few rows (server-side, so every pixel changes), the rows uncovered at the bottom get fresh
// blocks, and 100 blocks are repainted anywhere. Returns the thread's own CPU seconds, which
// are not the recorder's.
double animate(const std::string& display, Scenario scenario, std::atomic<bool>& running)
{
    const int width = scenario.width;
    const int height = scenario.height;
    constexpr int scrolledRows = 6;
    X11Connection connection(display);
    const xcb_gcontext_t context = xcb_generate_id(connection.get());
    xcb_create_gc(connection.get(), context, connection.root(), 0, nullptr);
    const std::uint32_t unset[] = {XCB_SUBWINDOW_MODE_INCLUDE_INFERIORS};
    xcb_change_gc(connection.get(), context, XCB_GC_SUBWINDOW_MODE, unset);
    std::mt19937 random(1);
    const auto fill = [&](int x, int y, int blockWidth, int blockHeight) {
        const std::uint32_t colour[] = {static_cast<std::uint32_t>(random() & 0xffffff)};
        xcb_change_gc(connection.get(), context, XCB_GC_FOREGROUND, colour);
        const xcb_rectangle_t rectangle{static_cast<std::int16_t>(x), static_cast<std::int16_t>(y),
                                        static_cast<std::uint16_t>(blockWidth), static_cast<std::uint16_t>(blockHeight)};
        xcb_poly_fill_rectangle(connection.get(), connection.root(), context, 1, &rectangle);
    };
    // Start from a screen full of blocks, so the scroll moves detail, not a flat colour.
    for (int y = 0; y < height; y += 24)
        for (int x = 0; x < width; x += 40) fill(x, y, 40, 24);
    const auto interval = std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(1.0 / scenario.fps));
    auto due = std::chrono::steady_clock::now();
    while (running) {
        xcb_copy_area(connection.get(), connection.root(), connection.root(), context, 0, scrolledRows, 0, 0,
                      static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height - scrolledRows));
        for (int x = 0; x < width; x += 40) fill(x, height - scrolledRows, 40, scrolledRows);
        for (int block = 0; block < 100; ++block)
            fill(static_cast<int>(random() % width), static_cast<int>(random() % height), 16 + random() % 160,
                 16 + random() % 90);
        free(xcb_get_input_focus_reply(connection.get(), xcb_get_input_focus(connection.get()), nullptr));
        due += interval;
        std::this_thread::sleep_until(due);
    }
    return threadCpuSeconds();
}

bool run(Scenario scenario, double seconds)
{
    const int width = scenario.width;
    const int height = scenario.height;
    VirtualDisplay display(width, height);
    std::atomic<bool> running = true;
    double painterCpu = 0;
    std::thread painter([&] { painterCpu = animate(display.name(), scenario, running); });
    std::this_thread::sleep_for(std::chrono::milliseconds(500));

    X11SourceLister lister(display.name());
    const ListedDisplay screen = lister.screens().front();
    const CaptureSource source{.id = "display-" + std::to_string(screen.number), .region = screen.frame};
    const std::filesystem::path movie =
        std::filesystem::temp_directory_path() /
        ("vantile-capture-bench-" + std::to_string(width) + "-" + std::to_string(scenario.fps) + ".mov");
    X11CapturePlatform platform(display.name());
    ScreenRecorder recorder(platform);

    const std::filesystem::path cameraDirectory = std::filesystem::temp_directory_path() / "vantile-capture-bench-camera";
    std::filesystem::create_directories(cameraDirectory);
    // The camera's pictures are made before measuring; its recorder starts with the screen's.
    auto pictures = scenario.camera ? std::make_unique<bench::SyntheticCamera>(1280, 720) : nullptr;
    std::optional<CameraRecorder> camera;
    const double cpuBefore = cpuSeconds();
    const auto start = std::chrono::steady_clock::now();
    if (pictures) camera.emplace(std::move(pictures), cameraDirectory);
    recorder.start(source, movie, {}, scenario.fps);
    if (camera) camera->startClock(start);
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    const RecordingResult result = recorder.stop();
    if (camera) camera->finish(std::chrono::steady_clock::now());
    camera.reset();
    std::filesystem::remove_all(cameraDirectory);
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    running = false;
    painter.join();
    // The painter thread's own work before the recording is small; all of it is left out.
    const double cpu = cpuSeconds() - cpuBefore - painterCpu;

    const CaptureStatistics statistics = recorder.statistics();
    const double expected = seconds * scenario.fps;
    const double droppedShare = 100.0 * static_cast<double>(statistics.droppedFrames) /
                                static_cast<double>(statistics.capturedFrames + statistics.droppedFrames);
    const bool keptUp = droppedShare <= 0.5;
    const bool cheap = cpu / wall < 1.5;
    std::printf("%dx%d at %d fps, %.0f s, whole screen scrolling%s\n", width, height, scenario.fps, seconds,
                scenario.camera ? ", a 720p30 camera recorded beside it" : "");
    std::printf("  %-28s %10.0f   (expected %.0f)\n", "frames captured", double(statistics.capturedFrames), expected);
    std::printf("  %-28s %10lld   %.2f%%   target <= 0.5%%  %s\n", "frames dropped",
                static_cast<long long>(statistics.droppedFrames), droppedShare, keptUp ? "ok" : "MISSED");
    std::printf("  %-28s %10lld\n", "  of which encoder busy", static_cast<long long>(statistics.encoderBusyDrops));
    std::printf("  %-28s %10.2f   target < 1.50  %s\n", "recorder CPU (cores)", cpu / wall, cheap ? "ok" : "MISSED");
    std::printf("  %-28s %10.1f MB (%.1f s)\n", "raw movie", double(std::filesystem::file_size(movie)) / 1e6,
                result.duration);
    std::fflush(stdout);
    std::filesystem::remove(movie);
    return keptUp && cheap;
}

std::optional<Scenario> parseScenario(const std::string& text)
{
    Scenario scenario;
    char separator = 0;
    char at = 0;
    std::istringstream input(text);
    if (!(input >> scenario.width >> separator >> scenario.height >> at >> scenario.fps) || separator != 'x' ||
        at != '@' || !RecordingFrameRate::isOffered(scenario.fps))
        return std::nullopt;
    std::string rest;
    input >> rest;
    if (rest == "+camera") {
        scenario.camera = true;
    } else if (!rest.empty()) {
        return std::nullopt;
    }
    return scenario;
}

}  // namespace

int main(int argc, char** argv)
{
    const double seconds = argc > 1 ? std::atof(argv[1]) : 60;
    std::vector<Scenario> scenarios;
    for (int index = 2; index < argc; ++index) {
        const auto scenario = parseScenario(argv[index]);
        if (!scenario) {
            std::fprintf(stderr, "capture_bench: \"%s\" is not WIDTHxHEIGHT@FPS[+camera] with FPS 30 or 60\n",
                         argv[index]);
            return 2;
        }
        scenarios.push_back(*scenario);
    }
    if (scenarios.empty()) {
        scenarios = {{1920, 1080, 30}, {1920, 1080, 60}, {2560, 1600, 30}, {3840, 2160, 30}, {1920, 1080, 30, true}};
    }
    bool allHeld = true;
    try {
        for (const Scenario& scenario : scenarios) allHeld = run(scenario, seconds) && allHeld;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "capture_bench: %s\n", error.what());
        return 1;
    }
    return allHeld ? 0 : 3;
}
