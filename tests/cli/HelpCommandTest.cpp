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

template <typename Enum, std::size_t Count>
void expectEveryChoice(const std::string& help, const EnumTexts<Enum, Count>& texts)
{
    for (const Enum value : texts.allCases())
        EXPECT_TRUE(contains(help, texts.text(value))) << "help lacks \"" << texts.text(value) << "\":\n" << help;
}

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

    const std::string exportHelp = runCli({"export", "--help"}).standardOutput;
    expectEveryChoice(exportHelp, aspectRatioTexts);
    expectEveryChoice(exportHelp, resolutionPresetTexts);
    expectEveryChoice(exportHelp, templateNameTexts);
    expectEveryChoice(exportHelp, zoomIntensityTexts);
    expectEveryChoice(exportHelp, cursorThemeTexts);
    expectEveryChoice(exportHelp, cursorEffectTexts);
    expectEveryChoice(runCli({"record", "--help"}).standardOutput, audioCaptureModeTexts);
    expectEveryChoice(runCli({"sample", "--help"}).standardOutput, audioCaptureModeTexts);

    const auto version = runCli({"--version"});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_TRUE(std::regex_match(version.standardOutput, std::regex(R"(vantile-cli \d+\.\d+\.\d+\n)")))
        << version.standardOutput;
}
