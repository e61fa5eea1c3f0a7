#include "FakeServices.h"

#include "store/ProjectFileManager.h"

#include <gtest/gtest.h>

namespace vantile {
namespace {

using testing::AppFixture;
using testing::sampleEvents;
using testing::waitFor;

TEST(TimelineEditingTest, EditsReachThePreviewAndTheSavedProjectAndUndoRedoAndRefusalsBehave)
{
    AppFixture app;
    app.input->events = sampleEvents();
    ASSERT_TRUE(app.recordAndStop());
    const auto directory = *app.state->projectDirectory();
    app.state->cutTimelineRange(2.0, 1.0);  // a range selected right to left
    app.state->addTimelineSegment(2.5);
    const RecordingProject edited = *app.state->currentProject();
    EXPECT_EQ(edited.cuts, (std::vector<TimeRange>{{1.0, 2.0}}));
    const auto zoom = std::find_if(edited.focusSegments.begin(), edited.focusSegments.end(),
                                   [](const FocusSegment& segment) { return segment.edited; });
    ASSERT_NE(zoom, edited.focusSegments.end());
    EXPECT_EQ(zoom->start, 2.5);
    const int zoomIndex = static_cast<int>(zoom - edited.focusSegments.begin());
    app.state->setTimelineSegmentDepth(zoomIndex, 3.25);
    EXPECT_EQ(app.state->currentProject()->focusSegments.at(static_cast<std::size_t>(zoomIndex)).scale, 3.25);

    // Refused: the project stays and the error is shown.
    const RecordingProject before = *app.state->currentProject();
    app.state->setTimelineSegmentDepth(zoomIndex, 5);
    app.state->removeTimelineSegment(-1);
    app.state->setTimelineTrim(1.2, 1.9);  // only cut material
    EXPECT_EQ(*app.state->currentProject(), before);
    EXPECT_FALSE(app.state->errorMessageText().isEmpty());

    app.state->undoTimelineEdit();
    EXPECT_NE(*app.state->currentProject(), before);
    app.state->redoTimelineEdit();
    EXPECT_EQ(*app.state->currentProject(), before);

    app.state->shutdown();  // waits for the background saves
    EXPECT_EQ(ProjectFileManager(app.root / "projects").loadProject(directory), before);
}

}  // namespace
}  // namespace vantile
