#include "engine/OutputTimeline.h"
#include "engine/TimelineEdits.h"
#include "render/RenderJob.h"
#include "render/VideoFileWriter.h"
#include "render/RenderTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace vantile;
using namespace vantile::test;
namespace fs = std::filesystem;

namespace {

constexpr int width = 320;
constexpr int height = 180;
constexpr double frameSeconds = 1.0 / 30;

// Every frame tells its index by colour: red steps 4 per frame within a 60-frame cycle, green per cycle.
QColor clockColour(int frame)
{
    return QColor(8 + (frame % 60) * 4, 8 + (frame / 60) * 36, 60);
}

int frameFromColour(const std::uint8_t* rgb)
{
    const int cycle = static_cast<int>(std::lround((rgb[1] - 8) / 36.0));
    const int step = static_cast<int>(std::lround((rgb[0] - 8) / 4.0));
    return cycle * 60 + step;
}

}  // namespace

// A trim, two cuts and an edited zoom after them. Which recording frame and sound each output
// moment shows across trims, cuts and speeds is SpeedExportTest's; here, that the zoom is placed
// in recording time, so it shows where the cuts put it.
TEST(TimelineExport, TrimAndCutsKeepTheDurationAndAnEditedZoomAfterThemShowsAtItsTime)
{
    TemporaryDirectory directory;
    const fs::path raw = directory.path() / "raw.mov";
    writeRawMovie(raw, width, height, 12, 1, [](QImage& canvas, int frame) {
        canvas.fill(clockColour(frame));
        // A blue marker that only a zoom onto it brings to the centre.
        for (int y = 20; y < 50; ++y) {
            for (int x = 30; x < 70; ++x) canvas.setPixel(x, y, qRgb(0, 0, 255));
        }
    });

    RecordingProject project = makeProject(width, height, 12);
    project.renderSettings.showCursor = false;
    project.renderSettings.showClickRipple = false;
    project.focusSegments = {{0, 12, FocusSegment::SegmentType::overview, width / 2.0, height / 2.0, 1}};
    project = TimelineEdits::withTrim(project, {1, 11.5});
    project = TimelineEdits::withCut(project, {2, 4});
    project = TimelineEdits::withCut(project, {6, 8});
    project = TimelineEdits::withZoom(project, {10, 11.4, FocusSegment::SegmentType::clickFocus, 50, 35, 4});
    const OutputTimeline timeline(project);
    ASSERT_DOUBLE_EQ(timeline.duration(), 6.5);

    const fs::path output = directory.path() / "edited.mp4";
    VideoFileWriter::writeRenderedDemo(
        RenderJob{project, raw, project.focusSegments, project.cursorFrames, project.renderSettings, output});

    const Json probed = probe(output);
    ASSERT_EQ(probed["streams"].size(), 2U) << probed.dump();
    EXPECT_NEAR(std::stod(probed["format"]["duration"].get<std::string>()), 6.5, frameSeconds + 0.025);
    EXPECT_NEAR(countVideoFrames(output), 195, 1);
    for (const Json& stream : probed["streams"]) {
        if (stream["codec_type"] != "audio") continue;
        EXPECT_EQ(stream["codec_name"], "aac");
        EXPECT_EQ(stream["sample_rate"], "48000");
        EXPECT_EQ(stream["channels"], 2);
    }

    const std::vector<std::uint8_t> pixels = centrePixels(output);
    ASSERT_GE(pixels.size(), 194U * 3);
    EXPECT_NEAR(frameFromColour(&pixels[0]), 30, 1);  // the trim's start

    // The edited zoom: one second into it the blue marker fills the centre; before it, the clock does.
    const std::size_t zoomed = static_cast<std::size_t>(std::lround(*timeline.outputTime(11.0) / frameSeconds));
    EXPECT_LT(pixels[3 * zoomed], 40);
    EXPECT_GT(pixels[3 * zoomed + 2], 200);
    const std::size_t before = static_cast<std::size_t>(std::lround(*timeline.outputTime(9.0) / frameSeconds));
    EXPECT_NEAR(frameFromColour(&pixels[3 * before]), 270, 1);
}
