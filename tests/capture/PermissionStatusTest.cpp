#include "capture/PermissionStatus.h"
#include "capture/RecordingError.h"

#include <gtest/gtest.h>

namespace vantile {
namespace {

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
    EXPECT_EQ(status.missingPermissionMessage(), "请先开启“屏幕录制”和“输入监控”权限后再开始录制。"
                                                 "请将当前用户加入 input 用户组，然后注销并重新登录。");
    status.inputMonitoringGranted = true;
    EXPECT_EQ(status.missingPermissionMessage(), "请先开启“屏幕录制”权限后再开始录制。");
}

TEST(RecordingErrorTest, CarriesTheUserFacingSentences)
{
    EXPECT_STREQ(RecordingError::captureStartFailed("no device").what(), "Could not start capture: no device");
    EXPECT_STREQ(RecordingError::captureStopFailed("disk full").what(), "Could not stop capture: disk full");
    EXPECT_STREQ(RecordingError::notRecording().what(), "Recording has not started.");
    EXPECT_STREQ(RecordingError::sourceUnavailable().what(), "The selected capture source is no longer available.");
    EXPECT_STREQ(RecordingError::writerSetupFailed().what(), "Could not set up video writer.");
    EXPECT_STREQ(RecordingError::unsupportedSystem().what(), "Screen capture is not supported on this display server.");
}

}  // namespace
}  // namespace vantile
