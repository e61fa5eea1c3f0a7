#include "model/AudioSettings.h"
#include "model/RenderSettings.h"

#include "support/RunCommand.h"

#include <gtest/gtest.h>

#include <regex>
#include <sstream>

using namespace vantile;
using namespace vantile::testing;

namespace {

bool contains(const std::string& text, std::string_view part) { return text.find(part) != std::string::npos; }

}  // namespace

// Every option a command's usage line names is explained by that command's own --help, so an
// option added without help fails here.
TEST(HelpCommand, EachCommandExplainsEveryOptionOfItsUsage)
{
    const auto overview = runCli({"--help"});
    ASSERT_EQ(overview.exitCode, 0);
    std::istringstream lines(overview.standardOutput);
    std::string line;
    int commands = 0;
    const std::regex usageLine(R"(^  vantile-cli ([a-z]+)(.*)$)");
    const std::regex option(R"((--[a-z-]+|-o)\b)");
    while (std::getline(lines, line)) {
        std::smatch match;
        if (!std::regex_match(line, match, usageLine)) continue;
        ++commands;
        const std::string name = match[1];
        const std::string usage = match[2];
        const auto help = runCli({name, "--help"});
        ASSERT_EQ(help.exitCode, 0) << name;
        EXPECT_TRUE(help.standardOutput.starts_with("vantile-cli " + name)) << help.standardOutput;
        for (std::sregex_iterator it(usage.begin(), usage.end(), option), end; it != end; ++it)
            EXPECT_TRUE(contains(help.standardOutput, it->str())) << name << " --help lacks " << it->str();
    }
    EXPECT_GE(commands, 7);

    // The choices of an enumerated option are listed, so a new one cannot be left out.
    const std::string exportHelp = runCli({"export", "--help"}).standardOutput;
    for (const CursorTheme theme : cursorThemeTexts.allCases())
        EXPECT_TRUE(contains(exportHelp, cursorThemeTexts.text(theme))) << cursorThemeTexts.text(theme);
    const std::string recordHelp = runCli({"record", "--help"}).standardOutput;
    for (const AudioCaptureMode mode : audioCaptureModeTexts.allCases())
        EXPECT_TRUE(contains(recordHelp, audioCaptureModeTexts.text(mode))) << audioCaptureModeTexts.text(mode);
}
