#include "engine/StopGestureTrim.h"

#include <gtest/gtest.h>

#include <random>

using namespace vantile;
using Type = InputEvent::EventType;

namespace {

const CGRectCodable control{1700, 1000, 212, 48};

InputEvent at(double time, Type type, double x, double y) { return {time, type, x, y, {}, {}, {}}; }

// Moves from `from` into the target's edge in `seconds`, 30 a second, bending a little.
void appendApproach(std::vector<InputEvent>& events, CodablePoint from, CodablePoint to, double startTime,
                    double seconds, std::mt19937& random)
{
    const int steps = std::max(1, static_cast<int>(seconds * 30));
    std::uniform_real_distribution jitter(-2.0, 2.0);
    for (int step = 0; step <= steps; ++step) {
        const double progress = double(step) / steps;
        const double eased = progress * progress * (3 - 2 * progress);
        events.push_back(at(startTime + progress * seconds, Type::mouseMove,
                            from.x + (to.x - from.x) * eased + jitter(random),
                            from.y + (to.y - from.y) * eased + jitter(random)));
    }
}

}  // namespace

TEST(StopGestureTrimTest, EndsWhereThePointerSetOffTowardTheControlKeepingTheRestBeforeIt)
{
    std::mt19937 random(1);
    std::vector<InputEvent> events{at(1, Type::mouseMove, 300, 300), at(2, Type::leftMouseDown, 400, 300),
                                   at(2.1, Type::leftMouseUp, 400, 300)};
    appendApproach(events, {400, 300}, {1710, 1005}, 5.0, 0.8, random);  // rested 2.9 s after the click
    // The click on the control itself is not logged; the stop comes a moment later.
    EXPECT_EQ(StopGestureTrim::keptEnd(events, {control}, 6.1), 5.0);

    // A click on a tray icon, and moves from the icon into its menu, are part of the gesture.
    const CGRectCodable tray{1880, 0, 24, 24};
    std::vector<InputEvent> viaTray{at(1, Type::leftMouseDown, 500, 500), at(1.1, Type::leftMouseUp, 500, 500)};
    appendApproach(viaTray, {500, 500}, {1890, 10}, 3.0, 1.0, random);
    viaTray.push_back(at(4.2, Type::leftMouseDown, 1890, 10));
    viaTray.push_back(at(4.3, Type::leftMouseUp, 1890, 10));
    viaTray.push_back(at(4.5, Type::mouseMove, 1885, 30));
    EXPECT_EQ(StopGestureTrim::keptEnd(viaTray, {tray}, 5.0), 3.0);
}

TEST(StopGestureTrimTest, LeavesNoTrimForAGestureTooLongNoGestureOrOneThatWouldKeepNothing)
{
    std::mt19937 random(2);
    std::vector<InputEvent> slow{at(0.5, Type::leftMouseDown, 100, 100)};
    appendApproach(slow, {100, 100}, {1700, 1000}, 1.0, StopGestureTrim::longestRemoved + 0.5, random);
    EXPECT_FALSE(StopGestureTrim::keptEnd(slow, {control}, 7.0));

    // The last event is the user's click far from the control: nothing to leave out.
    const std::vector<InputEvent> clickLast{at(1, Type::mouseMove, 10, 10), at(2, Type::leftMouseDown, 20, 20)};
    EXPECT_FALSE(StopGestureTrim::keptEnd(clickLast, {control}, 3.0));
    EXPECT_FALSE(StopGestureTrim::keptEnd({}, {control}, 3.0));

    // The whole take heads for the control from its first instant.
    std::vector<InputEvent> onlyApproach;
    appendApproach(onlyApproach, {100, 100}, {1700, 1000}, 0.0, 1.0, random);
    EXPECT_FALSE(StopGestureTrim::keptEnd(onlyApproach, {control}, 1.5));
}

