#include "store/ProjectFileManager.h"

#include "support/RunCommand.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

using namespace vantile;
using namespace vantile::testing;
namespace fs = std::filesystem;

// Added with their style and place, listed, removed by index; a refused option leaves the project
// as it was. The edit's own refusals are the engine tests' (one shows it reaches the user), the
// drawing is the render tests'.
TEST(EditCommand, TextCalloutsAreAddedStyledPlacedListedAndRemovedAndBadOnesRefused)
{
    TemporaryDirectory root;
    const fs::path directory = root / "project";
    const auto made = runCli({"sample", directory.string(), "--duration", "3", "--width", "320", "--height", "180"});
    ASSERT_EQ(made.exitCode, 0) << made.standardError;

    const auto added = runCli({"edit", directory.string(), "--text", "0.5", "2.5", "发布 Launch", "--text-style", "title",
                               "--text", "1", "2", "--dashed text", "--text-position", "0.25", "0.75", "--json"});
    ASSERT_EQ(added.exitCode, 0) << added.standardError;
    EXPECT_EQ(Json::parse(added.standardOutput).at("textCallouts"),
              Json::parse(R"([{"start":0.5,"end":2.5,"text":"发布 Launch","style":"title"},
                              {"start":1.0,"end":2.0,"text":"--dashed text","style":"label",
                               "position":{"x":0.25,"y":0.75}}])"));
    const auto info = runCli({"info", directory.string()});
    EXPECT_NE(info.standardOutput.find("texts         0 0.500 s to 2.500 s title \"发布 Launch\", 1 "), std::string::npos)
        << info.standardOutput;

    const std::string saved = readText(directory / ".vantile" / "project.json");
    const std::vector<std::pair<std::vector<std::string>, std::string>> refused = {
        {{"--text", "1", "9", "x"}, "lies outside the recording (0 to 3 s)"},
        {{"--text", "1", "2", "x", "--text-style", "banner"}, "--text-style: expected title, lowerThird or label"},
        {{"--text-style", "title"}, "--text-style must follow the --text it changes"},
        {{"--text", "1", "2"}, "option --text needs START END TEXT"},
        {{"--remove-text", "2"}, "There is no text callout 2; the project has 2"},
        {{"--remove-text", "-1"}, "--remove-text: expected a text callout index"},
    };
    for (auto [options, expected] : refused) {
        options.insert(options.begin(), {"edit", directory.string()});
        const CommandResult result = runCli(options);
        EXPECT_NE(result.exitCode, 0) << expected;
        EXPECT_NE(result.standardError.find(expected), std::string::npos) << result.standardError;
        EXPECT_EQ(readText(directory / ".vantile" / "project.json"), saved) << expected;
    }

    ASSERT_EQ(runCli({"edit", directory.string(), "--remove-text", "0"}).exitCode, 0);
    const RecordingProject left = ProjectFileManager(root.path()).loadProject(directory);
    ASSERT_EQ(left.textCallouts.size(), 1u);
    EXPECT_EQ(left.textCallouts[0].text, "--dashed text");
}
