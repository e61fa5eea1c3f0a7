#include "capture/EventJournal.h"
#include "capture/RecordingFinisher.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fstream>

namespace vantile {
namespace {

using Type = InputEvent::EventType;

TEST(RecordingFinisherTest, MapsPlansSmoothsAndSavesTheProjectTheAppWouldSave)
{
    const vantile::testing::TemporaryDirectory root;
    const std::filesystem::path directory = ProjectFileManager(root.path()).createProjectDirectory();
    StoppedRecording stopped;
    // A 1000 x 500 window recorded at 2000 x 1000: video pixels are twice the local points.
    stopped.source = {.id = "window-42", .kind = CaptureSource::SourceKind::window, .windowId = "42",
                      .appName = "Editor", .title = "Draft", .region = {300, 200, 1000, 500}};
    stopped.result = {directory / "raw.mov", 6.5, {"raw.mov", 2000, 1000, 30}};
    stopped.audioSettings = {AudioCaptureMode::system, std::nullopt};
    stopped.projectDirectory = directory;
    stopped.events = {
        {0.5, Type::mouseMove, 100, 100},
        {1.0, Type::leftMouseDown, 250, 125, {}, {}, "left"},
        {1.1, Type::leftMouseUp, 250, 125, {}, {}, "left"},
        {3.0, Type::typingActivityStart, 250, 125},
        {4.0, Type::typingActivityEnd, 250, 125},
    };
    RenderSettings settings;
    settings.aspectRatio = AspectRatio::portrait9x16;
    settings.fps = 24;

    const ProjectFileManager files(root.path());
    const FocusPlanner planner;
    const CursorPathSmoother smoother;
    const Timestamp now = parseISO8601("2026-11-23T10:00:00Z");
    const RecordingProject project = RecordingFinisher(files, planner, smoother).finish(stopped, settings, now);

    EXPECT_EQ(project.id, directory.filename().string());
    EXPECT_EQ(project.createdAt, now);
    EXPECT_EQ(project.duration, 6.5);
    EXPECT_EQ(project.capture, stopped.source.captureInfo());
    EXPECT_EQ(project.video, stopped.result.videoInfo);
    EXPECT_EQ(project.rawVideoPath, "raw.mov");
    EXPECT_EQ(project.audioSettings, stopped.audioSettings);
    EXPECT_FALSE(project.exportVideoPath);
    ASSERT_EQ(project.events.size(), 5u);
    EXPECT_EQ(project.events[1].x, 500);
    EXPECT_EQ(project.events[1].y, 250);
    EXPECT_EQ(project.events[1].button, "left");
    const OutputSize size = outputSize(AspectRatio::portrait9x16, stopped.result.videoInfo, ResolutionPreset::p1080);
    EXPECT_EQ(project.renderSettings.outputWidth, size.width);
    EXPECT_EQ(project.renderSettings.outputHeight, size.height);
    EXPECT_EQ(project.renderSettings.fps, 24);
    EXPECT_EQ(project.focusSegments,
              planner
                  .plan({6.5, 2000, 1000, project.events, settings.zoomIntensity})
                  .segments);
    EXPECT_EQ(project.cursorFrames, smoother.smooth(project.events, 24, 6.5));
    EXPECT_FALSE(project.cursorFrames.empty());

    EXPECT_EQ(files.loadProject(directory), project);
}

TEST(EventJournalTest, ReadsBackWhatWasAppendedAndStopsAtATornLine)
{
    const auto file = std::filesystem::temp_directory_path() / ("vantile-journal-" + std::to_string(::getpid()));
    const std::vector<InputEvent> events{{0.25, Type::mouseMove, 1, 2},
                                         {0.5, Type::scrollWheel, 3, 4, 0.0, -1.0, {}},
                                         {0.75, Type::rightMouseDown, 5, 6, {}, {}, "right"}};
    {
        EventJournal journal(file);
        for (const InputEvent& event : events) journal.append(event);
        // Read while still open: every event is on disk as soon as it is appended.
        EXPECT_EQ(EventJournal::read(file), events);
    }
    std::ofstream(file, std::ios::app) << "{\"time\":1.0,\"type\":\"mouseM";
    EXPECT_EQ(EventJournal::read(file), events);
    std::filesystem::remove(file);
}

}  // namespace
}  // namespace vantile
