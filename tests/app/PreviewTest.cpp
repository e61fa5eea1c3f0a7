#include "FakeServices.h"
#include "PreviewFrameRenderer.h"
#include "PreviewGeometry.h"
#include "PreviewPlayer.h"
#include "SampleProject.h"

#include "engine/SpeedRegionEdits.h"
#include "engine/TimelineEdits.h"
#include "render/CompositorGeometry.h"
#include "render/FrameCompositor.h"
#include "render/ImageConversion.h"
#include "render/MovieReader.h"
#include "render/VideoFileWriter.h"
#include "support/ClockMovies.h"
#include "support/RunCommand.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace vantile {
namespace {

TEST(PreviewGeometryTest, PlaybackTimeTextHasMinutesAndTwoDigitSeconds)
{
    EXPECT_EQ(PreviewGeometry::formatPlaybackTime(75.9), "1:15");
    EXPECT_EQ(PreviewGeometry::formatPlaybackTime(3600), "60:00");
    EXPECT_EQ(PreviewGeometry::formatPlaybackTime(-0.5), "0:00");
    EXPECT_EQ(PreviewGeometry::formatPlaybackTime(std::numeric_limits<double>::quiet_NaN()), "0:00");
}

// Dragging the focus point on the preview: a point of the output canvas back to the raw video,
// through the compositor's layout and the camera of that moment.
TEST(PreviewGeometryTest, CanvasPointsMapBackThroughLayoutAndCamera)
{
    RecordingProject project;
    project.duration = 10;
    project.video = {"raw.mov", 1600, 900, 30};
    project.focusSegments = {{0, 4, FocusSegment::SegmentType::overview, 800, 450, 1},
                             {5, 9, FocusSegment::SegmentType::clickFocus, 400, 300, 2, true}};
    const RenderSettings settings = RenderSettings::defaultLandscape();
    const double width = static_cast<double>(settings.outputWidth);
    const double height = static_cast<double>(settings.outputHeight);
    const auto layout = CompositorGeometry::frameLayout({0, 0, width, height}, 1600, 900, settings.backgroundEnabled,
                                                        RenderPreset::preset(settings.templateName));
    const CGRectCodable& shown = layout.video;

    // The video point under a point of the shown video rectangle, given as fractions of it.
    const auto at = [&](double across, double down, double time) {
        return PreviewGeometry::videoPointAt(project, settings, width, height, shown.x + shown.width * across,
                                             shown.y + shown.height * down, time);
    };
    const auto expectPoint = [](const std::optional<CodablePoint>& point, double x, double y) {
        ASSERT_TRUE(point);
        EXPECT_NEAR(point->x, x, 1);
        EXPECT_NEAR(point->y, y, 1);
    };
    // Whole frame: the video rectangle's corner and centre are the video's; outside it is nothing.
    expectPoint(at(0.5, 0.5, 1), 800, 450);
    expectPoint(at(1, 1, 1), 1600, 900);
    EXPECT_FALSE(at(-0.01, 0.5, 1));
    // Settled in the zoom: the centre is the zoom's focus, a quarter across is half as far from it.
    expectPoint(at(0.5, 0.5, 8), 400, 300);
    expectPoint(at(0.25, 0.5, 8), 400 - 1600 / 8.0, 300);
}

TEST(PreviewGeometryTest, CanvasKeepsTheOutputAspectInsideTheAvailableArea)
{
    EXPECT_EQ(PreviewGeometry::fittedCanvasSize(1920, 1080, QSize(800, 800)), QSize(800, 450));
    EXPECT_EQ(PreviewGeometry::fittedCanvasSize(1080, 1920, QSize(800, 800)), QSize(450, 800));
    const QSize tiny = PreviewGeometry::fittedCanvasSize(1920, 1080, QSize(0, 0));
    EXPECT_GE(tiny.width(), 2);
    EXPECT_GE(tiny.height(), 2);
}

// The largest difference of one colour channel, over the image.
int largestDifference(const QImage& first, const QImage& second)
{
    int largest = 0;
    for (int y = 0; y < first.height(); ++y) {
        for (int x = 0; x < first.width(); ++x) {
            const QRgb a = first.pixel(x, y);
            const QRgb b = second.pixel(x, y);
            largest = std::max({largest, std::abs(qRed(a) - qRed(b)), std::abs(qGreen(a) - qGreen(b)),
                                std::abs(qBlue(a) - qBlue(b))});
        }
    }
    return largest;
}

// At the output size the preview is the export's frame pixel for pixel; smaller, it is that frame
// scaled down, so the card, the camera and the cursor land at the same places in proportion.
TEST(PreviewFrameRendererTest, PreviewFramesAreTheExportsFramesScaledDown)
{
    testing::TemporaryDirectory root;
    RecordingProject project = testing::makeSampleProject(root / "project-agree", 640, 360, 2);
    RenderSettings settings = project.renderSettings;
    settings.cursorTheme = CursorTheme::lime;
    settings.templateName = TemplateName::gradientBlue;
    const CompositorScene scene = PreviewFrameRenderer::sceneFor(project, settings);
    QImage source(640, 360, QImage::Format_RGB32);
    source.fill(QColor(30, 30, 30));

    PreviewFrameRenderer renderer;
    renderer.setScene(scene);
    for (const double time : {0.2, 0.55, 1.3, 1.9}) {
        QImage exported(1920, 1080, QImage::Format_RGB32);
        {
            FrameCompositor compositor(scene, [&](double) { return &source; });
            QPainter painter(&exported);
            compositor.drawFrame(painter, QRectF(0, 0, 1920, 1080), time);
        }
        QImage preview(1920, 1080, QImage::Format_RGB32);
        renderer.render(preview, &source, time);
        EXPECT_EQ(preview, exported) << "at " << time;

        QImage small(480, 270, QImage::Format_RGB32);
        renderer.render(small, &source, time);
        const QImage expected = exported.scaled(480, 270, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        EXPECT_LE(largestDifference(small, expected), 64) << "at " << time;
    }
}

// Every frame of an exported movie, decoded as players do.
std::vector<QImage> decodedFrames(const std::filesystem::path& movie, int width, int height)
{
    const auto decoded =
        testing::runCommand({"ffmpeg", "-v", "error", "-i", movie.string(), "-f", "rawvideo", "-pix_fmt", "rgb24", "-"});
    const std::size_t frameBytes = static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3;
    std::vector<QImage> frames;
    for (std::size_t offset = 0; offset + frameBytes <= decoded.standardOutput.size(); offset += frameBytes) {
        const auto* bytes = reinterpret_cast<const uchar*>(decoded.standardOutput.data() + offset);
        frames.push_back(QImage(bytes, width, height, width * 3, QImage::Format_RGB888).convertToFormat(QImage::Format_RGB32));
    }
    return frames;
}

// The mean difference of the colour channels inside `area`.
double meanDifference(const QImage& first, const QImage& second, const QRect& area)
{
    double sum = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            const QRgb a = first.pixel(x, y);
            const QRgb b = second.pixel(x, y);
            sum += std::abs(qRed(a) - qRed(b)) + std::abs(qGreen(a) - qGreen(b)) + std::abs(qBlue(a) - qBlue(b));
        }
    }
    return sum / (3.0 * area.width() * area.height());
}

