#include "LivePreviewItem.h"
#include "ScreenHarness.h"

#include "sample/SampleProjectWriter.h"

#include <QTest>

#include <gtest/gtest.h>

namespace vantile {
namespace {

using testing::ScreenHarness;
using testing::waitFor;

// How dark the preview's latest picture is around a point of the output frame (fractions).
int previewBrightness(QQuickItem* preview, double across, double down)
{
    const QImage frame = static_cast<LivePreviewItem*>(preview)->player().latestFrame();
    if (frame.isNull()) return -1;
    const QColor colour = frame.pixelColor(static_cast<int>(across * frame.width()), static_cast<int>(down * frame.height()));
    return (colour.red() + colour.green() + colour.blue()) / 3;
}

}  // namespace

// Added at the playhead, edited from the panel's calls, drawn by the preview, undone step by step
// back to a project without callouts, redone, and saved.
TEST(TextCalloutEditing, AddEditAndUndoThroughTheAppStateWithThePreviewShowingTheCallout)
{
    ScreenHarness screen;
    const auto directory = screen.root / "projects" / "project-text";
    SampleProjectWriter::write(directory, {4, 640, 360});
    screen.openProject(directory);
    QQuickItem* preview = screen.item("livePreview");
    ASSERT_TRUE(waitFor([&] { return preview && preview->property("ready").toBool(); }));
    AppState& state = *screen.state;
    ASSERT_TRUE(screen.item("textCalloutTrack"));
    ASSERT_FALSE(state.canUndo());

    const int index = state.addTextCallout(1);
    ASSERT_EQ(index, 0);
    ASSERT_EQ(state.currentProject()->textCallouts.size(), 1u);
    const TextCallout added = state.currentProject()->textCallouts[0];
    EXPECT_EQ(added.start, 1);
    EXPECT_EQ(added.end, 4);
    EXPECT_EQ(added.style, TextCalloutStyle::label);
    state.setTextCalloutText(0, "欢迎 Welcome");
    state.setTextCalloutStyle(0, "title");
    state.moveTextCallout(0, 0.5, 0.5);
    // A refused change shows its error and adds no step.
    state.setTextCalloutText(0, "");
    EXPECT_FALSE(state.errorMessageText().isEmpty());
    const TextCallout edited = state.currentProject()->textCallouts[0];
    EXPECT_EQ(edited, (TextCallout{1, 4, "欢迎 Welcome", TextCalloutStyle::title, CodablePoint{0.5, 0.5}, {}}));
    const double width = static_cast<double>(state.renderSettings().outputWidth);
    const double height = static_cast<double>(state.renderSettings().outputHeight);
    const QRectF frame = state.textCalloutRect(0, width, height);
    EXPECT_NEAR(frame.center().x(), width / 2, 2);
    EXPECT_NEAR(frame.center().y(), height / 2, 2);

    // The preview draws the title's dark plate in the middle of the frame, beside the text.
    auto* live = static_cast<LivePreviewItem*>(preview);
    live->handleScrubbing(true, 2.5);
    live->handleScrubbing(false, 2.5);
    const double plateSide = (frame.left() + 0.03 * width) / width;
    EXPECT_TRUE(waitFor([&] {
        const int brightness = previewBrightness(preview, plateSide, 0.5);
        return brightness >= 0 && brightness < 90;
    })) << previewBrightness(preview, plateSide, 0.5);

    for (int step = 0; step < 3; ++step) state.undoTimelineEdit();
    EXPECT_EQ(state.currentProject()->textCallouts, std::vector<TextCallout>{added});
    state.undoTimelineEdit();
    EXPECT_TRUE(state.currentProject()->textCallouts.empty());
    EXPECT_FALSE(state.canUndo());
    state.redoTimelineEdit();
    EXPECT_EQ(state.currentProject()->textCallouts, std::vector<TextCallout>{added});
    // Saved as shown.
    EXPECT_EQ(screen.savedProject().textCallouts, std::vector<TextCallout>{added});
}

}  // namespace vantile
