#include "FakeServices.h"

#include "ProjectSaver.h"
#include "store/ProjectFileManager.h"

#include <gtest/gtest.h>

#include <thread>

namespace vantile {
namespace {

using testing::AppFixture;
using testing::sampleEvents;
using testing::waitFor;

TEST(ProjectSessionTest, SettingsChangesUpdateAndSaveTheProjectAndReplanOrResmooth)
{
    AppFixture app;
    app.input->events = sampleEvents();
    ASSERT_TRUE(app.recordAndStop());
    const auto directory = *app.state->projectDirectory();
    const auto saved = [&] {
        app.state->shutdown();  // waits for the saves in flight
        return ProjectFileManager(app.root / "projects").loadProject(directory);
    };
    // An exported project forgets its export on the next change.
    app.state->exportCurrentProject();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
    ASSERT_TRUE(app.state->currentProject()->exportVideoPath);
    app.state->changeRenderSetting("templateName", "gradientBlue");
    EXPECT_FALSE(app.state->currentProject()->exportVideoPath);
    EXPECT_EQ(saved(), *app.state->currentProject());

    app.state->updateResolutionPreset(ResolutionPreset::p720);
    app.state->changeRenderSetting("aspectRatio", "square1x1");
    EXPECT_EQ(app.state->renderSettings().outputHeight, 720);

    // What a change recomputes is the settings editor's; here each name must reach it.
    app.state->changeRenderSetting("zoomIntensity", "strong");
    EXPECT_EQ(app.state->currentProject()->renderSettings.zoomIntensity, ZoomIntensity::strong);
    app.state->changeRenderSetting("fps", 12);
    EXPECT_EQ(app.state->currentProject()->cursorFrames.size(), 12u * 6 + 1);
    app.state->changeRenderSetting("cursorTheme", "lime");
    app.state->changeRenderSetting("cursorTheme", "neon");  // unknown values are ignored
    EXPECT_EQ(app.state->renderSettings().cursorTheme, CursorTheme::lime);
    EXPECT_EQ(saved(), *app.state->currentProject());

    // A failing settings save is told, and the change stays in effect.
    std::filesystem::remove_all(directory);
    testing::writeText(directory, "not a directory");
    app.state->changeRenderSetting("showCursor", false);
    EXPECT_FALSE(app.state->renderSettings().showCursor);
    EXPECT_TRUE(waitFor([&] { return app.state->errorMessage().has_value(); }));
}

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

TEST(ProjectSessionTest, SavesRunOffTheMainThreadInOrderAndABurstCollapsesIntoItsLastChange)
{
    testing::Gate writer;
    std::atomic<bool> writing = false;
    std::vector<std::int64_t> written;
    std::vector<std::thread::id> threads;
    ProjectSaver saver([&](const RecordingProject& project, const std::filesystem::path&) {
        writing = true;
        writer.pass();
        written.push_back(project.renderSettings.fps);
        threads.push_back(std::this_thread::get_id());
    });
    // The first save holds the writer; the burst behind it asks for 2..20 frames a second.
    RecordingProject project;
    project.renderSettings.fps = 1;
    writer.close();
    saver.save(project, "project");
    ASSERT_TRUE(waitFor([&] { return writing.load(); }));
    for (std::int64_t fps = 2; fps <= 20; ++fps) {
        project.renderSettings.fps = fps;
        saver.save(project, "project");
    }
    writer.open();
    saver.waitUntilSaved();
    EXPECT_EQ(written, (std::vector<std::int64_t>{1, 20}));
    for (const auto& thread : threads) EXPECT_NE(thread, std::this_thread::get_id());
}

}  // namespace
}  // namespace vantile
