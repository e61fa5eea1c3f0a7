#include "PreviewGeometry.h"

#include "render/CompositorGeometry.h"

#include <gtest/gtest.h>

namespace vantile {
namespace {

// Dragging the focus point on the preview: a point of the output canvas back to the raw video,
// through the compositor's layout and the camera of that moment.
TEST(FocusPointTest, CanvasPointsMapBackThroughLayoutAndCamera)
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

}  // namespace
}  // namespace vantile
