#include "capture/wayland/EvdevDevice.h"
#include "capture/wayland/InputEventStream.h"

#include "capture/RecordedInputStream.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
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

}  // namespace
}  // namespace vantile
