#include "RenderTestSupport.h"

#include "render/ExportManager.h"
#include "render/SourceFrameProvider.h"
#include "render/VideoFileWriter.h"

#include <QPainter>

#include <gtest/gtest.h>

#include <string>

namespace vantile {
namespace {

namespace fs = std::filesystem;

// Where the region lands in the job's output at `time`, with the job's own camera.
QRect outputRect(const RenderJob& job, const BlurRegion& region, double time)
{
    const SourceFrameProvider source(job.rawVideoURL);
    FrameCompositor compositor(VideoFileWriter::compositorScene(job, source), {});
    const QRectF canvas(0, 0, static_cast<double>(job.renderSettings.outputWidth),
                        static_cast<double>(job.renderSettings.outputHeight));
    return test::outputRectOf(compositor, canvas, {region.x, region.y, region.width, region.height}, time);
}

// Mean absolute grey difference outside `excluded`.
double differenceOutside(const QImage& a, const QImage& b, const QRect& excluded)
{
    double sum = 0;
    long count = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            if (excluded.contains(x, y)) continue;
            sum += std::abs(qGray(a.pixel(x, y)) - qGray(b.pixel(x, y)));
            ++count;
        }
    }
    return count ? sum / static_cast<double>(count) : 0;
}

// A text-like recording with a block moving over it, so no two frames are the same, exported
// with a privacy region from 0.6 s to 1.4 s: movie and GIF. How the region follows a zoom is the
// compositor's (PrivacyBlurTest), which draws the export's frames.
TEST(PrivacyBlurExport, TheRegionIsUnreadableForItsWholeSpanAndOnlyThere)
{
    test::TemporaryDirectory directory;
    test::writeRawMovie(directory.path() / "raw.mov", 640, 360, 2.0, 0, [](QImage& canvas, int frame) {
        test::paintTextLike(canvas);
        QPainter(&canvas).fillRect(QRect(20 + frame * 4, 300, 40, 40), QColor(200, 40, 40));
    });
    RecordingProject project = test::makeProject(640, 360, 2.0);
    project.renderSettings.showCursor = false;
    project.renderSettings.showClickRipple = false;
    // The video over the whole picture, so the text keeps its fine detail.
    project.renderSettings.backgroundEnabled = false;
    const RenderJob plainJob = test::makeJob(directory.path(), project, "plain.mp4");
    const BlurRegion region{0.6, 1.4, 200, 100, 160, 120, BlurRegion::Style::pixelate};
    project.blurRegions = {region};
    const RenderJob blurredJob = test::makeJob(directory.path(), project, "blurred.mp4");
    ExportManager exports;
    const fs::path plain = exports.exportMovie(plainJob);
    const fs::path blurred = exports.exportMovie(blurredJob);
    const fs::path gif = exports.exportMovie(test::makeJob(directory.path(), project, "blurred.gif"));

    // Frame times well inside and just outside the span (frames are 1/30 s apart).
    for (const double time : {0.5, 0.65, 0.8, 1.0, 1.2, 1.35, 1.45, 1.7}) {
        SCOPED_TRACE("at " + std::to_string(time));
        const bool active = region.isActiveAt(time);
        const QImage before = test::decodeFrame(plain, time);
        const QImage after = test::decodeFrame(blurred, time);
        ASSERT_FALSE(before.isNull());
        ASSERT_FALSE(after.isNull());
        const QRect area = outputRect(blurredJob, region, time);
        const QRect inside = area.adjusted(3, 3, -3, -3);
        const double source = test::detailEnergy(before, inside);
        ASSERT_GT(source, 30) << "the recording should look like text there";
        const double energy = test::detailEnergy(after, inside);
        if (active) {
            EXPECT_LT(energy, 6) << "still readable (the text scores " << source << ")";
        } else {
            EXPECT_GT(energy, source * 0.85) << "obscured outside the span";
        }
        // Elsewhere the picture is the one exported without the region, up to the encoder's noise.
        EXPECT_LT(differenceOutside(before, after, area.adjusted(-16, -16, 16, 16)), 1.5);

        // The GIF's frames last whole hundredths of a second, so only times well inside the span
        // show the same moment.
        if (time > 0.7 && time < 1.3) {
            const QImage fromGif = test::decodeFrame(gif, time);
            ASSERT_EQ(fromGif.size(), after.size());
            const double gifSource = test::detailEnergy(fromGif, area.adjusted(-60, 0, -area.width() - 8, 0));
            EXPECT_LT(test::detailEnergy(fromGif, inside), gifSource * 0.1) << "the GIF shows the text";
        }
    }
}

}  // namespace
}  // namespace vantile
