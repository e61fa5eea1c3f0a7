#include "capture/CaptureBackend.h"
#include "capture/PermissionManager.h"
#include "capture/PermissionStatus.h"
#include "capture/wayland/RestoreTokenStore.h"
#include "capture/wayland/WaylandCapturePlatform.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <map>
#include <stdexcept>
#include <thread>

using namespace vantile;
using vantile::testing::readText;
using vantile::testing::TemporaryDirectory;
using vantile::testing::writeText;

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
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory / "state" / "vantile"), {}), 2);
}

TEST(PermissionStatusTest, NamesTheMissingPermissionsInOrderAndHowToGrantThem)
{
    EXPECT_EQ((PermissionStatus{true, true, true}).missingPermissionMessage(), "Recording permissions are ready.");
    EXPECT_EQ((PermissionStatus{true, true, false}).missingPermissionMessage(), "请先开启“输入监控”权限后再开始录制。");
    EXPECT_EQ((PermissionStatus{false, true, false}).missingPermissionMessage(),
              "请先开启“屏幕录制”和“输入监控”权限后再开始录制。");
    const PermissionStatus none;
    EXPECT_EQ(none.missingRequiredPermissionNames(), (std::vector<std::string>{"屏幕录制", "辅助功能", "输入监控"}));
    EXPECT_EQ(none.missingPermissionMessage(), "请先开启“屏幕录制”、“辅助功能”和“输入监控”权限后再开始录制。");

    // How to grant input monitoring is said only while it is missing.
    PermissionStatus status{true, true, false, "请将当前用户加入 input 用户组，然后注销并重新登录。"};
    EXPECT_EQ(status.missingPermissionMessage(),
              "请先开启“输入监控”权限后再开始录制。请将当前用户加入 input 用户组，然后注销并重新登录。");
    status.screenRecordingGranted = false;
    status.inputMonitoringGranted = true;
    EXPECT_EQ(status.missingPermissionMessage(), "请先开启“屏幕录制”权限后再开始录制。");
}

TEST(PermissionManagerTest, OpeningSettingsDoesNotWaitForTheProgramItStarts)
{
    // An xdg-open that only finishes once the test has carried on past the call.
    TemporaryDirectory directory;
    const auto program = directory / "xdg-open";
    writeText(program, "#!/bin/sh\necho \"$1\" > \"" + directory.path().string() + "/opened\"\n"
                       "for i in $(seq 100); do [ -e \"" + directory.path().string() + "/release\" ] && break; sleep 0.05; done\n"
                       "[ -e \"" + directory.path().string() + "/release\" ] && touch \"" + directory.path().string() + "/done\"\n");
    std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    const std::string path = std::getenv("PATH") ? std::getenv("PATH") : "";
    setenv("PATH", (directory.path().string() + ":" + path).c_str(), 1);
    PermissionManager().openMicrophoneSettings();
    writeText(directory / "release", "");
    setenv("PATH", path.c_str(), 1);
    for (int tries = 0; tries < 500 && !std::filesystem::exists(directory / "done"); ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_TRUE(std::filesystem::exists(directory / "done"));
    EXPECT_EQ(readText(directory / "opened"), "settings://sound\n");
}
