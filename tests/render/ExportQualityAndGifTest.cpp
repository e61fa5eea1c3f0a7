#include "RenderTestSupport.h"

#include "render/ExportManager.h"
#include "render/GifWriter.h"
#include "render/RenderError.h"

#include <QPainter>


#include <gtest/gtest.h>

namespace vantile {
namespace {

using test::TemporaryDirectory;

// A moving square over a colour field, so frames differ and placement shows.
void paintMoving(QImage& image, int index)
{
    image.fill(QColor(30, 60, 220));
    QPainter painter(&image);
    painter.fillRect(QRect(0, 0, image.width() / 2, image.height() / 2), QColor(220, 40, 40));
    painter.fillRect(QRect((index * 7) % image.width(), image.height() / 2, 24, 24), Qt::white);
}

double meanDifference(const QImage& a, const QImage& b)
{
    double sum = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            const QRgb p = a.pixel(x, y);
            const QRgb q = b.pixel(x, y);
            sum += std::abs(qRed(p) - qRed(q)) + std::abs(qGreen(p) - qGreen(q)) + std::abs(qBlue(p) - qBlue(q));
        }
    }
    return sum / (3.0 * a.width() * a.height());
}

TEST(ExportQualityTest, PresetsReachTheEncoderAndTheProjectKeepsOnlyAChoice)
{
    TemporaryDirectory directory;
    test::writeRawMovie(directory.path() / "raw.mov", 320, 180, 0.3, 0, paintMoving);
    // libx264 records its settings in the stream: speed presets differ in subme and ref. Standard
    // lightens both above 30 fps, and only there.
    const struct {
        ExportQuality quality;
        std::int64_t fps;
        const char* settings[3];
    } expectations[] = {
        {ExportQuality::draft, 30, {"subme=2 ", "ref=1 ", "crf=23.0"}},
        {ExportQuality::standard, 30, {"subme=7 ", "ref=3 ", "crf=23.0"}},
        {ExportQuality::standard, 60, {"subme=5 ", "ref=1 ", "crf=23.0"}},
        {ExportQuality::high, 60, {"subme=8 ", "ref=5 ", "crf=18.0"}},
    };
    for (const auto& expected : expectations) {
        RecordingProject project = test::makeProject(320, 180, 0.3);
        project.renderSettings.exportQuality = expected.quality;
        project.renderSettings.fps = expected.fps;
        const auto output = ExportManager().exportMovie(test::makeJob(directory.path(), project, "quality.mp4"));
        const std::string bytes = test::readText(output);
        for (const char* setting : expected.settings) {
            EXPECT_NE(bytes.find(setting), std::string::npos)
                << exportQualityTexts.text(expected.quality) << " at " << expected.fps << " fps: " << setting;
        }
    }

}

TEST(GifExportTest, SameFramesAsTheMovieScaledToAtMost960WideAt15Fps)
{
    EXPECT_EQ(GifWriter::gifFormat(1080, 1920, 60), (GifWriter::GifFormat{960, 1706, 15}));
    EXPECT_EQ(GifWriter::gifFormat(640, 360, 10), (GifWriter::GifFormat{640, 360, 10}));
    EXPECT_EQ(GifWriter::gifFormat(1002, 566, 24), (GifWriter::GifFormat{960, 542, 15}));
    EXPECT_TRUE(GifWriter::isGifPath("/a/b.GIF"));
    EXPECT_FALSE(GifWriter::isGifPath("/a/gif.mp4"));

    TemporaryDirectory directory;
    test::writeRawMovie(directory.path() / "raw.mov", 640, 360, 1.0, 1, paintMoving);
    RecordingProject project = test::makeProject(640, 360, 1.0);
    project.renderSettings.outputWidth = 1280;
    project.renderSettings.outputHeight = 720;
    std::vector<double> progress;
    ExportMonitor monitor([&](double fraction) { progress.push_back(fraction); });
    const auto gif = ExportManager().exportMovie(test::makeJob(directory.path(), project, "clip.gif"), &monitor);
    const auto movie = ExportManager().exportMovie(test::makeJob(directory.path(), project, "clip.mp4"));

    const Json probed = test::probe(gif);
    ASSERT_EQ(probed["streams"].size(), 1U);  // no audio, though the raw movie has some
    EXPECT_EQ(probed["streams"][0]["codec_name"], "gif");
    EXPECT_EQ(probed["streams"][0]["width"], 960);
    EXPECT_EQ(probed["streams"][0]["height"], 540);
    EXPECT_EQ(test::countVideoFrames(gif), 15);
    ASSERT_FALSE(progress.empty());
    EXPECT_TRUE(std::is_sorted(progress.begin(), progress.end()));
    EXPECT_DOUBLE_EQ(progress.back(), 1.0);
    EXPECT_EQ(directory.fileNames(), (std::vector<std::string>{"clip.gif", "clip.mp4", "raw.mov"}));

    // Frame for frame the movie's picture (camera, cursor, ripple), within what 256 colours allow.
    for (const double seconds : {0.0, 0.4, 0.8}) {
        const QImage fromGif = test::decodeFrame(gif, seconds);
        const QImage fromMovie =
            test::decodeFrame(movie, seconds).scaled(960, 540, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        ASSERT_EQ(fromGif.size(), QSize(960, 540));
        EXPECT_LT(meanDifference(fromGif, fromMovie), 6.0) << "at " << seconds;
    }

    // Cancelled: the previous GIF stays and nothing else is left.
    const std::string previous = test::readText(gif);
    test::CancellingMonitor cancelling([](double fraction) { return fraction > 0.2; });
    try {
        ExportManager().exportMovie(test::makeJob(directory.path(), project, "clip.gif"), &cancelling);
        FAIL() << "expected a cancel";
    } catch (const RenderError& error) {
        EXPECT_EQ(error.kind(), RenderError::Kind::cancelled);
    }
    EXPECT_EQ(test::readText(gif), previous);
    EXPECT_EQ(directory.fileNames(), (std::vector<std::string>{"clip.gif", "clip.mp4", "raw.mov"}));
}

}  // namespace
}  // namespace vantile
