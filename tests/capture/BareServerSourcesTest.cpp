#include "support/ChildProcess.h"
#include "support/RunCommand.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace vantile {
namespace {

// A bare X server (no window manager, no other client, resetting whenever its last client
// leaves), as a headless test machine runs one: listing and recording must work every time.
TEST(BareServerSources, EveryListingAndShortRecordingSucceeds)
{
    ChildProcess server({"Xvfb", "-displayfd", "1", "-screen", "0", "640x480x24", "-nolisten", "tcp"},
                        {.captureOutput = true});
    const auto number = server.readLine(std::chrono::seconds(15));
    ASSERT_TRUE(number && !number->empty());
    const char* previous = std::getenv("DISPLAY");
    const std::string saved = previous ? previous : "";
    ::setenv("DISPLAY", (":" + *number).c_str(), 1);
    vantile::testing::TemporaryDirectory root;
    for (int round = 0; round < 15; ++round) {
        const auto sources = vantile::testing::runCli({"sources", "--json"});
        ASSERT_EQ(sources.exitCode, 0) << "round " << round << ": " << sources.standardError;
        EXPECT_EQ(sources.standardOutput.find("fallback"), std::string::npos) << sources.standardOutput;
        const auto recorded = vantile::testing::runCli({"record", "--duration", "0.5", "--root", root.path().string()});
        ASSERT_EQ(recorded.exitCode, 0) << "round " << round << ": " << recorded.standardError;
    }
    if (previous) {
        ::setenv("DISPLAY", saved.c_str(), 1);
    } else {
        ::unsetenv("DISPLAY");
    }
}

}  // namespace
}  // namespace vantile
