#include "capture/wayland/InputDeviceAccess.h"

#include <fcntl.h>
#include <unistd.h>

namespace vantile {

namespace {

template <typename Predicate>
bool anyEventEntry(const std::filesystem::path& directory, Predicate predicate)
{
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(directory, error))
        if (entry.path().filename().string().starts_with("event") && predicate(entry.path())) return true;
    return false;
}

}  // namespace

bool InputDeviceAccess::granted() const
{
    // Checked with the effective ids, as open() would be, without opening a device.
    return anyEventEntry(inputDirectory_, [](const std::filesystem::path& path) {
        return faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) == 0;
    });
}

bool InputDeviceAccess::anyEventDevice() const
{
    return anyEventEntry(inputDirectory_, [](const std::filesystem::path&) { return true; });
}

std::string InputDeviceAccess::missingPermissionMessage() const
{
    const std::string where = inputDirectory_.string();
    if (!anyEventDevice())
        return "没有找到输入设备（" + where + "），点击、滚动和键入不会被记录，只记录指针移动。";
    return "缺少“输入监控”权限：无法读取输入设备（" + where + "），点击、滚动和键入不会被记录，只记录指针移动。" +
           howToGrant();
}

std::string InputDeviceAccess::howToGrantThroughHelper()
{
    return "点击“授权读取点击”并输入密码即可记录点击、滚动和键入时间点；也可以将当前用户加入 input 用户组（sudo usermod -aG input "
           "$USER），但那样你运行的每个程序都能读到每一次按键。";
}

std::string InputDeviceAccess::howToGrant()
{
    return "请将当前用户加入 input 用户组（sudo usermod -aG input $USER），然后注销并重新登录。";
}

}  // namespace vantile
