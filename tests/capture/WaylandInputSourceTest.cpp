#include "capture/wayland/InputEventStream.h"
#include "capture/wayland/WaylandInputSource.h"

#include "capture/RecordedInputStream.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vantile {
namespace {

using namespace std::chrono_literals;
using Kind = RawInput::Kind;
using testing::RecordedInputStream;
using testing::TemporaryDirectory;

// A recorded device replayed through a named pipe in the input directory.
class PipeDevice {
public:
    explicit PipeDevice(std::filesystem::path path) : path_(std::move(path))
    {
        if (mkfifo(path_.c_str(), 0600) != 0) throw std::runtime_error("mkfifo " + path_.string());
    }
    ~PipeDevice() { disconnect(); }

    // Once the source has the pipe open for reading.
    void write(const RecordedInputStream& stream)
    {
        if (writer_ < 0) writer_ = ::open(path_.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        ASSERT_GE(writer_, 0) << "the source has not opened " << path_;
        const auto bytes = stream.events().size() * sizeof(input_event);
        ASSERT_EQ(::write(writer_, stream.events().data(), bytes), static_cast<ssize_t>(bytes));
    }
    // Like unplugging: the reader sees the stream end.
    void disconnect()
    {
        if (writer_ >= 0) ::close(writer_);
        writer_ = -1;
    }

private:
    std::filesystem::path path_;
    int writer_ = -1;
};

// Dispatches as the source signals, until done() or five seconds pass.
template <typename Done>
bool dispatchUntil(InputSource& source, Done done)
{
    const auto deadline = std::chrono::steady_clock::now() + 5s;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        pollfd descriptor{source.fileDescriptor(), POLLIN, 0};
        poll(&descriptor, 1, 50);
        source.dispatchPending();
    }
    return true;
}

struct Rig {
    TemporaryDirectory directory;
    std::shared_ptr<PointerTracker> tracker = std::make_shared<PointerTracker>();
    std::vector<std::filesystem::path> opened;
    WaylandInputSource source{tracker, directory.path(), [this](const std::filesystem::path& path) {
                                  opened.push_back(path);
                                  return InputEventStream::open(path);
                              }};
    // Input long past, so nothing waits for the pointer's latency unless a test wants it to.
    RecordedInputStream::TimePoint epoch = std::chrono::steady_clock::now() - 10s;
    std::vector<RawInput> received;

