#include "RenderTestSupport.h"

#include "render/ExportManager.h"

#include <QPainter>

#include <gtest/gtest.h>

#include <string>

namespace vantile {
namespace {

namespace fs = std::filesystem;

const QRect kept(160, 90, 320, 180);
const QColor white(240, 240, 240);

// Red everywhere but the kept rectangle, which holds four flat quadrants: green, blue, yellow
// and white from the top left.
void paintCropTarget(QImage& canvas, int)
{
    QPainter painter(&canvas);
    painter.fillRect(canvas.rect(), test::red);
    const int halfWidth = kept.width() / 2;
    const int halfHeight = kept.height() / 2;
    painter.fillRect(QRect(kept.x(), kept.y(), halfWidth, halfHeight), test::green);
    painter.fillRect(QRect(kept.x() + halfWidth, kept.y(), halfWidth, halfHeight), test::blue);
    painter.fillRect(QRect(kept.x(), kept.y() + halfHeight, halfWidth, halfHeight), test::yellow);
    painter.fillRect(QRect(kept.x() + halfWidth, kept.y() + halfHeight, halfWidth, halfHeight), white);
}

int redPixels(const QImage& frame)
{
    int count = 0;
    for (int y = 0; y < frame.height(); ++y) {
        for (int x = 0; x < frame.width(); ++x) count += test::near(frame.pixelColor(x, y), test::red, 60) ? 1 : 0;
    }
    return count;
}

// A cropped project exported to MP4 (with motion blur over a zoom pushed against the crop's
// corner) and to GIF: no pixel of the movie comes from outside the crop, the overview shows the
// crop's quadrants where they belong, and the zoom stays inside the crop.
TEST(CropExport, EveryPixelComesFromInsideTheCropAndZoomsStayInIt)
{
    test::TemporaryDirectory directory;
    test::writeRawMovie(directory.path() / "raw.mov", 640, 360, 1.5, 0, paintCropTarget);
    RecordingProject project = test::makeProject(640, 360, 1.5);
    project.renderSettings.showCursor = false;
    project.renderSettings.showClickRipple = false;
    project.renderSettings.backgroundEnabled = false;
    project.renderSettings.motionBlur = 0.5;
    project.crop = RecordingCrop{kept.x(), kept.y(), kept.width(), kept.height()};
    // Aimed at the crop's bottom-right corner (and past it): the camera can only go as far as the crop.
    project.focusSegments = {{0.0, 0.3, FocusSegment::SegmentType::overview, 320, 180, 1},
                             {0.3, 1.2, FocusSegment::SegmentType::clickFocus, 600, 340, 2, true},
                             {1.2, 1.5, FocusSegment::SegmentType::overview, 320, 180, 1}};
    RenderJob job = test::makeJob(directory.path(), project, "cropped.mp4");
    job.focusSegments = project.focusSegments;
    ExportManager exports;
    const fs::path movie = exports.exportMovie(job);
    job.outputURL = directory.path() / "cropped.gif";
    const fs::path gif = exports.exportMovie(job);

    for (const fs::path& output : {movie, gif}) {
        SCOPED_TRACE(output.filename().string());
        for (const double time : {0.05, 0.35, 0.5, 0.8, 1.1, 1.3, 1.45}) {
            SCOPED_TRACE("at " + std::to_string(time));
            const QImage frame = test::decodeFrame(output, time);
            ASSERT_FALSE(frame.isNull());
            EXPECT_EQ(redPixels(frame), 0);
            const QPoint topLeft(frame.width() / 10, frame.height() / 10);
            const QPoint bottomRight(frame.width() * 9 / 10, frame.height() * 9 / 10);
            if (time < 0.2) {
                EXPECT_TRUE(test::near(frame.pixelColor(topLeft), test::green, 40))
                    << test::describe(frame.pixelColor(topLeft));
                EXPECT_TRUE(test::near(frame.pixelColor(bottomRight), white, 40))
                    << test::describe(frame.pixelColor(bottomRight));
            } else if (time > 1.0 && time < 1.2) {
                // Zoomed 2x into the corner once the camera has arrived: the white quadrant fills the frame.
                EXPECT_TRUE(test::near(frame.pixelColor(topLeft), white, 40)) << test::describe(frame.pixelColor(topLeft));
            }
        }
    }
}

}  // namespace
}  // namespace vantile
