// Records the 1920x1080 monitor of a private headless GNOME session through the screen-cast
// portal while a full-screen terminal scrolls without pause, and reports what vantile-cli record
// costs (its CPU while capturing, the frames it dropped) and how closely the recorded pointer
// moves follow moves injected through mutter's remote-desktop interface.
// Usage: wayland_capture_bench [SECONDS]   (default 60)

#include "support/DesktopDriver.h"
#include "support/HeadlessDesktop.h"

#include <nlohmann/json.hpp>
#include <unistd.h>

#include <algorithm>
#include <cmath>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <string>
#include <thread>

namespace {

using namespace vantile;
using namespace std::chrono_literals;

// User plus system CPU seconds of a running process, or nothing once it is gone.
std::optional<double> processCpuSeconds(pid_t pid)
{
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    const auto afterName = text.rfind(')');
    if (afterName == std::string::npos) return std::nullopt;
    std::istringstream fields(text.substr(afterName + 2));
    std::string field;
    double ticks = 0;
    for (int index = 3; index <= 15 && fields >> field; ++index)
        if (index == 14 || index == 15) ticks += std::stod(field);
    return ticks / double(sysconf(_SC_CLK_TCK));
}

std::string readAll(const std::filesystem::path& path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

int run(double seconds)
{
    HeadlessDesktop desktop({});
    DesktopDriver driver(desktop);
    std::string pattern = (std::filesystem::temp_directory_path() / "vantile-wayland-bench-XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("cannot create a temporary directory");
    const std::filesystem::path directory = pattern;
    desktop.share(directory);

    // Fresh lines every 30 ms keep most of the monitor changing, like a video or a busy log.
    auto terminal = desktop.launch({"foot", "--fullscreen", "sh", "-c",
                                    "while :; do od -An -x -N 3000 /dev/urandom; sleep 0.03; done"});
    if (!driver.waitUntil([&] { return driver.darkPixels() > 1'000'000; }, 20s))
        throw std::runtime_error("the terminal did not fill the screen");

    const std::filesystem::path errors = directory / "record.err";
    auto recorder = desktop.launch({"sh", "-c", "exec \"$@\" 2>\"$VANTILE_BENCH_ERRORS\"", "sh", VANTILE_CLI, "record",
                                    "--duration", std::to_string(seconds), "--root", (directory / "projects").string()},
                                   {"VANTILE_BACKEND=wayland", "XDG_STATE_HOME=" + (directory / "state").string(),
                                    "VANTILE_BENCH_ERRORS=" + errors.string()},
                                   true);
    driver.answerDialog(true);
    if (!driver.waitUntil([&] { return readAll(errors).find("Recording ") != std::string::npos; }, 20s))
        throw std::runtime_error("the recording did not start: " + readAll(errors));
    const auto startedAt = std::chrono::steady_clock::now();
    const double cpuAtStart = processCpuSeconds(recorder->pid()).value_or(0);
    double cpuAtEnd = cpuAtStart;
    auto lastSample = startedAt;
    // Sampled until the capture stops (the stop flow that follows is not capture). A pointer move
    // every two seconds, to distinct places, at the middle of its remote-desktop call.
    std::vector<std::pair<CodablePoint, std::chrono::steady_clock::time_point>> moves;
    auto nextMove = startedAt + 1s;
    while (readAll(errors).find("Generating demo") == std::string::npos && recorder->isRunning()) {
        if (auto cpu = processCpuSeconds(recorder->pid())) {
            cpuAtEnd = *cpu;
            lastSample = std::chrono::steady_clock::now();
        }
        if (std::chrono::steady_clock::now() >= nextMove &&
            std::chrono::steady_clock::now() < startedAt + std::chrono::duration<double>(seconds - 1)) {
            const int index = int(moves.size());
            const CodablePoint target{double(100 + (index * 397) % 1700), double(100 + (index * 211) % 880)};
            const auto before = std::chrono::steady_clock::now();
            driver.input().movePointer(target.x, target.y);
            moves.emplace_back(target, before + (std::chrono::steady_clock::now() - before) / 2);
            nextMove += 2s;
        }
        std::this_thread::sleep_for(20ms);
    }
    std::string project;
    while (auto line = recorder->readLine(60s)) project = *line;
    const double wall = std::chrono::duration<double>(lastSample - startedAt).count();
    const double cores = (cpuAtEnd - cpuAtStart) / wall;

    const std::string log = readAll(errors);
    std::smatch counts;
    if (!std::regex_search(log, counts, std::regex("Captured (\\d+) frames, dropped (\\d+)")))
        throw std::runtime_error("the recorder reported no frame counts: " + log);
    const double captured = std::stod(counts[1]);
    const double dropped = std::stod(counts[2]);
    const double droppedShare = 100.0 * dropped / (captured + dropped);
    std::printf("1920x1080 Wayland monitor (headless mutter, portal, PipeWire shared memory), %.0f s, terminal scrolling\n",
                seconds);
    std::printf("  %-28s %10.0f   (expected %.0f)\n", "frames captured", captured, seconds * 30);
    std::printf("  %-28s %10.0f   %.2f%%   target < 0.5%%  %s\n", "frames dropped", dropped, droppedShare,
                droppedShare < 0.5 ? "ok" : "MISSED");
    std::printf("  %-28s %10.2f   target < 0.50  %s\n", "vantile-cli CPU (cores)", cores, cores < 0.5 ? "ok" : "MISSED");

    // Recorded minus injected times share one offset (the recording's start): deviations from
    // their median are what the pointer's timing gets wrong.
    const auto events = nlohmann::json::parse(readAll(std::filesystem::path(project) / ".vantile" / "events.json"));
    std::vector<double> offsets;
    for (const auto& [target, injected] : moves) {
        for (const auto& event : events) {
            if (event["type"] != "mouseMove" || std::abs(event["x"].get<double>() - target.x) > 1 ||
                std::abs(event["y"].get<double>() - target.y) > 1)
                continue;
            offsets.push_back(event["time"].get<double>() - std::chrono::duration<double>(injected - startedAt).count());
            break;
        }
    }
    if (!offsets.empty()) {
        std::vector<double> sorted = offsets;
        std::sort(sorted.begin(), sorted.end());
        const double median = sorted[sorted.size() / 2];
        double worst = 0;
        int within = 0;
        for (double offset : offsets) {
            worst = std::max(worst, std::abs(offset - median));
            if (std::abs(offset - median) <= 0.1) ++within;
        }
        std::printf("  %-28s %6zu of %zu at their exact place\n", "injected pointer moves", offsets.size(), moves.size());
        std::printf("  %-28s %10.3f s   %d of %zu within 0.1 s  %s\n", "worst pointer time deviation", worst, within,
                    offsets.size(), within == int(offsets.size()) ? "ok" : "MISSED");
    }
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc > 1 ? std::atof(argv[1]) : 60);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "wayland_capture_bench: %s\n", error.what());
        return 1;
    }
}
