#include "render/CropScaler.h"
#include "render/FfmpegHandles.h"
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
// plus the filters' own rounding. Pixels off cost several times that.
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
    EXPECT_LT(static_cast<double>(total) / covered, 0.5 * levelsPerOutputPixel + 1.5) << "trial " << trial;
}

TEST(CropScalerTest, ScaledCropsLandWhereQtDrawsThemForEveryZoomAndPosition)
{
    const QImage source = rampSource(1280, 720);
    QImage blank(960, 540, QImage::Format_RGB32);
    blank.fill(Qt::magenta);
    std::mt19937 random(7);
    std::uniform_real_distribution<double> unit(0, 1);
    for (int trial = 0; trial < 60; ++trial) {
        // Zooms from a 2.5x reduction to a 4x enlargement, crops anywhere in the source
        // (sometimes touching its edges), targets sometimes hanging off the canvas.
        const double scale = 0.4 * std::pow(10.0, unit(random));
        const double cropWidth = std::min(1280.0, (120 + 600 * unit(random)) / scale);
        const double cropHeight = std::min(720.0, cropWidth * 9 / 16);
        const double cropX = trial % 5 == 0 ? 1280 - cropWidth : unit(random) * (1280 - cropWidth);
        const double cropY = trial % 7 == 0 ? 0 : unit(random) * (720 - cropHeight);
        const QRectF crop(cropX, cropY, cropWidth, cropHeight);
        const QRectF target(-40 + unit(random) * 600, -30 + unit(random) * 300, cropWidth * scale,
                            cropHeight * scale);

        QImage canvas = blank;
        {
            QPainter painter(&canvas);
            CropScaler().draw(painter, source, crop, target);
        }
        const QImage reference = qtReference(blank, source, crop, target);
        expectPlacedAlike(canvas, qtReference(blank, source, crop, target), (8 + 12 + 6) / 3.0 / scale, trial);
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
    std::uniform_real_distribution<double> unit(0, 1);
    CropScaler scaler;  // one scaler for every frame, as an export uses it
    for (int trial = 0; trial < 40; ++trial) {
        const double scale = 0.4 * std::pow(10.0, unit(random));
        const double cropWidth = std::min(1280.0, (120 + 600 * unit(random)) / scale);
        const double cropHeight = std::min(720.0, cropWidth * 9 / 16);
        const QRectF crop(trial % 5 == 0 ? 1280 - cropWidth : unit(random) * (1280 - cropWidth),
                          trial % 7 == 0 ? 720 - cropHeight : unit(random) * (720 - cropHeight), cropWidth, cropHeight);
        const QRectF target(-40 + unit(random) * 600, -30 + unit(random) * 300, cropWidth * scale, cropHeight * scale);
        QImage canvas = blank;
        {
            QPainter painter(&canvas);
            ASSERT_TRUE(scaler.draw(painter, *frame, crop, target)) << "trial " << trial;
        }
        // The ramp rises by up to 10 levels a source pixel (a little more after the matrix).
        expectPlacedAlike(canvas, qtReference(blank, rgb, crop, target), 6.0 / scale, trial);
    }

    // Colours come out as the frame's own matrix makes them.
    QImage solid(640, 360, QImage::Format_RGB32);
    solid.fill(QColor(37, 99, 235));
    const FrameHandle solidFrame = yuvFrame(solid);
    QImage expected;
    convertFrameToImage(*solidFrame, expected);
    QImage canvas(400, 300, QImage::Format_RGB32);
    {
        QPainter painter(&canvas);
        ASSERT_TRUE(scaler.draw(painter, *solidFrame, QRectF(100.5, 50.25, 320, 180), QRectF(0, 0, 400, 225)));
    }
    EXPECT_EQ(canvas.pixel(200, 100), expected.pixel(320, 180));
    EXPECT_EQ(canvas.pixel(399, 224), expected.pixel(320, 180));

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
