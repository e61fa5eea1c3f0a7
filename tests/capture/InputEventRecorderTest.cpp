#include "capture/InputEventRecorder.h"

#include <gtest/gtest.h>

#include <random>

namespace vantile {
namespace {

using Type = InputEvent::EventType;
using Kind = RawInput::Kind;

// A monitor whose events and pointer the test sets, on a clock the test moves.
class FakeInput : public InputSource {
public:
    bool install(Handler handler) override
    {
        handler_ = std::move(handler);
        return true;
    }
    void remove() override { handler_ = nullptr; }
    CodablePoint pointerLocation() override { return pointer; }
    int fileDescriptor() const override { return -1; }
    void dispatchPending() override {}

    void send(Kind kind, double at, CodablePoint where = {}, double dx = 0, double dy = 0)
    {
        now = at;
        pointer = where;
        if (handler_) handler_({kind, dx, dy});
    }

    bool installed() const { return handler_ != nullptr; }

    CodablePoint pointer;
    double now = 0;

private:
    Handler handler_;
};

struct Harness {
    FakeInput input;
    std::chrono::steady_clock::time_point epoch = std::chrono::steady_clock::now();
    InputEventRecorder recorder{&input, [this] {
                                    return epoch + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                                       std::chrono::duration<double>(input.now));
                                }};
};

// Moves are kept once an output frame, at 60 and (after a restart) at the standard 30; the first always.
TEST(InputEventRecorderTest, MovesAreKeptOnceAFrameAtSixtyAndThirtyFramesASecond)
{
    Harness harness;
    harness.recorder.start({0, 0, 800, 600}, 60);
    for (int step = 0; step <= 100; ++step) harness.input.send(Kind::mouseMoved, step * 0.010, {double(step), 10});
    const auto events = harness.recorder.stop();
    // Moves at 0, .02, .04 ... (every second 10 ms step): 51 over one second.
    EXPECT_EQ(events.size(), 51u);
    ASSERT_GE(events.size(), 2u);
    EXPECT_EQ(events[1].x, 2);
    // A restart at the standard rate throttles as before.
    harness.input.now = 2.0;
    harness.recorder.start({0, 0, 800, 600});
    for (int step = 0; step <= 100; ++step)
        harness.input.send(Kind::mouseMoved, 2.0 + step * 0.010, {double(step), 10});
    const auto thirty = harness.recorder.stop();
    // Moves at 0, .04, .08 ... (every fourth 10 ms step): 26 over one second.
    ASSERT_EQ(thirty.size(), 26u);
    EXPECT_EQ(thirty.front().time, 0.0);
    EXPECT_EQ(thirty.front().x, 0);
    EXPECT_EQ(thirty[1].x, 4);
}

TEST(InputEventRecorderTest, AMoveTheThrottleDroppedIsLoggedBeforeTheNextClickSoThePathReachesIt)
{
    Harness harness;
    harness.recorder.start({0, 0, 800, 600});
    harness.input.send(Kind::mouseMoved, 1.0, {10, 10});
    harness.input.send(Kind::mouseMoved, 1.01, {300, 200});  // a jump within 1/30 s, then rest
    harness.input.send(Kind::leftMouseDown, 1.2, {300, 200});
    harness.input.send(Kind::mouseMoved, 1.25, {310, 200});
    harness.input.send(Kind::mouseMoved, 1.26, {320, 200});  // held back until the stop
    const auto events = harness.recorder.stop();
    ASSERT_EQ(events.size(), 5u);
    EXPECT_EQ(events[1].type, Type::mouseMove);
    EXPECT_DOUBLE_EQ(events[1].time, 1.01);  // logged at the time it happened
    EXPECT_EQ(events[1].x, 300);
    EXPECT_EQ(events[2].type, Type::leftMouseDown);
    EXPECT_EQ(events[4].x, 320);
    EXPECT_DOUBLE_EQ(events[4].time, 1.26);
}

TEST(InputEventRecorderTest, InputOverTheApplicationsOwnWindowsIsNotLogged)
{
    Harness harness;
    auto ownWindows = std::make_shared<ExcludedAreas>();
    ownWindows->set({{100, 100, 50, 50}});
    harness.recorder.setExcludedAreas(ownWindows);
    harness.recorder.start({0, 0, 800, 600});
    harness.input.send(Kind::mouseMoved, 0.0, {10, 10});
    harness.input.send(Kind::mouseMoved, 0.1, {120, 120});
    harness.input.send(Kind::scrollWheel, 0.2, {120, 120}, 0, 1);
    harness.input.send(Kind::keyDown, 0.25, {120, 120});  // typing is kept, placed where the user's pointer was
    harness.input.send(Kind::leftMouseDown, 0.3, {149, 149});
    harness.input.send(Kind::leftMouseDragged, 0.35, {300, 300});  // dragging the control away
    harness.input.send(Kind::leftMouseUp, 0.4, {300, 300});
    harness.input.send(Kind::rightMouseDown, 0.5, {150, 150});  // just outside: the user's
    harness.input.send(Kind::rightMouseDragged, 0.55, {130, 130});
    harness.input.send(Kind::rightMouseUp, 0.6, {130, 130});  // ends the user's drag, so it is kept
    ownWindows->set({});
    harness.input.send(Kind::leftMouseDown, 0.7, {120, 120});  // the window went away
    const auto events = harness.recorder.stop();
    std::vector<Type> types;
    for (const InputEvent& event : events) types.push_back(event.type);
    EXPECT_EQ(types, (std::vector<Type>{Type::mouseMove, Type::typingActivityStart, Type::typingActivityEnd,
                                        Type::rightMouseDown, Type::rightMouseUp, Type::leftMouseDown}));
    EXPECT_EQ(events[1].x, 10);
    EXPECT_EQ(events[4].x, 150);  // placed where the user's pointer last was outside
    EXPECT_EQ(events[5].x, 120);
}

TEST(InputEventRecorderTest, TypingBurstsCloseAfterPausesLongerThanOneSecondWhereThePointerWas)
{
    Harness harness;
    std::vector<InputEvent> observed;
    harness.recorder.setEventObserver([&](const InputEvent& event) { observed.push_back(event); });
    harness.recorder.start({0, 0, 100, 100});
    harness.input.send(Kind::keyDown, 1.0, {5, 5});
    harness.input.send(Kind::keyUp, 1.25, {5, 5});
    harness.input.send(Kind::keyDown, 2.25, {5, 5});  // exactly a second later: the same burst
    harness.input.send(Kind::keyUp, 2.5, {5, 5});
    harness.input.send(Kind::keyDown, 4.0, {7, 7});  // 1.5 s after the last release
    harness.input.send(Kind::keyUp, 4.25, {7, 7});
    const auto beforeStop = harness.recorder.snapshot();
    const auto events = harness.recorder.stop();
    ASSERT_EQ(events.size(), 4u);
    EXPECT_EQ(beforeStop, std::vector(events.begin(), events.begin() + 3));  // the open burst closes at stop
    EXPECT_DOUBLE_EQ(events[0].time, 1.0);
    EXPECT_DOUBLE_EQ(events[1].time, 2.7);  // last release + 0.2
    EXPECT_EQ(events[1].x, 7);              // the end is placed where the pointer was last seen
    EXPECT_DOUBLE_EQ(events[2].time, 4.0);
    EXPECT_DOUBLE_EQ(events[3].time, 4.45);
    // The journal's observer sees every event as it is appended, the closing one too.
    EXPECT_EQ(observed, events);
}

TEST(InputEventRecorderTest, StopWithoutStartAndRestartsLeaveNoStaleState)
{
    Harness harness;
    EXPECT_TRUE(harness.recorder.stop().empty());
    harness.input.send(Kind::leftMouseDown, 0.5);
    EXPECT_TRUE(harness.recorder.snapshot().empty());

    harness.recorder.start({0, 0, 100, 100});
    EXPECT_TRUE(harness.input.installed());
    harness.input.send(Kind::keyDown, 0.5);
    harness.recorder.start({0, 0, 100, 100});  // restart closes the burst and empties the list
    EXPECT_TRUE(harness.recorder.snapshot().empty());
    harness.input.send(Kind::mouseMoved, 0.6);
    EXPECT_EQ(harness.recorder.stop().size(), 1u);
    EXPECT_FALSE(harness.input.installed());
    harness.input.send(Kind::leftMouseDown, 0.7);
    EXPECT_EQ(harness.recorder.snapshot().size(), 1u);  // nothing arrives after stop
}

// Generated streams: whatever arrives, the output is time-sorted, inside the region, moves
// are spaced unless another event or the stop brought one forward, bursts alternate
// start/end, and buttons are only on presses and releases.
TEST(InputEventRecorderTest, GeneratedStreamsKeepTheInvariants)
{
    std::mt19937 random(7);
    for (int round = 0; round < 200; ++round) {
        Harness harness;
        const CGRectCodable region{double(random() % 500), double(random() % 500), 50.0 + random() % 900,
                                   50.0 + random() % 700};
        harness.recorder.start(region);
        double time = 0;
        for (int step = 0; step < 300; ++step) {
            time += std::uniform_real_distribution(0.0, 0.6)(random);
            const auto kind = static_cast<Kind>(random() % 10);
            harness.input.send(kind, time, {double(random() % 2000) - 200, double(random() % 1500) - 200}, 0,
                               kind == Kind::scrollWheel ? 1 : 0);
        }
        const auto events = harness.recorder.stop();
        double lastMove = -1;
        int openBursts = 0;
        for (std::size_t index = 0; index < events.size(); ++index) {
            const InputEvent& event = events[index];
            if (index > 0) {
                EXPECT_LE(events[index - 1].time, event.time);
            }
            EXPECT_GE(event.x, 0);
            EXPECT_LE(event.x, region.width);
            EXPECT_GE(event.y, 0);
            EXPECT_LE(event.y, region.height);
            const bool buttonEvent = event.type == Type::leftMouseDown || event.type == Type::leftMouseUp ||
                                     event.type == Type::rightMouseDown || event.type == Type::rightMouseUp;
            EXPECT_EQ(event.button.has_value(), buttonEvent);
            EXPECT_EQ(event.deltaY.has_value(), event.type == Type::scrollWheel);
            if (event.type == Type::mouseMove) {
                const bool broughtForward = index + 1 == events.size() || events[index + 1].type != Type::mouseMove;
                if (!broughtForward) {
                    EXPECT_GE(event.time - lastMove, 1.0 / 30.0 - 1e-12);
                }
                lastMove = event.time;
            }
            if (event.type == Type::typingActivityStart) {
                EXPECT_EQ(openBursts++, 0);
            }
            if (event.type == Type::typingActivityEnd) {
                EXPECT_EQ(openBursts--, 1);
            }
        }
        EXPECT_EQ(openBursts, 0);
    }
}

}  // namespace
}  // namespace vantile
