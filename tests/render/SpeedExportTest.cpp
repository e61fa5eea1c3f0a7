#include "engine/OutputTimeline.h"
#include "engine/SpeedRegionEdits.h"
#include "engine/TimelineEdits.h"
#include "render/RenderJob.h"
#include "render/RenderTestSupport.h"
#include "render/VideoFileWriter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

using namespace vantile;
using namespace vantile::test;
namespace fs = std::filesystem;

namespace {

constexpr int width = 160;
constexpr int height = 96;
constexpr double fps = 30;
constexpr double recordingSeconds = 16;
// Flashes with a tone burst of the same length, in recording time.
const std::vector<double> flashes = {1.0, 4.2, 7.0, 10.2, 13.5};
constexpr double flashLength = 0.2;

bool flashing(double time)
{
    for (const double flash : flashes) {
        if (time >= flash - 1e-9 && time < flash + flashLength - 1e-9) return true;
    }
    return false;
}

// Each frame tells its index by colour: red steps 4 a frame in a 60-frame cycle, green a cycle.
QColor clockColour(int frame)
{
    return QColor(8 + (frame % 60) * 4, 8 + (frame / 60) * 28, 60);
}

int frameFromColour(const std::uint8_t* rgb)
{
    return static_cast<int>(std::lround((rgb[1] - 8) / 28.0)) * 60 + static_cast<int>(std::lround((rgb[0] - 8) / 4.0));
}

void writeClockWithFlashes(const fs::path& raw)
{
    writeRawMovie(
        raw, width, height, recordingSeconds, 1,
        [](QImage& canvas, int frame) { canvas.fill(flashing(frame / fps) ? QColor(Qt::white) : clockColour(frame)); },
        [](int, double time) {
            return flashing(time) ? static_cast<float>(0.6 * std::sin(2 * std::numbers::pi * 880 * time)) : 0.0F;
        });
}

RecordingProject plainProject()
{
    RecordingProject project = makeProject(width, height, recordingSeconds);
    project.renderSettings.showCursor = false;
    project.renderSettings.showClickRipple = false;
    project.focusSegments = {{0, recordingSeconds, FocusSegment::SegmentType::overview, width / 2.0, height / 2.0, 1}};
    return project;
}

double frameTime(std::size_t frame)
{
    return static_cast<double>(frame) / fps;
}

}  // namespace

// Several mappings of speeds, cuts and a trim: the movie's length, every frame's recording
// time and the flashes and their tones all follow the mapping; above 2x the tone is muted.
TEST(SpeedExport, DurationsFramesFlashesAndTonesFollowEveryMapping)
{
    TemporaryDirectory directory;
    const fs::path raw = directory.path() / "raw.mov";
    writeClockWithFlashes(raw);

    struct Mapping {
        std::optional<TimeRange> trim;
        std::vector<TimeRange> cuts;
        std::vector<SpeedRegion> regions;
    };
    const std::vector<Mapping> mappings = {
        {std::nullopt, {}, {{3, 6, 1.5}, {6.5, 9.5, 4}}},
        {TimeRange{0.5, 15}, {{5, 6}}, {{2, 5.5, 0.5}, {9, 12, 2}, {12, 15, 16}}},
        {std::nullopt, {{8, 9}}, {{0.5, 1.5, 0.25}, {9.5, 11, 8}, {13, 14, 0.75}}},
    };
    for (std::size_t round = 0; round < mappings.size(); ++round) {
        RecordingProject project = plainProject();
        if (mappings[round].trim) project = TimelineEdits::withTrim(project, *mappings[round].trim);
        for (const TimeRange& cut : mappings[round].cuts) project = TimelineEdits::withCut(project, cut);
        for (const SpeedRegion& region : mappings[round].regions) project = SpeedRegionEdits::withRegion(project, region);
        const OutputTimeline timeline(project);

        const fs::path output = directory.path() / ("speed-" + std::to_string(round) + ".mp4");
        VideoFileWriter::writeRenderedDemo(
            RenderJob{project, raw, project.focusSegments, project.cursorFrames, project.renderSettings, output});

        const auto expectedFrames = static_cast<int>(std::ceil(timeline.duration() * fps - 1e-9));
        EXPECT_NEAR(countVideoFrames(output), expectedFrames, 1) << "round " << round;
        const std::vector<std::uint8_t> pixels = centrePixels(output);
        const std::size_t frameCount = pixels.size() / 3;
        ASSERT_NEAR(static_cast<double>(frameCount), expectedFrames, 1) << "round " << round;

        // Every frame that is not a flash shows the recording frame the mapping names.
        std::vector<double> flashStarts;
        bool wasWhite = false;
        for (std::size_t frame = 0; frame < frameCount; ++frame) {
            const std::uint8_t* rgb = &pixels[3 * frame];
            const bool white = rgb[0] > 240 && rgb[1] > 240 && rgb[2] > 240;
            if (white && !wasWhite) flashStarts.push_back(frameTime(frame));
            wasWhite = white;
            const double recording = timeline.recordingTime(frameTime(frame));
            if (white || flashing(recording)) continue;
            ASSERT_NEAR(frameFromColour(rgb), recording * fps, 1.01)
                << "round " << round << " output frame " << frame << " should show recording " << recording;
        }

        // Flashes that stay start where the mapping puts them; tones only where the speed is 2x or less.
        const std::vector<float> samples = vantile::testing::audioSamples(output);
        EXPECT_NEAR(static_cast<double>(samples.size()) / 48000, timeline.duration(), 0.05) << "round " << round;
        // The tempo change works on windows of about 40 ms of its output: a burst may dip inside
        // one, and a slowed burst may begin up to a window (per halving) early; a dip is not a new burst.
        std::vector<double> tones;
        for (const double onset : toneOnsets(samples, 880)) {
            if (tones.empty() || onset - tones.back() > 0.15) tones.push_back(onset);
        }
        std::vector<double> expectedFlashes;
        std::vector<double> expectedTones;
        std::vector<double> toneTolerances;
        for (const double flash : flashes) {
            const auto start = timeline.outputTime(flash);
            if (!start || !timeline.outputTime(flash + flashLength / 2)) continue;
            expectedFlashes.push_back(*start);
            double speed = 1;
            for (const PlayedRange& piece : timeline.playedRanges()) {
                if (flash >= piece.range.start && flash < piece.range.end) speed = piece.speed;
            }
            if (speed <= 2) {
                expectedTones.push_back(*start);
                toneTolerances.push_back(1 / fps + (speed == 1 ? 0.006 : 0.025 / std::min(speed, 1.0)));
            }
        }
        ASSERT_EQ(flashStarts.size(), expectedFlashes.size()) << "round " << round;
        for (std::size_t index = 0; index < expectedFlashes.size(); ++index) {
            EXPECT_NEAR(flashStarts[index], expectedFlashes[index], 1 / fps + 1e-6) << "round " << round;
        }
        std::string heard;
        for (const double tone : tones) heard += " " + std::to_string(tone);
        ASSERT_EQ(tones.size(), expectedTones.size()) << "round " << round << ", tones at" << heard;
        for (std::size_t index = 0; index < expectedTones.size(); ++index) {
            EXPECT_NEAR(tones[index], expectedTones[index], toneTolerances[index]) << "round " << round << " tone " << index;
        }
    }
}

