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
// Recording times of the white flashes, each with a tone burst of the same length.
const std::vector<double> flashes = {1.5, 3.0, 5.0, 8.5, 10.5};
constexpr double flashLength = 0.1;

bool flashing(double time)
{
    for (const double flash : flashes) {
        if (time >= flash - 1e-9 && time < flash + flashLength - 1e-9) return true;
    }
    return false;
}

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

TEST(TimelineExport, TrimAndCutsKeepDurationSyncCameraAndTheRightFramesAtEachCut)
{
    TemporaryDirectory directory;
    const fs::path raw = directory.path() / "raw.mov";
    writeRawMovie(
        raw, width, height, 12, 1,
        [](QImage& canvas, int frame) {
            const double time = frame * frameSeconds;
            canvas.fill(flashing(time) ? QColor(Qt::white) : clockColour(frame));
            // A blue marker that only a zoom onto it brings to the centre.
            if (!flashing(time)) {
                for (int y = 20; y < 50; ++y) {
                    for (int x = 30; x < 70; ++x) canvas.setPixel(x, y, qRgb(0, 0, 255));
                }
            }
        },
        [](int, double time) { return flashing(time) ? static_cast<float>(0.6 * std::sin(2 * M_PI * 880 * time)) : 0.0F; });

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
    const auto frameCount = pixels.size() / 3;
    // Flashes in kept ranges appear at their output time; the one at 3.0 s was cut.
    std::vector<double> flashStarts;
    for (std::size_t frame = 0; frame < frameCount; ++frame) {
        const bool white = pixels[3 * frame] > 240 && pixels[3 * frame + 1] > 240 && pixels[3 * frame + 2] > 240;
        const bool wasWhite = frame > 0 && pixels[3 * frame - 3] > 240 && pixels[3 * frame - 2] > 240 &&
                              pixels[3 * frame - 1] > 240;
        if (white && !wasWhite) flashStarts.push_back(static_cast<double>(frame) * frameSeconds);
    }
    const std::vector<double> expectedFlashes = {0.5, 2.0, 3.5, 5.5};
    ASSERT_EQ(flashStarts.size(), expectedFlashes.size());
    const std::vector<double> tones = toneOnsets(vantile::testing::audioSamples(output), 880);
    ASSERT_EQ(tones.size(), expectedFlashes.size());
    for (std::size_t index = 0; index < expectedFlashes.size(); ++index) {
        EXPECT_NEAR(flashStarts[index], expectedFlashes[index], frameSeconds + 1e-6) << "flash " << index;
        EXPECT_NEAR(tones[index], flashStarts[index], frameSeconds + 1e-6) << "tone " << index << " out of sync";
    }

    // Hard cuts: the last frame before each cut and the first after it show their own recording times.
    const auto recordingFrameAt = [&](double outputTime) {
        const auto frame = static_cast<std::size_t>(std::lround(outputTime / frameSeconds));
        return frameFromColour(&pixels[3 * frame]);
    };
    for (const double cutAt : {1.0, 3.0}) {
        const double before = cutAt - frameSeconds;
        EXPECT_NEAR(recordingFrameAt(before), timeline.recordingTime(before) * 30, 1) << "before the cut at " << cutAt;
        EXPECT_NEAR(recordingFrameAt(cutAt), timeline.recordingTime(cutAt) * 30, 1) << "after the cut at " << cutAt;
    }
    EXPECT_NEAR(recordingFrameAt(0), 30, 1);

    // The edited zoom: one second into it the blue marker fills the centre; before it, the clock does.
    const std::size_t zoomed = static_cast<std::size_t>(std::lround(*timeline.outputTime(11.0) / frameSeconds));
    EXPECT_LT(pixels[3 * zoomed], 40);
    EXPECT_GT(pixels[3 * zoomed + 2], 200);
    const std::size_t before = static_cast<std::size_t>(std::lround(*timeline.outputTime(9.0) / frameSeconds));
    EXPECT_NEAR(frameFromColour(&pixels[3 * before]), 270, 1);
}
