#include "PreviewFrameRenderer.h"
#include "PreviewGeometry.h"
#include "SampleProject.h"
#include "support/TemporaryDirectory.h"

#include "render/CompositorGeometry.h"
#include "render/FrameCompositor.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace vantile {
namespace {

TEST(PreviewGeometryTest, PlaybackTimeTextHasMinutesAndTwoDigitSeconds)
{
    EXPECT_EQ(PreviewGeometry::formatPlaybackTime(0), "0:00");
    EXPECT_EQ(PreviewGeometry::formatPlaybackTime(9.99), "0:09");
    EXPECT_EQ(PreviewGeometry::formatPlaybackTime(75.9), "1:15");
    EXPECT_EQ(PreviewGeometry::formatPlaybackTime(3600), "60:00");
    EXPECT_EQ(PreviewGeometry::formatPlaybackTime(-0.5), "0:00");
    EXPECT_EQ(PreviewGeometry::formatPlaybackTime(std::numeric_limits<double>::quiet_NaN()), "0:00");
    EXPECT_EQ(PreviewGeometry::formatPlaybackTime(std::numeric_limits<double>::infinity()), "0:00");
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

    // Whole frame: the video rectangle's corners and centre are the video's.
    const auto centre = PreviewGeometry::videoPointAt(project, settings, width, height, shown.x + shown.width / 2,
                                                      shown.y + shown.height / 2, 1);
    ASSERT_TRUE(centre);
    EXPECT_NEAR(centre->x, 800, 1);
    EXPECT_NEAR(centre->y, 450, 1);
    const auto corner = PreviewGeometry::videoPointAt(project, settings, width, height, shown.x + shown.width,
                                                      shown.y + shown.height, 1);
    ASSERT_TRUE(corner);
    EXPECT_NEAR(corner->x, 1600, 1);
    EXPECT_NEAR(corner->y, 900, 1);
    EXPECT_FALSE(PreviewGeometry::videoPointAt(project, settings, width, height, shown.x - 2, shown.y + 5, 1));

    // Settled in the zoom: the centre is the zoom's focus, a quarter across is half as far from it.
    const auto zoomed = PreviewGeometry::videoPointAt(project, settings, width, height, shown.x + shown.width / 2,
                                                      shown.y + shown.height / 2, 8);
    ASSERT_TRUE(zoomed);
    EXPECT_NEAR(zoomed->x, 400, 1);
    EXPECT_NEAR(zoomed->y, 300, 1);
    const auto quarter = PreviewGeometry::videoPointAt(project, settings, width, height, shown.x + shown.width / 4,
                                                       shown.y + shown.height / 2, 8);
    ASSERT_TRUE(quarter);
    EXPECT_NEAR(quarter->x, 400 - 1600 / 8.0, 1);
}

TEST(PreviewGeometryTest, CanvasKeepsTheOutputAspectInsideTheAvailableArea)
{
    EXPECT_EQ(PreviewGeometry::fittedCanvasSize(1920, 1080, QSize(800, 800)), QSize(800, 450));
    EXPECT_EQ(PreviewGeometry::fittedCanvasSize(1080, 1920, QSize(800, 800)), QSize(450, 800));
    const QSize tiny = PreviewGeometry::fittedCanvasSize(1920, 1080, QSize(0, 0));
    EXPECT_GE(tiny.width(), 2);
    EXPECT_GE(tiny.height(), 2);
}

// Bright pixels of the cursor's fill colour, so its place can be compared across sizes.
QPointF centroidOf(const QImage& image, QRgb color, int tolerance)
{
    double sumX = 0;
    double sumY = 0;
    long count = 0;
    for (int y = 0; y < image.height(); ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const QRgb pixel = line[x];
            if (std::abs(qRed(pixel) - qRed(color)) <= tolerance && std::abs(qGreen(pixel) - qGreen(color)) <= tolerance &&
                std::abs(qBlue(pixel) - qBlue(color)) <= tolerance) {
                sumX += x;
                sumY += y;
                ++count;
            }
        }
    }
    return count ? QPointF(sumX / count, sumY / count) : QPointF(-1, -1);
}

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

    for (const double time : {0.2, 0.55, 1.3, 1.9}) {
        // At the output size the preview is the export's frame, pixel for pixel.
        QImage exported(1920, 1080, QImage::Format_RGB32);
        {
            FrameCompositor compositor(scene, [&](double) { return &source; });
            QPainter painter(&exported);
            compositor.drawFrame(painter, QRectF(0, 0, 1920, 1080), time);
        }
        PreviewFrameRenderer renderer;
        renderer.setScene(scene);
        QImage preview(1920, 1080, QImage::Format_RGB32);
        renderer.render(preview, &source, time);
        EXPECT_EQ(preview, exported) << "at " << time;

        // Smaller, the card and the cursor land at the same places in proportion.
        QImage small(960, 540, QImage::Format_RGB32);
        renderer.setScene(scene);
        renderer.render(small, &source, time);
        const QRgb lime = qRgb(101, 163, 13);
        const QPointF big = centroidOf(exported, lime, 6);
        const QPointF little = centroidOf(small, lime, 10);
        ASSERT_GE(big.x(), 0) << "no cursor at " << time;
        EXPECT_NEAR(little.x(), big.x() / 2, 2.0) << "at " << time;
        EXPECT_NEAR(little.y(), big.y() / 2, 2.0) << "at " << time;
        EXPECT_EQ(small.pixel(4, 4) & 0xffffff, exported.pixel(8, 8) & 0xffffff);
    }
}

}  // namespace
}  // namespace vantile
