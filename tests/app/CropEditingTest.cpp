#include "LivePreviewItem.h"
#include "ScreenHarness.h"

#include "sample/SampleProjectWriter.h"
#include "store/ProjectFileManager.h"

#include <QTest>

#include <gtest/gtest.h>

namespace vantile {
namespace {

using testing::ScreenHarness;
using testing::waitFor;

// "裁剪" shows the whole picture with a frame over it; dragging the frame's bottom-right corner
// to the middle and "应用裁剪" crops to the top-left quarter (one undo step, saved); the preview
// then maps its corners into that quarter.
TEST(CropEditing, DraggingACornerAndApplyingCropsToThatPartAndUndoBringsTheWholePictureBack)
{
    ScreenHarness screen;
    const auto directory = screen.root / "projects" / "project-crop";
    SampleProjectWriter::write(directory, {4, 640, 360});
    screen.openProject(directory);
    auto* preview = static_cast<LivePreviewItem*>(screen.item("livePreview"));
    ASSERT_TRUE(preview);
    ASSERT_TRUE(waitFor([&] { return preview->property("ready").toBool(); }));

    QQuickItem* button = screen.item("cropButton");
    ASSERT_TRUE(button);
    QTest::mouseClick(screen.window(), Qt::LeftButton, {}, button->mapToScene({button->width() / 2, 10}).toPoint());
    // The frame's handles sit on the picture once the overlay has the preview's settled layout.
    QObject* overlay = screen.window()->findChild<QObject*>("cropOverlay");
    ASSERT_TRUE(overlay);
    ASSERT_TRUE(waitFor([&] {
        return preview->showsWholePicture() && overlay->property("area").toRectF() == preview->wholePictureArea();
    }));
    const QRectF area = preview->wholePictureArea();
    ASSERT_GT(area.width(), 100);
    const QPoint corner = preview->mapToScene(area.bottomRight() - QPointF(1, 1)).toPoint();
    const QPoint middle = preview->mapToScene(area.center()).toPoint();
    QTest::mousePress(screen.window(), Qt::LeftButton, Qt::NoModifier, corner);
    for (int step = 1; step <= 8; ++step) QTest::mouseMove(screen.window(), corner + (middle - corner) * step / 8);
    QTest::mouseRelease(screen.window(), Qt::LeftButton, Qt::NoModifier, middle);
    QQuickItem* apply = screen.item("applyCropButton");
    ASSERT_TRUE(apply);
    QTest::mouseClick(screen.window(), Qt::LeftButton, {}, apply->mapToScene({apply->width() / 2, apply->height() / 2}).toPoint());

    ASSERT_TRUE(waitFor([&] { return screen.state->currentProject()->crop.has_value(); }));
    const RecordingCrop crop = *screen.state->currentProject()->crop;
    EXPECT_EQ(crop.x, 0);
    EXPECT_EQ(crop.y, 0);
    // A pixel of the window is a few pixels of the recording here.
    EXPECT_NEAR(static_cast<double>(crop.width), 320, 6);
    EXPECT_NEAR(static_cast<double>(crop.height), 180, 6);
    EXPECT_TRUE(waitFor([&] { return !preview->showsWholePicture(); }));
    // The preview now shows the crop: the middle of the picture is the middle of the quarter, in
    // the whole recording's pixels.
    preview->stepBy(0);
    const QRectF canvas = preview->property("canvasRect").toRectF();
    const QVariantMap centre = preview->videoPointAt(canvas.center().x(), canvas.center().y());
    ASSERT_FALSE(centre.isEmpty());
    EXPECT_LT(centre["x"].toDouble(), static_cast<double>(crop.width));
    EXPECT_LT(centre["y"].toDouble(), static_cast<double>(crop.height));
    EXPECT_TRUE(waitFor([&] {
        return ProjectFileManager(screen.root / "projects").loadProject(directory).crop == crop;
    }));

    screen.state->undoTimelineEdit();
    EXPECT_FALSE(screen.state->currentProject()->crop);
    screen.state->redoTimelineEdit();
    EXPECT_EQ(screen.state->currentProject()->crop, crop);
}

}  // namespace
}  // namespace vantile