    void install()
    {
        ASSERT_TRUE(source.install([this](const RawInput& input) { received.push_back(input); }));
    }
    RecordedInputStream stream() const { return RecordedInputStream(epoch); }
    void move(double x, double y, double seconds) { tracker->update({x, y}, stream().timeAt(seconds)); }
    RawInput expected(Kind kind, double seconds, CodablePoint where, double dy = 0) const
    {
        return {.kind = kind, .scrollingDeltaY = dy, .time = stream().timeAt(seconds), .location = where};
    }
};

TEST(WaylandInputSourceTest, ClicksTakeThePointerKnownAtTheirTimeAndMovesWhileHeldAreDrags)
{
    Rig rig;
    PipeDevice mouse(rig.directory / "event0");
    PipeDevice ignored(rig.directory / "mouse0");  // the legacy interface, not an event device
    std::filesystem::create_directory(rig.directory / "by-id");
    rig.move(5, 5, 0.01);  // before the recording: not part of it
    rig.install();
    EXPECT_EQ(rig.opened, (std::vector{rig.directory / "event0"}));

    rig.move(100, 100, 0.05);
    rig.move(200, 150, 0.30);
    auto clicks = rig.stream();
    clicks.at(0.35).press(BTN_LEFT, 1).at(0.50).press(BTN_LEFT, 0);
    clicks.at(0.55).relative(REL_WHEEL_HI_RES, -120).relative(REL_WHEEL, -1).report();
    mouse.write(clicks);
    // This update reaches the tracker after the press and release were delivered, yet the
    // pointer moved between them: it is still a drag. The release carries what was known then.
    ASSERT_TRUE(dispatchUntil(rig.source, [&] { return rig.received.size() >= 5; }));
    rig.move(210, 160, 0.40);
    rig.move(220, 170, 0.60);
    ASSERT_TRUE(dispatchUntil(rig.source, [&] { return rig.received.size() >= 7; }));

    EXPECT_EQ(rig.received, (std::vector{rig.expected(Kind::mouseMoved, 0.05, {100, 100}),
                                         rig.expected(Kind::mouseMoved, 0.30, {200, 150}),
                                         rig.expected(Kind::leftMouseDown, 0.35, {200, 150}),
                                         rig.expected(Kind::leftMouseUp, 0.50, {200, 150}),
                                         rig.expected(Kind::scrollWheel, 0.55, {200, 150}, -1),
                                         rig.expected(Kind::leftMouseDragged, 0.40, {210, 160}),
                                         rig.expected(Kind::mouseMoved, 0.60, {220, 170})}));
    EXPECT_EQ(rig.source.pointerLocation(), (CodablePoint{220, 170}));
}

TEST(WaylandInputSourceTest, DeviceInputWaitsForThePointerPositionAtItsTimeButNotLongerThanTheLatency)
{
    Rig rig;
    rig.epoch = std::chrono::steady_clock::now();
    PipeDevice mouse(rig.directory / "event0");
    rig.install();
    rig.move(10, 10, -1.0);

    // Without news of the pointer, input is told once the latency has passed.
    auto press = rig.stream();
    press.at(0.2).press(BTN_LEFT, 1);
    mouse.write(press);
    rig.source.dispatchPending();
    EXPECT_EQ(rig.received.size(), 1u);
    // Nothing else stirs, so only the source's own timer can wake the caller's loop.
    pollfd descriptor{rig.source.fileDescriptor(), POLLIN, 0};
    ASSERT_EQ(poll(&descriptor, 1, 5000), 1);
    rig.source.dispatchPending();
    ASSERT_EQ(rig.received.size(), 2u);
    EXPECT_GE(std::chrono::steady_clock::now(), press.timeAt(0.2) + WaylandInputSource::pointerLatency);
    EXPECT_EQ(rig.received.back(), rig.expected(Kind::leftMouseDown, 0.2, {10, 10}));

    // A click the kernel reports before the compositor has shared where the pointer went.
    auto click = rig.stream();
    click.at(2.0).press(BTN_RIGHT, 1);
    mouse.write(click);
    for (int round = 0; round < 3; ++round) rig.source.dispatchPending();
    EXPECT_EQ(rig.received.size(), 2u);
    rig.move(50, 50, 1.99);
    rig.move(60, 60, 2.01);
    ASSERT_TRUE(dispatchUntil(rig.source, [&] { return rig.received.size() == 5; }));
    EXPECT_LT(std::chrono::steady_clock::now(), click.timeAt(2.0));  // told as soon as the position was known
    EXPECT_EQ(std::vector(rig.received.begin() + 2, rig.received.end()),
              (std::vector{rig.expected(Kind::leftMouseDragged, 1.99, {50, 50}),
                           rig.expected(Kind::rightMouseDown, 2.0, {50, 50}),
                           rig.expected(Kind::leftMouseDragged, 2.01, {60, 60})}));

    // Removing the source tells what was still unread or waiting.
    auto late = rig.stream();
    late.at(60).press(BTN_LEFT, 0);
    mouse.write(late);
    rig.source.remove();
    ASSERT_EQ(rig.received.size(), 6u);
    EXPECT_EQ(rig.received.back(), rig.expected(Kind::leftMouseUp, 60, {60, 60}));
}

TEST(WaylandInputSourceTest, DevicesPluggedInWhileRecordingAreReadAndUnpluggedOnesDropped)
{
    Rig rig;
    rig.install();
    EXPECT_EQ(rig.source.openDeviceCount(), 0u);
    PipeDevice keyboard(rig.directory / "event7");
    ASSERT_TRUE(dispatchUntil(rig.source, [&] { return rig.source.openDeviceCount() == 1; }));

    auto typing = rig.stream();
    typing.at(1.0).press(KEY_Q, 1).at(1.1).press(KEY_Q, 0);
    keyboard.write(typing);
    ASSERT_TRUE(dispatchUntil(rig.source, [&] { return rig.received.size() == 2; }));
    EXPECT_EQ(rig.received[0].kind, Kind::keyDown);
    EXPECT_EQ(rig.received[1].kind, Kind::keyUp);
    EXPECT_EQ(rig.received[1].time, typing.timeAt(1.1));

    keyboard.disconnect();
    ASSERT_TRUE(dispatchUntil(rig.source, [&] { return rig.source.openDeviceCount() == 0; }));

    // Removing the source closes what it opened and delivers nothing more.
    PipeDevice second(rig.directory / "event8");
    ASSERT_TRUE(dispatchUntil(rig.source, [&] { return rig.source.openDeviceCount() == 1; }));
    rig.source.remove();
    EXPECT_EQ(rig.source.openDeviceCount(), 0u);
    rig.move(5, 5, 2.0);
    rig.source.dispatchPending();
    EXPECT_EQ(rig.received.size(), 2u);
}

}  // namespace
}  // namespace vantile
