// Export throughput and memory against a plain FFmpeg transcode, and where a frame's time goes.
// Usage: export_bench [WORKDIR] [--quick | --frame-costs]
#include "../support/ChildRun.h"
#include "render/FrameCompositor.h"
#include "render/ImageConversion.h"
#include "render/MovieReader.h"
#include "render/MovieWriter.h"
#include "render/YuvFrameCompositor.h"
#include "store/ProjectFileManager.h"

#include <QGuiApplication>


#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <optional>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

using namespace vantile;
namespace fs = std::filesystem;

namespace {

using bench::RunResult;

// Where the compared programs' output goes: the work directory, set before the first run.
fs::path commandLog = fs::temp_directory_path() / "vantile-bench-command.log";

RunResult run(const std::vector<std::string>& command) { return bench::runChild(command, commandLog); }

// Process CPU time, so the decoder's own threads count too.
double cpuSeconds(clockid_t clock = CLOCK_PROCESS_CPUTIME_ID)
{
    timespec now{};
    clock_gettime(clock, &now);
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
    std::vector<FrameHandle> frames;  // every fourth: each one differs more from the last
    double decode = 0;
    for (int i = 0; i < 120; ++i) {
        const double before = cpuSeconds();
        FrameHandle frame = reader.readFrame();
        decode += cpuSeconds() - before;
        if (!frame) break;
        if (i % 4 == 0) frames.push_back(std::move(frame));
    }
    const CompositorScene scene = CompositorScene::of(recording, recording.renderSettings);
    std::size_t current = 0;
    const int count = 300;
    const DecodedFrameLookup lookup = [&](double) { return frames[current % frames.size()].get(); };

    // As the export does: straight into a pool of encoder frames, each restored from the
    // static layer where its last use differed.
    FrameCompositor compositor(scene, {});
    compositor.setDecodedSource(lookup);
    YuvFrameCompositor yuv(compositor, lookup);
    std::vector<FrameHandle> pool;
    std::vector<std::optional<QRegion>> contents(6);
    for (int i = 0; i < 6; ++i) pool.push_back(allocateFrame(AV_PIX_FMT_YUV420P, 1920, 1080));
    // The static layer (background, card shadow, chrome) is drawn and converted once per export.
    contents[0] = yuv.drawFrame(*pool[0], std::nullopt, 2.0);
    double draw = 0;
    for (int i = 0; i < count; ++i) {
        current = static_cast<std::size_t>(i);
        const auto slot = static_cast<std::size_t>(i + 1) % pool.size();
        const double before = cpuSeconds();
        av_frame_make_writable(pool[slot].get());
        contents[slot] = yuv.drawFrame(*pool[slot], contents[slot], 2.0 + (i + 1) / 30.0);
        draw += cpuSeconds() - before;
    }

    // The same on the movie's own frames in order, decoded as they are drawn, as the export
    // meets them: a screen recording changes little from one frame to the next.
    MovieReader inOrderReader(project / "raw.mov");
    FrameHandle decoded;
    FrameCompositor inOrderCompositor(scene, {});
    const DecodedFrameLookup inOrderLookup = [&](double) { return decoded.get(); };
    inOrderCompositor.setDecodedSource(inOrderLookup);
    YuvFrameCompositor inOrder(inOrderCompositor, inOrderLookup);
    std::fill(contents.begin(), contents.end(), std::nullopt);
    double inOrderDraw = 0;
    int inOrderCount = 0;
    for (; inOrderCount < 900 && (decoded = inOrderReader.readFrame()); ++inOrderCount) {
        const auto slot = static_cast<std::size_t>(inOrderCount) % pool.size();
        // This thread's time only: the decoder's threads work on the next frames meanwhile.
        const double before = cpuSeconds(CLOCK_THREAD_CPUTIME_ID);
        av_frame_make_writable(pool[slot].get());
        contents[slot] = inOrder.drawFrame(*pool[slot], contents[slot], inOrderReader.frameTime(*decoded));
        inOrderDraw += cpuSeconds(CLOCK_THREAD_CPUTIME_ID) - before;
    }

    // For comparison, the earlier way: drawn in RGB (crop converted where it lands), then
    // what changed converted back.
    FrameCompositor rgbCompositor(scene, {});
    rgbCompositor.setDecodedSource(lookup);
    QImage canvas(1920, 1080, QImage::Format_RGB32);
    FrameHandle converted = allocateFrame(AV_PIX_FMT_YUV420P, 1920, 1080);
    QRegion previous(canvas.rect());
    rgbCompositor.drawFrame(canvas, 2.0);
    double rgb = 0;
    for (int i = 0; i < count; ++i) {
        current = static_cast<std::size_t>(i);
        const double before = cpuSeconds();
        const QRegion changed = rgbCompositor.drawFrame(canvas, 2.0 + (i + 1) / 30.0);
        for (const QRect& rect : changed.united(previous)) convertImageToYuv420(canvas, *converted, rect);
        previous = changed;
        rgb += cpuSeconds() - before;
    }
    // And what converting a whole raw frame to RGB first would cost.
    QImage source;
    const double beforeWhole = cpuSeconds();
    for (int i = 0; i < count; ++i) convertFrameToImage(*frames[static_cast<std::size_t>(i) % frames.size()], source);
    const double whole = (cpuSeconds() - beforeWhole) / count;
    row("decode one 1080p raw frame (CPU, all threads)", format("%.2f ms", decode / 120 * 1000), "-");
    row("whole raw frame YUV->RGB (not done by the export)", format("%.2f ms", whole * 1000), "-");
    row("draw in RGB + convert changed area (before)", format("%.2f ms", rgb / count * 1000), "-");
    row("draw straight into YUV, every 4th frame", format("%.2f ms", draw / count * 1000), "<= 1.0 ms");
    row("... the movie's first 30 s in order (as exported)",
        format("%.2f ms", inOrderDraw / std::max(1, inOrderCount) * 1000), "<= 1.0 ms");
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

// The one-minute load average, to tell whether other work shared the machine.
double loadAverage()
{
    double load[1] = {0};
    return getloadavg(load, 1) == 1 ? load[0] : -1;
}

RunResult exportRun(const fs::path& project, const fs::path& output, const std::string& quality)
{
    return run({VANTILE_CLI, "export", project.string(), "-o", output.string(), "--aspect", "landscape16x9",
                "--resolution", "p1080", "--quality", quality});
}

// The limit: FFmpeg re-encoding Vantile's own finished movie with the same encoder and
// settings (libx264 defaults, audio copied as the export's merge does).
RunResult reencodeRun(const fs::path& movie, const fs::path& output, const std::vector<std::string>& settings = {})
{
    std::vector<std::string> command{"ffmpeg", "-v", "error", "-y", "-i", movie.string(), "-map", "0", "-c:v", "libx264"};
    command.insert(command.end(), settings.begin(), settings.end());
    command.insert(command.end(), {"-pix_fmt", "yuv420p", "-c:a", "copy", output.string()});
    return run(command);
}

// The median and the spread of a few runs, e.g. "0.958 (0.901-1.020)".
std::string spread(const char* pattern, const std::vector<double>& values)
{
    const auto [low, high] = std::minmax_element(values.begin(), values.end());
    return format(pattern, median(values)) + " (" + format(pattern, *low) + "-" + format(pattern, *high) + ")";
}

}  // namespace

int main(int argc, char** argv)
{
    fs::path work = fs::temp_directory_path() / "vantile-bench";
    bool quick = false;
    bool costsOnly = false;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "--quick") {
            quick = true;
        } else if (argument == "--frame-costs") {
            costsOnly = true;
        } else {
            work = argument;
        }
    }
    fs::create_directories(work);
    commandLog = work / "command.log";
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    quietMediaLibraryLogs();

    const int longSeconds = quick ? 10 : 60;
    const int shortSeconds = quick ? 4 : 20;
    std::printf("export benchmark, work directory %s\n\n", work.c_str());
    const fs::path longProject = sample(work, "sample-long", longSeconds);
    const fs::path shortProject = sample(work, "sample-short", shortSeconds);
    frameCosts(longProject);
    if (costsOnly) return 0;

    const int pairs = quick ? 1 : 5;
    std::vector<double> ratios;
    std::vector<double> standardSeconds;
    std::vector<double> draftSeconds;
    std::vector<double> ownCpu;
    std::vector<double> cpuRatios;
    std::vector<double> draftRatios;
    std::vector<double> encoderDraftRatios;
    const double shortFrames = shortSeconds * 30.0;
    std::printf("\n%d s 1080p30 sample, %d alternating pairs (load average %.1f before)\n", shortSeconds, pairs,
                loadAverage());
    for (int pair = 0; pair < pairs; ++pair) {
        const RunResult ours = exportRun(shortProject, work / "export-short.mp4", "standard");
        const RunResult limit = reencodeRun(work / "export-short.mp4", work / "reencode-short.mp4");
        const RunResult draft = exportRun(shortProject, work / "export-draft.mp4", "draft");
        // What the encoder's presets alone give on the same movie: the ceiling of the draft's speed-up.
        const RunResult draftLimit = reencodeRun(work / "export-short.mp4", work / "reencode-draft.mp4",
                                                 {"-preset", "veryfast", "-crf", "23"});
        ratios.push_back(limit.seconds / ours.seconds);
        cpuRatios.push_back(limit.cpuSeconds / ours.cpuSeconds);
        standardSeconds.push_back(ours.seconds);
        draftSeconds.push_back(draft.seconds);
        draftRatios.push_back(ours.seconds / draft.seconds);
        encoderDraftRatios.push_back(limit.seconds / draftLimit.seconds);
        ownCpu.push_back((ours.cpuSeconds - limit.cpuSeconds) / shortFrames * 1000);
        std::printf("  pair %d: export %.2f s, re-encode %.2f s (ratio %.3f), draft %.2f s, ffmpeg veryfast %.2f s, "
                    "load %.1f\n",
                    pair + 1, ours.seconds, limit.seconds, ratios.back(), draft.seconds, draftLimit.seconds,
                    loadAverage());
    }
    row("throughput vs the limit (re-encode / export)", spread("%.3f", ratios), ">= 0.95");
    row("... in CPU time (re-encode / export)", spread("%.3f", cpuRatios), "-");
    row("CPU per frame, export minus re-encode", spread("%.2f ms", ownCpu), "~ own work");
    row("standard export", format("%.1f fps", shortFrames / median(standardSeconds)), "-");
    row("draft export", format("%.1f fps", shortFrames / median(draftSeconds)), "-");
    row("draft speed-up (per pair)", spread("%.2fx", draftRatios), ">= 2x");
    row("... plain ffmpeg, medium / veryfast", spread("%.2fx", encoderDraftRatios), "-");
    const RunResult high = exportRun(shortProject, work / "export-high.mp4", "high");
    row("high export", format("%.1f fps", shortFrames / high.seconds), "-");
    const RunResult gif = run({VANTILE_CLI, "export", shortProject.string(), "-o", (work / "export.gif").string(),
                               "--aspect", "landscape16x9", "--resolution", "p1080"});
    row("GIF export (960 wide, 15 fps)", format("%.1f s", gif.seconds), "< 20 s");

    const auto frames = static_cast<double>(longSeconds * 30);
    const RunResult plain = run({"ffmpeg", "-v", "error", "-y", "-i", (longProject / "raw.mov").string(), "-vf",
                                 "scale=1920:1080", "-c:v", "libx264", "-pix_fmt", "yuv420p", "-an",
                                 (work / "plain.mp4").string()});
    const RunResult ours = exportRun(longProject, work / "export-1080p.mp4", "standard");
    const RunResult longLimit = reencodeRun(work / "export-1080p.mp4", work / "reencode-long.mp4");
    const RunResult shortRun = exportRun(shortProject, work / "export-short.mp4", "standard");
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
    row("throughput ratio (vantile / plain scale transcode)", format("%.2f", plain.seconds / ours.seconds), "-");
    row("throughput vs the limit, long sample", format("%.3f", longLimit.seconds / ours.seconds), "-");
    row("peak RSS plain ffmpeg transcode", format("%.0f MB", plain.peakMegabytes), "-");
    row("peak RSS ffmpeg re-encode of the export", format("%.0f MB", longLimit.peakMegabytes), "-");
    row("peak RSS vantile export", format("%.0f MB", ours.peakMegabytes), "-");
    row("peak RSS difference (vs re-encode)", format("%+.0f MB", ours.peakMegabytes - longLimit.peakMegabytes),
        "<= +50 MB");
    row("peak RSS, short export", format("%.0f MB", shortRun.peakMegabytes), "-");
    row("peak RSS growth long vs short", format("%+.0f MB", ours.peakMegabytes - shortRun.peakMegabytes), "~0 MB");
    row("1440p export", format("%.1f fps", frames / qhd.seconds), "-");
    row("9:16 export (1080x1920)", format("%.1f fps", frames / portrait.seconds), "-");
    return 0;
}
