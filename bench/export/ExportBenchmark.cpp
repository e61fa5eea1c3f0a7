// Export throughput and memory against a plain FFmpeg transcode, and where a frame's time goes.
// Usage: export_bench [WORKDIR] [--quick]
#include "engine/CameraPathBuilder.h"
#include "render/FrameCompositor.h"
#include "render/ImageConversion.h"
#include "render/MovieReader.h"
#include "render/MovieWriter.h"
#include "store/ProjectFileManager.h"

#include <QGuiApplication>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

using namespace vantile;
namespace fs = std::filesystem;

namespace {

struct RunResult {
    double seconds = 0;
    double peakMegabytes = 0;
    double cpuSeconds = 0;  // user + system, all threads
};

// Runs a command with stdout and stderr discarded; wall time and the child's peak resident size.
RunResult run(const std::vector<std::string>& command)
{
    std::fflush(stdout);
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        std::freopen("/dev/null", "w", stdout);
        std::freopen("/dev/null", "w", stderr);
        std::vector<char*> argv;
        for (const std::string& part : command) argv.push_back(const_cast<char*>(part.c_str()));
        argv.push_back(nullptr);
        execvp(argv[0], argv.data());
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::fprintf(stderr, "command failed: %s\n", command[0].c_str());
        std::exit(1);
    }
    const auto toSeconds = [](const timeval& value) {
        return static_cast<double>(value.tv_sec) + static_cast<double>(value.tv_usec) * 1e-6;
    };
    return {seconds, static_cast<double>(usage.ru_maxrss) / 1024.0, toSeconds(usage.ru_utime) + toSeconds(usage.ru_stime)};
}

// Process CPU time, so the decoder's own threads count too.
double cpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

fs::path sample(const fs::path& work, const std::string& name, int seconds)
{
    const fs::path directory = work / name;
    if (!fs::exists(directory / "raw.mov")) {
        run({VANTILE_CLI, "sample", directory.string(), "--duration", std::to_string(seconds), "--audio", "system"});
    }
    return directory;
}

void row(const char* what, const std::string& figure, const char* target)
{
    std::printf("%-44s %-22s %s\n", what, figure.c_str(), target);
}

std::string format(const char* pattern, double value)
{
    char text[64];
    std::snprintf(text, sizeof text, pattern, value);
    return text;
}

// CPU cost per frame of each stage at 1080p, measured on this thread.
void frameCosts(const fs::path& project)
{
    const RecordingProject recording = ProjectFileManager(project.parent_path()).loadProject(project);
    MovieReader reader(project / "raw.mov");
    std::vector<FrameHandle> frames;
    double decode = 0;
    for (int i = 0; i < 120; ++i) {
        const double before = cpuSeconds();
        FrameHandle frame = reader.readFrame();
        decode += cpuSeconds() - before;
        if (!frame) break;
        if (i % 4 == 0) frames.push_back(std::move(frame));
    }
    QImage source;
    CompositorScene scene{static_cast<double>(recording.video.width), static_cast<double>(recording.video.height),
                          recording.renderSettings,
                          CameraPathBuilder::buildKeyframes(recording.focusSegments, recording.duration,
                                                            static_cast<double>(recording.video.width),
                                                            static_cast<double>(recording.video.height)),
                          recording.cursorFrames};
    std::size_t current = 0;
    // As the export does: decoded frames, scaled in YUV and converted where they land.
    FrameCompositor compositor(scene, {});
    compositor.setDecodedSource([&](double) { return frames[current % frames.size()].get(); });
    QImage canvas(1920, 1080, QImage::Format_RGB32);
    FrameHandle yuv = allocateFrame(AV_PIX_FMT_YUV420P, 1920, 1080);
    QRegion previous(canvas.rect());
    double draw = 0;
    double convert = 0;
    const int count = 90;
    // The static layer (background, card shadow, chrome) is drawn once per export; measure the
    // frames after it.
    compositor.drawFrame(canvas, 2.0);
    for (int i = 0; i < count; ++i) {
        current = static_cast<std::size_t>(i);
        const double t0 = cpuSeconds();
        const QRegion changed = compositor.drawFrame(canvas, 2.0 + (i + 1) / 30.0);
        const double t1 = cpuSeconds();
        // As the export does: only what differs from the unchanging parts, now or in the
        // frame this buffer held before.
        for (const QRect& rect : changed.united(previous)) convertImageToYuv420(canvas, *yuv, rect);
        previous = changed;
        draw += t1 - t0;
        convert += cpuSeconds() - t1;
    }
    // For comparison: what converting a whole raw frame to RGB first would cost.
    const double beforeWhole = cpuSeconds();
    for (int i = 0; i < count; ++i) convertFrameToImage(*frames[static_cast<std::size_t>(i) % frames.size()], source);
    const double whole = (cpuSeconds() - beforeWhole) / count;
    row("decode one 1080p raw frame (CPU, all threads)", format("%.2f ms", decode / 120 * 1000), "-");
    row("whole raw frame YUV->RGB (not done by the export)", format("%.2f ms", whole * 1000), "-");
    row("draw one frame (crop scaled in YUV + converted, cursor)", format("%.2f ms", draw / count * 1000), "-");
    row("RGB->YUV420 one frame", format("%.2f ms", convert / count * 1000), "-");
    row("draw + convert", format("%.2f ms", (draw + convert) / count * 1000), "< 3 ms");
}

}  // namespace

