#include "engine/CoordinateMapper.h"
#include "engine/CursorPathSmoother.h"
#include "engine/Easing.h"
#include "engine/RecordingDurationFormatter.h"

#include "engine/EngineTestSupport.h"
#include "engine/EventStreams.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace vantile {
namespace {

using testing::makeEvent;
using testing::sameList;
using Type = InputEvent::EventType;

std::vector<CursorFrame> smooth(const std::vector<InputEvent>& events, std::int64_t fps, double duration)
{
    return CursorPathSmoother().smooth(events, fps, duration);
}

TEST(CursorPathSmootherTest, OneVisibleFramePerOutputFrameIncludingTheEnd)
{
    const auto frames = smooth({makeEvent(0.4, Type::mouseMove, 10, 20)}, 30, 1.0);
    ASSERT_EQ(frames.size(), 31u);
    for (std::size_t i = 0; i < frames.size(); ++i)
        EXPECT_EQ(frames[i], (CursorFrame{static_cast<double>(i) / 30, 10, 20}));
    EXPECT_EQ(smooth({makeEvent(0, Type::mouseMove)}, 60, 2.999).size(), 180u);  // floor(179.94) + 1
    EXPECT_EQ(smooth({makeEvent(0, Type::mouseMove)}, 24, 0.01).size(), 1u);
}

TEST(CursorPathSmootherTest, TrembleIsDroppedButClicksInsideItAreKept)
{
    // Moves within 1.5 px of the first are dropped; the click is kept and pulls the filtered path.
    const std::vector<InputEvent> events = {
        makeEvent(0.0, Type::mouseMove, 100, 100), makeEvent(0.1, Type::mouseMove, 101.5, 100),
        makeEvent(0.2, Type::mouseMove, 100, 101.2), makeEvent(0.3, Type::leftMouseDown, 101, 101),
        makeEvent(0.4, Type::mouseMove, 100.5, 100),
    };
    const auto frames = smooth(events, 10, 0.6);
    ASSERT_EQ(frames.size(), 7u);
    // Kept: (0, 100, 100) and the press, smoothed to 100 + 1 * 0.25.
    EXPECT_EQ(frames[0].x, 100);
    EXPECT_DOUBLE_EQ(frames[1].x, 100 + 0.25 * (1.0 / 3.0));  // a third of the way towards the press
    EXPECT_DOUBLE_EQ(frames[3].x, 100.25);
    EXPECT_DOUBLE_EQ(frames[3].y, 100.25);
    EXPECT_DOUBLE_EQ(frames[6].x, 100.25);  // the last move was within 2 px of the press: dropped

    // Exactly 2 px away is far enough to keep.
    const auto edge = smooth({makeEvent(0, Type::mouseMove, 10, 10), makeEvent(1, Type::mouseMove, 10, 12)}, 1, 1);
    EXPECT_DOUBLE_EQ(edge[1].y, 10.5);
}

TEST(CursorPathSmootherTest, FastFarJumpsAreDampedHarderThanSlowOnes)
{
    const auto fast = smooth({makeEvent(0, Type::mouseMove, 0, 0), makeEvent(0.02, Type::mouseMove, 800, 0)}, 50, 0.1);
    EXPECT_DOUBLE_EQ(fast[1].x, 64);  // 8 % of 800
    EXPECT_DOUBLE_EQ(fast.back().x, 64);  // and held after the last event
    const auto slow = smooth({makeEvent(0, Type::mouseMove, 0, 0), makeEvent(0.1, Type::mouseMove, 800, 0)}, 10, 0.3);
    EXPECT_DOUBLE_EQ(slow[1].x, 200);  // 25 %
    // A fast but short move uses the normal factor.
    const auto nearby = smooth({makeEvent(0, Type::mouseMove, 0, 0), makeEvent(0.02, Type::mouseMove, 500, 0)}, 50, 0.1);
    EXPECT_DOUBLE_EQ(nearby[1].x, 125);
}

TEST(CursorPathSmootherTest, PositionsHoldOutsideThePathAndBlendLinearlyInside)
{
    const auto frames = smooth({makeEvent(0.5, Type::mouseMove, 40, 80), makeEvent(1.0, Type::mouseMove, 440, 80)}, 10, 2);
    EXPECT_EQ(frames[0].x, 40);
    EXPECT_EQ(frames[5].x, 40);
    // Second event smoothed to 40 + 400 * 0.25 = 140; at 0.8 s the blend is 60 % of the way.
    EXPECT_DOUBLE_EQ(frames[8].x, 40 + 100 * ((0.8 - 0.5) / 0.5));
    EXPECT_EQ(frames[10].x, 140);
    EXPECT_EQ(frames[20].x, 140);
}

TEST(CursorPathSmootherTest, ClickFlagsOnlyAroundPresses)
{
    const auto pressAt = [](double time, std::int64_t fps, Type type = Type::leftMouseDown) {
        return smooth({makeEvent(0, Type::mouseMove), makeEvent(time, type)}, fps, 2);
    };
    EXPECT_TRUE(pressAt(1.11, 10)[10].isClicking);
    EXPECT_FALSE(pressAt(1.13, 10)[10].isClicking);
    EXPECT_TRUE(pressAt(0.95, 10, Type::rightMouseDown)[10].isClicking);
    EXPECT_FALSE(pressAt(1.0, 10, Type::leftMouseUp)[10].isClicking);
    EXPECT_FALSE(pressAt(1.0, 10, Type::mouseDragged)[10].isClicking);

    // At 2 fps a press anywhere in a frame's half second marks that frame, far outside the window.
    EXPECT_TRUE(pressAt(1.4, 2)[2].isClicking);
    EXPECT_FALSE(pressAt(1.3, 2)[3].isClicking);
    EXPECT_TRUE(pressAt(1.4, 2)[3].isClicking);  // 0.1 s before the frame at 1.5
    // A press just before zero quantises to minus zero, which is frame 0's time.
    EXPECT_TRUE(pressAt(-0.3, 2)[0].isClicking);
    EXPECT_FALSE(pressAt(-0.6, 2)[0].isClicking);

    // Among several presses the nearest on either side decides.
    const auto twice = smooth({makeEvent(0, Type::mouseMove), makeEvent(0.5, Type::leftMouseDown),
                               makeEvent(1.52, Type::leftMouseDown)}, 10, 2);
    EXPECT_TRUE(twice[5].isClicking);
    EXPECT_FALSE(twice[10].isClicking);
    EXPECT_TRUE(twice[16].isClicking);
}

TEST(CursorPathSmootherTest, NoPointerNoTimeBadCoordinatesAndOddTimes)
{
    EXPECT_TRUE(smooth({makeEvent(0.5, Type::typingActivityStart), makeEvent(1, Type::typingActivityEnd)}, 30, 2).empty());
    const std::vector<InputEvent> moves = {makeEvent(0.5, Type::mouseMove, 10, 10)};
    EXPECT_TRUE(smooth(moves, -30, 2).empty());
    EXPECT_TRUE(smooth(moves, 30, 0).empty());
    EXPECT_TRUE(smooth(moves, 30, std::nan("")).empty());
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    const std::vector<InputEvent> events = {
        makeEvent(nan, Type::leftMouseDown, 1, 1),     makeEvent(0.5, Type::mouseMove, nan, 3),
        makeEvent(infinity, Type::mouseMove, 5, 5),    makeEvent(-infinity, Type::rightMouseDown, 5, 5),
        makeEvent(0.7, Type::scrollWheel, 1e300, -1e300), makeEvent(99, Type::leftMouseDown, 5, 5),
    };
    for (const CursorSmoothing smoothing : {CursorSmoothing::classic, CursorSmoothing::precise}) {
        EXPECT_EQ(CursorPathSmoother().smooth(events, 30, 2, smoothing).size(), 61u);
        EXPECT_TRUE(CursorPathSmoother().smooth(events, 30, infinity, smoothing).empty());
    }
}

// Generated sessions: the precise cursor is on every press at the press's frame and on the pointer
// after it rests, and moves as the classic one until the first rest or press; the classic one
// misses presses, so the check can fail.
TEST(CursorPathSmootherTest, PreciseLandsOnEveryPressAndRestAndMovesAsClassicBefore)
{
    constexpr std::int64_t fps = 30;
    int classicMisses = 0;
    for (std::uint64_t seed = 1; seed <= 6; ++seed) {
        const double duration = 40;
        const std::vector<InputEvent> events = testing::demoSession(duration, 1920, 1080, seed);
        const auto precise = CursorPathSmoother().smooth(events, fps, duration, CursorSmoothing::precise);
        const auto classic = smooth(events, fps, duration);
        ASSERT_EQ(precise.size(), classic.size());
        const auto frameOf = [&](double time) { return static_cast<std::size_t>(std::trunc(time * fps)); };

        // The pointer as the smoother keeps it: a move within 2 px of the last kept place is tremble.
        std::vector<InputEvent> pointer;
        for (const InputEvent& event : events) {
            if (event.type == Type::typingActivityStart || event.type == Type::typingActivityEnd) continue;
            if (event.type == Type::mouseMove && !pointer.empty() &&
                std::hypot(event.x - pointer.back().x, event.y - pointer.back().y) < 2)
                continue;
            pointer.push_back(event);
        }
        double firstLanding = duration;
        for (std::size_t index = 0; index < pointer.size(); ++index) {
            const InputEvent& event = pointer[index];
            if (event.type == Type::leftMouseDown || event.type == Type::rightMouseDown) {
                const CursorFrame& frame = precise[frameOf(event.time)];
                EXPECT_LE(std::hypot(frame.x - event.x, frame.y - event.y), 1.0) << "press at " << event.time;
                const CursorFrame& old = classic[frameOf(event.time)];
                classicMisses += std::hypot(old.x - event.x, old.y - event.y) > 1.0;
                // Landing bends the way from the event before it, at most a rest's span earlier.
                firstLanding = std::min(firstLanding, double(frameOf(event.time)) / fps - 0.1);
            }
            // A rest of a second: the cursor is on the pointer before it moves on (jitter aside).
            const double next = index + 1 < pointer.size() ? pointer[index + 1].time : duration;
            if (next - event.time >= 0.1) firstLanding = std::min(firstLanding, event.time);
            if (next - event.time >= 1.0) {
                const CursorFrame& frame = precise[frameOf(next) - 1];
                EXPECT_LE(std::hypot(frame.x - event.x, frame.y - event.y), 2.0) << "rest from " << event.time;
            }
        }
        for (std::size_t index = 0; index < precise.size() && precise[index].time < firstLanding; ++index)
            EXPECT_EQ(precise[index], classic[index]) << "seed " << seed << " frame " << index;
    }
    EXPECT_GT(classicMisses, 0);
}

TEST(CoordinateMapperTest, CaptureLocalPointsScaleIntoTheVideoAndStayInside)
{
    const CGRectCodable region{0, 0, 1440, 900};
    const VideoInfo video{"raw.mov", 2880, 1800, 30};
    EXPECT_EQ(CoordinateMapper::mapCaptureLocalToVideo({720, 450}, region, video), (CodablePoint{1440, 900}));
    EXPECT_EQ(CoordinateMapper::mapCaptureLocalToVideo({1500, 950}, region, video), (CodablePoint{2880, 1800}));
    EXPECT_EQ(CoordinateMapper::mapCaptureLocalToVideo({-3, 0}, region, video), (CodablePoint{0, 0}));

    // A degenerate region counts as one pixel instead of dividing by zero.
    const CGRectCodable empty{0, 0, 0, 0.5};
    EXPECT_EQ(CoordinateMapper::mapCaptureLocalToVideo({0.25, 0.25}, empty, video), (CodablePoint{720, 450}));
}

TEST(CoordinateMapperTest, MappedEventsKeepOrderCountAndEveryOtherField)
{
    InputEvent scroll{3.5, InputEvent::EventType::scrollWheel, 100, 50, 1.0, -2.0, std::nullopt};
    InputEvent click{1.25, InputEvent::EventType::leftMouseDown, 800, 600, std::nullopt, std::nullopt, "left"};
    const std::vector<InputEvent> mapped =
        CoordinateMapper::mapEventsToVideo({scroll, click}, {0, 0, 800, 600}, {"raw.mov", 1600, 1200, 30});
    ASSERT_EQ(mapped.size(), 2u);
    scroll.x = 200;
    scroll.y = 100;
    click.x = 1600;
    click.y = 1200;
    EXPECT_EQ(mapped[0], scroll);
    EXPECT_EQ(mapped[1], click);
}

TEST(EasingTest, SmootherStepHitsItsKnownValuesAndClampsItsArgument)
{
    EXPECT_EQ(Easing::smootherStep(0.5), 0.5);
    EXPECT_EQ(Easing::smootherStep(-1), 0);
    EXPECT_EQ(Easing::smootherStep(2), 1);
    EXPECT_EQ(Easing::smootherStep(std::nan("")), 0);
    EXPECT_DOUBLE_EQ(Easing::smootherStep(0.25), 0.103515625);
    EXPECT_DOUBLE_EQ(Easing::smootherStep(0.75), 1 - 0.103515625);
}

TEST(RecordingDurationFormatterTest, ClockTextOfWholeSeconds)
{
    using namespace RecordingDurationFormatter;
    EXPECT_EQ(formatDuration(75.9), "01:15");
    EXPECT_EQ(formatDuration(-3), "00:00");
    EXPECT_EQ(formatDuration(6000 * 60 + 7), "6000:07");
    EXPECT_EQ(formatDuration(std::numeric_limits<double>::infinity()), "00:00");
}

}  // namespace
}  // namespace vantile
