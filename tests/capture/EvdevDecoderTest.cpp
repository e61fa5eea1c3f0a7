#include "capture/wayland/EvdevDecoder.h"

#include "capture/RecordedInputStream.h"

#include <gtest/gtest.h>

#include <random>

namespace vantile {
namespace {

using Kind = RawInput::Kind;
using testing::RecordedInputStream;

const RecordedInputStream::TimePoint epoch{std::chrono::seconds(5000)};

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

TEST(EvdevDecoderTest, ButtonsBecomePressesAndReleasesAtTheirKernelTimesOnceTheirFrameEnds)
{
    RecordedInputStream stream(epoch);
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
    RecordedInputStream unfinished(epoch);
    unfinished.at(1).key(BTN_LEFT, 1).key(KEY_A, 1);
    EvdevDecoder decoder;
    std::vector<RawInput> activity;
    for (const input_event& event : unfinished.events()) decoder.feed(event, activity);
    EXPECT_TRUE(activity.empty());
    decoder.feed(RecordedInputStream(epoch).at(1).report().events().front(), activity);
    EXPECT_EQ(activity, (std::vector{at(unfinished, 1, Kind::leftMouseDown), at(unfinished, 1, Kind::keyDown)}));
}

TEST(EvdevDecoderTest, WheelNotchesBecomeOneEventEachUpAndLeftPositiveHighResolutionOnesToo)
{
    RecordedInputStream stream(epoch);
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
    RecordedInputStream paired(epoch);
    paired.at(0.1).relative(REL_WHEEL_HI_RES, 120).relative(REL_WHEEL, 1).report();
    paired.at(0.2).relative(REL_WHEEL, -1).relative(REL_WHEEL_HI_RES, -120).report();
    paired.at(0.3).relative(REL_HWHEEL_HI_RES, -240).relative(REL_HWHEEL, -2).report();
    paired.at(0.4).relative(REL_WHEEL, 1).report();  // the axis reports in fractions now: ignored
    EXPECT_EQ(decode(paired),
              (std::vector{at(paired, 0.1, Kind::scrollWheel, 0, 1), at(paired, 0.2, Kind::scrollWheel, 0, -1),
                           at(paired, 0.3, Kind::scrollWheel, 1, 0), at(paired, 0.3, Kind::scrollWheel, 1, 0)}));

    // Fractions alone add up to a notch; a turn the other way starts afresh.
    RecordedInputStream fractions(epoch);
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
    RecordedInputStream stream(epoch);
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
    RecordedInputStream stream(epoch);
    stream.at(0.1).press(KEY_A, 1);
    stream.at(0.2).key(BTN_LEFT, 1).relative(REL_WHEEL, 3).dropped();
    stream.at(0.3).key(KEY_B, 1).relative(REL_WHEEL_HI_RES, 120).report();  // incomplete: discarded
    stream.at(0.4).press(BTN_LEFT, 1);                                      // the press survives the drop
    stream.at(0.5).relative(REL_WHEEL, 1).report();  // the discarded fraction did not mark the axis
    EXPECT_EQ(decode(stream), (std::vector{at(stream, 0.1, Kind::keyDown), at(stream, 0.4, Kind::leftMouseDown),
                                           at(stream, 0.5, Kind::scrollWheel, 0, 1)}));
}

// Which keys were typed must not change anything the decoder reports.
TEST(EvdevDecoderTest, OutputIsTheSameWhateverKeysWereTyped)
{
    std::mt19937 random(11);
    std::uniform_int_distribution<int> keyCode(KEY_ESC, KEY_MICMUTE);
    std::uniform_int_distribution<int> value(0, 2);
    for (int round = 0; round < 50; ++round) {
        RecordedInputStream typed(epoch);
        RecordedInputStream uniform(epoch);
        for (int step = 0; step < 200; ++step) {
            int code = keyCode(random);
            while (code >= BTN_MISC) code = keyCode(random);  // only keyboard keys
            const int state = value(random);
            typed.at(step * 0.01).press(static_cast<unsigned short>(code), state);
            uniform.at(step * 0.01).press(KEY_A, state);
        }
        const auto activity = decode(typed);
        ASSERT_EQ(activity, decode(uniform));
        EXPECT_FALSE(activity.empty());
    }
}

}  // namespace
}  // namespace vantile
