// What recording a 720p30 camera beside the screen costs: the camera recorder's own CPU (its
// encoder thread) while a camera delivers noisy, moving 1280x720 pictures 30 times a second.
// Usage: camera_recording_bench [SECONDS]   (default 20 s)

#include "capture/camera/CameraRecorder.h"
#include "../support/SyntheticCamera.h"

#include <sys/resource.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

namespace {

using namespace vantile;
using SteadyClock = std::chrono::steady_clock;

double cpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

}  // namespace

int main(int argc, char** argv)
{
    const double seconds = argc > 1 ? std::atof(argv[1]) : 20;
    const std::filesystem::path directory = std::filesystem::temp_directory_path() / "vantile-camera-bench";
    std::filesystem::remove_all(directory);
    std::filesystem::create_directories(directory);
    auto camera = std::make_unique<bench::SyntheticCamera>(1280, 720);
    // Settle the picture maker before measuring.
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const double idleStart = cpuSeconds();
    std::this_thread::sleep_for(std::chrono::seconds(2));
    const double idleCost = (cpuSeconds() - idleStart) / 2;

    const double cpuStart = cpuSeconds();
    const auto started = SteadyClock::now();
    CameraRecorder recorder(std::move(camera), directory);
    recorder.startClock(started);
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    const CameraTake take = recorder.finish(SteadyClock::now());
    const double wall = std::chrono::duration<double>(SteadyClock::now() - started).count();
    const double cores = (cpuSeconds() - cpuStart) / wall - idleCost;
    const auto bytes = std::filesystem::file_size(directory / CameraRecorder::fileName);
    std::printf("%-44s %10s %10s\n", "what", "figure", "target");
    std::printf("%-44s %10.3f %10s\n", "camera recording at 720p30, cores", cores, "<= 0.3");
    std::printf("%-44s %10.1f %10s\n", "camera.mov, Mbit/s", bytes * 8.0 / seconds / 1e6, "");
    std::printf("%-44s %10s %10s\n", "frames kept", take.camera ? "yes" : "no", "yes");
    std::filesystem::remove_all(directory);
    return 0;
}
