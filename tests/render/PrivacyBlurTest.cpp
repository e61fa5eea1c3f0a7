#include "RenderTestSupport.h"

#include "render/FrameCompositor.h"
#include "render/ImageConversion.h"
#include "render/SourceObscurer.h"
#include "render/YuvFrameCompositor.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace vantile {
namespace {

constexpr int videoWidth = 640;
constexpr int videoHeight = 360;

QImage textLikeImage(QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    test::paintTextLike(image);
    return image;
}

FrameHandle textLikeFrame()
{
    FrameHandle frame = allocateFrame(AV_PIX_FMT_YUV420P, videoWidth, videoHeight);
    convertImageToYuv420(textLikeImage({videoWidth, videoHeight}), *frame);
    frame->colorspace = encoderYuvTagging.colorSpace;
    frame->color_range = encoderYuvTagging.range;
    return frame;
}

double meanDifference(const QImage& a, const QImage& b, const QRect& area)
{
    double sum = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) sum += std::abs(qGray(a.pixel(x, y)) - qGray(b.pixel(x, y)));
    }
    return sum / (static_cast<double>(area.width()) * area.height());
}

// The preview draws from pictures in RGB, the movie from decoded planes in YUV: the same area is
// obscured the same way in each, only while the region lasts, and it grows with the zoom.
TEST(PrivacyBlurTest, PreviewAndMovieObscureTheSameAreaTheSameWayAndFollowTheZoom)
{
    const FrameHandle decoded = textLikeFrame();
    const QImage picture = textLikeImage(QSize(videoWidth, videoHeight));
    const QRectF canvas(0, 0, 960, 540);
    for (const BlurRegion::Style style : blurStyleTexts.allCases()) {
        SCOPED_TRACE(blurStyleTexts.text(style));
        const BlurRegion region{0.2, 1.8, 201, 97, 170, 110, style};
        CompositorScene scene;
        scene.videoWidth = videoWidth;
        scene.videoHeight = videoHeight;
        scene.settings.showCursor = false;
        scene.settings.outputWidth = 960;
        scene.settings.outputHeight = 540;
        scene.keyframes = {{0, 320, 180, 1}, {1.0, 320, 180, 1}, {1.4, 286, 152, 2}, {2.0, 286, 152, 2}};
        FrameCompositor plain(scene, [&](double) { return &picture; });
        scene.blurRegions = {region};
        FrameCompositor preview(scene, [&](double) { return &picture; });
        FrameCompositor movie(scene, {});
        YuvFrameCompositor movieInYuv(movie, [&](double) { return decoded.get(); });
        FrameHandle frame = allocateFrame(AV_PIX_FMT_YUV420P, 960, 540);
        QImage previewCanvas(960, 540, QImage::Format_RGB32);
        QImage plainCanvas(960, 540, QImage::Format_RGB32);
        QImage movieCanvas;
        double unzoomedWidth = 0;
        for (const double time : {0.1, 0.6, 1.6, 1.9}) {
            SCOPED_TRACE("at " + std::to_string(time));
            preview.drawFrame(previewCanvas, time);
            plain.drawFrame(plainCanvas, time);
            movieInYuv.drawFrame(*frame, std::nullopt, time);
            convertFrameToImage(*frame, movieCanvas);
            const QRect area = test::outputRectOf(movie, canvas, {region.x, region.y, region.width, region.height}, time);
            // Bilinear scaling mixes a few pixels at the edges with what lies beside.
            const QRect inside = area.adjusted(5, 5, -5, -5);
            const QRect beside(area.right() + 4, inside.top(), 12, inside.height());
            if (time > 1.5) {
                EXPECT_GT(area.width(), unzoomedWidth * 1.9) << "the zoom should enlarge the region";
            } else {
                unzoomedWidth = area.width();
            }
            const double source = test::detailEnergy(plainCanvas, inside);
            ASSERT_GT(source, 40) << "the source should look like text there";
            for (const QImage* drawn : {&movieCanvas, &previewCanvas}) {
                SCOPED_TRACE(drawn == &previewCanvas ? "preview" : "movie");
                const double energy = test::detailEnergy(*drawn, inside);
                if (region.isActiveAt(time)) {
                    EXPECT_LT(energy, source * 0.12) << "still readable";
                } else {
                    EXPECT_GT(energy, source * 0.8) << "obscured outside the region's time";
                }
                // Just outside, the text stays as sharp as it was.
                EXPECT_GT(test::detailEnergy(*drawn, beside), test::detailEnergy(plainCanvas, beside) * 0.8);
            }
            if (region.isActiveAt(time)) {
                EXPECT_LT(meanDifference(movieCanvas, previewCanvas, inside), 4)
                    << "the preview and the movie obscure differently";
            }
        }
    }
}

// Blocks are counted from the region's corner and cover at least 12 pixels (1/40 of the short
// side on large recordings): an obscured frame never depends on where its blocks fell before.
TEST(PrivacyBlurTest, BlocksStartAtTheRegionsCornerAndAreLargeEnoughToSwallowALine)
{
    EXPECT_EQ(SourceObscurer::blockSize(640, 360), 12);
    EXPECT_EQ(SourceObscurer::blockSize(1920, 1080), 28);
    EXPECT_EQ(SourceObscurer::blockSize(3840, 2160), 54);

    const FrameHandle decoded = textLikeFrame();
    const std::vector<std::uint8_t> before(decoded->data[0], decoded->data[0] + decoded->linesize[0] * videoHeight);
    SourceObscurer obscurer({{0, 1, 100, 50, 48, 24, BlurRegion::Style::pixelate}}, videoWidth, videoHeight);
    EXPECT_EQ(obscurer.obscured(decoded.get(), 1.0), decoded.get()) << "the region ends at 1 s";
    const AVFrame* obscured = obscurer.obscured(decoded.get(), 0.5);
    ASSERT_NE(obscured, decoded.get());
    EXPECT_EQ(std::vector<std::uint8_t>(decoded->data[0], decoded->data[0] + decoded->linesize[0] * videoHeight), before);
    EXPECT_EQ(obscured->pts, decoded->pts);
    const auto luma = [&](int x, int y) { return obscured->data[0][y * obscured->linesize[0] + x]; };
    for (int y = 0; y < videoHeight; ++y) {
        for (int x = 0; x < videoWidth; ++x) {
            const bool inside = x >= 100 && x < 148 && y >= 50 && y < 74;
            if (!inside) {
                ASSERT_EQ(luma(x, y), decoded->data[0][y * decoded->linesize[0] + x]) << x << "," << y;
            } else {
                // Every pixel equals its block's corner.
                ASSERT_EQ(luma(x, y), luma(100 + (x - 100) / 12 * 12, 50 + (y - 50) / 12 * 12)) << x << "," << y;
            }
        }
    }
}

}  // namespace
}  // namespace vantile
