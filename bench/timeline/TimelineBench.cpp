// Timeline editing: how long one edit takes on a 10-minute project (the model's edit plus the
// camera path the preview rebuilds from it), and what an export with cuts costs per output frame
// against the same export without edits.

#include "engine/CameraPathBuilder.h"
#include "engine/CursorPathSmoother.h"
#include "engine/EventStreams.h"
#include "engine/TimelineEdits.h"
#include "engine/TimelineModel.h"
#include "render/VideoFileWriter.h"
#include "sample/SampleProjectWriter.h"

#include <QGuiApplication>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace vantile;
using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// Thread CPU time: the machine is shared, and time spent descheduled is not the edit's cost.
double threadMilliseconds()
{
    timespec cpu{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &cpu);
    return static_cast<double>(cpu.tv_sec) * 1e3 + static_cast<double>(cpu.tv_nsec) * 1e-6;
}

RecordingProject tenMinuteProject()
{
    RecordingProject project;
    project.id = "bench";
    project.duration = 600;
    project.video = {"raw.mov", 2560, 1440, 60};
    project.renderSettings.fps = 60;
    project.events = testing::demoSession(600, 2560, 1440, 7);
    project.focusSegments = TimelineEdits::plannedSegments(project);
    project.cursorFrames = CursorPathSmoother().smooth(project.events, 60, 600);
    return project;
}

void benchmarkEdits()
{
    TimelineModel model(tenMinuteProject());
    std::mt19937 random(5);
    std::uniform_real_distribution<double> unit(0, 1);
    std::vector<double> times;
    std::vector<double> cpuTimes;
    int refused = 0;
    for (int edit = 0; edit < 400; ++edit) {
        const auto count = model.project().focusSegments.size();
        const std::size_t index = static_cast<std::size_t>(unit(random) * static_cast<double>(count)) % count;
        const Clock::time_point start = Clock::now();
        const double cpuStart = threadMilliseconds();
        try {
            switch (edit % 6) {
            case 0: model.addSegment(590 * unit(random)); break;
            case 1: model.moveSegment(index, 590 * unit(random)); break;
            case 2: model.setDepth(index, 1 + 3 * unit(random)); break;
            case 3: {
                const double from = 595 * unit(random);
                model.cut({from, from + 2 * unit(random) + 0.05});
                break;
            }
            case 4: model.undo(); break;
            default: model.removeSegment(index); break;
            }
        } catch (const TimelineEditError&) {
            ++refused;
        }
        // What the preview does with every edit: the camera path of the new segments.
        const auto keyframes = CameraPathBuilder::buildKeyframes(model.project().focusSegments, 600, 2560, 1440);
        times.push_back(millisecondsSince(start));
        cpuTimes.push_back(threadMilliseconds() - cpuStart);
        if (keyframes.empty()) std::abort();
    }
    std::sort(times.begin(), times.end());
    std::sort(cpuTimes.begin(), cpuTimes.end());
    std::printf("%-44s %10.3f ms   target < 50 ms\n", "edit, 10-minute project, median", cpuTimes[cpuTimes.size() / 2]);
    std::printf("%-44s %10.3f ms   target < 50 ms\n", "edit, 10-minute project, slowest (CPU)", cpuTimes.back());
    std::printf("%-44s %10.3f ms\n", "edit, 10-minute project, slowest (wall)", times.back());
    std::printf("%-44s %10d\n", "  (edits refused as invalid)", refused);
}

double exportMillisecondsPerFrame(const RecordingProject& project, const std::filesystem::path& directory)
{
    const std::filesystem::path output = directory / "bench-export.mp4";
    const Clock::time_point start = Clock::now();
    VideoFileWriter::writeRenderedDemo(RenderJob{project, directory / "raw.mov", project.focusSegments,
                                                 project.cursorFrames, project.renderSettings, output});
    const double elapsed = millisecondsSince(start);
    std::filesystem::remove(output);
    const double frames = std::ceil(OutputTimeline(project).duration() * static_cast<double>(project.renderSettings.fps));
    return elapsed / frames;
}

void benchmarkExport()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "vantile-timeline-bench-XXXXXX").string();
    const std::filesystem::path directory = ::mkdtemp(pattern.data());
    RecordingProject plain = SampleProjectWriter::write(directory, {30, 1920, 1080, AudioCaptureMode::system});
    // A keyframe each second and no B-frames, as the recorder writes its raw movies.
    const std::string raw = (directory / "raw.mov").string();
    const std::string transcode = "ffmpeg -v error -y -i '" + raw + "' -map 0 -c:v libx264 -preset superfast -g 30 "
                                  "-bf 0 -c:a copy '" + raw + ".gop.mov' && mv '" + raw + ".gop.mov' '" + raw + "'";
    if (std::system(transcode.c_str()) != 0) std::fprintf(stderr, "could not rewrite the raw movie's keyframes\n");
    plain.renderSettings.outputWidth = 1920;
    plain.renderSettings.outputHeight = 1080;
    RecordingProject edited = TimelineEdits::withTrim(plain, {2, 28});
    for (const double start : {4.0, 9.0, 14.0, 19.0, 24.0}) edited = TimelineEdits::withCut(edited, {start, start + 1.5});

    // Alternating pairs, so a neighbour's load on the shared machine hits both alike.
    std::vector<double> withoutCuts;
    std::vector<double> withCuts;
    for (int pair = 0; pair < 3; ++pair) {
        withoutCuts.push_back(exportMillisecondsPerFrame(plain, directory));
        withCuts.push_back(exportMillisecondsPerFrame(edited, directory));
    }
    std::sort(withoutCuts.begin(), withoutCuts.end());
    std::sort(withCuts.begin(), withCuts.end());
    std::printf("%-44s %10.3f ms\n", "export 1080p without edits, per frame", withoutCuts[1]);
    std::printf("%-44s %10.3f ms   target <= without edits\n", "export 1080p, trim and 5 cuts, per frame",
                withCuts[1]);
    std::filesystem::remove_all(directory);
}

}  // namespace

int main(int argc, char** argv)
{
    const bool editsOnly = argc > 1 && std::string(argv[1]) == "--edits-only";
    // The sample project's screen is drawn with fonts.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    std::printf("%-44s %10s\n", "what", "figure");
    benchmarkEdits();
    std::fflush(stdout);
    if (!editsOnly) benchmarkExport();
    return 0;
}
