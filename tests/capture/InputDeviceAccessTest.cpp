#include "capture/wayland/InputDeviceAccess.h"

#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

namespace vantile {
namespace {

using testing::TemporaryDirectory;

// Whether a user without privileges is granted access to `directory`.
bool grantedToUnprivilegedUser(const std::filesystem::path& directory)
{
    if (geteuid() != 0) return InputDeviceAccess(directory).granted();
    const pid_t child = fork();
    if (child == 0) {
        const uid_t nobody = 65534;
        if (setresgid(nobody, nobody, nobody) != 0 || setresuid(nobody, nobody, nobody) != 0) _exit(2);
        _exit(InputDeviceAccess(directory).granted() ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) != 2) << "could not drop privileges";
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST(InputDeviceAccessTest, GrantedOnlyWhenAnEventDeviceCanBeRead)
{
    TemporaryDirectory directory;
    std::filesystem::permissions(directory.path(), std::filesystem::perms::owner_all | std::filesystem::perms::others_read |
                                                       std::filesystem::perms::others_exec);
    const InputDeviceAccess access(directory.path());
    EXPECT_FALSE(access.granted());
    EXPECT_NE(access.missingPermissionMessage().find("没有找到输入设备"), std::string::npos);

    std::ofstream(directory / "mice") << "";  // not an event device
    std::filesystem::create_directory(directory / "by-path");
    EXPECT_FALSE(access.granted());

    std::ofstream(directory / "event4") << "";
    std::filesystem::permissions(directory / "event4", std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    EXPECT_TRUE(access.granted());
    EXPECT_FALSE(grantedToUnprivilegedUser(directory.path()));
    // Where devices exist but are refused, the message says how to be let in.
    const std::string message = access.missingPermissionMessage();
    EXPECT_NE(message.find("输入监控"), std::string::npos);
    EXPECT_TRUE(message.ends_with(InputDeviceAccess::howToGrant()));

    std::filesystem::permissions(directory / "event4", std::filesystem::perms::others_read, std::filesystem::perm_options::add);
    EXPECT_TRUE(grantedToUnprivilegedUser(directory.path()));
}

}  // namespace
}  // namespace vantile
