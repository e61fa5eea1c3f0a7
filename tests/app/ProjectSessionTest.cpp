#include "FakeServices.h"
#include "SampleProject.h"

#include "ProjectSaver.h"
#include "capture/EventJournal.h"

#include "engine/CursorPathSmoother.h"

#include <gtest/gtest.h>

#include <thread>

namespace vantile {
namespace {

using testing::AppFixture;
namespace fs = std::filesystem;
using testing::TextTrail;
using testing::waitFor;

TEST(ProjectSessionTest, SettingsChangesUpdateAndSaveTheProjectAndReplanOrResmooth)
{
    AppFixture app;
    ASSERT_TRUE(app.recordAndStop());
    const auto directory = *app.state->projectDirectory();
    // That a change makes an earlier export stale is the settings editor's to check.
    app.state->changeRenderSetting("templateName", "gradientBlue");
    EXPECT_EQ(app.state->renderSettings().templateName, TemplateName::gradientBlue);
    EXPECT_EQ(app.savedProject(), *app.state->currentProject());

    app.state->updateResolutionPreset(ResolutionPreset::p720);
    app.state->changeRenderSetting("aspectRatio", "square1x1");
    EXPECT_EQ(app.state->renderSettings().outputHeight, 720);

    // What a change recomputes is the settings editor's; here each name must reach it.
    app.state->changeRenderSetting("zoomIntensity", "strong");
    EXPECT_EQ(app.state->currentProject()->renderSettings.zoomIntensity, ZoomIntensity::strong);
    app.state->changeRenderSetting("fps", 12);
    EXPECT_EQ(app.state->currentProject()->cursorFrames.size(), 12u * 6 + 1);
    app.state->changeRenderSetting("cursorSmoothing", "precise");
    const RecordingProject& precise = *app.state->currentProject();
    EXPECT_EQ(precise.renderSettings.cursorSmoothing, CursorSmoothing::precise);
    EXPECT_EQ(precise.cursorFrames,
              CursorPathSmoother().smooth(precise.events, 12, precise.duration, CursorSmoothing::precise));
    app.state->changeRenderSetting("motionBlur", "0.5");
    EXPECT_EQ(app.state->renderSettings().motionBlur, 0.5);
    app.state->changeRenderSetting("motionBlur", "2");  // out of range: ignored
    EXPECT_EQ(app.state->renderSettings().motionBlur, 0.5);
    app.state->changeRenderSetting("cursorTheme", "lime");
    app.state->changeRenderSetting("cursorTheme", "neon");  // unknown values are ignored
    EXPECT_EQ(app.state->renderSettings().cursorTheme, CursorTheme::lime);
    EXPECT_EQ(app.savedProject(), *app.state->currentProject());

    // A failing settings save is told, and the change stays in effect.
    std::filesystem::remove_all(directory);
    testing::writeText(directory, "not a directory");
    app.state->changeRenderSetting("showCursor", false);
    EXPECT_FALSE(app.state->renderSettings().showCursor);
    EXPECT_TRUE(waitFor([&] { return app.state->errorMessage().has_value(); }));
}

// The app's background saves lay only its own changes over the project on disk: a trim saved
// meanwhile by vantile-cli, and keys a newer version wrote, survive the app's next save.
TEST(ProjectSessionTest, SavesKeepWhatAnotherProgramSavedMeanwhile)
{
    AppFixture app;
    ASSERT_TRUE(app.recordAndStop());
    const auto directory = *app.state->projectDirectory();
    app.savedProject();  // once the app's own saves are done
    const ProjectFileManager files(directory.parent_path());
    files.updateProject(directory, [](RecordingProject project) {
        project.trim = TimeRange{0.5, 1.5};
        project.unknownKeys.members = {{"captions", {{"path", "captions.vtt"}}}};
        project.renderSettings.unknownKeys.members = {{"futureSetting", 0.5}};
        return project;
    });
    app.state->changeRenderSetting("templateName", "cleanLight");
    const RecordingProject saved = app.savedProject();
    EXPECT_EQ(saved.renderSettings.templateName, TemplateName::cleanLight);
    EXPECT_EQ(saved.trim, (TimeRange{0.5, 1.5}));
    EXPECT_EQ(saved.unknownKeys.members["captions"]["path"], "captions.vtt");
    EXPECT_EQ(saved.renderSettings.unknownKeys.members["futureSetting"], 0.5);
}

TEST(TimelineEditingTest, EditsReachThePreviewAndTheSavedProjectAndUndoRedoAndRefusalsBehave)
{
    AppFixture app;
    ASSERT_TRUE(app.recordAndStop());
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

    EXPECT_EQ(app.savedProject(), before);
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

TEST(ExportFlowTest, ExportRendersTheProjectRecordsTheFileAndReveals)
{
    AppFixture app;
    app.state->exportCurrentProject();
    EXPECT_EQ(app.state->errorMessage(), "No project to export.");

    ASSERT_TRUE(app.recordAndStop());
    const auto directory = *app.state->projectDirectory();
    app.state->changeRenderSetting("cursorTheme", "rose");
    app.state->changeRenderSetting("exportQuality", "high");
    app.state->changeRenderSetting("exportQuality", "ultra");  // not a quality: ignored
    TextTrail trail(*app.state);
    app.state->exportCurrentProject();
    EXPECT_TRUE(app.state->isExporting());
    app.state->exportCurrentProject();  // the second click while busy is ignored
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
    EXPECT_EQ(trail.statuses, (std::vector<std::string>{"Exporting MP4", "Exported"}));
    const auto calls = app.log.entries();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "exporter.export"), 1);

