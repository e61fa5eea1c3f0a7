#include "RenderTestSupport.h"

#include "store/ProjectFileManager.h"

#include <gtest/gtest.h>

namespace vantile {
namespace {

using test::runCommand;

int lineCount(const std::string& text)
{
    return static_cast<int>(std::count(text.begin(), text.end(), '\n'));
}

TEST(ExportCommandTest, SampleThenExportAppliesSettingsLikeThePreviewPanel)
{
    test::TemporaryDirectory root;
    const auto project = root.path() / "demo";
    const auto sample = runCommand({VANTILE_CLI, "sample", project.string(), "--duration", "2", "--width", "480",
                                    "--height", "270", "--audio", "systemAndMicrophone"});
    ASSERT_EQ(sample.exitCode, 0) << sample.standardError;
    EXPECT_EQ(sample.standardOutput, project.string() + "\n");
    const ProjectFileManager files(root.path());
    const RecordingProject before = files.loadProject(project);
    EXPECT_EQ(before.video.width, 480);
    EXPECT_FALSE(before.events.empty());
    const Json raw = test::probe(project / "raw.mov");
    ASSERT_EQ(raw["streams"].size(), 3U);  // video, system audio, microphone

    const auto exported = runCommand({VANTILE_CLI, "export", project.string(), "-o", (project / "clip.mov").string(),
                                      "--aspect", "9:16", "--resolution", "720p", "--template", "cleanLight", "--zoom",
                                      "strong", "--fps", "24", "--cursor-theme", "rose", "--cursor-effect", "glow",
                                      "--no-ripple"});
    ASSERT_EQ(exported.exitCode, 0) << exported.standardError;
    EXPECT_EQ(exported.standardOutput, (project / "clip.mov").string() + "\n");

    const RecordingProject after = files.loadProject(project);
    const RenderSettings& settings = after.renderSettings;
    EXPECT_EQ(settings.aspectRatio, AspectRatio::portrait9x16);
    EXPECT_EQ(settings.resolutionPreset, ResolutionPreset::p720);
    const OutputSize size = outputSize(AspectRatio::portrait9x16, after.video, ResolutionPreset::p720);
    EXPECT_EQ(settings.outputWidth, size.width);
    EXPECT_EQ(settings.outputHeight, size.height);
    EXPECT_EQ(settings.templateName, TemplateName::cleanLight);
    EXPECT_EQ(settings.zoomIntensity, ZoomIntensity::strong);
    EXPECT_EQ(settings.cursorTheme, CursorTheme::rose);
    EXPECT_EQ(settings.cursorEffect, CursorEffect::glow);
    EXPECT_FALSE(settings.showClickRipple);
    EXPECT_TRUE(settings.showCursor);
    EXPECT_EQ(settings.fps, 24);
    EXPECT_EQ(after.cursorFrames.size(), 49U);  // re-smoothed at 24 fps: 0 ... floor(24 × 2)
    EXPECT_EQ(after.exportVideoPath, std::optional<std::string>("clip.mov"));

    const Json movie = test::probe(project / "clip.mov");
    EXPECT_EQ(movie["format"]["tags"]["major_brand"], "qt  ");
    ASSERT_EQ(movie["streams"].size(), 3U);
    EXPECT_EQ(movie["streams"][0]["width"], size.width);
    EXPECT_EQ(movie["streams"][0]["height"], size.height);
    EXPECT_EQ(movie["streams"][0]["avg_frame_rate"], "24/1");
    EXPECT_EQ(movie["streams"][1]["codec_name"], "aac");
    EXPECT_EQ(movie["streams"][2]["codec_name"], "aac");
    EXPECT_EQ(test::countVideoFrames(project / "clip.mov"), 48);

    // Bad input: one line on stderr, a non-zero status, nothing written.
    const auto badValue = runCommand({VANTILE_CLI, "export", project.string(), "--template", "neon"});
    EXPECT_EQ(badValue.exitCode, 2);
    EXPECT_EQ(lineCount(badValue.standardError), 1) << badValue.standardError;
    EXPECT_NE(badValue.standardError.find("neon"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(project / "export.mp4"));
    EXPECT_EQ(files.loadProject(project), after);

    std::filesystem::rename(project / "raw.mov", project / "moved.mov");
    const auto missing = runCommand({VANTILE_CLI, "export", project.string()});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_EQ(lineCount(missing.standardError), 1) << missing.standardError;
    EXPECT_NE(missing.standardError.find("raw.mov"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(project / "export.mp4"));

    const auto noProject = runCommand({VANTILE_CLI, "export", (root.path() / "nothing").string()});
    EXPECT_NE(noProject.exitCode, 0);
    EXPECT_EQ(lineCount(noProject.standardError), 1) << noProject.standardError;
}

}  // namespace
}  // namespace vantile
