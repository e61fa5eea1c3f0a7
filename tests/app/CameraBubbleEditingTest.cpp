#include "LivePreviewItem.h"
#include "ScreenHarness.h"

#include "render/CompositorGeometry.h"
#include "sample/SampleProjectWriter.h"
#include "store/ProjectFileManager.h"
#include "support/ClockMovies.h"

#include <QTest>

#include <gtest/gtest.h>

#include <algorithm>

namespace vantile {
namespace {

using testing::ScreenHarness;
using testing::waitFor;

// The preview screen of a sample project recorded with a camera.
struct BubbleScreen : ScreenHarness {
    QQuickItem* preview = nullptr;

    explicit BubbleScreen(bool withCamera = true)
    {
        const auto directory = root / "projects" / "project-bubble";
        RecordingProject project = SampleProjectWriter::write(directory, {2, 640, 360});
        if (withCamera) {
            testing::writeCameraClockMovie(directory / "camera.mov", 2);
            project.camera = CameraRecording{"camera.mov", 160, 120, 30, 0};
            ProjectFileManager(root / "projects").saveProject(project, directory);
        }
        openProject(directory);
        preview = item("livePreview");
        waitFor([&] { return preview && preview->property("ready").toBool(); });
    }

    const RenderSettings& settings() const { return state->renderSettings(); }

    // A point of the bubble's square (fractions across and down it) in window coordinates.
    QPoint onBubble(double across = 0.5, double down = 0.5) const
    {
        const QRectF canvas = preview->property("canvasRect").toRectF();
        const double width = static_cast<double>(settings().outputWidth);
        const double height = static_cast<double>(settings().outputHeight);
        const CGRectCodable bubble = CompositorGeometry::cameraBubbleRect({0, 0, width, height}, settings());
        const QPointF inPreview(canvas.x() + (bubble.x + bubble.width * across) * canvas.width() / width,
                                canvas.y() + (bubble.y + bubble.height * down) * canvas.height() / height);
        return preview->mapToScene(inPreview).toPoint();
    }
    // A point of the output frame (fractions of it) in window coordinates.
    QPoint onFrame(double across, double down) const
    {
        const QRectF canvas = preview->property("canvasRect").toRectF();
        return preview->mapToScene({canvas.x() + canvas.width() * across, canvas.y() + canvas.height() * down}).toPoint();
    }

    // Whether the preview's latest picture shows the camera's clock (its blue) at the upper part
    // of the bubble's square as the current settings place it.
    bool showsBubble() const
    {
        const QImage frame = static_cast<LivePreviewItem*>(preview)->player().latestFrame();
        if (frame.isNull()) return false;
        const double width = static_cast<double>(settings().outputWidth);
        const double height = static_cast<double>(settings().outputHeight);
        const CGRectCodable bubble = CompositorGeometry::cameraBubbleRect({0, 0, width, height}, settings());
        const QColor colour = frame.pixelColor(static_cast<int>((bubble.x + bubble.width / 2) * frame.width() / width),
                                               static_cast<int>((bubble.y + bubble.height / 4) * frame.height() / height));
        return colour.blue() - std::max(colour.red(), colour.green()) > 80;
    }

