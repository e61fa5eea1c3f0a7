#include "capture/wayland/EvdevDecoder.h"
#include "capture/wayland/InputEventStream.h"
#include "capture/wayland/WaylandInputSource.h"

#include "capture/RecordedInputStream.h"
#include "capture/ShortcutSession.h"
#include "support/ScopedEnvironment.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <random>
#include <thread>

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

const RecordedInputStream::TimePoint kernelEpoch{std::chrono::seconds(5000)};

std::vector<RawInput> decode(const RecordedInputStream& stream)
{
    EvdevDecoder decoder;
    std::vector<RawInput> activity;
    for (const input_event& event : stream.events()) decoder.feed(event, activity);
    return activity;
}

RawInput at(const RecordedInputStream& stream, double seconds, Kind kind, double dx = 0, double dy = 0)
{
    return {.kind = kind, .scrollingDeltaX = dx, .scrollingDeltaY = dy, .time = stream.timeAt(seconds)};
}

TEST(WaylandInputSourceTest, RecordingShortcutsAddsExactlyTheChordsInOrderAndNothingOfTheTypedText)
{
    const auto layout = testing::usKeyboardLayout();
    enum class Mode { plain, shortcuts, shortcutsButTheStopKey };
    for (const Mode mode : {Mode::plain, Mode::shortcuts, Mode::shortcutsButTheStopKey}) {
        Rig rig;
        PipeDevice keyboard(rig.directory / "event0");
        PipeDevice secondKeyboard(rig.directory / "event1");
        rig.source.recordShortcuts(mode != Mode::plain);
        // Spelled with a capital, as a user may write it.
        if (mode == Mode::shortcutsButTheStopKey) rig.source.leaveOutShortcut(KeyShortcut{.keysym = 'X', .control = true});
        rig.install();
        const testing::ShortcutSession session(rig.epoch);
        keyboard.write(session.keyboard);
        secondKeyboard.write(session.secondKeyboard);
        auto expected = session.keyActivity(mode != Mode::plain);
        if (mode == Mode::shortcutsButTheStopKey)
            std::erase_if(expected, [](const RawInput& input) { return input.keys == "Ctrl+X"; });
        ASSERT_TRUE(dispatchUntil(rig.source, [&] { return rig.received.size() >= expected.size(); }));
        rig.source.remove();
        EXPECT_EQ(testing::ShortcutSession::keyActivityOf(rig.received), expected) << "mode " << static_cast<int>(mode);
    }
}

TEST(EvdevDecoderTest, ChordsAreNamedInTheGivenLayoutAltGrIsTypingAndLostEventsForgetHeldModifiers)
{
    const auto german = EvdevKeymap::compile({.layout = "de"});
    ASSERT_TRUE(german);
    EXPECT_FALSE(EvdevKeymap::compile({.layout = "../us"}));
    RecordedInputStream stream(kernelEpoch);
    stream.at(0.1).press(KEY_LEFTCTRL, 1).at(0.2).press(KEY_Y, 1).press(KEY_Y, 0).press(KEY_LEFTCTRL, 0);
    stream.at(0.3).press(KEY_RIGHTALT, 1).at(0.4).press(KEY_Q, 1).press(KEY_Q, 0).press(KEY_RIGHTALT, 0);
    stream.at(0.5).press(KEY_LEFTALT, 1).at(0.6).press(KEY_Q, 1).press(KEY_Q, 0).press(KEY_LEFTALT, 0);
    // Events were lost, Ctrl's release perhaps among them (what follows up to the report is
    // incomplete and ignored): the next letter is typing.
    stream.at(0.7).press(KEY_LEFTCTRL, 1).at(0.8).dropped().key(KEY_LEFTCTRL, 0).report().at(0.9).press(KEY_A, 1);
    const auto chordsOf = [&](std::shared_ptr<const EvdevKeymap> keymap) {
        EvdevDecoder decoder;
        decoder.recordShortcuts(std::move(keymap));
        std::vector<RawInput> activity;
        for (const input_event& event : stream.events()) decoder.feed(event, activity);
        std::vector<std::string> chords;
        for (const RawInput& input : activity)
            if (input.kind == Kind::shortcut) chords.push_back(input.keys);
        return chords;
    };
    // QWERTZ, and right Alt is AltGr ("@" with Q).
    EXPECT_EQ(chordsOf(german), (std::vector<std::string>{"Ctrl+Z", "Alt+Q"}));
    EXPECT_EQ(chordsOf(EvdevKeymap::compile({.layout = "us"})), (std::vector<std::string>{"Ctrl+Y", "Alt+Q", "Alt+Q"}));
    EXPECT_EQ(chordsOf(nullptr), std::vector<std::string>{});
}

