// Records a virtual display whose content changes every frame and reports whether capture
// keeps up: frames captured against the 30 fps clock, frames dropped, and the recorder's CPU.
// Usage: capture_bench [SECONDS [BLOCKS]]   (default 60 s, 100 blocks a frame; 1920x1080, then 2560x1440)

#include "capture/ScreenRecorder.h"
#include "support/VirtualDisplay.h"
#include "capture/x11/X11CapturePlatform.h"
#include "capture/x11/X11Connection.h"
#include "capture/x11/X11SourceLister.h"

#include <sys/resource.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <thread>

namespace {

using namespace vantile;

double cpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// Paints `blocks` coloured blocks every 33 ms, like a busy screen (video, scrolling).
void animate(const std::string& display, int width, int height, int blocks, std::atomic<bool>& running)
{
    X11Connection connection(display);
    const xcb_gcontext_t context = xcb_generate_id(connection.get());
    xcb_create_gc(connection.get(), context, connection.root(), 0, nullptr);
    const std::uint32_t unset[] = {XCB_SUBWINDOW_MODE_INCLUDE_INFERIORS};
    xcb_change_gc(connection.get(), context, XCB_GC_SUBWINDOW_MODE, unset);
    std::mt19937 random(1);
    auto due = std::chrono::steady_clock::now();
    while (running) {
        for (int block = 0; block < blocks; ++block) {
            const std::uint32_t colour[] = {static_cast<std::uint32_t>(random() & 0xffffff)};
            xcb_change_gc(connection.get(), context, XCB_GC_FOREGROUND, colour);
            const xcb_rectangle_t rectangle{static_cast<std::int16_t>(random() % width),
                                            static_cast<std::int16_t>(random() % height),
                                            static_cast<std::uint16_t>(16 + random() % 160),
                                            static_cast<std::uint16_t>(16 + random() % 90)};
            xcb_poly_fill_rectangle(connection.get(), connection.root(), context, 1, &rectangle);
        }
        free(xcb_get_input_focus_reply(connection.get(), xcb_get_input_focus(connection.get()), nullptr));
        due += std::chrono::milliseconds(33);
        std::this_thread::sleep_until(due);
    }
}

void run(int width, int height, double seconds, int blocks)
{
    VirtualDisplay display(width, height);
    std::atomic<bool> running = true;
    std::thread painter(animate, display.name(), width, height, blocks, std::ref(running));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));

    X11SourceLister lister(display.name());
    const ListedDisplay screen = lister.screens().front();
    const CaptureSource source{.id = "display-" + std::to_string(screen.number), .region = screen.frame};
    const std::filesystem::path movie =
        std::filesystem::temp_directory_path() / ("vantile-capture-bench-" + std::to_string(width) + ".mov");
    X11CapturePlatform platform(display.name());
    ScreenRecorder recorder(platform);

    const double cpuBefore = cpuSeconds();
    const auto start = std::chrono::steady_clock::now();
    recorder.start(source, movie, {});
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    const RecordingResult result = recorder.stop();
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const double cpu = cpuSeconds() - cpuBefore;
    running = false;
    painter.join();

    const CaptureStatistics statistics = recorder.statistics();
    const double expected = seconds * 30;
    const double droppedShare = 100.0 * static_cast<double>(statistics.droppedFrames) /
                                static_cast<double>(statistics.capturedFrames + statistics.droppedFrames);
    std::printf("%dx%d, %.0f s, %d blocks repainted a frame\n", width, height, seconds, blocks);
    std::printf("  %-28s %10.0f   (expected %.0f)\n", "frames captured", double(statistics.capturedFrames), expected);
    std::printf("  %-28s %10lld   %.2f%%   target <= 0.5%%  %s\n", "frames dropped",
                static_cast<long long>(statistics.droppedFrames), droppedShare, droppedShare <= 0.5 ? "ok" : "MISSED");
    std::printf("  %-28s %10lld\n", "  of which encoder busy", static_cast<long long>(statistics.encoderBusyDrops));
    std::printf("  %-28s %10.2f   target < 1.00  %s\n", "recorder CPU (cores)", cpu / wall,
                cpu / wall < 1.0 ? "ok" : "MISSED");
    std::printf("  %-28s %10.1f MB (%.1f s)\n", "raw movie", double(std::filesystem::file_size(movie)) / 1e6,
                result.duration);
    std::filesystem::remove(movie);
}

}  // namespace

int main(int argc, char** argv)
{
    const double seconds = argc > 1 ? std::atof(argv[1]) : 60;
    const int blocks = argc > 2 ? std::atoi(argv[2]) : 100;
    try {
        run(1920, 1080, seconds, blocks);
        run(2560, 1440, seconds, blocks);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "capture_bench: %s\n", error.what());
        return 1;
    }
    return 0;
}
