#include "support/RunCommand.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace vantile {
namespace {

using vantile::testing::runCli;

TEST(BoundedInput, OutOfRangeValuesAreRefusedNamingTheOptionAndNothingIsWritten)
{
    vantile::testing::TemporaryDirectory root;
    vantile::testing::writeText(root / "events.json", "[]");
    const std::string events = (root / "events.json").string();
    const auto expectRefused = [](const vantile::testing::CommandResult& result, const std::string& option) {
        EXPECT_EQ(result.exitCode, 2) << result.standardError;
        EXPECT_NE(result.standardError.find(option), std::string::npos) << result.standardError;
        EXPECT_TRUE(result.standardOutput.empty());
    };
    for (const char* duration : {"-1", "nan"}) {
        expectRefused(runCli({"plan", "--events", events, "--duration", duration, "--width", "64", "--height", "64"}),
                      "--duration");
    }
    for (const char* fps : {"0", "241"}) {
        expectRefused(runCli({"plan", "--events", events, "--duration", "1", "--width", "64", "--height", "64", "--fps", fps}),
                      "--fps");
    }
    for (const char* duration : {"0", "600.5"}) {
        expectRefused(runCli({"record", "--duration", duration, "--root", (root / "projects").string()}), "--duration");
    }
    EXPECT_FALSE(std::filesystem::exists(root / "projects"));

    // A sample never replaces what is there.
    vantile::testing::writeText(root / "taken" / "raw.mov", "a recording");
    vantile::testing::writeText(root / "file", "a file");
    for (const char* name : {"taken", "file"}) {
        const auto before = vantile::testing::snapshotFiles(root.path());
        expectRefused(runCli({"sample", (root / name).string(), "--duration", "1"}), (root / name).string());
        EXPECT_EQ(vantile::testing::snapshotFiles(root.path()), before);
    }
}

}  // namespace
}  // namespace vantile