// A steady 440 Hz tone: faster and slower stretches keep its pitch; above 2x it is silent, and
// it fades rather than clicks at the edges.
TEST(SpeedExport, TempoKeepsThePitchAndFastStretchesAreSilent)
{
    TemporaryDirectory directory;
    const fs::path raw = directory.path() / "raw.mov";
    writeRawMovie(
        raw, width, height, 12, 1, [](QImage& canvas, int frame) { canvas.fill(clockColour(frame)); },
        [](int, double time) { return static_cast<float>(0.5 * std::sin(2 * std::numbers::pi * 440 * time)); });
    RecordingProject project = plainProject();
    project.duration = 12;
    project.focusSegments = {{0, 12, FocusSegment::SegmentType::overview, width / 2.0, height / 2.0, 1}};
    project = SpeedRegionEdits::withRegion(project, {2, 5, 1.5});   // output 2..4
    project = SpeedRegionEdits::withRegion(project, {5, 7, 0.5});   // output 4..8
    project = SpeedRegionEdits::withRegion(project, {7, 11, 4});    // output 8..9
    const fs::path output = directory.path() / "tempo.mp4";
    VideoFileWriter::writeRenderedDemo(
        RenderJob{project, raw, project.focusSegments, project.cursorFrames, project.renderSettings, output});

    const std::vector<float> samples = vantile::testing::audioSamples(output);
    ASSERT_NEAR(static_cast<double>(samples.size()) / 48000, 10, 0.05);
    const auto level = [&](double frequency, double from, double to) {
        return vantile::testing::toneLevel(samples, frequency, static_cast<std::size_t>(from * 48000), static_cast<std::size_t>(to * 48000));
    };
    for (const auto& [from, to] : {std::pair{2.3, 3.7}, std::pair{4.3, 7.7}}) {
        EXPECT_GT(level(440, from, to), 0.3) << from;
        // A plain resampling would have moved it to 660 or 220 Hz.
        EXPECT_LT(level(660, from, to), 0.05) << from;
        EXPECT_LT(level(220, from, to), 0.05) << from;
    }
    float loudest = 0;
    for (std::size_t index = static_cast<std::size_t>(8.05 * 48000); index < static_cast<std::size_t>(8.95 * 48000); ++index) {
        loudest = std::max(loudest, std::abs(samples[index]));
    }
    EXPECT_LT(loudest, 1e-3) << "a 4x stretch must be muted";
    // The edges fade: the level a few milliseconds inside the muted stretch is already low.
    float edge = 0;
    for (std::size_t index = static_cast<std::size_t>(8.025 * 48000); index < static_cast<std::size_t>(8.03 * 48000); ++index) {
        edge = std::max(edge, std::abs(samples[index]));
    }
    EXPECT_LT(edge, 0.2);
    EXPECT_GT(level(440, 9.2, 9.9), 0.3);
}
