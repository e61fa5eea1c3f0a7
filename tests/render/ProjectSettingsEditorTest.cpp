#include "RenderTestSupport.h"

#include "render/ProjectSettingsEditor.h"

#include <gtest/gtest.h>

#include <fstream>

namespace vantile {
namespace {

RecordingProject clickProject()
{
    RecordingProject project = test::makeProject(1920, 1080, 6);
    project.renderSettings = RenderSettings::defaultLandscape().sizedFor(project.video);
    for (int i = 0; i < 3; ++i) {
        const double t = 1 + 1.5 * i;
        project.events.push_back({t, InputEvent::EventType::leftMouseDown, 400.0 + 500 * i, 300, {}, {}, "left"});
        project.events.push_back({t + 0.1, InputEvent::EventType::leftMouseUp, 400.0 + 500 * i, 300, {}, {}, "left"});
    }
    project.exportVideoPath = "export.mp4";
    project.previewVideoPath = "preview.mp4";
    return project;
}

TEST(ProjectSettingsEditorTest, ChangesAreSavedAndRecomputeWhatDependsOnThem)
{
    test::TemporaryDirectory root;
    const auto directory = root.path() / "project";
    const ProjectFileManager files(root.path());
    files.saveProject(clickProject(), directory);
    ProjectSettingsEditor editor(files.loadProject(directory), directory, files);

    editor.updateAspectRatio(AspectRatio::portrait9x16);
    const OutputSize portrait = outputSize(AspectRatio::portrait9x16, editor.project().video, ResolutionPreset::p1080);
    EXPECT_EQ(editor.renderSettings().outputWidth, portrait.width);
    EXPECT_EQ(editor.renderSettings().outputHeight, portrait.height);
    // A change makes the earlier preview and export stale.
    RecordingProject saved = files.loadProject(directory);
    EXPECT_EQ(saved.renderSettings, editor.renderSettings());
    EXPECT_FALSE(saved.exportVideoPath.has_value());
    EXPECT_FALSE(saved.previewVideoPath.has_value());

    editor.updateResolutionPreset(ResolutionPreset::p1440);
    EXPECT_EQ(files.loadProject(directory).renderSettings.outputHeight,
              outputSize(AspectRatio::portrait9x16, editor.project().video, ResolutionPreset::p1440).height);

    editor.changeFps(24);
    EXPECT_EQ(files.loadProject(directory).cursorFrames.size(), 6U * 24 + 1);

    // Re-planning keeps the zoom the user placed by hand.
    const FocusSegment placed{5.5, 5.9, FocusSegment::SegmentType::clickFocus, 960, 540, 2.5, true};
    RecordingProject edited = editor.project();
    edited.focusSegments.push_back(placed);
    ProjectSettingsEditor replanning(edited, directory, files);
    replanning.changeZoomIntensity(ZoomIntensity::strong);
    saved = files.loadProject(directory);
    EXPECT_EQ(saved.renderSettings.zoomIntensity, ZoomIntensity::strong);
    EXPECT_EQ(saved.focusSegments, replanning.project().focusSegments);
    EXPECT_GT(saved.focusSegments.size(), 1u);
    EXPECT_EQ(std::count(saved.focusSegments.begin(), saved.focusSegments.end(), placed), 1);

    const RenderJob job = editor.makeExportJob(editor.defaultExportURL());
    EXPECT_EQ(job.rawVideoURL, directory / "raw.mov");
    EXPECT_EQ(job.renderSettings, editor.renderSettings());
    EXPECT_EQ(job.cursorFrames, editor.project().cursorFrames);
    const Timestamp exportedAt = parseISO8601("2026-11-25T23:10:00Z");
    editor.recordExport(directory / "export.mp4", 1000, exportedAt);
    EXPECT_EQ(files.loadProject(directory).exportVideoPath, std::optional<std::string>("export.mp4"));
    editor.recordExport(root.path() / "elsewhere.MP4", 2000, exportedAt);
    EXPECT_EQ(files.loadProject(directory).exportVideoPath, (root.path() / "elsewhere.MP4").string());
    EXPECT_EQ(files.loadProject(directory).exports,
              (std::vector<ExportRecord>{{"export.mp4", "mp4", exportedAt, 1000},
                                         {(root.path() / "elsewhere.MP4").string(), "mp4", exportedAt, 2000}}));
    // Forgetting the latest export leaves none named as the latest; another keeps it.
    editor.forgetExport("export.mp4");
    EXPECT_EQ(files.loadProject(directory).exportVideoPath, (root.path() / "elsewhere.MP4").string());
    editor.forgetExport((root.path() / "elsewhere.MP4").string());
    EXPECT_FALSE(files.loadProject(directory).exportVideoPath);
    EXPECT_TRUE(files.loadProject(directory).exports.empty());

    // Settings saves are best effort: a vanished directory does not stop the change.
    std::filesystem::remove_all(directory);
    std::filesystem::create_directories(root.path() / "blocker");
    ProjectSettingsEditor orphan(clickProject(), root.path() / "blocker" / "file" / "x", files);
    std::ofstream(root.path() / "blocker" / "file") << "not a directory";
    EXPECT_NO_THROW(orphan.changeFps(60));
    EXPECT_EQ(orphan.renderSettings().fps, 60);
    EXPECT_THROW(orphan.recordExport(root.path() / "out.mp4", 1, Timestamp{}), std::exception);
}

}  // namespace
}  // namespace vantile
