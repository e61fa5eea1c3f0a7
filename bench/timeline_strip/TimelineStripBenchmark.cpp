// What the timeline's picture and waveform strip costs on long recordings: wall time, CPU time
// and peak memory of readTimelineStrip for the default request, each run in a process of its own.
// Usage: timeline_strip_bench [WORKDIR]  (the generated movies are kept there for the next run)
#include "render/TimelineStripCache.h"
#include "render/TimelineStripReader.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

using namespace vantile;
namespace fs = std::filesystem;

namespace {

struct Measurement {
    double wallSeconds = 0;
    double cpuSeconds = 0;  // user + system, all threads
    double peakMegabytes = 0;
};

double seconds(const timeval& value)
{
    return static_cast<double>(value.tv_sec) + static_cast<double>(value.tv_usec) * 1e-6;
}

// A raw movie as the recorder writes it: 1080p H.264 at 30 fps with a keyframe each second and
// no B-frames, fragmented QuickTime, and two AAC tracks (a tone for the system, noise for the
// microphone). The picture is a still with one moving box, so it encodes quickly.
fs::path rawMovie(const fs::path& work, int minutes)
{
    const fs::path movie = work / ("recording-" + std::to_string(minutes) + "min.mov");
    if (fs::exists(movie)) return movie;
    const std::string duration = std::to_string(minutes * 60);
    const fs::path partial = work / ("partial-" + std::to_string(minutes) + "min.mov");
    const std::string command =
        "ffmpeg -v error -y -f lavfi -i \"color=c=0x1e2a3a:s=1920x1080:r=30:d=" + duration +
        ",drawbox=x='mod(t*40\\,1700)':y=480:w=160:h=90:color=white:t=fill\""
        " -f lavfi -i \"sine=f=440:r=48000:d=" + duration + "\" -f lavfi -i \"anoisesrc=a=0.1:r=48000:d=" + duration +
        "\" -map 0 -map 1 -map 2 -c:v libx264 -preset ultrafast -g 30 -bf 0 -pix_fmt yuv420p"
        " -c:a aac -b:a 160k -ac 2 -movflags frag_keyframe+empty_moov+default_base_moof '" + partial.string() + "'";
    std::fprintf(stderr, "writing a %d-minute movie...\n", minutes);
    if (std::system(command.c_str()) != 0) {
        std::fprintf(stderr, "could not write %s\n", movie.c_str());
        std::exit(1);
    }
    fs::rename(partial, movie);
    return movie;
}

// Forked so each figure is that of the read alone: the child's own peak memory and CPU time.
Measurement measure(const fs::path& movie, const TimelineStripRequest& request)
{
    std::fflush(stdout);
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        const TimelineStrip strip = readTimelineStrip(movie, request);
        std::size_t pictures = 0;
        for (const QImage& picture : strip.thumbnails) pictures += picture.isNull() ? 0 : 1;
        const bool complete = pictures == static_cast<std::size_t>(request.thumbnailCount) && strip.waveforms.size() == 2;
        _exit(complete ? 0 : 2);
    }
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::fprintf(stderr, "the strip of %s came back incomplete\n", movie.c_str());
        std::exit(1);
    }
    return {wall, seconds(usage.ru_utime) + seconds(usage.ru_stime), static_cast<double>(usage.ru_maxrss) / 1024.0};
}

double processCpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

struct CacheFigures {
    double wallSeconds = 1e9;
    double cpuSeconds = 1e9;
    double entryKilobytes = 0;
};

// What opening the project again costs: the strip read back from the disk cache (best of five).
CacheFigures measureCacheLoad(const fs::path& movie, const TimelineStripRequest& request, const fs::path& work)
{
    const TimelineStripCache cache(work / "strips");
    const TimelineStrip strip = readTimelineStrip(movie, request);
    if (!cache.store(movie, request, strip)) {
        std::fprintf(stderr, "could not store the strip of %s\n", movie.c_str());
        std::exit(1);
    }
    CacheFigures best;
    for (int attempt = 0; attempt < 5; ++attempt) {
        const auto start = std::chrono::steady_clock::now();
        const double cpuStart = processCpuSeconds();
        const auto loaded = cache.load(movie, request);
        const double cpu = processCpuSeconds() - cpuStart;
        const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        if (!loaded || *loaded != strip) {
            std::fprintf(stderr, "the cached strip of %s differs from the decoded one\n", movie.c_str());
            std::exit(1);
        }
        best.wallSeconds = std::min(best.wallSeconds, wall);
        best.cpuSeconds = std::min(best.cpuSeconds, cpu);
    }
    std::error_code size;
    best.entryKilobytes = static_cast<double>(fs::file_size(*cache.entryOf(movie, request), size)) / 1024.0;
    return best;
}

void row(const std::string& what, const Measurement& figures, const char* target)
{
    std::printf("%-36s %9.2f s %9.2f s %9.1f MB   %s\n", what.c_str(), figures.wallSeconds, figures.cpuSeconds,
                figures.peakMegabytes, target);
}

}  // namespace

int main(int argc, char** argv)
{
    const fs::path work = argc > 1 ? fs::path(argv[1]) : fs::temp_directory_path() / "vantile-strip-bench";
    fs::create_directories(work);
    std::printf("%-36s %11s %11s %12s   %s\n", "what", "wall", "CPU", "peak memory", "target");
    for (const int minutes : {10, 30}) {
        const fs::path movie = rawMovie(work, minutes);
        TimelineStripRequest request;
        request.duration = minutes * 60.0;
        const std::string name = std::to_string(minutes) + " min";
        row("strip, " + name, measure(movie, request), "wall < 2 s");
        TimelineStripRequest waveformsOnly = request;
        waveformsOnly.thumbnailCount = 0;
        row("  waveforms alone, " + name, measure(movie, waveformsOnly), "");
    }
    // Forks are over: the parent may now grow.
    for (const int minutes : {10, 30}) {
        TimelineStripRequest request;
        request.duration = minutes * 60.0;
        const CacheFigures cached = measureCacheLoad(rawMovie(work, minutes), request, work);
        std::printf("%-36s %7.1f ms %7.1f ms %9.0f KB   %s\n",
                    ("strip from the cache, " + std::to_string(minutes) + " min").c_str(), cached.wallSeconds * 1e3,
                    cached.cpuSeconds * 1e3, cached.entryKilobytes, "wall < 50 ms (last column: entry size)");
    }
    return 0;
}