TEST(EvdevDecoderTest, ButtonsBecomePressesAndReleasesAtTheirKernelTimesOnceTheirFrameEnds)
{
    RecordedInputStream stream(kernelEpoch);
    stream.at(0.100).key(BTN_LEFT, 1).relative(REL_X, 3).report();
    stream.at(0.250).press(BTN_LEFT, 0);
    stream.at(0.300).press(BTN_MIDDLE, 1).press(BTN_SIDE, 1);  // not recorded
    stream.at(0.400).press(BTN_RIGHT, 1);
    stream.at(0.401).press(BTN_RIGHT, 1);  // already held: no second press
    stream.at(0.500).press(BTN_RIGHT, 0);
    stream.at(0.600).press(BTN_RIGHT, 0);  // not held: no second release
    EXPECT_EQ(decode(stream), (std::vector{at(stream, 0.1, Kind::leftMouseDown), at(stream, 0.25, Kind::leftMouseUp),
                                           at(stream, 0.4, Kind::rightMouseDown), at(stream, 0.5, Kind::rightMouseUp)}));

    // Nothing is told before the end of its frame.
    RecordedInputStream unfinished(kernelEpoch);
    unfinished.at(1).key(BTN_LEFT, 1).key(KEY_A, 1);
    EvdevDecoder decoder;
    std::vector<RawInput> activity;
    for (const input_event& event : unfinished.events()) decoder.feed(event, activity);
    EXPECT_TRUE(activity.empty());
    decoder.feed(RecordedInputStream(kernelEpoch).at(1).report().events().front(), activity);
    EXPECT_EQ(activity, (std::vector{at(unfinished, 1, Kind::leftMouseDown), at(unfinished, 1, Kind::keyDown)}));
}

TEST(EvdevDecoderTest, WheelNotchesBecomeOneEventEachUpAndLeftPositiveHighResolutionOnesToo)
{
    RecordedInputStream stream(kernelEpoch);
    stream.at(0.1).relative(REL_WHEEL, 1).report();
    stream.at(0.2).relative(REL_WHEEL, -2).report();
    stream.at(0.3).relative(REL_HWHEEL, 1).report();   // right
    stream.at(0.4).relative(REL_HWHEEL, -1).report();  // left
    stream.at(0.5).key(BTN_LEFT, 1).relative(REL_WHEEL, 1).key(BTN_LEFT, 0).report();
    EXPECT_EQ(decode(stream),
              (std::vector{at(stream, 0.1, Kind::scrollWheel, 0, 1), at(stream, 0.2, Kind::scrollWheel, 0, -1),
                           at(stream, 0.2, Kind::scrollWheel, 0, -1), at(stream, 0.3, Kind::scrollWheel, -1, 0),
                           at(stream, 0.4, Kind::scrollWheel, 1, 0), at(stream, 0.5, Kind::leftMouseDown),
                           at(stream, 0.5, Kind::scrollWheel, 0, 1), at(stream, 0.5, Kind::leftMouseUp)}));

    // High-resolution wheels count each notch once, with the matching whole-notch events in
    // either order within the frame.
    RecordedInputStream paired(kernelEpoch);
    paired.at(0.1).relative(REL_WHEEL_HI_RES, 120).relative(REL_WHEEL, 1).report();
    paired.at(0.2).relative(REL_WHEEL, -1).relative(REL_WHEEL_HI_RES, -120).report();
    paired.at(0.3).relative(REL_HWHEEL_HI_RES, -240).relative(REL_HWHEEL, -2).report();
    paired.at(0.4).relative(REL_WHEEL, 1).report();  // the axis reports in fractions now: ignored
    EXPECT_EQ(decode(paired),
              (std::vector{at(paired, 0.1, Kind::scrollWheel, 0, 1), at(paired, 0.2, Kind::scrollWheel, 0, -1),
                           at(paired, 0.3, Kind::scrollWheel, 1, 0), at(paired, 0.3, Kind::scrollWheel, 1, 0)}));

    // Fractions alone add up to a notch; a turn the other way starts afresh.
    RecordedInputStream fractions(kernelEpoch);
    for (int step = 1; step <= 4; ++step) fractions.at(step * 0.01).relative(REL_WHEEL_HI_RES, 30).report();
    fractions.at(0.10).relative(REL_WHEEL_HI_RES, 90).report();
    fractions.at(0.11).relative(REL_WHEEL_HI_RES, -60).report();  // back: the 90 pending are dropped
    fractions.at(0.12).relative(REL_WHEEL_HI_RES, -60).report();
    fractions.at(0.13).relative(REL_HWHEEL_HI_RES, 60).relative(REL_WHEEL_HI_RES, 15).report();
    fractions.at(0.14).relative(REL_HWHEEL_HI_RES, 60).report();
    EXPECT_EQ(decode(fractions),
              (std::vector{at(fractions, 0.04, Kind::scrollWheel, 0, 1), at(fractions, 0.12, Kind::scrollWheel, 0, -1),
                           at(fractions, 0.14, Kind::scrollWheel, -1, 0)}));
}

