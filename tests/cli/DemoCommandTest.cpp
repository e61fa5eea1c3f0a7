#include "store/ProjectFileManager.h"

#include "support/MediaProbe.h"
#include "support/RunCommand.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace vantile;
using namespace vantile::testing;

// The README's main job, end to end: its own display and sound server, the sample app driven
// by the script, the recording planned and exported.
TEST(DemoCommand, RecordsTheScriptedDemoAndExportsAMovieThatZooms)
{
    TemporaryDirectory root;
    const auto demo = runShell("env -u DISPLAY PULSE_SERVER=" + quoteForShell("unix:" + (root / "no-server").string()) +
                               " " + quoteForShell(VANTILE_CLI) + " demo --root " + quoteForShell(root.path().string()));
    ASSERT_EQ(demo.exitCode, 0) << demo.standardError;
    ASSERT_FALSE(demo.standardOutput.empty());
    const std::filesystem::path movie = demo.standardOutput.substr(0, demo.standardOutput.size() - 1);
    EXPECT_EQ(movie.parent_path().parent_path(), root.path());

    const RecordingProject project = ProjectFileManager(root.path()).loadProject(movie.parent_path());
    EXPECT_EQ(project.exportVideoPath, "export.mp4");
    EXPECT_TRUE(std::any_of(project.focusSegments.begin(), project.focusSegments.end(),
                            [](const FocusSegment& segment) { return segment.scale > 1.05; }));
    const auto probed = probe(movie);
    const auto video = streamOfType(probed, "video");
    ASSERT_FALSE(video.is_null());
    EXPECT_EQ(video["codec_name"], "h264");
    EXPECT_FALSE(streamOfType(probed, "audio").is_null());
    EXPECT_NEAR(std::stod(probed["format"]["duration"].get<std::string>()), project.duration, 0.5);
}
