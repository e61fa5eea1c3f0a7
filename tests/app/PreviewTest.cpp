#include "PreviewFrameRenderer.h"
#include "PreviewGeometry.h"
#include "SampleProject.h"
#include "support/TemporaryDirectory.h"

#include "render/FrameCompositor.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace vantile {
namespace {

using PreviewGeometry::VideoSize;

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

TEST(PreviewGeometryTest, CropFitsTheContentZoomsAndNeverLeavesTheVideo)
{
    // No project: the whole 16 × 9 frame, centred, at scale 1.
    const auto none = PreviewGeometry::cameraState(std::nullopt, 3);
    EXPECT_EQ(none.centerX, 8);
    EXPECT_EQ(none.centerY, 4.5);
    EXPECT_EQ(none.scale, 1);
    const auto whole = PreviewGeometry::sourceCropRect({}, none, 1600, 900);
    EXPECT_EQ(whole, (CGRectCodable{0, 0, 16, 9}));

    const VideoSize video{1920, 1080};
    // A square content area takes a square out of the video; scale 2 halves it.
    EXPECT_EQ(PreviewGeometry::sourceCropRect(video, {0, 960, 540, 1}, 500, 500), (CGRectCodable{420, 0, 1080, 1080}));
    EXPECT_EQ(PreviewGeometry::sourceCropRect(video, {0, 960, 540, 2}, 500, 500), (CGRectCodable{690, 270, 540, 540}));
    // Below 1 the crop stays content-fitted: no zooming out beyond the frame.
    EXPECT_EQ(PreviewGeometry::sourceCropRect(video, {0, 960, 540, 0.5}, 1600, 900), (CGRectCodable{0, 0, 1920, 1080}));
    // A centre near the bottom-right corner touches the edges exactly.
    EXPECT_EQ(PreviewGeometry::sourceCropRect(video, {0, 1900, 1070, 3}, 1600, 900),
              (CGRectCodable{1280, 720, 640, 360}));
    // A zero-height area uses its width as the aspect; a tiny aspect is raised to 0.001.
    const auto flat = PreviewGeometry::sourceCropRect(video, {0, 960, 540, 1}, 4, 0);
    EXPECT_DOUBLE_EQ(flat.width, 1920);
    EXPECT_DOUBLE_EQ(flat.height, 480);
    const auto thin = PreviewGeometry::sourceCropRect(video, {0, 960, 540, 1}, 0, 100);
    EXPECT_DOUBLE_EQ(thin.width, 1080 * 0.001);
    EXPECT_DOUBLE_EQ(thin.height, 1080);

    // The player frame puts the crop exactly over the content area.
    const CGRectCodable crop{690, 270, 540, 540};
    const auto frame = PreviewGeometry::playerFrame(video, crop, 500, 500);
    EXPECT_DOUBLE_EQ(frame.width, 1920 * 500 / 540.0);
    EXPECT_NEAR(frame.x + crop.x / 1920 * frame.width, 0, 1e-9);
    EXPECT_NEAR(frame.y + (crop.y + crop.height) / 1080 * frame.height, 500, 1e-9);
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