TEST(EvdevDecoderTest, KeysReportDownAndUpButNeverAutoRepeatOrOtherButtons)
{
    RecordedInputStream stream(kernelEpoch);
    stream.at(1.0).key(KEY_H, 1).report();
    stream.at(1.1).press(KEY_H, 0);
    stream.at(1.2).key(KEY_LEFTSHIFT, 1).key(KEY_I, 1).report();
    stream.at(1.5).press(KEY_I, 2).press(KEY_I, 2);
    stream.at(1.6).key(KEY_I, 0).key(KEY_LEFTSHIFT, 0).report();
    stream.at(1.7).press(BTN_TOUCH, 1).press(BTN_TOOL_FINGER, 1).press(BTN_SOUTH, 1);
    stream.at(1.8).press(KEY_VOLUMEUP, 1).press(KEY_OK, 1);
    EXPECT_EQ(decode(stream),
              (std::vector{at(stream, 1.0, Kind::keyDown), at(stream, 1.1, Kind::keyUp), at(stream, 1.2, Kind::keyDown),
                           at(stream, 1.2, Kind::keyDown), at(stream, 1.6, Kind::keyUp), at(stream, 1.6, Kind::keyUp),
                           at(stream, 1.8, Kind::keyDown), at(stream, 1.8, Kind::keyDown)}));
}

TEST(EvdevDecoderTest, DroppedEventsDiscardTheUnfinishedFrameAndTheRestUntilTheNextReport)
{
    RecordedInputStream stream(kernelEpoch);
    stream.at(0.1).press(KEY_A, 1);
    stream.at(0.2).key(BTN_LEFT, 1).relative(REL_WHEEL, 3).dropped();
    stream.at(0.3).key(KEY_B, 1).relative(REL_WHEEL_HI_RES, 120).report();  // incomplete: discarded
    stream.at(0.4).press(BTN_LEFT, 1);                                      // the press survives the drop
    stream.at(0.5).relative(REL_WHEEL, 1).report();  // the discarded fraction did not mark the axis
    EXPECT_EQ(decode(stream), (std::vector{at(stream, 0.1, Kind::keyDown), at(stream, 0.4, Kind::leftMouseDown),
                                           at(stream, 0.5, Kind::scrollWheel, 0, 1)}));
}

// Which keys were typed must not change anything the decoder reports; nor, with shortcuts
// recorded, when neither Ctrl, Alt nor Super is among them (Shift is).
TEST(EvdevDecoderTest, OutputIsTheSameWhateverKeysWereTyped)
{
    const auto keymap = EvdevKeymap::compile({.layout = "us"});
    ASSERT_TRUE(keymap);
    const auto decodeNamed = [&](const RecordedInputStream& stream) {
        EvdevDecoder decoder;
        decoder.recordShortcuts(keymap);
        std::vector<RawInput> activity;
        for (const input_event& event : stream.events()) decoder.feed(event, activity);
        return activity;
    };
    const std::vector<int> chordModifiers{KEY_LEFTCTRL, KEY_RIGHTCTRL, KEY_LEFTALT, KEY_RIGHTALT, KEY_LEFTMETA, KEY_RIGHTMETA};
    std::mt19937 random(11);
    std::uniform_int_distribution<int> keyCode(KEY_ESC, KEY_MICMUTE);
    std::uniform_int_distribution<int> value(0, 2);
    for (int round = 0; round < 50; ++round) {
        RecordedInputStream typed(kernelEpoch);
        RecordedInputStream typing(kernelEpoch);  // without Ctrl, Alt and Super
        RecordedInputStream uniform(kernelEpoch);
        for (int step = 0; step < 200; ++step) {
            int code = keyCode(random);
            while (code >= BTN_MISC) code = keyCode(random);  // only keyboard keys
            const int state = value(random);
            typed.at(step * 0.01).press(static_cast<unsigned short>(code), state);
            const bool chordModifier = std::ranges::find(chordModifiers, code) != chordModifiers.end();
            typing.at(step * 0.01).press(static_cast<unsigned short>(chordModifier ? KEY_LEFTSHIFT : code), state);
            uniform.at(step * 0.01).press(KEY_A, state);
        }
        const auto activity = decode(typed);
        ASSERT_EQ(activity, decode(uniform));
        EXPECT_FALSE(activity.empty());
        ASSERT_EQ(decodeNamed(typing), activity) << "round " << round << ": typing was named";
    }
}

bool readable(int fd)
{
    pollfd descriptor{fd, POLLIN, 0};
    return poll(&descriptor, 1, 0) == 1 && (descriptor.revents & POLLIN);
}

