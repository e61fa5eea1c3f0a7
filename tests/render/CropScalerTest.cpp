#include "render/CropScaler.h"

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
            drawScaledCrop(painter, source, crop, target);
        }
        const QImage reference = qtReference(blank, source, crop, target);
        long long total = 0;
        long long covered = 0;
        for (int y = 0; y < canvas.height(); ++y) {
            for (int x = 0; x < canvas.width(); ++x) {
                const QRgb ours = canvas.pixel(x, y);
                const QRgb theirs = reference.pixel(x, y);
                ASSERT_EQ(ours == qRgb(255, 0, 255), theirs == qRgb(255, 0, 255))
                    << "trial " << trial << ": coverage differs at " << x << "," << y;
                if (theirs == qRgb(255, 0, 255)) continue;
                total += std::abs(qRed(ours) - qRed(theirs)) + std::abs(qGreen(ours) - qGreen(theirs)) +
                         std::abs(qBlue(ours) - qBlue(theirs));
                covered += 3;
            }
        }
        ASSERT_GT(covered, 0) << "trial " << trial;
        // Placement within half an output pixel (a quarter on average) costs about a quarter of
        // the levels one output pixel spans, plus the filters' own rounding; pixels off cost
        // several times that.
        const double levelsPerOutputPixel = (8 + 12 + 6) / 3.0 / scale;
        EXPECT_LT(static_cast<double>(total) / covered, 0.5 * levelsPerOutputPixel + 1.5)
            << "trial " << trial << " scale " << scale;
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
                drawScaledCrop(painter, source, crop, target);
            } else {
                painter.setRenderHint(QPainter::SmoothPixmapTransform);
                painter.drawImage(target, source, crop);
            }
        }
        EXPECT_EQ(canvas, reference) << (clipped ? "clipped" : "scaled");
    }
}

}  // namespace
}  // namespace vantile
