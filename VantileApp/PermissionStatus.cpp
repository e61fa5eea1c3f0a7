#include "PermissionStatus.h"

namespace vantile {

std::vector<std::string> PermissionStatus::missingRequiredPermissionNames() const
{
    std::vector<std::string> names;
    if (!screenRecordingGranted) names.emplace_back("屏幕录制");
    if (!accessibilityGranted) names.emplace_back("辅助功能");
    if (!inputMonitoringGranted) names.emplace_back("输入监控");
    return names;
}

std::string PermissionStatus::missingPermissionMessage() const
{
    const auto names = missingRequiredPermissionNames();
    switch (names.size()) {
    case 0:
        return "Recording permissions are ready.";
    case 1:
        return "请先开启“" + names[0] + "”权限后再开始录制。";
    case 2:
        return "请先开启“" + names[0] + "”和“" + names[1] + "”权限后再开始录制。";
    default:
        return "请先开启“" + names[0] + "”、“" + names[1] + "”和“" + names[2] + "”权限后再开始录制。";
    }
}

}  // namespace vantile