// The preview's camera bubble is the export's: the same place, shape and camera frame at the same
// recording time, also after seeking back (the camera movie is read forward only) and after the
// bubble's settings change.
TEST(PreviewFrameRendererTest, BubbleShowsTheExportsCameraFrameAfterSeekingBackAndChangingIt)
{
    testing::TemporaryDirectory root;
    const std::filesystem::path directory = root / "project-bubble";
    RecordingProject project = testing::makeSampleProject(directory, 320, 180, 1.5);
    testing::writeCameraClockMovie(directory / "camera.mov", 1.5);
    // The camera starts a little after the screen, as a real one does.
    project.camera = CameraRecording{"camera.mov", 160, 120, 30, 0.2};
    constexpr int width = 640;
    constexpr int height = 360;
    RenderSettings settings = project.renderSettings;
    settings.outputWidth = width;
    settings.outputHeight = height;
    settings.cameraMirror = false;

    MovieReader raw(directory / "raw.mov");
    QImage source;
    PreviewFrameRenderer renderer;
    const auto preview = [&](double time) {
        FrameHandle frame = raw.frameAt(time);
        EXPECT_TRUE(frame);
        if (frame) convertFrameToImage(*frame, source);
        QImage canvas(width, height, QImage::Format_RGB32);
        renderer.render(canvas, &source, time);
        return canvas;
    };
    const auto exported = [&](const RenderSettings& with, const std::string& name) {
        const std::filesystem::path output = directory / name;
        VideoFileWriter::writeRenderedDemo(
            RenderJob{project, directory / "raw.mov", project.focusSegments, project.cursorFrames, with, output});
        return decodedFrames(output, width, height);
    };
    const auto expectSameBubble = [&](const RenderSettings& with, const std::vector<QImage>& frames, int index) {
        SCOPED_TRACE("frame " + std::to_string(index));
        ASSERT_LT(static_cast<std::size_t>(index), frames.size());
        const QImage shown = preview(index / 30.0);
        const CGRectCodable bubble = CompositorGeometry::cameraBubbleRect({0, 0, width, height}, with);
        const QRect square(static_cast<int>(bubble.x), static_cast<int>(bubble.y), static_cast<int>(bubble.width),
                           static_cast<int>(bubble.height));
        // The camera's clock in the bubble's upper half names the camera frame drawn.
        const QPoint clock(square.center().x(), square.top() + square.height() / 4);
        const QColor inPreview = shown.pixelColor(clock);
        const QColor inExport = frames[static_cast<std::size_t>(index)].pixelColor(clock);
        ASSERT_GT(inPreview.blue(), 150) << "no camera in the preview's bubble";
        EXPECT_EQ(testing::frameFromColour(inPreview), testing::frameFromColour(inExport));
        EXPECT_NEAR(testing::frameFromColour(inPreview), index - 6, 1);
        // The shape, its edge and shadow too, within what the encoder changes.
        EXPECT_LT(meanDifference(shown, frames[static_cast<std::size_t>(index)], square.adjusted(-8, -8, 8, 8)), 6);
    };

    renderer.setScene(PreviewFrameRenderer::sceneFor(project, settings),
                      PreviewFrameRenderer::overlaysFor(project, settings, directory / "raw.mov"));
    const std::vector<QImage> atCorner = exported(settings, "corner.mp4");
    for (const int index : {12, 30, 9, 40, 20}) expectSameBubble(settings, atCorner, index);

    RenderSettings moved = settings;
    moved.cameraPosition = CameraPosition::custom;
    moved.cameraCenterX = 0.3;
    moved.cameraCenterY = 0.4;
    moved.cameraSize = 0.4;
    moved.cameraShape = CameraShape::roundedSquare;
    moved.cameraMirror = true;
    renderer.setScene(PreviewFrameRenderer::sceneFor(project, moved),
                      PreviewFrameRenderer::overlaysFor(project, moved, directory / "raw.mov"));
    const std::vector<QImage> dragged = exported(moved, "dragged.mp4");
    for (const int index : {25, 8, 33}) expectSameBubble(moved, dragged, index);
}

