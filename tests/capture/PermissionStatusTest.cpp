#include "capture/PermissionManager.h"
#include "capture/PermissionStatus.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <thread>

namespace vantile {
namespace {

using testing::readText;
using testing::TemporaryDirectory;
using testing::writeText;

TEST(PermissionStatusTest, NamesTheMissingPermissionsInOrder)
{
    EXPECT_EQ((PermissionStatus{true, true, true}).missingPermissionMessage(), "Recording permissions are ready.");
    EXPECT_EQ((PermissionStatus{true, true, false}).missingPermissionMessage(), "请先开启“输入监控”权限后再开始录制。");
    EXPECT_EQ((PermissionStatus{false, true, false}).missingPermissionMessage(),
              "请先开启“屏幕录制”和“输入监控”权限后再开始录制。");
    const PermissionStatus none;
    EXPECT_EQ(none.missingRequiredPermissionNames(), (std::vector<std::string>{"屏幕录制", "辅助功能", "输入监控"}));
    EXPECT_EQ(none.missingPermissionMessage(), "请先开启“屏幕录制”、“辅助功能”和“输入监控”权限后再开始录制。");
}

TEST(PermissionStatusTest, SaysHowToGrantInputMonitoringOnlyWhileItIsMissing)
{
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

}  // namespace
}  // namespace vantile
