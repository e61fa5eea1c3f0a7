#include "LivePreviewItem.h"
#include "ScreenHarness.h"

#include "sample/SampleProjectWriter.h"
#include "store/ProjectFileManager.h"

#include <QTest>

#include <gtest/gtest.h>

#include <cmath>

namespace vantile {
namespace {

using testing::ScreenHarness;
using testing::waitFor;

// "隐私模糊", then a drag on the picture: one region over the dragged rectangle, in raw-video
// pixels, 3 s from the playhead, on the blur track; one undo takes it away and redo brings it back.
TEST(PrivacyBlurEditing, ADragOnThePreviewAddsOneRegionThatUndoAndRedoTakeAwayAndBringBack)
{
    ScreenHarness screen;
    const auto directory = screen.root / "projects" / "project-blur";
    SampleProjectWriter::write(directory, {4, 640, 360});
    screen.openProject(directory);
    auto* preview = static_cast<LivePreviewItem*>(screen.item("livePreview"));
    ASSERT_TRUE(preview);
    ASSERT_TRUE(waitFor([&] { return preview->property("ready").toBool(); }));
    preview->stepBy(0.5);
    ASSERT_TRUE(waitFor([&] { return std::abs(preview->property("currentTime").toDouble() - 0.5) < 1e-6; }));
    const QRectF canvas = preview->property("canvasRect").toRectF();
    const QPointF from(canvas.x() + canvas.width() * 0.3, canvas.y() + canvas.height() * 0.3);
    const QPointF to(canvas.x() + canvas.width() * 0.6, canvas.y() + canvas.height() * 0.55);
    const QVariantMap first = preview->videoPointAt(from.x(), from.y());
    const QVariantMap second = preview->videoPointAt(to.x(), to.y());
    ASSERT_FALSE(first.isEmpty());
    ASSERT_FALSE(second.isEmpty());

    QQuickItem* button = screen.item("privacyBlurButton");
    ASSERT_TRUE(button);
    QTest::mouseClick(screen.window(), Qt::LeftButton, {}, button->mapToScene({button->width() / 2, 10}).toPoint());
    ASSERT_TRUE(waitFor([&] { return screen.item("blurDrawArea")->property("drawing").toBool(); }));
    const QPoint pressAt = preview->mapToScene(from).toPoint();
    const QPoint releaseAt = preview->mapToScene(to).toPoint();
    QTest::mousePress(screen.window(), Qt::LeftButton, Qt::NoModifier, pressAt);
    for (int step = 1; step <= 8; ++step) QTest::mouseMove(screen.window(), pressAt + (releaseAt - pressAt) * step / 8);
    QTest::mouseRelease(screen.window(), Qt::LeftButton, Qt::NoModifier, releaseAt);

    const std::vector<BlurRegion>& regions = screen.state->currentProject()->blurRegions;
    ASSERT_EQ(regions.size(), 1u);
    EXPECT_NEAR(regions[0].start, 0.5, 1e-6);
    EXPECT_NEAR(regions[0].end, 3.5, 1e-6);
    // A pixel of the window is a pixel and a half of the recording at most here.
    EXPECT_NEAR(regions[0].x, first["x"].toDouble(), 2);
    EXPECT_NEAR(regions[0].y, first["y"].toDouble(), 2);
    EXPECT_NEAR(regions[0].x + regions[0].width, second["x"].toDouble(), 2);
    EXPECT_NEAR(regions[0].y + regions[0].height, second["y"].toDouble(), 2);
    EXPECT_FALSE(screen.item("blurDrawArea")->property("drawing").toBool()) << "one drag, one region";
    EXPECT_TRUE(waitFor([&] { return screen.item("blurTrack")->isVisible(); }));

    screen.state->undoTimelineEdit();
    EXPECT_TRUE(screen.state->currentProject()->blurRegions.empty());
    screen.state->redoTimelineEdit();
    EXPECT_EQ(screen.state->currentProject()->blurRegions.size(), 1u);
    // Saved, as the other timeline edits are.
    EXPECT_TRUE(waitFor([&] {
        return ProjectFileManager(screen.root / "projects").loadProject(directory).blurRegions.size() == 1;
    }));
}

}  // namespace
}  // namespace vantile
