#include "store/ProjectFileManager.h"

#include "support/RunCommand.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

using namespace vantile;
using namespace vantile::testing;
namespace fs = std::filesystem;

namespace {

const fs::path examples = fs::path(VANTILE_SOURCE_DIR) / "examples";

}  // namespace

TEST(InfoCommand, SummarisesBothLayoutsAndJsonRoundTrips)
{
    const auto minimal = runCli({"info", (examples / "minimal").string()});
    ASSERT_EQ(minimal.exitCode, 0) << minimal.standardError;
    EXPECT_NE(minimal.standardOutput.find("1280x720 at 30 fps"), std::string::npos);

    TemporaryDirectory copy;
    fs::copy(examples / "walkthrough", copy / "walkthrough", fs::copy_options::recursive);
    const auto before = snapshotFiles(copy.path());
    const auto summary = runCli({"info", (copy / "walkthrough").string()});
    ASSERT_EQ(summary.exitCode, 0) << summary.standardError;
    EXPECT_NE(summary.standardOutput.find("events        7"), std::string::npos);

    const auto json = runCli({"info", (copy / "walkthrough").string(), "--json"});
    ASSERT_EQ(json.exitCode, 0) << json.standardError;
    const ProjectFileManager store(copy.path());
    const RecordingProject loaded = store.loadProject(copy / "walkthrough");
    EXPECT_EQ(json.standardOutput, ProjectFileManager::encodeDocument(Json(loaded)) + "\n");
    // info never writes.
    EXPECT_EQ(snapshotFiles(copy.path()), before);
}

TEST(InfoCommand, BadProjectsGiveOneLineAndNonZeroExit)
{
    TemporaryDirectory root;
    // Which file and key a bad project names is the store's to show; here, that it is one line.
    writeText(root / "broken" / ".vantile" / "project.json", "{\"id\": ");
    const auto before = snapshotFiles(root.path());

    struct Case {
        std::vector<std::string> arguments;
        std::string expected;
    };
    const Case cases[] = {
        {{"info", (root / "missing").string()}, "No project at"},
        {{"info", (root / "broken").string()}, "project.json: malformed JSON"},
        {{"info", (root / "broken").string(), "--verbose"}, "unknown option --verbose"},
        {{"frobnicate"}, "unknown command"},
    };
    for (const auto& testCase : cases) {
        std::string commandLine = quoteForShell(VANTILE_CLI);
        for (const auto& argument : testCase.arguments) commandLine += " " + quoteForShell(argument);
        const auto result = runShell(commandLine);
        EXPECT_NE(result.exitCode, 0) << commandLine;
        EXPECT_EQ(result.standardError.find('\n'), result.standardError.size() - 1) << result.standardError;
        EXPECT_NE(result.standardError.find(testCase.expected), std::string::npos) << result.standardError;
        EXPECT_TRUE(result.standardOutput.empty()) << result.standardOutput;
    }
    EXPECT_EQ(snapshotFiles(root.path()), before);
}
