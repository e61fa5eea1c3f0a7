#include "store/ProjectFileManager.h"

#include "support/RunCommand.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

using namespace vantile;
using namespace vantile::testing;
namespace fs = std::filesystem;

namespace {

fs::path sampleProject(const TemporaryDirectory& root)
{
    const fs::path directory = root / "project";
    const auto made = runCli({"sample", directory.string(), "--duration", "20", "--width", "640", "--height", "360"});
    EXPECT_EQ(made.exitCode, 0) << made.standardError;
    return directory;
}

}  // namespace

TEST(EditCommand, AppliesOptionsInOrderSavesOnceAndPrintsTheTimeline)
{
    TemporaryDirectory root;
    const fs::path directory = sampleProject(root);
    const ProjectFileManager store(root.path());
    const RecordingProject original = store.loadProject(directory);

    // The second cut overlaps the first and merges; the zoom replaces what it overlaps.
    const auto edited = runCli({"edit", directory.string(), "--trim", "1", "19", "--cut", "5", "7", "--cut", "6",
                                "8", "--cut", "12", "13.5", "--zoom", "9", "10.5", "300", "200", "2.5", "--json"});
    ASSERT_EQ(edited.exitCode, 0) << edited.standardError;
    const Json timeline = Json::parse(edited.standardOutput);
    EXPECT_DOUBLE_EQ(timeline.at("duration").get<double>(), 18 - 3 - 1.5);
    EXPECT_EQ(timeline.at("trim"), (Json{{"start", 1.0}, {"end", 19.0}}));
    EXPECT_EQ(timeline.at("cuts"), Json::parse(R"([{"start":5.0,"end":8.0},{"start":12.0,"end":13.5}])"));

    const RecordingProject saved = store.loadProject(directory);
    EXPECT_EQ(timeline.at("segments"), Json(saved.focusSegments));
    const auto zoom = std::ranges::find_if(saved.focusSegments, &FocusSegment::edited);
    ASSERT_NE(zoom, saved.focusSegments.end());
    EXPECT_EQ(*zoom, (FocusSegment{9, 10.5, FocusSegment::SegmentType::clickFocus, 300, 200, 2.5, true}));
    const auto zoomIndex = zoom - saved.focusSegments.begin();

    // Removing by the index info --json lists, then clearing, brings back the automatic plan.
    ASSERT_EQ(runCli({"edit", directory.string(), "--remove-zoom", std::to_string(zoomIndex)}).exitCode, 0);
    EXPECT_EQ(store.loadProject(directory).focusSegments.size(), saved.focusSegments.size() - 1);
    const auto cleared = runCli({"edit", directory.string(), "--clear-edits"});
    ASSERT_EQ(cleared.exitCode, 0) << cleared.standardError;
    RecordingProject restored = store.loadProject(directory);
    EXPECT_EQ(restored.focusSegments, original.focusSegments);
    EXPECT_FALSE(restored.trim);
    EXPECT_TRUE(restored.cuts.empty());
}

TEST(EditCommand, ARefusedEditInTheMiddleLeavesEveryFileAsItWas)
{
    TemporaryDirectory root;
    const fs::path directory = sampleProject(root);
    ASSERT_EQ(runCli({"edit", directory.string(), "--cut", "2", "3"}).exitCode, 0);
    const auto before = snapshotFiles(directory);
    const std::vector<std::pair<std::vector<std::string>, std::string>> refused = {
        {{"--cut", "4", "5", "--zoom", "1", "2", "700", "10", "2"}, "outside the 640x360 video"},
        {{"--cut", "4", "5", "--trim", "3", "25"}, "outside the recording"},
        {{"--zoom", "1", "2", "x", "10", "2"}, "expected a number"},
    };
    for (const auto& [options, expected] : refused) {
        std::string commandLine = quoteForShell(VANTILE_CLI) + " edit " + quoteForShell(directory.string());
        for (const std::string& option : options) commandLine += " " + quoteForShell(option);
        const CommandResult result = runShell(commandLine);
        EXPECT_NE(result.exitCode, 0) << commandLine;
        EXPECT_NE(result.standardError.find(expected), std::string::npos) << result.standardError;
        EXPECT_EQ(snapshotFiles(directory), before) << commandLine;
    }
}