// Generated takes: the user's work (ending in a click anywhere), a rest, then an approach of
// random length toward a random target, maybe a click at it, and the stop.
TEST(StopGestureTrimTest, GeneratedTakesNeverEndAfterTheStopNorRemoveMoreThanTheBoundAndEndBeforeTheApproach)
{
    std::mt19937 random(3);
    std::uniform_real_distribution unit(0.0, 1.0);
    for (int round = 0; round < 500; ++round) {
        const CGRectCodable target{unit(random) * 1800, unit(random) * 1000, 20 + unit(random) * 200,
                                   20 + unit(random) * 60};
        std::vector<InputEvent> events;
        double time = 0;
        const int userEvents = 1 + static_cast<int>(unit(random) * 40);
        CodablePoint pointer{unit(random) * 1920, unit(random) * 1080};
        for (int index = 0; index < userEvents; ++index) {
            time += unit(random) * 0.5;
            pointer = {unit(random) * 1920, unit(random) * 1080};
            events.push_back(at(time, static_cast<Type>(random() % 9), pointer.x, pointer.y));
        }
        time += 0.05;
        events.push_back(at(time, Type::leftMouseDown, pointer.x, pointer.y));
        const double lastUserEvent = time;
        const double approachStart = time + 0.01 + unit(random) * 3;
        const double approachLength = 0.1 + unit(random) * 5;
        const CodablePoint edge{target.minX() + unit(random) * target.width, target.minY()};
        appendApproach(events, pointer, edge, approachStart, approachLength, random);
        if (unit(random) < 0.5) events.push_back(at(events.back().time + 0.2, Type::leftMouseDown, edge.x, edge.y));
        const double stopTime = events.back().time + unit(random) * 0.5;

        const auto end = StopGestureTrim::keptEnd(events, {target}, stopTime);
        const bool startedNearTarget = StopGestureTrim::distance(pointer, target) <= StopGestureTrim::arrivalMargin +
                                                                                      StopGestureTrim::approachTolerance;
        if (stopTime - approachStart <= StopGestureTrim::longestRemoved && !startedNearTarget) {
            EXPECT_TRUE(end) << "round " << round;
        }
        if (!end) continue;
        EXPECT_LE(*end, stopTime) << "round " << round;
        EXPECT_LE(stopTime - *end, StopGestureTrim::longestRemoved) << "round " << round;
        EXPECT_LE(*end, approachStart) << "round " << round;
        if (!startedNearTarget) {
            EXPECT_GT(*end, lastUserEvent) << "round " << round;  // the user's click stays
        }
    }
}

// Where windows cannot be placed, the control hides behind a hot corner and shows where the desktop
// puts it: the gesture goes to the corner, rests there, then to the control and clicks.
TEST(StopGestureTrimTest, AWayThroughAHotCornerToTheControlIsLeftOutFromWhereThePointerSetOffForTheCorner)
{
    std::mt19937 random(4);
    std::uniform_real_distribution unit(0.0, 1.0);
    for (int round = 0; round < 300; ++round) {
        const CGRectCodable corner{1916, 1076, 4, 4};
        const CGRectCodable placed{unit(random) * 1500, unit(random) * 900, 320, 48};
        std::vector<InputEvent> events;
        CodablePoint pointer{unit(random) * 1500, unit(random) * 900};
        double time = 0.5 + unit(random);
        events.push_back(at(time, Type::leftMouseDown, pointer.x, pointer.y));
        const double lastUserEvent = time;
        const double setOff = time + 0.2 + unit(random);
        appendApproach(events, pointer, {1918, 1078}, setOff, 0.3 + unit(random), random);
        // Resting in the corner logs nothing; the control shows and the pointer goes to it.
        const CodablePoint button{placed.minX() + 250, placed.minY() + 24};
        appendApproach(events, {1918, 1078}, button, events.back().time + 0.4, 0.3 + unit(random), random);
        events.push_back(at(events.back().time + 0.1, Type::leftMouseDown, button.x, button.y));
        const double stopTime = events.back().time + 0.05;

        if (StopGestureTrim::distance(pointer, corner) < 200) continue;
        EXPECT_EQ(StopGestureTrim::keptEnd(events, {corner, placed}, stopTime), setOff) << "round " << round;
        EXPECT_GT(setOff, lastUserEvent);
    }
}

