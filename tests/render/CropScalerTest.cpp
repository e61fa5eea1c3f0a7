#include "render/CropScaler.h"
#include "media/FfmpegHandles.h"
#include "render/ImageConversion.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <random>

namespace vantile {
namespace {

// Steep triangle waves: each source pixel differs from its neighbours by 6-12 levels, so
// the difference between two drawings measures how far apart they place the crop.
QImage rampSource(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    const auto triangle = [](int value, int slope) { return std::abs((value * slope) % 510 - 255); };
    for (int y = 0; y < height; ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < width; ++x) line[x] = qRgb(triangle(x, 8), triangle(y, 12), triangle(x + y, 6));
    }
    return image;
}

QImage qtReference(const QImage& canvas, const QImage& source, const QRectF& crop, const QRectF& target)
{
    QImage reference = canvas;
    QPainter painter(&reference);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(target, source, crop);
    return reference;
}

// Both drawings cover the same pixels and differ by what placement within half an output
// pixel (a quarter on average) costs: about a quarter of the levels one output pixel spans,
// plus the filters' own rounding. The bound leaves room for other SIMD paths of either
// library; a crop two pixels off still exceeds it in many trials.
void expectPlacedAlike(const QImage& ours, const QImage& reference, double levelsPerOutputPixel, int trial)
{
    long long total = 0;
    long long covered = 0;
    for (int y = 0; y < ours.height(); ++y) {
        for (int x = 0; x < ours.width(); ++x) {
            const QRgb mine = ours.pixel(x, y);
            const QRgb theirs = reference.pixel(x, y);
            ASSERT_EQ(mine == qRgb(255, 0, 255), theirs == qRgb(255, 0, 255))
                << "trial " << trial << ": coverage differs at " << x << "," << y;
            if (theirs == qRgb(255, 0, 255)) continue;
            total += std::abs(qRed(mine) - qRed(theirs)) + std::abs(qGreen(mine) - qGreen(theirs)) +
                     std::abs(qBlue(mine) - qBlue(theirs));
            covered += 3;
        }
    }
    ASSERT_GT(covered, 0) << "trial " << trial;
    EXPECT_LT(static_cast<double>(total) / covered, 0.6 * levelsPerOutputPixel + 2.0) << "trial " << trial;
}

// A camera-like crop of a 1280 × 720 source and where it goes on a 960 × 540 canvas: zooms
// from a 2.5x reduction to a 4x enlargement, crops anywhere in the source (some touching its
// edges), targets sometimes hanging off the canvas.
struct Placement {
    double scale = 1;
    QRectF crop;
    QRectF target;
};

Placement randomPlacement(std::mt19937& random, int trial)
{
    std::uniform_real_distribution<double> unit(0, 1);
    const double scale = 0.4 * std::pow(10.0, unit(random));
    const double width = std::min(1280.0, (120 + 600 * unit(random)) / scale);
    const double height = std::min(720.0, width * 9 / 16);
    const double x = trial % 5 == 0 ? 1280 - width : unit(random) * (1280 - width);
    const double y = trial % 7 == 0 ? 0 : trial % 11 == 0 ? 720 - height : unit(random) * (720 - height);
    const QRectF target(-40 + unit(random) * 600, -30 + unit(random) * 300, width * scale, height * scale);
    return {scale, QRectF(x, y, width, height), target};
}

TEST(CropScalerTest, ScaledCropsLandWhereQtDrawsThemForEveryZoomAndPosition)
{
    const QImage source = rampSource(1280, 720);
    QImage blank(960, 540, QImage::Format_RGB32);
    blank.fill(Qt::magenta);
    std::mt19937 random(7);
    for (int trial = 0; trial < 60; ++trial) {
        const Placement placement = randomPlacement(random, trial);
        QImage canvas = blank;
        {
            QPainter painter(&canvas);
            CropScaler().draw(painter, source, placement.crop, placement.target);
        }
        expectPlacedAlike(canvas, qtReference(blank, source, placement.crop, placement.target),
                          (8 + 12 + 6) / 3.0 / placement.scale, trial);
    }
}

TEST(CropScalerTest, TransformedOrClippedPaintersAreDrawnByQtItself)
{
    const QImage source = rampSource(640, 360);
    const QRectF crop(100.3, 50.6, 320, 180);
    const QRectF target(20.5, 10.25, 600, 337.5);
    QImage blank(640, 360, QImage::Format_RGB32);
    blank.fill(Qt::magenta);
    for (const bool clipped : {false, true}) {
        QImage canvas = blank;
        QImage reference = blank;
        for (QImage* image : {&canvas, &reference}) {
            QPainter painter(image);
            if (clipped)
                painter.setClipRect(QRect(50, 40, 300, 200));
            else
                painter.scale(0.5, 0.5);
            if (image == &canvas) {
                CropScaler().draw(painter, source, crop, target);
            } else {
                painter.setRenderHint(QPainter::SmoothPixmapTransform);
                painter.drawImage(target, source, crop);
            }
        }
        EXPECT_EQ(canvas, reference) << (clipped ? "clipped" : "scaled");
    }
}

// A yuv420p frame of `image`, tagged as the conversion made it.
FrameHandle yuvFrame(const QImage& image)
{
    FrameHandle frame = allocateFrame(AV_PIX_FMT_YUV420P, image.width(), image.height());
    convertImageToYuv420(image, *frame);
    frame->colorspace = encoderYuvTagging.colorSpace;
    frame->color_range = encoderYuvTagging.range;
    return frame;
}

TEST(CropScalerTest, DecodedFramesScaledInYuvLandWhereTheirRgbImagesWould)
{
    // Grey ramps: placement shows in the luma alone, which 4:2:0 keeps at full resolution.
    QImage ramp(1280, 720, QImage::Format_RGB32);
    for (int y = 0; y < 720; ++y) {
        auto* line = reinterpret_cast<QRgb*>(ramp.scanLine(y));
        for (int x = 0; x < 1280; ++x) {
            const int level = 16 + std::abs((x * 6 + y * 4) % 440 - 220);
            line[x] = qRgb(level, level, level);
        }
    }
    const FrameHandle frame = yuvFrame(ramp);
    QImage rgb;
    convertFrameToImage(*frame, rgb);
    QImage blank(960, 540, QImage::Format_RGB32);
    blank.fill(Qt::magenta);
    std::mt19937 random(11);
    CropScaler scaler;  // one scaler for every frame, as an export uses it
    for (int trial = 0; trial < 40; ++trial) {
        const Placement placement = randomPlacement(random, trial);
        QImage canvas = blank;
        {
            QPainter painter(&canvas);
            ASSERT_TRUE(scaler.draw(painter, *frame, placement.crop, placement.target)) << "trial " << trial;
        }
        // The ramp's steepest rise is sqrt(6² + 4²) ≈ 7.2 levels a source pixel, 8.4 once the
        // limited-range matrix has stretched it.
        expectPlacedAlike(canvas, qtReference(blank, rgb, placement.crop, placement.target), 8.4 / placement.scale,
                          trial);
    }

    // Other pixel formats and painters libyuv cannot write through are left to the caller.
    const FrameHandle planar444 = allocateFrame(AV_PIX_FMT_YUV444P, 640, 360);
    QImage untouched = blank;
    {
        QPainter painter(&untouched);
        EXPECT_FALSE(scaler.draw(painter, *planar444, QRectF(0, 0, 320, 180), QRectF(0, 0, 640, 360)));
        painter.scale(0.5, 0.5);
        EXPECT_FALSE(scaler.draw(painter, *frame, QRectF(0, 0, 320, 180), QRectF(0, 0, 640, 360)));
    }
    EXPECT_EQ(untouched, blank);
}

}  // namespace
}  // namespace vantile