int main(int argc, char** argv)
{
    const fs::path work = argc > 1 && argv[1][0] != '-' ? fs::path(argv[1]) : fs::temp_directory_path() / "vantile-bench";
    const bool quick = argc > 2 && std::string(argv[2]) == "--quick";
    fs::create_directories(work);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    quietMediaLibraryLogs();

    const int longSeconds = quick ? 10 : 60;
    const int shortSeconds = quick ? 4 : 20;
    std::printf("export benchmark, work directory %s\n\n", work.c_str());
    const fs::path longProject = sample(work, "sample-long", longSeconds);
    const fs::path shortProject = sample(work, "sample-short", shortSeconds);
    frameCosts(longProject);

    const auto frames = static_cast<double>(longSeconds * 30);
    const RunResult plain = run({"ffmpeg", "-v", "error", "-y", "-i", (longProject / "raw.mov").string(), "-vf",
                                 "scale=1920:1080", "-c:v", "libx264", "-pix_fmt", "yuv420p", "-an",
                                 (work / "plain.mp4").string()});
    const RunResult ours = run({VANTILE_CLI, "export", longProject.string(), "-o", (work / "export-1080p.mp4").string(),
                                "--aspect", "landscape16x9", "--resolution", "p1080"});
    const RunResult shortRun = run({VANTILE_CLI, "export", shortProject.string(), "-o",
                                    (work / "export-short.mp4").string(), "--aspect", "landscape16x9", "--resolution", "p1080"});
    const RunResult qhd = run({VANTILE_CLI, "export", longProject.string(), "-o", (work / "export-1440p.mp4").string(),
                               "--resolution", "p1440"});
    const RunResult portrait = run({VANTILE_CLI, "export", longProject.string(), "-o",
                                    (work / "export-portrait.mp4").string(), "--aspect", "portrait9x16", "--resolution",
                                    "p1080"});

    std::printf("\n%d s 1080p30 screen-like sample, exported to 1080p30 (libx264 defaults)\n", longSeconds);
    row("plain ffmpeg transcode", format("%.1f fps", frames / plain.seconds), "-");
    row("vantile export", format("%.1f fps", frames / ours.seconds), "-");
    row("CPU per frame, plain ffmpeg (decode+scale+encode)", format("%.1f ms", plain.cpuSeconds / frames * 1000), "-");
    row("CPU per frame, vantile export", format("%.1f ms", ours.cpuSeconds / frames * 1000), "-");
    row("throughput ratio (vantile / plain)", format("%.2f", plain.seconds / ours.seconds), ">= 0.85 (aim 0.95)");
    row("peak RSS plain ffmpeg", format("%.0f MB", plain.peakMegabytes), "-");
    row("peak RSS vantile export", format("%.0f MB", ours.peakMegabytes), "-");
    row("peak RSS difference", format("%+.0f MB", ours.peakMegabytes - plain.peakMegabytes), "<= +150 MB");
    row("peak RSS, short export", format("%.0f MB", shortRun.peakMegabytes), "-");
    row("peak RSS growth long vs short", format("%+.0f MB", ours.peakMegabytes - shortRun.peakMegabytes), "~0 MB");
    row("1440p export", format("%.1f fps", frames / qhd.seconds), "-");
    row("9:16 export (1080x1920)", format("%.1f fps", frames / portrait.seconds), "-");
    return 0;
}
