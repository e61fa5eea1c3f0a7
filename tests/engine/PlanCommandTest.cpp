#include "engine/CursorPathSmoother.h"
#include "engine/EngineTestSupport.h"
#include "engine/EventStreams.h"
#include "engine/FocusPlanner.h"
#include "support/RunCommand.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace vantile {
namespace {

using testing::runCli;
using testing::sameList;

TEST(PlanCommandTest, PrintsExactlyWhatTheEngineComputesForShuffledEvents)
{
    const testing::TemporaryDirectory directory;
    std::vector<InputEvent> events = testing::demoSession(45, 2560, 1440, 11);
    std::shuffle(events.begin(), events.end(), std::mt19937_64(5));
    testing::writeText(directory / "events.json", Json(events).dump());

    const auto result = runCli({"plan", "--events", (directory / "events.json").string(), "--duration", "44.75",
                                "--width", "2560", "--height", "1440", "--intensity", "strong", "--fps", "24"});
    ASSERT_EQ(result.exitCode, 0) << result.standardError;
    const Json printed = Json::parse(result.standardOutput);
    ASSERT_EQ(printed.size(), 3u);

    const FocusPlannerOutput expected = FocusPlanner().plan({44.75, 2560, 1440, events, ZoomIntensity::strong});
    const auto segments = decodeDocument<std::vector<FocusSegment>>(printed.at("segments"));
    const auto keyframes = decodeDocument<std::vector<CameraKeyframe>>(printed.at("cameraKeyframes"));
    const auto frames = decodeDocument<std::vector<CursorFrame>>(printed.at("cursorFrames"));
    // Bit-for-bit: the printed numbers read back as the same doubles.
    EXPECT_TRUE(sameList(segments, expected.segments));
    EXPECT_TRUE(sameList(keyframes, expected.cameraKeyframes));
    EXPECT_TRUE(sameList(frames, CursorPathSmoother().smooth(events, 24, 44.75)));
    EXPECT_EQ(frames.size(), 24u * 44 + 18 + 1);
}

TEST(PlanCommandTest, BadInputFailsWithOneLineAndNonZeroStatus)
{
    const testing::TemporaryDirectory directory;
    const std::string good = (directory / "good.json").string();
    testing::writeText(directory / "good.json", "[]");
    testing::writeText(directory / "object.json", R"({"events": []})");

    const std::vector<std::vector<std::string>> failing = {
        {"--events", (directory / "missing.json").string(), "--duration", "5", "--width", "10", "--height", "10"},
        {"--events", (directory / "object.json").string(), "--duration", "5", "--width", "10", "--height", "10"},
        {"--events", good, "--duration", "5", "--width", "10", "--height", "10", "--intensity", "extreme"},
        {"--events", good, "--duration", "5", "--width", "0", "--height", "10"},
        {"--events", good, "--duration", "soon", "--width", "10", "--height", "10"},
        {"--events", good, "--width", "10", "--height", "10"},
    };
    for (const auto& arguments : failing) {
        std::string commandLine = testing::quoteForShell(VANTILE_CLI) + " plan";
        for (const std::string& argument : arguments) commandLine += " " + testing::quoteForShell(argument);
        const auto result = testing::runShell(commandLine);
        SCOPED_TRACE(commandLine);
        EXPECT_NE(result.exitCode, 0);
        EXPECT_TRUE(result.standardOutput.empty());
        ASSERT_FALSE(result.standardError.empty());
        EXPECT_EQ(std::count(result.standardError.begin(), result.standardError.end(), '\n'), 1);
    }
}

}  // namespace
}  // namespace vantile