    const RenderJob& job = *app.exporter->lastJob;
    EXPECT_EQ(job.outputURL, directory / "export.mp4");
    EXPECT_EQ(job.rawVideoURL, directory / "raw.mov");
    EXPECT_EQ(job.renderSettings.cursorTheme, CursorTheme::rose);
    EXPECT_EQ(job.renderSettings.exportQuality, ExportQuality::high);
    EXPECT_EQ(job.focusSegments, app.state->currentProject()->focusSegments);
    EXPECT_EQ(app.state->currentProject()->exportVideoPath, "export.mp4");
    EXPECT_EQ(app.savedProject().exportVideoPath, "export.mp4");
    app.state->revealExportInFinder();
    EXPECT_EQ(app.log.entries().back(), "shell.reveal " + (directory / "export.mp4").string());

    // A failed export tells why and keeps the project as it was.
    const auto before = app.state->currentProject();
    app.exporter->failure = "Could not write the movie: No space left on device";
    app.state->exportCurrentProject();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
    EXPECT_EQ(app.state->errorMessage(), "Could not write the movie: No space left on device");
    EXPECT_EQ(app.state->currentProject(), before);

    // A GIF goes to its own file and is recorded as the export.
    app.exporter->failure.reset();
    app.state->exportCurrentProjectAsGif();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
    EXPECT_EQ(app.exporter->lastJob->outputURL, directory / "export.gif");
    EXPECT_EQ(app.state->currentProject()->exportVideoPath, "export.gif");

    // Settings changed during an export do not reach the project it is recorded on.
    app.exporter->holdUntilCancelled = true;
    app.state->exportCurrentProject();
    ASSERT_TRUE(waitFor([&] { return app.state->exportProgress() == 0.5; }));
    const RenderSettings exported = app.exporter->lastJob->renderSettings;
    app.state->changeRenderSetting("templateName", "gradientBlue");
    app.state->changeRenderSetting("zoomIntensity", "strong");
    app.state->updateAspectRatio("square1x1");
    app.exporter->holdUntilCancelled = false;
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
    // It finished (the GIF was the export before), and it describes the project exactly as it was rendered.
    EXPECT_EQ(app.state->currentProject()->exportVideoPath, "export.mp4");
    EXPECT_EQ(app.state->currentProject()->renderSettings, exported);
    EXPECT_EQ(app.state->renderSettings(), exported);
    EXPECT_EQ(app.savedProject().renderSettings, exported);
}

// A recording cut off before its stop: the movie and the journal, no project files.
std::vector<InputEvent> makeCutOffRecording(const fs::path& directory)
{
    const RecordingProject project = testing::makeSampleProject(directory, 320, 240, 2);
    const fs::path metadata = directory / ProjectFileManager::metadataFolderName;
    for (const char* name : {"project.json", "events.json", "focus_segments.json", "cursor_path.json"})
        fs::remove(metadata / name);
    EventJournal journal(metadata / EventJournal::fileName);
    for (const InputEvent& event : project.events) journal.append(event);
    return project.events;
}

TEST(RecoveryFlowTest, UnfinishedRecordingsAreOfferedThenRecoveredIntoThePreviewOrIgnored)
{
    AppFixture app;
    const fs::path projects = app.root.path() / "projects";
    const auto events = makeCutOffRecording(projects / "project-a");
    makeCutOffRecording(projects / "project-b");
    testing::makeSampleProject(projects / "project-c", 320, 240, 1);  // finished: not offered

    app.state->findUnfinishedRecordings();
    EXPECT_EQ(app.state->unfinishedRecordings(), (std::vector<fs::path>{projects / "project-a", projects / "project-b"}));
    app.state->ignoreUnfinishedRecording(QString::fromStdString((projects / "project-b").string()));
    app.state->findUnfinishedRecordings();  // ignored for the rest of this run
    EXPECT_EQ(app.state->unfinishedRecordings(), std::vector<fs::path>{projects / "project-a"});

    app.state->recoverUnfinishedRecording(QString::fromStdString((projects / "project-a").string()));
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy() && app.state->route() == Route::preview; }, 20000))
        << app.state->errorMessage().value_or("");
    // What recovery makes of the journal is the recover command's to check; here, that the app shows it.
    const RecordingProject& recovered = *app.state->currentProject();
    EXPECT_EQ(recovered.events.size(), events.size());
    EXPECT_EQ(app.state->projectDirectory(), projects / "project-a");
    EXPECT_TRUE(app.state->unfinishedRecordings().empty());
    EXPECT_EQ(ProjectFileManager(projects).loadProject(projects / "project-a"), recovered);
    EXPECT_TRUE(ProjectFileManager::isUnfinishedRecording(projects / "project-b"));  // left as it was
}

}  // namespace
}  // namespace vantile
