#include "RenderTestSupport.h"

#include "render/CompositorGeometry.h"
#include "render/ExportManager.h"
#include "render/RenderError.h"

#include <gtest/gtest.h>

#include <QPainter>

#include <cmath>
#include <numbers>

namespace vantile {
namespace {

using test::TemporaryDirectory;

void paintQuadrants(QImage& image, int index)
{
    image.fill(QColor(30, 60, 220));
    QPainter painter(&image);
    painter.fillRect(QRect(index % image.width(), 0, 16, 16), Qt::white);  // something moves
}

// Flashes at known frames with tone bursts at the same moments: the system's 1000 Hz on the
// first track, the microphone's 600 Hz on the second.
constexpr int flashFrames[] = {15, 45, 75};
constexpr double systemTone = 1000;
constexpr double microphoneTone = 600;
constexpr double burstSeconds = 0.15;

// The flash whose tone burst sounds at `seconds`, or -1. The second flash sounds on the
// microphone's track, the others on the system's.
int flashAt(double seconds)
{
    for (int flash = 0; flash < 3; ++flash) {
        const double start = flashFrames[flash] / 30.0;
        if (seconds >= start && seconds < start + burstSeconds) return flash;
    }
    return -1;
}

double number(const Json& value)
{
    return value.is_string() ? std::stod(value.get<std::string>()) : value.get<double>();
}

TEST(ExportManagerTest, MergesEveryAudioTrackInSyncAndCutsToTheShorterMovie)
{
    TemporaryDirectory directory;
    test::writeRawMovie(
        directory.path() / "raw.mov", 320, 180, 3.0, 2,
        [](QImage& image, int index) {
            const bool flash = std::find(std::begin(flashFrames), std::end(flashFrames), index) != std::end(flashFrames);
            image.fill(flash ? Qt::white : Qt::black);
        },
        [](int track, double seconds) {
            const int flash = flashAt(seconds);
            if (flash < 0 || (flash == 1) != (track == 1)) return 0.0F;
            const double frequency = track == 0 ? systemTone : microphoneTone;
            return static_cast<float>(0.5 * std::sin(2 * std::numbers::pi * frequency * seconds));
        });
    RecordingProject project = test::makeProject(320, 180, 3.5);  // the recording claims more than the movie has
    project.renderSettings.showCursor = false;
    project.renderSettings.showClickRipple = false;
    std::vector<double> progress;
    ExportMonitor monitor([&](double fraction) { progress.push_back(fraction); });
    const auto output = ExportManager().exportMovie(test::makeJob(directory.path(), project, "export.mp4"), &monitor);
    EXPECT_EQ(output, directory.path() / "export.mp4");

    const Json raw = test::probe(directory.path() / "raw.mov");
    const Json movie = test::probe(output);
    ASSERT_TRUE(movie.contains("streams"));
    EXPECT_EQ(movie["format"]["tags"]["major_brand"], "isom");
    const auto& streams = movie["streams"];
    ASSERT_EQ(streams.size(), 3U);
    EXPECT_EQ(streams[0]["codec_name"], "h264");
    EXPECT_EQ(streams[0]["pix_fmt"], "yuv420p");
    // The raw movie (about 3.02 s with its audio) is shorter than the 3.5 s project: the video
    // stops at the first frame at or past the raw movie's end, the audio at that end too.
    const double rawDuration = number(raw["format"]["duration"]);
    EXPECT_EQ(test::countVideoFrames(output), static_cast<int>(std::ceil(rawDuration * 30 - 1e-9)));
    EXPECT_LE(number(streams[1]["duration"]), rawDuration + 0.03);
    EXPECT_LE(number(movie["format"]["duration"]), 3.1);

    // Each flash meets its tone, and each tone sounds only on its own track.
    const std::vector<std::uint8_t> centre = test::centrePixels(output);
    std::vector<int> frames;
    for (std::size_t index = 0; 3 * index < centre.size(); ++index) {
        if (centre[3 * index] > 180) frames.push_back(static_cast<int>(index));
    }
    ASSERT_EQ(frames.size(), 3u);
    const auto system = testing::audioSamples(output, 0);
    const auto microphone = testing::audioSamples(output, 1);
    EXPECT_TRUE(test::toneOnsets(system, microphoneTone).empty());
    EXPECT_TRUE(test::toneOnsets(microphone, systemTone).empty());
    const std::vector<double> systemOnsets = test::toneOnsets(system, systemTone);
    const std::vector<double> microphoneOnsets = test::toneOnsets(microphone, microphoneTone);
    ASSERT_EQ(systemOnsets.size(), 2u);
    ASSERT_EQ(microphoneOnsets.size(), 1u);
    const double heard[] = {systemOnsets[0], microphoneOnsets[0], systemOnsets[1]};
    for (int flash = 0; flash < 3; ++flash) {
        // Within a frame, plus the 5 ms the onset search steps by.
        EXPECT_NEAR(heard[flash], frames[static_cast<std::size_t>(flash)] / 30.0, 1 / 30.0 + 0.005) << "flash " << flash;
    }

    // Index in front (faststart), and the temporary files are gone.
    const std::string bytes = test::readText(output);
    EXPECT_LT(bytes.find("moov"), bytes.find("mdat"));
    EXPECT_EQ(directory.fileNames(), (std::vector<std::string>{"export.mp4", "raw.mov"}));

    ASSERT_FALSE(progress.empty());
    EXPECT_TRUE(std::is_sorted(progress.begin(), progress.end()));
    EXPECT_DOUBLE_EQ(progress.back(), 1.0);
}

TEST(ExportManagerTest, TemplateColoursSurviveEncodingWithinThreeLevels)
{
    TemporaryDirectory directory;
    test::writeRawMovie(directory.path() / "raw.mov", 320, 180, 0.2, 0, paintQuadrants);
    for (const TemplateName name : {TemplateName::minimalDark, TemplateName::cleanLight}) {
        RecordingProject project = test::makeProject(320, 180, 0.2);
        project.renderSettings.templateName = name;
        const auto output = ExportManager().exportMovie(test::makeJob(directory.path(), project, "colour.mp4"));
        EXPECT_EQ(test::probe(output)["streams"][0]["color_space"], "smpte170m");
        const QImage frame = test::decodeFrame(output, 0);
        ASSERT_FALSE(frame.isNull());
        const RGBAColor expected = RenderPreset::preset(name).background.start;
        const QColor wanted(qRound(expected.red * 255), qRound(expected.green * 255), qRound(expected.blue * 255));
        // A pixel away from the edges: the darkest and the lightest background.
        const QColor measured = frame.pixelColor(8, 8);
        EXPECT_TRUE(test::near(measured, wanted, 3))
            << templateNameTexts.text(name) << ": " << test::describe(measured) << " vs " << test::describe(wanted);
    }
}

TEST(ExportManagerTest, FrameCountContainerAndPlaceholderWithoutRawMovie)
{
    TemporaryDirectory directory;
    RecordingProject project = test::makeProject(320, 180, 0.51);
    project.renderSettings.fps = 24;
    // No raw movie: not an error; every frame shows the placeholder and nothing is merged.
    const auto output = ExportManager().exportMovie(test::makeJob(directory.path(), project, "a.b.MOV"));
    const Json movie = test::probe(output);
    EXPECT_EQ(movie["format"]["tags"]["major_brand"], "qt  ");
    ASSERT_EQ(movie["streams"].size(), 1U);
    EXPECT_EQ(movie["streams"][0]["avg_frame_rate"], "24/1");
    EXPECT_EQ(test::countVideoFrames(output), 13);  // ceil(0.51 × 24)
    const QImage frame = test::decodeFrame(output, 0);
    const auto layout = CompositorGeometry::frameLayout({0, 0, 640, 360}, 320, 180, true,
                                                        RenderPreset::preset(TemplateName::minimalDark));
    const QColor inside = frame.pixelColor(static_cast<int>(layout.video.x + layout.video.width - 6),
                                           static_cast<int>(layout.video.y + layout.video.height - 6));
    EXPECT_GT(inside.lightness(), 200) << test::describe(inside);

    project.duration = 0;  // still one frame
    const auto single = ExportManager().exportMovie(test::makeJob(directory.path(), project, "single.mp4"));
    EXPECT_EQ(test::countVideoFrames(single), 1);


    // A project that claims ten hours over a one-second movie renders that second only.
    test::writeRawMovie(directory.path() / "raw.mov", 320, 180, 1.0, 0, paintQuadrants);
    project = test::makeProject(320, 180, 36000);
    int reports = 0;
    test::CancellingMonitor bounded([&](double) { return ++reports > 200; });  // fail instead of rendering for hours
    const auto clamped = ExportManager().exportMovie(test::makeJob(directory.path(), project, "clamped.mp4"), &bounded);
    EXPECT_EQ(test::countVideoFrames(clamped), 30);
}

TEST(ExportManagerTest, FailuresAndCancelLeaveThePreviousExportAndNoStrayFiles)
{
    TemporaryDirectory directory;
    test::writeRawMovie(directory.path() / "raw.mov", 320, 180, 1.0, 1, paintQuadrants);
    testing::writeText(directory.path() / "export.mp4", "previous export");
    const auto expectUntouched = [&] {
        EXPECT_EQ(test::readText(directory.path() / "export.mp4"), "previous export");
        EXPECT_EQ(directory.fileNames(), (std::vector<std::string>{"export.mp4", "raw.mov"}));
    };

    // Cancelled halfway.
    RecordingProject project = test::makeProject(320, 180, 1.0);
    test::CancellingMonitor monitor([](double fraction) { return fraction > 0.3; });
    try {
        ExportManager().exportMovie(test::makeJob(directory.path(), project, "export.mp4"), &monitor);
        FAIL() << "expected a cancel";
    } catch (const RenderError& error) {
        EXPECT_EQ(error.kind(), RenderError::Kind::cancelled);
    }
    expectUntouched();

    // Cancelled while the audio was merged, after the last frame was drawn.
    test::CancellingMonitor lateMonitor([](double fraction) { return fraction >= 1; });
    EXPECT_THROW(ExportManager().exportMovie(test::makeJob(directory.path(), project, "export.mp4"), &lateMonitor), RenderError);
    expectUntouched();

    // The project records another size than the raw movie has.
    RecordingProject mismatched = test::makeProject(640, 360, 1.0);
    try {
        ExportManager().exportMovie(test::makeJob(directory.path(), mismatched, "export.mp4"));
        FAIL() << "expected a size mismatch";
    } catch (const RenderError& error) {
        EXPECT_EQ(error.kind(), RenderError::Kind::sizeMismatch);
        EXPECT_NE(std::string(error.what()).find("320 x 180"), std::string::npos) << error.what();
    }
    expectUntouched();

    // Unwritable destination (its directory does not exist).
    RenderJob nowhere = test::makeJob(directory.path(), project, "export.mp4");
    nowhere.outputURL = directory.path() / "missing" / "export.mp4";
    EXPECT_THROW(ExportManager().exportMovie(nowhere), RenderError);
    expectUntouched();

    // Raw movies that exist but are not movies, or are cut short before their index.
    for (const std::string& contents : {std::string(), std::string("not a movie at all"),
                                        test::readText(directory.path() / "raw.mov").substr(0, 2000)}) {
        TemporaryDirectory broken;
        testing::writeText(broken.path() / "raw.mov", contents);
        try {
            ExportManager().exportMovie(test::makeJob(broken.path(), project, "export.mp4"));
            FAIL() << "expected an unreadable movie";
        } catch (const RenderError& error) {
            EXPECT_EQ(error.kind(), RenderError::Kind::unreadableMovie) << error.what();
        }
        EXPECT_EQ(broken.fileNames(), std::vector<std::string>{"raw.mov"});
    }

    // Success replaces the previous export.
    ExportManager().exportMovie(test::makeJob(directory.path(), project, "export.mp4"));
    EXPECT_NE(test::readText(directory.path() / "export.mp4"), "previous export");
    EXPECT_EQ(directory.fileNames(), (std::vector<std::string>{"export.mp4", "raw.mov"}));
}

}  // namespace
}  // namespace vantile
