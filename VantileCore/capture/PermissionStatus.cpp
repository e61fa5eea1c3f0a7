#include "capture/PermissionStatus.h"

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
    const std::vector<std::string> names = missingRequiredPermissionNames();
    const auto quoted = [](const std::string& name) { return "“" + name + "”"; };
    std::string message;
    switch (names.size()) {
    case 0: return "Recording permissions are ready.";
    case 1: message = "请先开启" + quoted(names[0]) + "权限后再开始录制。"; break;
    case 2: message = "请先开启" + quoted(names[0]) + "和" + quoted(names[1]) + "权限后再开始录制。"; break;
    default:
        message = "请先开启" + quoted(names[0]) + "、" + quoted(names[1]) + "和" + quoted(names[2]) + "权限后再开始录制。";
    }
    if (!inputMonitoringGranted && !inputMonitoringHowTo.empty()) message += inputMonitoringHowTo;
    return message;
}

}  // namespace vantile
