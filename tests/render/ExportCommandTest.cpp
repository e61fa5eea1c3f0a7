#include "RenderTestSupport.h"

#include "engine/CursorPathSmoother.h"
#include "store/ProjectFileManager.h"

#include <gtest/gtest.h>

namespace vantile {
namespace {

using test::runCommand;

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
                                      "--no-ripple", "--quality", "high", "--cursor-smoothing", "precise"});
    ASSERT_EQ(exported.exitCode, 0) << exported.standardError;
    EXPECT_EQ(exported.standardOutput, (project / "clip.mov").string() + "\n");

    const RecordingProject after = files.loadProject(project);
    RenderSettings expected = before.renderSettings;
    expected.aspectRatio = AspectRatio::portrait9x16;
    expected.resolutionPreset = ResolutionPreset::p720;
    const OutputSize size = outputSize(AspectRatio::portrait9x16, after.video, ResolutionPreset::p720);
    expected.outputWidth = size.width;
    expected.outputHeight = size.height;
    expected.templateName = TemplateName::cleanLight;
    expected.zoomIntensity = ZoomIntensity::strong;
    expected.cursorTheme = CursorTheme::rose;
    expected.cursorEffect = CursorEffect::glow;
    expected.showClickRipple = false;
    expected.fps = 24;
    expected.exportQuality = ExportQuality::high;
    expected.cursorSmoothing = CursorSmoothing::precise;
    EXPECT_EQ(after.renderSettings, expected);
    // Re-smoothed at 24 fps (0 ... floor(24 × 2)), landing where the pointer rests and clicks.
    EXPECT_EQ(after.cursorFrames, CursorPathSmoother().smooth(after.events, 24, after.duration, CursorSmoothing::precise));
    EXPECT_NE(after.cursorFrames, CursorPathSmoother().smooth(after.events, 24, after.duration));
    EXPECT_EQ(after.cursorFrames.size(), 49U);
    EXPECT_EQ(after.exportVideoPath, std::optional<std::string>("clip.mov"));

    const Json movie = test::probe(project / "clip.mov");
    ASSERT_EQ(movie["streams"].size(), 3U);
    EXPECT_EQ(movie["streams"][0]["width"], size.width);
    EXPECT_EQ(movie["streams"][0]["height"], size.height);
    EXPECT_EQ(test::countVideoFrames(project / "clip.mov"), 48);

    // The recording's own size.
    const auto native = runCommand({VANTILE_CLI, "export", project.string(), "-o", (project / "native.mp4").string(),
                                    "--aspect", "source", "--resolution", "source"});
    ASSERT_EQ(native.exitCode, 0) << native.standardError;
    const Json nativeMovie = test::probe(project / "native.mp4");
    EXPECT_EQ(nativeMovie["streams"][0]["width"], 480);
    EXPECT_EQ(nativeMovie["streams"][0]["height"], 270);
    const RecordingProject afterNative = files.loadProject(project);
    std::filesystem::remove(project / "native.mp4");

    // An unknown value: one line naming it and the choices, status 2, nothing written.
    const auto badValue = runCommand({VANTILE_CLI, "export", project.string(), "--quality", "best"});
    EXPECT_EQ(badValue.exitCode, 2);
    EXPECT_EQ(test::lineCount(badValue.standardError), 1) << badValue.standardError;
    EXPECT_NE(badValue.standardError.find("draft, standard, high"), std::string::npos) << badValue.standardError;
    EXPECT_FALSE(std::filesystem::exists(project / "export.mp4"));
    EXPECT_EQ(files.loadProject(project), afterNative);
}

}  // namespace
}  // namespace vantile
