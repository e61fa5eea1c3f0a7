#include "capture/wayland/EvdevDevice.h"
#include "capture/wayland/InputDeviceAccess.h"
#include "capture/wayland/InputEventStream.h"

#include "capture/RecordedInputStream.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <fstream>

namespace vantile {
namespace {

using testing::RecordedInputStream;
using testing::TemporaryDirectory;

std::size_t openDescriptorCount()
{
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

TEST(InputDeviceTest, EventDevicesRefuseWhatIsNotOneWithoutLeakingDescriptors)
{
    TemporaryDirectory directory;
    ASSERT_EQ(mkfifo((directory / "event0").c_str(), 0600), 0);
    std::ofstream(directory / "event1") << "not a device";
    const std::size_t before = openDescriptorCount();
    EXPECT_EQ(EvdevDevice::open(directory / "event0"), nullptr);
    EXPECT_EQ(EvdevDevice::open(directory / "event1"), nullptr);
    EXPECT_EQ(EvdevDevice::open(directory / "missing"), nullptr);
    EXPECT_EQ(openDescriptorCount(), before);
}

bool sameRecords(const std::vector<input_event>& a, const std::vector<input_event>& b)
{
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(input_event)) == 0;
}

TEST(InputDeviceTest, StreamsReassembleRecordsSplitAcrossWritesAndReportTheirEnd)
{
    TemporaryDirectory directory;
    const auto path = directory / "event0";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const std::size_t before = openDescriptorCount();
    {
        auto stream = InputEventStream::open(path);
        ASSERT_NE(stream, nullptr);
        const int writer = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
        ASSERT_GE(writer, 0);

        RecordedInputStream recorded(RecordedInputStream::TimePoint(std::chrono::seconds(7)));
        recorded.at(0.5).press(BTN_LEFT, 1).at(0.75).press(BTN_LEFT, 0);
        const auto* bytes = reinterpret_cast<const char*>(recorded.events().data());
        const std::size_t size = recorded.events().size() * sizeof(input_event);
        const std::size_t cut = sizeof(input_event) + 5;  // mid-way through the second record

        std::vector<input_event> records;
        ASSERT_EQ(::write(writer, bytes, cut), static_cast<ssize_t>(cut));
        EXPECT_TRUE(stream->read(records));
        EXPECT_TRUE(sameRecords(records, {recorded.events()[0]}));
        ASSERT_EQ(::write(writer, bytes + cut, size - cut), static_cast<ssize_t>(size - cut));
        EXPECT_TRUE(stream->read(records));
        EXPECT_TRUE(sameRecords(records, recorded.events()));
        EXPECT_TRUE(stream->read(records));  // nothing waits: still there
        EXPECT_EQ(records.size(), recorded.events().size());

        ::close(writer);
        EXPECT_FALSE(stream->read(records));
    }
    EXPECT_EQ(openDescriptorCount(), before);
}

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