TEST(PreviewTimeline, PlaybackSkipsCutsAndTrimmedEndsLikeTheExport)
{
    testing::TemporaryDirectory directory;
    RecordingProject project = testing::makeSampleProject(directory.path(), 320, 180, 4);
    project = TimelineEdits::withTrim(project, {0.5, 3.4});
    project = TimelineEdits::withCut(project, {1.2, 2.6});

    PreviewPlayer player;
    std::vector<double> shown;
    QObject::connect(&player, &PreviewPlayer::frameReady, [&] { shown.push_back(player.currentTime()); });
    player.open(directory.path() / "raw.mov", project.duration);
    player.setScene(PreviewFrameRenderer::sceneFor(project, project.renderSettings));
    player.setTimeline(OutputTimeline(project));
    player.setCanvasSize(QSize(320, 180));
    ASSERT_TRUE(testing::waitFor([&] { return !shown.empty(); }));
    shown.clear();
    player.play();
    ASSERT_TRUE(testing::waitFor([&] { return player.isPlaying(); }));
    ASSERT_TRUE(testing::waitFor([&] { return !player.isPlaying(); }, 20000));

    ASSERT_GT(shown.size(), 10U);
    const double frame = 1.0 / 30;
    bool sawBeforeCut = false;
    bool sawAfterCut = false;
    for (const double time : shown) {
        // Published times are the frames' own; the seek target itself may land up to a frame early.
        EXPECT_FALSE(time < 0.5 - frame) << "shows " << time << ", before the trim";
        EXPECT_FALSE(time > 1.2 + frame && time < 2.6 - frame) << "shows " << time << ", inside the cut";
        sawBeforeCut = sawBeforeCut || (time > 0.9 && time < 1.2);
        sawAfterCut = sawAfterCut || (time >= 2.6 - frame && time < 3.0);
    }
    EXPECT_TRUE(sawBeforeCut);
    EXPECT_TRUE(sawAfterCut);
    EXPECT_LT(shown.back(), 3.4 + frame) << "played past the trim's end";
}

// Playing into a 16x stretch speeds the clock up there, as the export plays it: the whole take
// takes its output length, and the pictures shown come from along the stretch.
TEST(PreviewTimeline, PlaybackRunsFastThroughASpeedStretch)
{
    testing::TemporaryDirectory directory;
    RecordingProject project = testing::makeSampleProject(directory.path(), 1280, 720, 20);
    project = SpeedRegionEdits::withRegion(project, {1, 19, 16});
    const OutputTimeline timeline(project);
    ASSERT_NEAR(timeline.duration(), 1 + 18.0 / 16 + 1, 1e-9);

    PreviewPlayer player;
    std::vector<double> shown;
    QObject::connect(&player, &PreviewPlayer::frameReady, [&] { shown.push_back(player.currentTime()); });
    player.open(directory.path() / "raw.mov", project.duration);
    player.setScene(PreviewFrameRenderer::sceneFor(project, project.renderSettings));
    player.setTimeline(timeline);
    player.setCanvasSize(QSize(320, 180));
    ASSERT_TRUE(testing::waitFor([&] { return !shown.empty(); }));
    shown.clear();
    const auto started = std::chrono::steady_clock::now();
    player.play();
    ASSERT_TRUE(testing::waitFor([&] { return player.isPlaying(); }));
    ASSERT_TRUE(testing::waitFor([&] { return !player.isPlaying(); }, 30000));
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();

    // At normal speed the stretch alone would take 18 s.
    EXPECT_GT(wall, timeline.duration() - 0.5);
    EXPECT_LT(wall, timeline.duration() + 2);
    EXPECT_TRUE(std::any_of(shown.begin(), shown.end(), [](double time) { return time > 5 && time < 15; }))
        << "nothing shown from the middle of the stretch";
    ASSERT_FALSE(shown.empty());
    EXPECT_GT(shown.back(), 19);
}

}  // namespace
}  // namespace vantile