    // A drag of the real pointer in steps, as a hand makes it.
    void drag(QPoint from, QPoint to)
    {
        QTest::mousePress(window(), Qt::LeftButton, Qt::NoModifier, from);
        for (int step = 1; step <= 8; ++step) QTest::mouseMove(window(), from + (to - from) * step / 8);
        QTest::mouseRelease(window(), Qt::LeftButton, Qt::NoModifier, to);
    }
};

TEST(CameraBubbleEditing, PanelChangesAndSliderGesturesAreEachOneUndoStepBackToTheExactSettings)
{
    BubbleScreen screen;
    ASSERT_TRUE(screen.preview);
    ASSERT_TRUE(screen.visibleTexts().contains("摄像头"));
    AppState& state = *screen.state;
    const RenderSettings original = state.renderSettings();
    ASSERT_FALSE(state.canUndo());

    // Each choice is a step of its own, undone in reverse order to exactly what was before.
    state.changeCameraBubble("cameraShape", "roundedSquare");
    const RenderSettings rounded = state.renderSettings();
    EXPECT_EQ(rounded.cameraShape, CameraShape::roundedSquare);
    state.changeCameraBubble("cameraMirror", false);
    state.changeCameraBubble("cameraPosition", "topLeft");
    state.changeCameraBubble("cameraVisible", false);
    EXPECT_FALSE(state.renderSettings().cameraVisible);
    // What the panel cannot send changes nothing and adds no step.
    state.changeCameraBubble("cameraShape", "hexagon");
    state.changeCameraBubble("cameraPosition", "custom");
    for (int step = 0; step < 3; ++step) state.undoTimelineEdit();
    EXPECT_EQ(state.renderSettings(), rounded);
    state.undoTimelineEdit();
    EXPECT_EQ(state.renderSettings(), original);
    EXPECT_FALSE(state.canUndo());
    state.redoTimelineEdit();
    EXPECT_EQ(state.renderSettings(), rounded);
    state.undoTimelineEdit();

    // A slider dragged through many sizes is one step; sizes beyond the range are held to it.
    state.beginCameraBubbleGesture();
    for (const double size : {0.27, 0.31, 0.38, 0.44, 0.9}) state.changeCameraBubble("cameraSize", size);
    state.endCameraBubbleGesture();
    EXPECT_EQ(state.renderSettings().cameraSize, RenderSettings::maximumCameraSize);
    ASSERT_TRUE(state.canUndo());
    state.undoTimelineEdit();
    EXPECT_EQ(state.renderSettings(), original);
    EXPECT_FALSE(state.canUndo());
    // Saved as shown: the project on disk has the settings back too.
    EXPECT_EQ(screen.savedProject().renderSettings, original);
}

// Where a drag may take the bubble, what a press off it grabs and when it snaps to a corner are
// CameraBubbleDragTest's; here, that a drag on the preview reaches the settings as one step.
TEST(CameraBubbleEditing, DraggingTheBubbleMovesItAsOneUndoStep)
{
    BubbleScreen screen;
    ASSERT_TRUE(screen.preview);
    AppState& state = *screen.state;
    const RenderSettings original = state.renderSettings();

    // The preview draws the bubble where the settings place it, and follows it when it moves.
    EXPECT_TRUE(waitFor([&] { return screen.showsBubble(); }));
    // Carried to the middle of the frame: custom, centred under the pointer.
    screen.drag(screen.onBubble(), screen.onFrame(0.5, 0.45));
    const RenderSettings moved = state.renderSettings();
    EXPECT_EQ(moved.cameraPosition, CameraPosition::custom);
    EXPECT_NEAR(moved.cameraCenterX, 0.5, 0.01);
    EXPECT_NEAR(moved.cameraCenterY, 0.45, 0.01);
    EXPECT_TRUE(waitFor([&] { return screen.showsBubble(); }));
    ASSERT_TRUE(state.canUndo());
    state.undoTimelineEdit();
    EXPECT_EQ(state.renderSettings(), original) << "the drag's moves were more than one step";
    EXPECT_FALSE(state.canUndo());
    state.redoTimelineEdit();
    EXPECT_EQ(state.renderSettings(), moved);
}

TEST(CameraBubbleEditing, WithoutACameraThereIsNoSectionAndNoBubbleToDrag)
{
    BubbleScreen screen(false);
    ASSERT_TRUE(screen.preview);
    EXPECT_FALSE(screen.visibleTexts().contains("摄像头"));
    EXPECT_FALSE(screen.showsBubble());
    const RenderSettings original = screen.state->renderSettings();
    screen.drag(screen.onBubble(), screen.onFrame(0.5, 0.5));
    EXPECT_EQ(screen.state->renderSettings(), original);
    EXPECT_FALSE(screen.state->canUndo());
}

}  // namespace
}  // namespace vantile
