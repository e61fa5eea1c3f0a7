#include "capture/CaptureBackend.h"
#include "capture/wayland/RestoreTokenStore.h"
#include "capture/wayland/WaylandCapturePlatform.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>

using namespace vantile;

namespace {

EnvironmentLookup environmentOf(std::map<std::string, std::string> variables)
{
    return [variables = std::move(variables)](const char* name) -> const char* {
        const auto found = variables.find(name);
        return found == variables.end() ? nullptr : found->second.c_str();
    };
}

}  // namespace

TEST(CaptureBackendChoiceTest, SessionDecidesAndTheOverrideWins)
{
    using enum CaptureBackendKind;
    const struct {
        std::map<std::string, std::string> environment;
        CaptureBackendKind expected;
    } cases[] = {
        {{}, x11},
        {{{"WAYLAND_DISPLAY", "wayland-0"}}, wayland},
        // Xwayland sets DISPLAY inside a Wayland session too.
        {{{"WAYLAND_DISPLAY", "wayland-0"}, {"DISPLAY", ":0"}}, wayland},
        {{{"XDG_SESSION_TYPE", "wayland"}, {"DISPLAY", ":0"}}, wayland},
        {{{"XDG_SESSION_TYPE", "x11"}, {"DISPLAY", ":0"}}, x11},
        {{{"WAYLAND_DISPLAY", ""}, {"DISPLAY", ":0"}}, x11},
        {{{"VANTILE_BACKEND", "x11"}, {"WAYLAND_DISPLAY", "wayland-0"}}, x11},
        {{{"VANTILE_BACKEND", "wayland"}, {"DISPLAY", ":0"}}, wayland},
    };
    for (const auto& testCase : cases) {
        std::string described;
        for (const auto& [name, value] : testCase.environment) described += name + "=" + value + " ";
        EXPECT_EQ(chooseCaptureBackend(environmentOf(testCase.environment)), testCase.expected) << described;
    }
    EXPECT_THROW(chooseCaptureBackend(environmentOf({{"VANTILE_BACKEND", "mir"}})), std::invalid_argument);
}

TEST(CaptureBackendChoiceTest, StreamPointerBecomesGlobalLikeRootCoordinates)
{
    // A monitor right of another: stream pixels plus the monitor's place.
    StreamPointer onMonitor{.position = {10, 20}, .crop = std::nullopt, .streamSize = {1920, 1080}};
    EXPECT_EQ(streamPointerToGlobal(onMonitor, {1920, 0, 1920, 1080}), (CodablePoint{1930, 20}));
    // A scale-2 monitor streams twice the pixels of its logical size.
    StreamPointer hiDpi{.position = {200, 100}, .crop = std::nullopt, .streamSize = {3840, 2160}};
    EXPECT_EQ(streamPointerToGlobal(hiDpi, {0, 0, 1920, 1080}), (CodablePoint{100, 50}));
    // A window stream: the crop is the window, which is its own coordinate space.
    StreamPointer inWindow{.position = {350, 240}, .crop = CGRectCodable{300, 200, 640, 480}, .streamSize = {1920, 1080}};
    EXPECT_EQ(streamPointerToGlobal(inWindow, {0, 0, 640, 480}), (CodablePoint{50, 40}));
}

TEST(CaptureBackendChoiceTest, RestoreTokensLiveInTheStateDirectory)
{
    EXPECT_EQ(RestoreTokenStore::defaultDirectory(environmentOf({{"HOME", "/h"}})),
              std::filesystem::path("/h/.local/state/vantile"));
    // A relative XDG directory is invalid and ignored.
    EXPECT_EQ(RestoreTokenStore::defaultDirectory(environmentOf({{"XDG_STATE_HOME", "rel"}, {"HOME", "/h"}})),
              std::filesystem::path("/h/.local/state/vantile"));

    vantile::testing::TemporaryDirectory directory;
    const RestoreTokenStore store(directory / "state" / "vantile");
    store.save("monitor", "0b8c-first");
    store.save("window", "77aa");
    store.save("monitor", "0b8c-second");
    EXPECT_EQ(store.load("monitor"), "0b8c-second");
    EXPECT_EQ(store.load("window"), "77aa");
    // Nothing but the two tokens is left behind.
    int files = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(directory / "state" / "vantile")) ++files;
    EXPECT_EQ(files, 2);
}