TEST(PointerTrackerTest, PositionAtATimeIsTheLastUpdateAtOrBeforeIt)
{
    PointerTracker tracker;
    const auto epoch = std::chrono::steady_clock::now();
    EXPECT_FALSE(tracker.latest());
    EXPECT_FALSE(tracker.positionAt(epoch));

    tracker.update({10, 20}, epoch + 100ms);
    tracker.update({30, 40}, epoch + 200ms);
    tracker.update({50, 60}, epoch + 300ms);
    tracker.update({5, 6}, epoch + 150ms);  // late arrival lands in time order
    EXPECT_EQ(tracker.latest(), (CodablePoint{50, 60}));
    EXPECT_EQ(tracker.positionAt(epoch), (CodablePoint{10, 20}));  // before everything: the earliest
    EXPECT_EQ(tracker.positionAt(epoch + 170ms), (CodablePoint{5, 6}));
    EXPECT_EQ(tracker.positionAt(epoch + 299ms), (CodablePoint{30, 40}));
    EXPECT_EQ(tracker.positionAt(epoch + 300ms), (CodablePoint{50, 60}));

    // A repeated position moves nothing but says the pointer was known to rest until then.
    EXPECT_EQ(tracker.latestTime(), epoch + 300ms);
    tracker.update({50, 60}, epoch + 400ms);
    EXPECT_EQ(tracker.latestTime(), epoch + 400ms);
    tracker.update({1, 2}, epoch + 350ms);
    EXPECT_EQ(tracker.latestTime(), epoch + 400ms);
    EXPECT_EQ(tracker.positionAt(epoch + 360ms), (CodablePoint{1, 2}));
}

TEST(PointerTrackerTest, MovesQueueInOrderAndTheDescriptorIsReadableExactlyWhileTheyWait)
{
    PointerTracker tracker;
    const auto epoch = std::chrono::steady_clock::now();
    EXPECT_FALSE(readable(tracker.fileDescriptor()));
    tracker.update({1, 1}, epoch + 10ms);
    tracker.update({1, 1}, epoch + 20ms);  // same position: not a move
    tracker.update({2, 1}, epoch + 30ms);
    EXPECT_TRUE(readable(tracker.fileDescriptor()));
    EXPECT_EQ(tracker.takeMoves(), (std::vector<PointerTracker::Move>{{{1, 1}, epoch + 10ms}, {{2, 1}, epoch + 30ms}}));
    EXPECT_FALSE(readable(tracker.fileDescriptor()));
    EXPECT_TRUE(tracker.takeMoves().empty());

    tracker.update({3, 1}, epoch + 40ms);
    tracker.discardMoves();
    EXPECT_FALSE(readable(tracker.fileDescriptor()));
    EXPECT_TRUE(tracker.takeMoves().empty());
    EXPECT_EQ(tracker.latest(), (CodablePoint{3, 1}));  // discarding moves keeps the position
}

TEST(PointerTrackerTest, UntakenMovesAndOldHistoryStayBounded)
{
    PointerTracker tracker;
    const auto epoch = std::chrono::steady_clock::now();
    const std::size_t count = PointerTracker::maximumPendingMoves + 10;
    for (std::size_t index = 0; index < count; ++index)
        tracker.update({double(index), 0}, epoch + index * 10ms);
    const auto moves = tracker.takeMoves();
    ASSERT_EQ(moves.size(), PointerTracker::maximumPendingMoves);
    EXPECT_EQ(moves.front().position.x, 10);  // the oldest were dropped
    EXPECT_EQ(moves.back().position.x, double(count - 1));
    // Only the last few seconds stay answerable; older times get the earliest position kept.
    const double earliestKept = double(count - 1) - 500;
    EXPECT_EQ(tracker.positionAt(epoch), (CodablePoint{earliestKept, 0}));
}

TEST(PointerTrackerTest, UpdatesFromAnotherThreadAreAllSeenOnce)
{
    PointerTracker tracker;
    const auto epoch = std::chrono::steady_clock::now();
    std::thread producer([&] {
        for (int index = 1; index <= 2000; ++index) tracker.update({double(index), 0}, epoch + index * 1ms);
    });
    std::vector<PointerTracker::Move> seen;
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (seen.size() < 2000 && std::chrono::steady_clock::now() < deadline) {
        pollfd descriptor{tracker.fileDescriptor(), POLLIN, 0};
        poll(&descriptor, 1, 100);
        for (const auto& move : tracker.takeMoves()) seen.push_back(move);
    }
    producer.join();
    ASSERT_EQ(seen.size(), 2000u);
    for (std::size_t index = 0; index < seen.size(); ++index) EXPECT_EQ(seen[index].position.x, double(index + 1));
}

}  // namespace
}  // namespace vantile
