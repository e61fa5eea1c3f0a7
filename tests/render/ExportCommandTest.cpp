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

TEST(ExportCommandTest, CameraOptionsPlaceShapeMirrorAndHideTheBubbleAndBadValuesChangeNothing)
{
    test::TemporaryDirectory root;
    const auto project = root.path() / "camera";
    const auto sample = runCommand({VANTILE_CLI, "sample", project.string(), "--duration", "1", "--width", "320",
                                    "--height", "180", "--audio", "none"});
    ASSERT_EQ(sample.exitCode, 0) << sample.standardError;
    const ProjectFileManager files(root.path());
    const auto refusedCameraOn = runCommand({VANTILE_CLI, "export", project.string(), "--camera", "on"});
    EXPECT_EQ(refusedCameraOn.exitCode, 2);
    EXPECT_EQ(test::lineCount(refusedCameraOn.standardError), 1);
    EXPECT_NE(refusedCameraOn.standardError.find("--camera on: this project has no camera recording"), std::string::npos)
        << refusedCameraOn.standardError;

    // A plain magenta camera beside the raw movie, recorded from the start.
    const QColor magenta(255, 0, 255);
    test::writeRawMovie(project / "camera.mov", 160, 120, 1, 0, [&](QImage& canvas, int) { canvas.fill(magenta); });
    RecordingProject withCamera = files.loadProject(project);
    withCamera.camera = CameraRecording{"camera.mov", 160, 120, 30, 0};
    files.saveProject(withCamera, project);
    const auto info = runCommand({VANTILE_CLI, "info", project.string()});
    EXPECT_NE(info.standardOutput.find("camera        camera.mov, 160x120 at 30 fps from 0.000 s\n"
                                       "bubble        shown, bottomRight, size 0.25, circle, mirror on, shadow on\n"),
              std::string::npos)
        << info.standardOutput;

    const auto exported =
        runCommand({VANTILE_CLI, "export", project.string(), "--resolution", "720p", "--no-background", "--camera-position", "topLeft",
                    "--camera-size", "0.3", "--camera-shape", "square", "--camera-mirror", "off", "--motion-blur", "0.5"});
    ASSERT_EQ(exported.exitCode, 0) << exported.standardError;
    const RecordingProject after = files.loadProject(project);
    EXPECT_EQ(after.renderSettings.cameraPosition, CameraPosition::topLeft);
    EXPECT_EQ(after.renderSettings.cameraSize, 0.3);
    EXPECT_EQ(after.renderSettings.cameraShape, CameraShape::square);
    EXPECT_FALSE(after.renderSettings.cameraMirror);
    EXPECT_EQ(after.renderSettings.motionBlur, 0.5);
    EXPECT_NE(runCommand({VANTILE_CLI, "info", project.string()}).standardOutput.find("motion blur   0.5\n"),
              std::string::npos);
    // Where and how the bubble is drawn is CameraBubbleExportTest's.

    // A centre given as fractions, then the bubble hidden; info says so.
    ASSERT_EQ(runCommand({VANTILE_CLI, "export", project.string(), "--camera-position", "0.25,0.75"}).exitCode, 0);
    RenderSettings custom = files.loadProject(project).renderSettings;
    EXPECT_EQ(custom.cameraPosition, CameraPosition::custom);
    EXPECT_EQ(custom.cameraCenterX, 0.25);
    EXPECT_EQ(custom.cameraCenterY, 0.75);
    ASSERT_EQ(runCommand({VANTILE_CLI, "export", project.string(), "--camera", "off"}).exitCode, 0);
    EXPECT_FALSE(files.loadProject(project).renderSettings.cameraVisible);
    EXPECT_NE(runCommand({VANTILE_CLI, "info", project.string()}).standardOutput.find("bubble        hidden, at 0.25,0.75"),
              std::string::npos);

    // Bad values: one line naming the option, status 2, no movie and no change to the project.
    std::filesystem::remove(project / "export.mp4");
    const RecordingProject settled = files.loadProject(project);
    const std::vector<std::pair<std::vector<std::string>, std::string>> refusals = {
        {{"--camera", "maybe"}, "unknown --camera value \"maybe\" (on, off)"},
        {{"--camera-position", "middle"}, "unknown --camera-position value \"middle\""},
        {{"--camera-position", "custom"}, "--camera-position: give the centre as X,Y fractions"},
        {{"--camera-position", "1.5,0.5"}, "--camera-position: expected X,Y fractions between 0 and 1"},
        {{"--camera-position", "0.5,"}, "--camera-position: expected X,Y fractions between 0 and 1"},
        {{"--camera-size", "0.6"}, "--camera-size must be between 0.12 and 0.5"},
        {{"--motion-blur", "1.5"}, "--motion-blur must be between 0 (off) and 1"},
        {{"--camera-size", "big"}, "--camera-size: expected a number"},
        {{"--camera-shape", "oval"}, "unknown --camera-shape value \"oval\" (circle, roundedSquare, square)"},
        {{"--camera-mirror", "yes"}, "unknown --camera-mirror value \"yes\" (on, off)"},
    };
    for (const auto& [options, expected] : refusals) {
        std::vector<std::string> arguments{VANTILE_CLI, "export", project.string()};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const auto refused = runCommand(arguments);
        EXPECT_EQ(refused.exitCode, 2) << expected;
        EXPECT_EQ(test::lineCount(refused.standardError), 1) << refused.standardError;
        EXPECT_NE(refused.standardError.find(expected), std::string::npos) << refused.standardError;
    }
    EXPECT_FALSE(std::filesystem::exists(project / "export.mp4"));
    EXPECT_EQ(files.loadProject(project), settled);
}

}  // namespace
}  // namespace vantile
